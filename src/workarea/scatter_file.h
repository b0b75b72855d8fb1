// Point data outside the table store: scatter files (*.dat, binary and ASCII), the older
// "VLQ2SCAT" scatter file read for import, the MapGIS and CSV exports, coordinate files (*.gph)
// and the magic check of profile files (*.prf).
//
// Binary scatter file, little-endian, no alignment:
//   0   12  magic            "#SRNTHSCATB#" (readers test characters 7 to 12: "SCATB#")
//   12  20  origin           "B_FromBase" + 10 blanks when exported from a table
//   32  28  note             28 blanks as written
//   60  4   recordCount      int32
//   64  4   nullValue        float, -1E+38
//   68  2   fieldCount       int16
//   70  20·fieldCount        field names, GBK, left-justified, blank-padded
//   then 4·fieldCount·recordCount floats, the fields of one point together
//   end "#ENDDATA" (export, coordinate conversion) or "#ENDDATA#" (older-format conversion);
//       written, never read.
//
// ASCII scatter file, lines (CR LF as written, LF alone accepted): magic "#SRNTHSCATA#"
// ("SCATA#" at 7 to 12), the format tag ("C_FROMBASE" exported from a table, "C-Data" from a
// conversion; a tag starting with "S" or "s" means blank-separated values, any other comma-
// separated), recordCount, nullValue as "-1E+38", fieldCount, the names joined by the separator,
// one line per point, "#ENDDATA#".
//
// Older binary file: "VLQ2SCAT" in the first 8 bytes; at offset 36 recordCount (int32) and
// nullValue (float); a 26-byte block; at offset 70 the field count as int32, taken down to 16
// bits; then names and values as above. The conversion writes "#VLQ30SCATB#",
// "VLQ2TOVLQ3" + 38 blanks in place of origin and note, and "#ENDDATA#".
//
// Every reader checks the counts of a header against the bytes or lines that follow before it
// allocates, so a garbled header gives an error rather than a huge allocation.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "workarea/null_value.h"

namespace sarnoth {

class Database;

inline constexpr const char* kScatMagicB = "#SRNTHSCATB#";
inline constexpr const char* kScatMagicA = "#SRNTHSCATA#";
inline constexpr const char* kScatMagicBVlq30 = "#VLQ30SCATB#";
inline constexpr const char* kScatMagicAVlq30 = "#VLQ30SCATA#";
inline constexpr const char* kScatMagicVlq2 = "VLQ2SCAT";
inline constexpr const char* kScatOriginFromBase = "B_FromBase";
inline constexpr const char* kScatOriginVlq2 = "VLQ2TOVLQ3";
inline constexpr const char* kScatTagFromBase = "C_FROMBASE";
inline constexpr const char* kScatTagConverted = "C-Data";
inline constexpr const char* kEndData = "#ENDDATA#";
// The end mark of the export tool and of coordinate conversion, without its last sign.
inline constexpr const char* kEndDataShort = "#ENDDATA";

inline constexpr int kScatOriginWidth = 20;
inline constexpr int kScatNoteWidth = 28;
inline constexpr int kScatNameWidth = 20;
inline constexpr int kScatHeaderOffset = 60;  // where recordCount stands in the binary file

struct ScatterFile {
  std::string magic = kScatMagicB;  // as read; written as given (12 characters)
  std::string origin;               // binary: the 20-byte origin; ASCII: the format tag
  std::string note;                 // binary only
  std::int32_t recordCount = 0;
  float nullValue = NULL_VALUE;
  std::vector<std::string> names;  // UTF-8
  std::vector<float> values;       // recordCount·names.size(), point by point

