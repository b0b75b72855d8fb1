#include "gravmag/geomag_elements.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string_view>

#include "geochem/report_format.h"
#include "prep/parallel_rows.h"
#include "workarea/file_text.h"
#include "workarea/grid_file.h"
#include "workarea/null_value.h"
#include "workarea/path_resolver.h"
#include "workarea/session.h"
#include "workarea/text_codec.h"
#include "workarea/work_area.h"

namespace sarnoth::gravmag {
namespace {

// The typed decimals of a degrees.minutes value are not exact in binary: 100.57 is stored as
// 100.56999…; minutes are truncated after this allowance.
constexpr double kMinuteSlack = 1e-4;
constexpr int kFileColumns = 4;
constexpr const char* kFileMagic = "#SRNTHSCATA#";

std::string yearText(double y) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.0f", y);
  return buf;
}

// Integer part towards zero and the minutes of a degrees.minutes value.
void splitDegreesMinutes(double v, std::int32_t& deg, std::int32_t& min) {
  const double whole = std::trunc(v);
  const double frac = (v - whole) * 100.0;
  deg = static_cast<std::int32_t>(std::clamp(whole, -2.0e9, 2.0e9));
  const double m = frac < 0 ? std::trunc(frac - kMinuteSlack) : std::trunc(frac + kMinuteSlack);
  min = static_cast<std::int32_t>(std::clamp(m, -2.0e9, 2.0e9));
}

bool heightAllowed(double heightM) {
  return std::isfinite(heightM) && heightM / 1000.0 >= kIgrfMinHeightKm;
}

const IgrfModel& modelOf(IgrfGeneration generation) { return igrfModel(gSysPath, generation); }

}  // namespace

std::string geomagDateMessage(const IgrfModel& model, bool multiPoint) {
  return "此程序只能计算公元" + yearText(model.firstYear()) + "到" + yearText(model.lastYear()) +
         (multiPoint ? "年的地磁要素值。" : "年的地磁要素。");
}

double geomagBoxValue(const std::string& text) {
  // The leading number, as the window's Val reads a box: blanks skipped, then sign, digits,
  // point and exponent as far as they make a number.
  std::string t = filetext::trim(text);
  std::size_t i = 0, best = 0;
  if (i < t.size() && (t[i] == '+' || t[i] == '-')) ++i;
  bool digits = false;
  while (i < t.size() && std::isdigit(static_cast<unsigned char>(t[i]))) ++i, digits = true;
  if (i < t.size() && t[i] == '.') {
    ++i;
    while (i < t.size() && std::isdigit(static_cast<unsigned char>(t[i]))) ++i, digits = true;
  }
  if (!digits) return 0.0;
  best = i;
  if (i < t.size() && (t[i] == 'e' || t[i] == 'E')) {
    std::size_t j = i + 1;
    if (j < t.size() && (t[j] == '+' || t[j] == '-')) ++j;
    if (j < t.size() && std::isdigit(static_cast<unsigned char>(t[j]))) {
      while (j < t.size() && std::isdigit(static_cast<unsigned char>(t[j]))) ++j;
      best = j;
    }
  }
  const double v = std::strtod(t.substr(0, best).c_str(), nullptr);
  return std::isfinite(v) ? v : 0.0;
}

std::int32_t geomagBoxInteger(const std::string& text) {
  const double v = std::nearbyint(geomagBoxValue(text));  // half to even, as the window rounds
  return static_cast<std::int32_t>(std::clamp(v, -2147483648.0, 2147483647.0));
}

