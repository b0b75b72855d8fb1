#include "geochem/neighbourhood.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <limits>

#include "geochem/point_grid.h"
#include "prep/parallel_rows.h"
#include "workarea/null_value.h"
#include "workarea/work_area.h"

namespace sarnoth::geochem {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
// Samples handed to the threads at a time; progress is reported and cancelling looked at
// between blocks.
constexpr int kBlock = 16384;

bool sameName(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(a[i])) !=
        std::tolower(static_cast<unsigned char>(b[i])))
      return false;
  return true;
}

bool hasName(const std::vector<FieldDef>& fields, const std::string& name) {
  return std::any_of(fields.begin(), fields.end(),
                     [&](const FieldDef& f) { return sameName(f.name, name); });
}

double dataOrNaN(const Cursor& c, int i) {
  if (c.isNull(i)) return kNaN;
  const double v = c.getDouble(i);
  return std::isfinite(v) && isDataValue(v) ? v : kNaN;
}

// The statistics of one sample from its neighbours' values (sorted by distance).
void summarise(std::vector<double>& vals, int minCount, NeighbourStats& out, std::size_t i) {
  const std::size_t n = vals.size();
  out.count[i] = static_cast<std::int32_t>(n);
  if (n == 0 || n < static_cast<std::size_t>(std::max(1, minCount))) return;
  double sum = 0;
  for (double v : vals) sum += v;
  const double mean = sum / static_cast<double>(n);
  out.mean[i] = static_cast<float>(mean);
  if (n >= 2) {
    double ss = 0;
    for (double v : vals) ss += (v - mean) * (v - mean);
    out.sd[i] = static_cast<float>(std::sqrt(ss / static_cast<double>(n - 1)));
  }
  const std::size_t mid = n / 2;
  std::nth_element(vals.begin(), vals.begin() + static_cast<std::ptrdiff_t>(mid), vals.end());
  double median = vals[mid];
  if (n % 2 == 0)
    median = 0.5 * (median + *std::max_element(vals.begin(),
                                               vals.begin() + static_cast<std::ptrdiff_t>(mid)));
  out.median[i] = static_cast<float>(median);
}

}  // namespace

NeighbourStats neighbourStatistics(std::span<const double> x, std::span<const double> y,
                                   std::span<const double> v, const NeighbourSearch& search,
                                   Progress& progress, int threads, bool* cancelled) {
  const std::size_t n = std::min({x.size(), y.size(), v.size()});
  NeighbourStats out;
  out.mean.assign(n, NULL_VALUE);
  out.median.assign(n, NULL_VALUE);
  out.sd.assign(n, NULL_VALUE);
  out.count.assign(n, 0);
  if (cancelled) *cancelled = false;
  // Only samples with a place and a value can be neighbours.
  std::vector<double> cx(n), cy(n);
  for (std::size_t i = 0; i < n; ++i) {
    const bool usable = std::isfinite(x[i]) && std::isfinite(y[i]) && std::isfinite(v[i]);
    cx[i] = usable ? x[i] : kNaN;
    cy[i] = usable ? y[i] : kNaN;
  }
  const bool nearest = search.mode == NeighbourMode::Nearest;
  // A few samples a bucket: k/4 for the nearest, about the radius for a radius search.
  double cell = 0;
  if (nearest) {
    cell = PointGrid::cellFor(cx, cy, std::max(2.0, search.count / 4.0));
  } else {
    cell = std::max(search.radius, PointGrid::cellFor(cx, cy, 2.0));
  }
  const PointGrid grid(cx, cy, cell);

  progress.setMaximum(static_cast<std::int64_t>(n));
  progress.setValue(0);
  for (std::size_t from = 0; from < n; from += kBlock) {
    const std::size_t to = std::min(n, from + kBlock);
    detail::forRowBands(
        static_cast<int>(to - from),
        [&](int b, int e, int) {
          std::vector<Neighbour> nb;
          std::vector<double> vals;
          for (int r = b; r < e; ++r) {
            const std::size_t i = from + static_cast<std::size_t>(r);
            if (!std::isfinite(x[i]) || !std::isfinite(y[i])) continue;
            const auto self = search.includeSelf ? std::int32_t{-1} : static_cast<std::int32_t>(i);
            if (nearest)
              grid.nearest(x[i], y[i], search.count, self, nb);
            else
              grid.within(x[i], y[i], search.radius, self, nb);
            vals.clear();
            for (const Neighbour& k : nb) vals.push_back(v[static_cast<std::size_t>(k.id)]);
            summarise(vals, search.minCount, out, i);
          }
        },
        256, threads);
    progress.setValue(static_cast<std::int64_t>(to));
    if (!progress.pump()) {
      if (cancelled) *cancelled = true;
      break;
    }
  }
  return out;
}