  int fieldCount() const { return static_cast<int>(names.size()); }
  float at(std::int64_t record, int field) const {
    return values[static_cast<std::size_t>(record) * names.size() +
                  static_cast<std::size_t>(field)];
  }
};

enum class ScatterError {
  None,
  OpenFailed,  // cannot be opened or created
  BadMagic,    // characters 7 to 12 are not the kind's tag
  Truncated,   // the file ends before the counts it announces are met
  BadHeader,   // negative counts, a field count beyond 16 bits
  BadNumber,   // a text that is not a number where one is due
  ShortRow,    // an ASCII point line with fewer values than fields
  WriteFailed,
};

struct ScatterReadResult {
  ScatterError error = ScatterError::None;
  ScatterFile file;
  bool ok() const { return error == ScatterError::None; }
};

enum class ScatterKind { Unknown, Binary, Ascii, Vlq2, Csv };

// Tells the kind by the file's first bytes: "SCATB#" or "SCATA#" at characters 7 to 12,
// "VLQ2SCAT" at the start. Anything else is Unknown (a CSV file is told by its suffix).
ScatterKind detectScatterKind(const std::string& path);

// True when characters 7 to 12 of `head` equal `tag` (six characters).
bool magicMatches(const std::string& head, const char* tag);

// Binary reader. `headerOffset` is where recordCount stands: 60 for every reader but the copy
// in coordinate conversion, which takes it from 32.
// `tag` is the magic's characters 7 to 12: profile files (*.prf) share the two layouts under
// "PROFB#" and "PROFA#".
ScatterReadResult readBinaryScatter(const std::string& path, int headerOffset = kScatHeaderOffset,
                                    const char* tag = "SCATB#");
ScatterReadResult readAsciiScatter(const std::string& path, const char* tag = "SCATA#");
// The older "VLQ2SCAT" file; the result carries "#VLQ30SCATB#" and origin "VLQ2TOVLQ3", ready
// for writeBinaryScatter as the conversion writes it.
ScatterReadResult readVlq2Scatter(const std::string& path);
// A CSV file: a header line of names, then one line per point. Empty cells are null.
ScatterReadResult readCsvScatter(const std::string& path);
// By detectScatterKind (CSV by the suffix ".csv").
ScatterReadResult readScatter(const std::string& path);

// Writes magic, origin (20) and note (28) blank-padded, the counts, the names (20 each, cut on a
// character boundary) and the values, then `endMark`.
ScatterError writeBinaryScatter(const std::string& path, const ScatterFile& f,
                                const char* endMark = kEndDataShort);
// Writes the ASCII form with f.magic and f.origin as the tag; values in the shortest text that
// reads back to the same single, the null as "-1E+38".
ScatterError writeAsciiScatter(const std::string& path, const ScatterFile& f);
// "1,1,1," recordCount "," fieldCount, then a line of comma-separated values per point.
ScatterError writeMapGisScatter(const std::string& path, const ScatterFile& f);
// A header of names, then the values; nulls as "-1E+38" or, with nullsEmpty, as empty cells.
ScatterError writeCsvScatter(const std::string& path, const ScatterFile& f, bool nullsEmpty);

// The older-format conversion: reads a "VLQ2SCAT" file and writes "#VLQ30SCATB#" with
// "#ENDDATA#".
ScatterError convertVlq2Scatter(const std::string& source, const std::string& target);

// The head a conversion writes. To ASCII: "#SRNTHSCATA#" ("#VLQ30SCATA#" for a file of the
// VLQ30 generation) with the tag "C-Data", or "C_FROMBASE" when the binary came from a table.
// To binary: "#SRNTHSCATB#" ("#VLQ30SCATB#" likewise) with the origin kept, "B_FromBase" for an
// ASCII file tagged "C_FROMBASE", the tag otherwise.
ScatterFile asAsciiForm(ScatterFile f);
ScatterFile asBinaryForm(ScatterFile f);

// The grid to ASCII scatter of format conversion: "C-Data", fields "XX", "YY", "VV", one point a
// node, x = x0 + c·dx and y = y0 + r·dy, nulls kept.
ScatterFile scatterFromGridNodes(float x0, float y0, float dx, float dy, int nx, int ny,
                                 const std::vector<float>& nodes);

// The shortest text of a single that reads back to the same bits, exponent in capitals
// ("-1E+38", "1.5E-05", "0.25").
std::string floatText(float v);

// What the export tool puts in a scatter file: the named numeric fields of a table (all numeric
// fields when `fields` is empty), null cells as -1E+38, origin "B_FromBase". Throws StoreError
// for a missing table or field.
ScatterFile scatterFromTable(Database& db, const std::string& table,
                             const std::vector<std::string>& fields = {});

// --- the system's messages per reader ------------------------------------------------------

// The external file of the clipping tool (kinds 1 and 2).
inline constexpr const char* kMsgClipBadMagic = "文件格式不正确!! 请检查.";
inline constexpr const char* kMsgClipExternalPath = "外部数据文件不正确.";
inline constexpr const char* kMsgClipReadFailed = "打开数据文件或读文件信息错误!!";
// The scatter files of coordinate conversion.
inline constexpr const char* kMsgConvShortRow = "数据格式不正确, 请检查!!";
inline constexpr const char* kMsgConvReadFailed = "读数据错误.";
inline constexpr const char* kMsgConvCreateFailed = "不能创建输出文件.";

enum class ScatterReader { ClipExternal, CoordConversion };
// The text a reader shows for an error; empty for None.
std::string scatterMessage(ScatterReader reader, ScatterError e);

// --- coordinate files (*.gph) ---------------------------------------------------------------
//
// First line: a magic with "CRDGP#" at characters 7 to 12. Element lines, items separated by one
// or more blanks; reading ends at the first line whose first item is "#ENDDATA#", and a file
// without that line is a read error. Codes, upper or lower case: "PP" point, "PT"/"TT" text
// anchor (code, identifier, x, y, further items); "PR" area, "PL" line (code, identifier, vertex
// count n, further items; then n lines of x and y, comma or blank separated). Any other code is
// read as a point. Further items are carried through unchanged. Blank lines are skipped.

inline constexpr const char* kGphMagic = "#SRNTHCRDGP#";

enum class GphKind { Point, Text, Area, Line };

struct GphElement {
  std::string code;  // as read ("PP", "pr", "XY" …)
  GphKind kind = GphKind::Point;
  std::string id;                  // the identifier item, as read
  std::vector<double> xy;          // x0, y0, x1, y1 …: one pair for a point or text anchor
  std::vector<std::string> extra;  // items after the coordinates or after the vertex count
  std::size_t vertexCount() const { return xy.size() / 2; }
};

struct GphFile {
  std::string magic = kGphMagic;
  std::vector<GphElement> elements;
};

enum class GphError {
  None,
  OpenFailed,
  BadMagic,
  MissingEnd,
  BadNumber,
  TooManyPolygons,
  ShortPolygon,  // a clipping polygon of fewer than 3 vertices
  WriteFailed
};

struct GphReadResult {
  GphError error = GphError::None;
  GphFile file;
  std::size_t line = 0;  // the line where reading stopped, from 1
  bool ok() const { return error == GphError::None; }
};

GphKind gphKindOf(const std::string& code);
GphReadResult readGph(const std::string& path);
// The magic line, each element on one line (vertices one pair a line, blank-separated), then
// "#ENDDATA#".
GphError writeGph(const std::string& path, const GphFile& f);

// The polygon set of the clipping tool: vertices as singles, all polygons one after the other,
// and at most 1001 vertex counts. Every element line is taken as a polygon head whose third item
// is the vertex count; a polygon of fewer than 3 vertices encloses nothing and is refused.
inline constexpr int kMaxClipPolygons = 1001;
struct PolygonSet {
  std::vector<float> vertices;       // x, y pairs
  std::vector<std::int32_t> counts;  // one per polygon
  std::int32_t polygonCount() const { return static_cast<std::int32_t>(counts.size()); }
  std::int64_t vertexTotal() const { return static_cast<std::int64_t>(vertices.size() / 2); }
};
struct PolygonReadResult {
  GphError error = GphError::None;
  PolygonSet polygons;
  bool ok() const { return error == GphError::None; }
};
PolygonReadResult readGphPolygons(const std::string& path);

inline constexpr const char* kMsgGphClipGrid = "非Sarnoth 坐标数据文件,请检查.";
inline constexpr const char* kMsgGphClipTable = "非 Sarnoth 坐标数据文件,请检查.";
inline constexpr const char* kMsgGphClipReadFailed = "读数据文件错.";
inline constexpr const char* kMsgGphClipOpenFailed = "打开或创建数据文件错.";
inline constexpr const char* kMsgGphConversion = "非Sarnoth GPH格式文件.";

enum class GphReader { ClipGrid, ClipTable, CoordConversion };
// The text a reader shows for an error; empty for None. The table path of the clipping tool
// shows the run-time description of a read failure.
std::string gphMessage(GphReader reader, GphError e);

// --- profile files (*.prf) -----------------------------------------------------------------

inline constexpr const char* kMsgProfileBadFormat = "数据格式不正确，请检查";
// The import check: characters 7 to 12 of the first line are "PROFA#" or "PROFB#". A read error
// or another magic gives kMsgProfileBadFormat.
bool isProfileFile(const std::string& path);

}  // namespace sarnoth