Outcome geomagSinglePoint(const GeomagSingleInput& in, IgrfGeneration generation,
                          GeomagPoint& point) {
  const IgrfModel* model = nullptr;
  try {
    model = &modelOf(generation);
  } catch (const IgrfError& e) {
    return Outcome::failure(std::string(kMsgGeomagFailed) + e.what());
  }
  const auto date = static_cast<float>(geomagBoxValue(in.date));
  const std::int32_t latDeg = geomagBoxInteger(in.latDeg), latMin = geomagBoxInteger(in.latMin);
  const std::int32_t lonDeg = geomagBoxInteger(in.lonDeg), lonMin = geomagBoxInteger(in.lonMin);
  const double heightM = geomagBoxValue(in.height);
  if (!model->covers(date)) return Outcome::failure(geomagDateMessage(*model, false));
  if (latDeg > 90 || latDeg < 0) return Outcome::failure(kMsgGeomagLatDegrees);
  if (latMin < 0 || latMin > 60) return Outcome::failure(kMsgGeomagLatMinutes);
  if (lonDeg > 180 || lonDeg < -180) return Outcome::failure(kMsgGeomagLonDegrees);
  if (lonMin > 60 || lonMin < 0) return Outcome::failure(kMsgGeomagLonMinutes);
  if (!heightAllowed(heightM)) return Outcome::failure(kMsgGeomagHeight);
  point = {};
  point.date = date;
  point.heightM = heightM;
  point.lon = lonDeg + (lonDeg < 0 ? -lonMin : lonMin) / 100.0;
  point.lat = latDeg + latMin / 100.0;
  try {
    point.r = closed::IGRFDLL(date, static_cast<float>(heightM / 1000.0), lonDeg, lonMin, latDeg,
                              latMin, generation);
  } catch (const IgrfError& e) {
    return Outcome::failure(std::string(kMsgGeomagFailed) + e.what());
  }
  return Outcome::success();
}

std::vector<std::string> geomagResultTexts(const closed::IgrfDllResult& r) {
  using geochem::singleText;
  return {std::to_string(r.incDeg), std::to_string(r.incMin), std::to_string(r.decDeg),
          std::to_string(r.decMin), singleText(r.totalT),     singleText(r.northX),
          singleText(r.eastY),      singleText(r.vertZ),      singleText(r.horizH)};
}