LocalValues localValues(double v, float mean, float sd) {
  LocalValues l{NULL_VALUE, NULL_VALUE, NULL_VALUE};
  if (!std::isfinite(v) || mean == NULL_VALUE) return l;
  const double m = mean;
  l.difference = static_cast<float>(v - m);
  if (m != 0) l.ratio = static_cast<float>(v / m);
  if (sd != NULL_VALUE && sd > 0) l.zscore = static_cast<float>((v - m) / static_cast<double>(sd));
  return l;
}

std::array<std::string, 7> neighbourFieldNames(const std::string& element) {
  return {element + "_M", element + "_Md", element + "_S", element + "_N",
          element + "_D", element + "_R",  element + "_Z"};
}

double proposedNeighbourRadius(Database& db, const std::string& table, const std::string& xField,
                               const std::string& yField, int count) {
  if (xField.empty() || yField.empty() || count < 1) return 0;
  try {
    const std::string x = bracket(xField), y = bracket(yField);
    Cursor c =
        db.query("Select Count(*),Min(" + x + "),Max(" + x + "),Min(" + y + "),Max(" + y +
                 ") From " + bracket(table) + " Where " + x + " > -1E+30 And " + y + " > -1E+30");
    if (!c.next() || c.isNull(1)) return 0;
    const double n = c.getDouble(0);
    const double w = c.getDouble(2) - c.getDouble(1), h = c.getDouble(4) - c.getDouble(3);
    double area = w * h;
    if (!(area > 0)) area = std::max(w, h) * std::max(w, h);
    if (!(n > 1 && area > 0)) return 0;
    const double r = std::sqrt(area * count / (n * 3.141592653589793));
    const double scale = std::pow(10.0, std::floor(std::log10(r)) - 1);
    return std::round(r / scale) * scale;
  } catch (const StoreError&) {
    return 0;
  }
}

Outcome checkNeighbourJob(const NeighbourJob& job) {
  if (job.xField.empty() || job.yField.empty()) return Outcome::failure(kMsgChooseCoordinates);
  if (job.valueField.empty()) return Outcome::failure(kMsgChooseValueItem);
  const NeighbourSearch& s = job.search;
  if (s.mode == NeighbourMode::Radius && !(s.radius > 0 && std::isfinite(s.radius)))
    return Outcome::failure(kMsgBadRadius);
  if (s.mode == NeighbourMode::Nearest && (s.count < 1 || s.count > kMaxNeighbourCount))
    return Outcome::failure(kMsgBadNeighbourCount);
  if (s.minCount < 1 || (s.mode == NeighbourMode::Nearest && s.minCount > s.count))
    return Outcome::failure(kMsgBadMinCount);
  if (job.newTable.empty()) return Outcome::failure(kMsgNoResultTable);
  if (sameName(job.newTable, job.table)) return Outcome::failure(kMsgResultIsSource);
  return Outcome::success();
}

