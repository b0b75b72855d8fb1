// Bringing outside tables into the work area (the import window "外部表格数据导入工作区") and
// sending registered tables out again.
//
// Sources: delimited text (CSV, tab, semicolon, blank or bar separated; GBK or UTF-8; header row
// or not; decimal point or comma), spreadsheets and dBASE files through GDAL/OGR (.xlsx, .xls,
// .ods, .dbf — one layer per sheet), and tables of Jet .mdb files through mdbtools.
//
// A source streams: text files are read in blocks and decoded as they go, so the memory an
// import takes does not grow with the file. The preview guesses each column's type from the
// first rows (kTypeSampleRows); the import writes every row through one prepared statement in
// one transaction while it keeps guessing over all rows, and where the whole file calls for a
// wider type than the first rows (a fraction after whole numbers, more digits than a single
// holds, text in a number column, longer text) the table is rebuilt with that type before the
// transaction ends, so the table has the types a guess over the whole file gives (the numbers of
// a column that turns text keep their shortest text, "12.50" as "12.5"). Empty cells,
// and text where a number is expected, become -1E+38 and are counted. The new table is
// registered under the ask rule ("检索结果表名已存在,是否覆盖?", "OutDataIn", "外部数据导入"),
// and registration, table and rows go in one transaction: a failure leaves the work area as it
// was.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "workarea/interaction.h"
#include "workarea/progress.h"
#include "workarea/table_store.h"

namespace sarnoth {

enum class TextEncoding { Auto, Gbk, Utf8 };

struct DelimitedOptions {
  char delimiter = ',';  // ' ' means runs of blanks and tabs
  char decimal = '.';    // '.' or ','
  TextEncoding encoding = TextEncoding::Auto;
  bool headerRow = true;
};

// What an import offers the user before it runs: the sheets or tables, columns, guessed types,
// and the first rows.
struct ImportColumn {
  std::string name;
  FieldDef type;  // guessed; the user may change it
  bool import = true;
  bool guessed = false;  // the type is the preview's guess, and the import may widen it
};

// The rows the preview guesses the types from.
inline constexpr std::int64_t kTypeSampleRows = 10000;

struct ImportPreview {
  std::vector<std::string> layers;  // sheets or tables of the file; empty for text
  std::vector<ImportColumn> columns;
  std::vector<std::vector<std::string>> firstRows;
  std::int64_t rowCount = 0;   // the rows, or an estimate when the sample did not reach the end
  bool rowCountExact = false;  // the source ended within the sample
};

struct ImportReport {
  std::int64_t rows = 0;
  std::int64_t nullsWritten = 0;  // empty or unreadable numeric cells stored as -1E+38
  bool overwritten = false;
};

// A readable table: a header and rows of text cells. Implementations for text, OGR and Jet.
class RowSource {
 public:
  virtual ~RowSource() = default;
  virtual const std::vector<std::string>& header() const = 0;
  // Declared types where the source has them (Jet), else empty.
  virtual std::vector<FieldDef> declaredTypes() const { return {}; }
  // Next row; cells missing from the source are empty. False at the end, or on a read error,
  // which readError() then tells.
  virtual bool next(std::vector<std::string>& cells) = 0;
  // Why the last next() returned false when that was not the end of the data; empty otherwise.
  virtual std::string readError() const { return {}; }
  virtual void rewind() = 0;
  virtual std::int64_t approxRows() const { return 0; }
  // The decimal mark of number cells.
  virtual char decimal() const { return '.'; }
};

// Opening sources. Failures return null and put the system's kind of message into `error`.
std::unique_ptr<RowSource> openDelimited(const std::string& path, const DelimitedOptions& opt,
                                         std::string& error);
// Sheets or tables of a spreadsheet, dBASE or Jet file.
std::vector<std::string> listLayers(const std::string& path, std::string& error);
std::unique_ptr<RowSource> openLayer(const std::string& path, const std::string& layer,
                                     std::string& error);
// Any supported file: text by its extension (.csv .txt .tsv .dat .prn), else a layer.
std::unique_ptr<RowSource> openSource(const std::string& path, const std::string& layer,
                                      const DelimitedOptions& opt, std::string& error);

// Reads the first kTypeSampleRows rows: checks their shape (ragged rows are refused with their
// line), guesses types, keeps `previewRows` rows.
Outcome previewSource(RowSource& src, ImportPreview& out, int previewRows = 20);
// Counts the rows of a source (one streaming pass, for a preview that wants the number).
std::int64_t countRows(RowSource& src);

// Imports into `tableName` with the columns as chosen. Asks through `ui` when the name exists.
Outcome importTable(Database& db, RowSource& src, const std::vector<ImportColumn>& columns,
                    const std::string& tableName, Interaction& ui, Progress& progress,
                    ImportReport* report = nullptr);

// Column names a store can hold apart: an empty name becomes "F" and its position (from 1), a
// repeated one gets "_" and its position appended. Linear in the number of names.
void makeColumnNamesUnique(std::vector<std::string>& names);

// Applies the command line's choices to a preview: `types` "NAME=SINGLE,OTHER=TEXT(20)" and
// `skip` "NAME,NAME". A name that is not a column of the source, or a type that is not one of
// SINGLE, DOUBLE, LONG, INTEGER, BYTE, CURRENCY, BIT, DATE, MEMO, TEXT or TEXT(n), is refused
// with its message and nothing is changed.
Outcome applyColumnChoices(std::vector<ImportColumn>& columns, const std::string& types,
                           const std::string& skip);

// The guess of one column, cell by cell: LONG for whole numbers, SINGLE for numbers a float
// holds to the digits written, DOUBLE for more digits, else TEXT(n) (at least 10) or MEMO beyond
// 255 characters. A column of numbers with up to one remark in ten stays numeric.
struct ColumnGuess {
  std::size_t filled = 0, numbers = 0, maxLength = 0;
  bool allWhole = true, fitsFloat = true;
  void add(const std::string& cell, char decimal = '.');
  // A trimmed cell whose number class the caller found already (0 text, 1 number, 2 no data).
  void addClassified(std::string_view trimmed, int kind, double value);
  FieldDef type(const std::string& name) const;
};

// Guessing one column from its cells: LONG for whole numbers, SINGLE for numbers a float holds
// to the digits written, DOUBLE for more digits, else TEXT(n).
FieldDef guessColumnType(const std::string& name, const std::vector<std::string>& cells,
                         char decimal = '.');

// ---- export -----------------------------------------------------------------------------------

enum class ExportFormat { Csv, Xlsx, Dbf };

struct ExportOptions {
  ExportFormat format = ExportFormat::Csv;
  bool nullsEmpty = false;  // write -1E+38 as an empty cell instead of "-1E+38"
  char delimiter = ',';
  TextEncoding encoding = TextEncoding::Gbk;
  bool crlf = true;
};

Outcome exportTable(Database& db, const std::string& table, const std::string& path,
                    const ExportOptions& opt, Progress& progress, std::int64_t* rows = nullptr);

// The shortest text of a stored number: a float's when the value is a float, else a double's.
std::string numberText(double v);
// The same for a field of a known type: SINGLE fields print as floats, others as doubles.
std::string numberText(double v, JetType type);

// The field names a dBASE file gets for `names`: GBK, at most 10 bytes cut on a character
// boundary, blanks and characters dBASE names cannot hold replaced by "_", unique (a clash
// ends in a number). Returned as GBK bytes.
std::vector<std::string> dbfFieldNames(const std::vector<std::string>& names);

}  // namespace sarnoth