Outcome geomagMultiPoint(const std::string& inputPath, IgrfGeneration generation,
                         std::vector<GeomagPoint>& points, Progress& progress) {
  points.clear();
  const IgrfModel* model = nullptr;
  try {
    model = &modelOf(generation);
  } catch (const IgrfError& e) {
    return Outcome::failure(std::string(kMsgGeomagFailed) + e.what());
  }
  std::string bytes;
  if (!filetext::readWholeFile(resolvePath(inputPath), bytes))
    return Outcome::failure(kMsgGeomagFailed);
  const std::vector<std::string> lines = filetext::splitLines(decodeFileText(bytes));
  if (lines.empty() || filetext::trim(lines[0]) != kFileMagic)
    return Outcome::failure(kMsgGeomagBadMagic);
  const std::string tag = lines.size() > 1 ? filetext::trim(lines[1]) : std::string();
  if (tag.empty() || (tag[0] != 'S' && tag[0] != 'C'))
    return Outcome::failure(kMsgGeomagBadSeparator);

  // The rest as a stream of items: commas, blanks and line ends all separate.
  std::vector<std::string> items;
  std::size_t namesLine = lines.size();
  auto addItems = [&items](const std::string& line) {
    std::string cur;
    for (char ch : line) {
      if (ch == ',' || ch == ' ' || ch == '\t' || ch == '\r') {
        if (!cur.empty()) items.push_back(cur);
        cur.clear();
      } else {
        cur += ch;
      }
    }
    if (!cur.empty()) items.push_back(cur);
  };
  std::size_t li = 2;
  for (; li < lines.size() && items.size() < 3; ++li) addItems(lines[li]);
  if (items.size() < 3) return Outcome::failure(kMsgGeomagFailed);
  double count = 0, columns = 0;
  if (!filetext::parseDouble(items[0], count) || !filetext::parseDouble(items[2], columns))
    return Outcome::failure(kMsgGeomagFailed);
  if (columns != kFileColumns) return Outcome::failure(kMsgGeomagBadColumns);
  namesLine = li;  // the line after the three numbers holds the names and is skipped
  items.clear();
  for (std::size_t k = namesLine + 1; k < lines.size(); ++k) addItems(lines[k]);
  if (!(count >= 0) || count != std::floor(count) || count * kFileColumns > items.size())
    return Outcome::failure(kMsgGeomagFailed);
  const auto n = static_cast<std::size_t>(count);

  std::vector<double> v(n * kFileColumns);
  for (std::size_t k = 0; k < v.size(); ++k)
    if (!filetext::parseDouble(items[k], v[k])) return Outcome::failure(kMsgGeomagFailed);

  points.resize(n);
  for (std::size_t i = 0; i < n; ++i) {
    GeomagPoint& p = points[i];
    p.lon = v[i * 4];
    p.lat = v[i * 4 + 1];
    p.heightM = v[i * 4 + 2];
    p.date = static_cast<float>(v[i * 4 + 3]);
    std::int32_t lonDeg = 0, lonMin = 0, latDeg = 0, latMin = 0;
    splitDegreesMinutes(p.lon, lonDeg, lonMin);
    splitDegreesMinutes(p.lat, latDeg, latMin);
    Outcome bad;
    if (!model->covers(p.date))
      bad = Outcome::failure(geomagDateMessage(*model, true));
    else if (lonDeg > 180 || lonDeg < -180)
      bad = Outcome::failure(kMsgGeomagLonDegreesFile);
    else if (latDeg > 90 || latDeg < 0)
      bad = Outcome::failure(kMsgGeomagLatDegrees);
    else if (lonMin < 0 || lonMin > 60)
      bad = Outcome::failure(kMsgGeomagLonMinutes);
    else if (latMin < 0 || latMin > 60)
      bad = Outcome::failure(kMsgGeomagLatMinutes);
    else if (!heightAllowed(p.heightM))
      bad = Outcome::failure(kMsgGeomagHeight);
    if (!bad.ok) {
      points.clear();
      return bad;
    }
  }
  progress.setMaximum(static_cast<std::int64_t>(n));
  // Each point is one library call of its own, so blocks of points are shared out between the
  // cores (the results do not depend on how), and the progress is pumped between blocks.
  constexpr std::size_t kBlock = 16384;
  std::atomic<bool> failed{false};
  for (std::size_t from = 0; from < n; from += kBlock) {
    const std::size_t count = std::min(kBlock, n - from);
    detail::forRowBands(
        static_cast<int>(count),
        [&](int b, int e, int) {
          try {
            for (auto i = from + static_cast<std::size_t>(b);
                 i < from + static_cast<std::size_t>(e); ++i) {
              GeomagPoint& p = points[i];
              std::int32_t lonDeg = 0, lonMin = 0, latDeg = 0, latMin = 0;
              splitDegreesMinutes(p.lon, lonDeg, lonMin);
              splitDegreesMinutes(p.lat, latDeg, latMin);
              p.r = closed::IGRFDLL(p.date, static_cast<float>(p.heightM / 1000.0), lonDeg, lonMin,
                                    latDeg, latMin, generation);
            }
          } catch (const IgrfError&) {
            failed = true;
          }
        },
        256);
    if (failed) {
      points.clear();
      return Outcome::failure(kMsgGeomagFailed);
    }
    progress.setValue(static_cast<std::int64_t>(from + count));
    if (!progress.pump()) {
      points.clear();
      return Outcome::failure({});
    }
  }
  progress.setValue(static_cast<std::int64_t>(n));
  return Outcome::success(kMsgGeomagDone);
}

std::string hashPicture(double v, int decimals) {
  const double scale = std::pow(10.0, decimals);
  // Half away from zero, on the decimal text of the value.
  const double rounded = std::round(std::abs(v) * scale);
  if (!std::isfinite(rounded)) return v < 0 ? "-1.#INF" : "1.#INF";
  const bool negative = v < 0 && rounded > 0;
  const double whole = std::floor(rounded / scale);
  const double fraction = rounded - whole * scale;
  std::string s = negative ? "-" : "";
  // Integers below 2^53 are written directly (a file of a million points has eleven numbers a
  // line); larger ones through the %.0f text.
  char buf[40];
  auto integer = [&buf](double x) -> std::string_view {
    if (x < 9.0e15) {
      const auto r = std::to_chars(buf, buf + sizeof buf, static_cast<std::int64_t>(x));
      return {buf, static_cast<std::size_t>(r.ptr - buf)};
    }
    const int len = std::snprintf(buf, sizeof buf, "%.0f", x);
    return {buf, static_cast<std::size_t>(std::clamp(len, 0, static_cast<int>(sizeof buf) - 1))};
  };
  if (whole > 0) s += integer(whole);
  if (decimals > 0) {
    const std::string_view f = integer(fraction);
    s += '.';
    if (f.size() < static_cast<std::size_t>(decimals))
      s.append(static_cast<std::size_t>(decimals) - f.size(), '0');
    s += f;
  } else if (whole == 0) {
    s = "0";  // an empty column would shift the line
  }
  return s;
}