Outcome runNeighbourAnalysis(Database& db, const NeighbourJob& job, Interaction& ui,
                             Progress& progress) {
  if (Outcome o = checkNeighbourJob(job); !o) return o;
  std::vector<FieldDef> source;
  std::vector<double> x, y, v;
  try {
    source = db.fields(job.table);
    for (const std::string& f : {job.xField, job.yField, job.valueField})
      if (!hasName(source, f)) return Outcome::failure("数据表中没有数据项: " + f);
    Cursor c = db.query("Select " + bracket(job.xField) + "," + bracket(job.yField) + "," +
                        bracket(job.valueField) + " From " + bracket(job.table));
    while (c.next()) {
      x.push_back(dataOrNaN(c, 0));
      y.push_back(dataOrNaN(c, 1));
      v.push_back(dataOrNaN(c, 2));
    }
  } catch (const StoreError& e) {
    return Outcome::failure(e.what());
  }
  bool any = false;
  for (std::size_t i = 0; i < x.size() && !any; ++i)
    any = std::isfinite(x[i]) && std::isfinite(y[i]) && std::isfinite(v[i]);
  if (!any) return Outcome::failure(kMsgNoValidSamples);

  bool cancelled = false;
  const NeighbourStats stats =
      neighbourStatistics(x, y, v, job.search, progress, job.threads, &cancelled);
  if (cancelled) return Outcome::failure(kMsgCancelled);

  const std::array<std::string, 7> names = neighbourFieldNames(job.valueField);
  std::vector<FieldDef> defs;
  std::vector<int> copied;  // source column of each copied field
  for (std::size_t j = 0; j < source.size(); ++j) {
    bool replaced = false;
    for (const std::string& nm : names) replaced = replaced || sameName(nm, source[j].name);
    if (replaced) continue;
    defs.push_back(source[j]);
    copied.push_back(static_cast<int>(j));
  }
  for (std::size_t k = 0; k < names.size(); ++k)
    defs.push_back({names[k], k == 3 ? JetType::Long : JetType::Single, 0});
  std::vector<std::string> columns;
  for (const FieldDef& f : defs) columns.push_back(f.name);

  try {
    db.begin();
    const Registration how{
        kNeighbourOrigin, kNeighbourNote, OverwriteRule::Ask, kMsgNeighbourOverwrite, "", false};
    if (registerTable(db, job.newTable, how, ui) == RegisterResult::Declined) {
      db.rollback();
      return Outcome::failure("");
    }
    db.createTable(job.newTable, defs);
    TableWriter w(db, job.newTable, columns);
    Cursor c = db.query("Select * From " + bracket(job.table));
    const int first = static_cast<int>(copied.size());
    std::size_t i = 0;
    progress.setMaximum(static_cast<std::int64_t>(x.size()));
    while (c.next() && i < x.size()) {
      for (int k = 0; k < first; ++k) w.set(k, c.get(copied[static_cast<std::size_t>(k)]));
      const LocalValues l = localValues(v[i], stats.mean[i], stats.sd[i]);
      w.setDouble(first + 0, stats.mean[i]);
      w.setDouble(first + 1, stats.median[i]);
      w.setDouble(first + 2, stats.sd[i]);
      w.setInt(first + 3, stats.count[i]);
      w.setDouble(first + 4, l.difference);
      w.setDouble(first + 5, l.ratio);
      w.setDouble(first + 6, l.zscore);
      w.addRow();
      if (++i % kBlock == 0) {
        progress.setValue(static_cast<std::int64_t>(i));
        if (!progress.pump()) throw StoreError(kMsgCancelled);
      }
    }
    w.commit();
    db.commit();
  } catch (const StoreError& e) {
    try {
      db.rollback();
    } catch (const StoreError&) {
    }
    return Outcome::failure(std::string(kMsgCreateTableFailed) + e.what());
  }
  progress.setValue(0);
  return Outcome::success(kMsgNeighbourDone + job.newTable);
}

}  // namespace sarnoth::geochem