std::string geomagResultLine(const GeomagPoint& p) {
  const closed::IgrfDllResult& r = p.r;
  const double inc = r.incDeg + r.incMin / 100.0, dec = r.decDeg + r.decMin / 100.0;
  const std::string six(6, ' ');
  return hashPicture(p.lon, 4) + six + hashPicture(p.lat, 4) + six + hashPicture(p.heightM, 2) +
         six + hashPicture(p.date, 2) + six + hashPicture(inc, 2) + six + hashPicture(dec, 2) +
         six + hashPicture(r.totalT, 0) + std::string(10, ' ') + hashPicture(r.northX, 0) +
         std::string(14, ' ') + hashPicture(r.eastY, 0) + std::string(12, ' ') +
         hashPicture(r.vertZ, 0) + std::string(8, ' ') + hashPicture(r.horizH, 0);
}

bool writeGeomagResultFile(const std::string& path, const std::vector<GeomagPoint>& points) {
  std::string text;
  text.reserve(points.size() * 110 + 256);
  auto line = [&text](const std::string& s) { text += s + "\r\n"; };
  line(kFileMagic);
  line("S");
  line(std::to_string(points.size()));
  line("-1E+38");
  line("11");
  line(kGeomagColumnLine);
  for (const GeomagPoint& p : points) line(geomagResultLine(p));
  line("#ENDDATA#");
  return filetext::writeWholeFile(resolvePath(path), utf8ToGbk(text));
}

// --- reduction --------------------------------------------------------------------------

Outcome reduceTableByIgrf(Database& db, const IgrfReductionJob& job, Interaction& ui,
                          IgrfReductionReport& report, Progress& progress) {
  report = {};
  if (job.lonField.empty() || job.latField.empty() || job.valueField.empty())
    return Outcome::failure(kMsgReduceNoFields);
  if (job.newTable.empty()) return Outcome::failure("请给定新数据表名。");
  const IgrfModel* model = nullptr;
  try {
    model = &modelOf(job.generation);
  } catch (const IgrfError& e) {
    return Outcome::failure(std::string(kMsgGeomagFailed) + e.what());
  }
  if (job.dateField.empty() && !model->covers(job.date))
    return Outcome::failure(geomagDateMessage(*model, true));
  if (job.heightField.empty() && !heightAllowed(job.heightM))
    return Outcome::failure(kMsgGeomagHeight);

  std::vector<double> lon, lat, value, year, height;
  try {
    std::string sql = "Select " + bracket(job.lonField) + ", " + bracket(job.latField) + ", " +
                      bracket(job.valueField);
    if (!job.dateField.empty()) sql += ", " + bracket(job.dateField);
    if (!job.heightField.empty()) sql += ", " + bracket(job.heightField);
    Cursor c = db.query(sql + " From " + bracket(job.table));
    const int dateCol = job.dateField.empty() ? -1 : 3;
    const int heightCol = job.heightField.empty() ? -1 : (dateCol < 0 ? 3 : 4);
    auto cell = [&c](int i) { return c.isNull(i) ? double(NULL_VALUE) : c.getDouble(i); };
    while (c.next()) {
      lon.push_back(cell(0));
      lat.push_back(cell(1));
      value.push_back(cell(2));
      year.push_back(dateCol < 0 ? job.date : cell(dateCol));
      height.push_back(heightCol < 0 ? job.heightM : cell(heightCol));
    }
  } catch (const StoreError& e) {
    return Outcome::failure(std::string("读数据表错误, ") + e.what());
  }

  // Points the model cannot take get NaN (and so null) from the synthesis.
  const std::size_t n = lon.size();
  std::vector<double> heightKm(n), y = year;
  for (std::size_t i = 0; i < n; ++i) {
    const bool usable = isDataAbove(static_cast<float>(value[i]), -1e30f) &&
                        std::abs(lat[i]) <= 90.0 && std::abs(lon[i]) <= 360.0 &&
                        heightAllowed(height[i]);
    heightKm[i] = height[i] / 1000.0;
    if (!usable) y[i] = std::numeric_limits<double>::quiet_NaN();
  }
  std::vector<GeomagField> field(n);
  igrfFieldMany(*model, y, lat, lon, heightKm, field, job.threads);

  try {
    Registration how{kReduceOrigin,        kReduceNote, OverwriteRule::Refuse,
                     kMsgReduceNameExists, "",          false};
    if (registerTable(db, job.newTable, how, ui) == RegisterResult::Refused)
      return Outcome::failure({});
  } catch (const StoreError& e) {
    return Outcome::failure(std::string("创建新数据表错误, ") + e.what());
  }
  const std::string fName = job.valueField + "_F", dtName = job.valueField + "_DT";
  try {
    std::vector<FieldDef> defs;
    for (const std::string& name : {job.lonField, job.latField, job.valueField, fName, dtName})
      defs.push_back({name, JetType::Single, 0});
    db.begin();
    db.createTable(job.newTable, defs);
    TableWriter w(db, job.newTable, {job.lonField, job.latField, job.valueField, fName, dtName});
    progress.setMaximum(static_cast<std::int64_t>(n));
    for (std::size_t i = 0; i < n; ++i) {
      const double f = field[i].main.f;
      w.setDouble(0, lon[i]);
      w.setDouble(1, lat[i]);
      w.setDouble(2, value[i]);
      if (std::isfinite(f)) {
        w.setDouble(3, f);
        w.setDouble(4, value[i] - f);
        ++report.reduced;
      } else {
        w.setDouble(3, NULL_VALUE);
        w.setDouble(4, NULL_VALUE);
      }
      w.addRow();
      if ((i & 4095) == 4095) progress.setValue(static_cast<std::int64_t>(i + 1));
    }
    w.commit();
    db.commit();
    report.rows = static_cast<std::int64_t>(n);
  } catch (const StoreError& e) {
    try {
      db.rollback();
    } catch (const StoreError&) {
    }
    return Outcome::failure(std::string("创建新数据表错误, ") + e.what());
  }
  progress.setValue(static_cast<std::int64_t>(n));
  return Outcome::success(kMsgReduceDone);
}

Outcome reduceGridByIgrf(const IgrfGridReductionJob& job, Progress& progress) {
  const IgrfModel* model = nullptr;
  try {
    model = &modelOf(job.generation);
  } catch (const IgrfError& e) {
    return Outcome::failure(std::string(kMsgGeomagFailed) + e.what());
  }
  if (!model->covers(job.date)) return Outcome::failure(geomagDateMessage(*model, true));
  if (!heightAllowed(job.heightM)) return Outcome::failure(kMsgGeomagHeight);
  GridReadResult in = readGrid(job.input);
  if (!in.ok()) return Outcome::failure(gridErrorDetail(in.error));
  Grid& g = in.grid;
  const GridHeader& hd = g.header;
  const std::size_t count = g.nodes.size();
  std::vector<double> lat(count), lon(count), year(count, job.date),
      hkm(count, job.heightM / 1000.0);
  for (int r = 0; r < hd.ny; ++r)
    for (int c = 0; c < hd.nx; ++c) {
      const std::size_t i = static_cast<std::size_t>(r) * hd.nx + c;
      lon[i] = static_cast<double>(hd.x0) + c * static_cast<double>(hd.dx);
      lat[i] = static_cast<double>(hd.y0) + r * static_cast<double>(hd.dy);
      if (g.nodes[i] == NULL_VALUE || std::abs(lat[i]) > 90.0)
        year[i] = std::numeric_limits<double>::quiet_NaN();
    }
  progress.setMaximum(1);
  std::vector<GeomagField> field(count);
  igrfFieldMany(*model, year, lat, lon, hkm, field, job.threads);
  for (std::size_t i = 0; i < count; ++i)
    g.nodes[i] = std::isfinite(field[i].main.f) ? static_cast<float>(g.nodes[i] - field[i].main.f)
                                                : NULL_VALUE;
  GridHeader out = hd;
  recomputeGridStats(out, g.nodes);
  if (!writeGrid(job.output, out.magic, "IGRFReduce", out, g.nodes))
    return Outcome::failure("打开输出文件错误。");
  progress.setValue(1);
  return Outcome::success(kMsgReduceDone);
}

}  // namespace sarnoth::gravmag
