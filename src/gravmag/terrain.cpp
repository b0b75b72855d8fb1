#include "gravmag/terrain.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "gravmag/prism.h"
#include "prep/parallel_rows.h"
#include "workarea/grid_gdal.h"
#include "workarea/null_value.h"
#include "workarea/table_store.h"
#include "workarea/work_area.h"

namespace sarnoth::gravmag {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr int kHammerZones = 12;
// Sampling of a Hammer compartment: points about half a cell apart, within these counts.
constexpr int kMinRadialSamples = 2, kMaxRadialSamples = 8;
constexpr int kMinAngularSamples = 2, kMaxAngularSamples = 16;
// Stations between two looks at the progress.
constexpr int kStationBlock = 256;

bool isData(float v) { return !isNullValue(v); }

// Distance from (x, y) to the nearest and farthest points of a rectangle.
void rectDistances(double x, double y, double x1, double x2, double y1, double y2, double& dmin,
                   double& dmax) {
  const double ex = std::max({x1 - x, 0.0, x - x2}), ey = std::max({y1 - y, 0.0, y - y2});
  dmin = std::hypot(ex, ey);
  dmax = std::hypot(std::max(std::fabs(x - x1), std::fabs(x - x2)),
                    std::max(std::fabs(y - y1), std::fabs(y - y2)));
}

}  // namespace

double defaultInnerRadius(double dx, double dy) {
  const double want = 3.0 * std::max(dx, dy);
  for (double r : kHammerRadii)
    if (r >= want) return r;
  return kHammerRadii[kHammerZones];
}

TerrainModel::TerrainModel(Grid dem) : dem_(std::move(dem)) {
  const int nx = dem_.header.nx, ny = dem_.header.ny;
  if (nx <= 0 || ny <= 0) return;
  // Level 1 from the cells, then each level from the one below (moments by the parallel-axis
  // rule: the variance of a union is the mean of (variance + mean²) less the union's mean²).
  int cols = nx, rows = ny;
  while (cols > 1 || rows > 1) {
    Level up;
    up.cols = (cols + 1) / 2;
    up.rows = (rows + 1) / 2;
    const std::size_t n = static_cast<std::size_t>(up.cols) * static_cast<std::size_t>(up.rows);
    up.count.assign(n, 0);
    up.mean.assign(n, 0.0);
    up.variance.assign(n, 0.0f);
    std::vector<double> second(n, 0.0);
    const Level* below = levels_.empty() ? nullptr : &levels_.back();
    for (int r = 0; r < rows; ++r)
      for (int c = 0; c < cols; ++c) {
        const std::size_t j = static_cast<std::size_t>(r / 2) * up.cols + c / 2;
        const std::size_t i = static_cast<std::size_t>(r) * cols + c;
        if (!below) {
          const float v = dem_.nodes[i];
          if (!isData(v)) continue;
          up.count[j] += 1;
          up.mean[j] += v;
          second[j] += double(v) * v;
        } else {
          const std::int32_t k = below->count[i];
          if (!k) continue;
          const double m = below->mean[i];
          up.count[j] += k;
          up.mean[j] += k * m;
          second[j] += k * (below->variance[i] + m * m);
        }
      }
    for (std::size_t j = 0; j < n; ++j) {
      if (!up.count[j]) continue;
      up.mean[j] /= up.count[j];
      const double var = second[j] / up.count[j] - up.mean[j] * up.mean[j];
      up.variance[j] = static_cast<float>(std::max(0.0, var));
    }
    cols = up.cols;
    rows = up.rows;
    levels_.push_back(std::move(up));
  }
  top_ = static_cast<int>(levels_.size());
}

double TerrainModel::elevationAt(double x, double y) const {
  const GridHeader& g = dem_.header;
  if (g.nx <= 0 || g.ny <= 0) return kNaN;
  const double fc = (x - g.x0) / g.dx, fr = (y - g.y0) / g.dy;
  const double eps = 1e-9;
  if (fc < -eps || fr < -eps || fc > g.nx - 1 + eps || fr > g.ny - 1 + eps) return kNaN;
  const int c0 = std::clamp(static_cast<int>(std::floor(fc)), 0, std::max(0, g.nx - 2));
  const int r0 = std::clamp(static_cast<int>(std::floor(fr)), 0, std::max(0, g.ny - 2));
  const double tc = std::clamp(fc - c0, 0.0, 1.0), tr = std::clamp(fr - r0, 0.0, 1.0);
  double s = 0, w = 0;
  for (int a = 0; a < 2; ++a)
    for (int b = 0; b < 2; ++b) {
      const int r = std::min(r0 + a, g.ny - 1), c = std::min(c0 + b, g.nx - 1);
      const double wt = (a ? tr : 1 - tr) * (b ? tc : 1 - tc);
      const float v = dem_.at(r, c);
      if (wt <= 0 || !isData(v)) continue;
      s += wt * v;
      w += wt;
    }
  return w > 0 ? s / w : kNaN;
}

double TerrainModel::hammer(double x, double y, double hs, const TerrainParams& p) const {
  const double cell = std::min(dem_.header.dx, dem_.header.dy);
  const double twoPiGRho = 2.0 * kPi * kGravityMgalPerMetre * p.density;
  const double limit = std::min(p.innerRadius, p.outerRadius);
  double total = 0;
  for (int z = 0; z < kHammerZones; ++z) {
    const double r1 = kHammerRadii[z];
    if (r1 >= limit) break;
    const double r2 = std::min(kHammerRadii[z + 1], limit);
    const int n = kHammerCompartments[z];
    const int nr = std::clamp(static_cast<int>(std::ceil((r2 - r1) / (0.5 * cell))),
                              kMinRadialSamples, kMaxRadialSamples);
    const double arc = 2.0 * kPi * 0.5 * (r1 + r2) / n;
    const int na = std::clamp(static_cast<int>(std::ceil(arc / (0.5 * cell))), kMinAngularSamples,
                              kMaxAngularSamples);
    for (int k = 0; k < n; ++k) {
      double s = 0;
      int m = 0;
      for (int i = 0; i < nr; ++i) {
        // Radii that split the compartment into equal areas.
        const double r = std::sqrt(r1 * r1 + (i + 0.5) / nr * (r2 * r2 - r1 * r1));
        for (int j = 0; j < na; ++j) {
          const double a = 2.0 * kPi * (k + (j + 0.5) / na) / n;
          const double e = elevationAt(x + r * std::cos(a), y + r * std::sin(a));
          if (std::isnan(e)) continue;
          s += e;
          ++m;
        }
      }
      if (!m) continue;  // no ground known: level with the station
      const double h = s / m - hs;
      if (h == 0) continue;  // level ground: exactly nothing
      total += twoPiGRho / n * (r2 - r1 + std::sqrt(r1 * r1 + h * h) - std::sqrt(r2 * r2 + h * h));
    }
  }
  return total;
}

double TerrainModel::prisms(double x, double y, double hs, const TerrainParams& p) const {
  const GridHeader& g = dem_.header;
  const double dx = g.dx, dy = g.dy, cellArea = dx * dy;
  const double rIn = p.innerRadius, rOut = p.outerRadius;
  struct Block {
    int level, r, c;
  };
  std::vector<Block> stack;
  stack.push_back({top_, 0, 0});
  double total = 0;
  while (!stack.empty()) {
    const Block b = stack.back();
    stack.pop_back();
    if (b.level == 0) {
      const float v = dem_.at(b.r, b.c);
      if (!isData(v)) continue;
      const double cx = g.x0 + b.c * dx - x, cy = g.y0 + b.r * dy - y;
      const double R = std::hypot(cx, cy);
      if (R < rIn || R >= rOut) continue;
      const double dz = hs - v;  // depth of the cell's top below the station (negative: above)
      if (dz == 0) continue;
      if (R >= kFarRatio * std::max(dx, dy))
        total += std::fabs(columnGz(cx, cy, dx, dy, 0.0, dz, p.density));
      else
        total += std::fabs(prismGz(cx - 0.5 * dx, cx + 0.5 * dx, cy - 0.5 * dy, cy + 0.5 * dy,
                                   std::min(0.0, dz), std::max(0.0, dz), p.density));
      continue;
    }
    const int span = 1 << b.level;
    const int c0 = b.c * span, r0 = b.r * span;
    const int c1 = std::min(g.nx, c0 + span), r1 = std::min(g.ny, r0 + span);
    const double x1 = g.x0 + (c0 - 0.5) * dx - x, x2 = g.x0 + (c1 - 0.5) * dx - x;
    const double y1 = g.y0 + (r0 - 0.5) * dy - y, y2 = g.y0 + (r1 - 0.5) * dy - y;
    double dmin, dmax;
    rectDistances(0, 0, x1, x2, y1, y2, dmin, dmax);
    if (dmin >= rOut || dmax < rIn) continue;
    const Level& lv = levels_[static_cast<std::size_t>(b.level - 1)];
    const std::size_t j = static_cast<std::size_t>(b.r) * lv.cols + b.c;
    if (!lv.count[j]) continue;
    const double R = std::hypot(0.5 * (x1 + x2), 0.5 * (y1 + y2));
    const double size = std::max(x2 - x1, y2 - y1);
    if (dmin >= rIn && R >= kFarRatio * size) {
      // A far block belongs to the ring by its centre, as a cell does: splitting the blocks
      // that straddle the outer circle would cost more than the rest of the ring together.
      if (R >= rOut) continue;
      const double d = lv.mean[j] - hs;
      const double h2 = lv.variance[j] + d * d;
      if (h2 > 0) {
        // The block's column over its footprint, scaled to the area its cells hold.
        const double wx = x2 - x1, wy = y2 - y1;
        total += lv.count[j] * cellArea / (wx * wy) *
                 columnGz(0.5 * (x1 + x2), 0.5 * (y1 + y2), wx, wy, 0.0, std::sqrt(h2), p.density);
      }
      continue;
    }
    // Split: the children of the level below that exist.
    const int lc = b.level == 1 ? g.nx : levels_[static_cast<std::size_t>(b.level - 2)].cols;
    const int lr = b.level == 1 ? g.ny : levels_[static_cast<std::size_t>(b.level - 2)].rows;
    for (int a = 0; a < 2; ++a)
      for (int e = 0; e < 2; ++e) {
        const int rr = 2 * b.r + a, cc = 2 * b.c + e;
        if (rr < lr && cc < lc) stack.push_back({b.level - 1, rr, cc});
      }
  }
  return total;
}

TerrainModel::Parts TerrainModel::correction(double x, double y, double hs,
                                             const TerrainParams& p) const {
  Parts parts;
  if (dem_.header.nx <= 0 || dem_.header.ny <= 0) return parts;
  parts.hammer = hammer(x, y, hs, p);
  parts.prisms = prisms(x, y, hs, p);
  return parts;
}

std::vector<double> terrainCorrections(const TerrainModel& model, std::span<const double> x,
                                       std::span<const double> y, std::span<const double> h,
                                       const TerrainParams& p, int threads, Progress& progress,
                                       bool* stopped) {
  if (stopped) *stopped = false;
  const int n = static_cast<int>(std::min({x.size(), y.size(), h.size()}));
  std::vector<double> tc(static_cast<std::size_t>(n), kNaN);
  progress.setMaximum(n);
  for (int b0 = 0; b0 < n; b0 += kStationBlock) {
    const int b1 = std::min(n, b0 + kStationBlock);
    detail::forRowBands(
        b1 - b0,
        [&](int s0, int s1, int) {
          for (int i = b0 + s0; i < b0 + s1; ++i) {
            const auto k = static_cast<std::size_t>(i);
            if (!std::isfinite(x[k]) || !std::isfinite(y[k]) || !std::isfinite(h[k])) continue;
            tc[k] = model.correction(x[k], y[k], h[k], p).total();
          }
        },
        1, threads);
    progress.setValue(b1);
    if (!progress.pump()) {
      if (stopped) *stopped = true;
      break;
    }
  }
  return tc;
}

// ------------------------------------------------------------------------------ the tool's job

Outcome readElevationModel(const std::string& path, Grid& out) {
  GridReadResult head = readGridHeader(path);
  if (head.ok() || head.error == GridError::Truncated || head.error == GridError::BadHeader) {
    GridReadResult r = readGrid(path);
    if (!r.ok()) return Outcome::failure(std::string(kMsgTrrBadDem) + gridErrorDetail(r.error));
    out = std::move(r.grid);
  } else {
    std::string detail;
    if (readGdalRaster(path, out, &detail) != kGridOk)
      return Outcome::failure(std::string(kMsgTrrBadDem) + (detail.empty() ? path : detail));
  }
  const GridHeader& g = out.header;
  if (g.angle != 0) return Outcome::failure(kMsgTrrRotatedDem);
  if (!(g.dx > 0 && g.dy > 0 && std::isfinite(g.dx) && std::isfinite(g.dy)))
    return Outcome::failure(std::string(kMsgTrrBadDem) + "网格距不正确");
  return Outcome::success();
}

namespace {

int fieldAt(const std::vector<FieldDef>& fields, const std::string& name) {
  for (std::size_t i = 0; i < fields.size(); ++i)
    if (fields[i].name == name) return static_cast<int>(i);
  return -1;
}

double cellValue(const Recordset& rs, int col) {
  if (col < 0) return kNaN;
  const Value& v = rs.value(col);
  if (isNull(v)) return kNaN;
  const double d = valueToDouble(v);
  return isNullValue(d) || !std::isfinite(d) ? kNaN : d;
}

std::string trimmed(const std::string& s) {
  const auto b = s.find_first_not_of(' '), e = s.find_last_not_of(' ');
  return b == std::string::npos ? std::string() : s.substr(b, e - b + 1);
}

}  // namespace

TerrainRunResult runTerrainCorrection(Database& db, const TerrainJob& job, Interaction& ui,
                                      Progress& progress) {
  TerrainRunResult res;
  auto fail = [&](const std::string& text) {
    res.outcome = Outcome::failure(text);
    return res;
  };
  const std::string tcField = trimmed(job.tcField), cbaField = trimmed(job.cbaField);
  if (job.table.empty() || !db.tableExists(job.table)) return fail(kMsgTrrNoTable);
  if (job.xField.empty()) return fail(kMsgTrrNoX);
  if (job.yField.empty()) return fail(kMsgTrrNoY);
  if (job.demPath.empty()) return fail(kMsgTrrNoDem);
  const TerrainParams& p = job.params;
  if (!(p.density > 0 && std::isfinite(p.density))) return fail(kMsgTrrBadDensity);
  if (!(p.innerRadius >= 0 && p.outerRadius > p.innerRadius && std::isfinite(p.outerRadius)))
    return fail(kMsgTrrBadRadii);
  if (tcField.empty() || (!job.bouguerField.empty() && cbaField.empty()) || tcField == cbaField)
    return fail(kMsgTrrNoField);

  bool inTransaction = false;
  try {
    const std::vector<FieldDef> fields = db.fields(job.table);
    for (const std::string* f :
         {&job.xField, &job.yField, &job.elevationField, &job.bouguerField}) {
      if (f->empty()) continue;
      const int i = fieldAt(fields, *f);
      if (i < 0 || !fields[static_cast<std::size_t>(i)].isNumeric())
        return fail(kMsgTrrNotNumeric + *f);
    }
    Grid dem;
    if (Outcome o = readElevationModel(job.demPath, dem); !o) return fail(o.message);
    const TerrainModel model(std::move(dem));

    // The stations, in the table's record order.
    std::vector<double> xs, ys, hs, ba;
    {
      Recordset rs = Recordset::openTable(db, job.table);
      const int cx = rs.fieldIndex(job.xField), cy = rs.fieldIndex(job.yField);
      const int ch = job.elevationField.empty() ? -1 : rs.fieldIndex(job.elevationField);
      const int cb = job.bouguerField.empty() ? -1 : rs.fieldIndex(job.bouguerField);
      for (rs.moveFirst(); !rs.eof(); rs.moveNext()) {
        const double x = cellValue(rs, cx), y = cellValue(rs, cy);
        xs.push_back(x);
        ys.push_back(y);
        hs.push_back(ch >= 0 ? cellValue(rs, ch) : model.elevationAt(x, y));
        ba.push_back(cellValue(rs, cb));
      }
    }
    res.stations = static_cast<std::int64_t>(xs.size());

    // The new fields, with the question where one exists.
    std::vector<std::string> targets{tcField};
    if (!job.bouguerField.empty()) targets.push_back(cbaField);
    for (const std::string& f : targets)
      if (fieldAt(fields, f) >= 0 && ui.ask(kTitle, "字段 " + f + " 已存在, 是否覆盖其中的数据?",
                                            Buttons::YesNo) != Answer::Yes)
        return fail({});

    bool stopped = false;
    const std::vector<double> tc =
        terrainCorrections(model, xs, ys, hs, p, job.threads, progress, &stopped);
    if (stopped) {
      res.cancelled = true;
      return fail({});
    }

    for (const std::string& f : targets)
      if (fieldAt(fields, f) < 0)
        db.execute("Alter Table " + bracket(job.table) + " Add Column " + bracket(f) + " Single");
    Recordset rs = Recordset::openTable(db, job.table);
    const int ct = rs.fieldIndex(tcField);
    const int cc = job.bouguerField.empty() ? -1 : rs.fieldIndex(cbaField);
    bool first = true;
    db.begin();
    inTransaction = true;
    std::size_t k = 0;
    for (rs.moveFirst(); !rs.eof() && k < tc.size(); rs.moveNext(), ++k) {
      const bool ok = std::isfinite(tc[k]);
      rs.edit();
      rs.set(ct, ok ? tc[k] : NULL_VALUE_D);
      if (cc >= 0) rs.set(cc, ok && std::isfinite(ba[k]) ? ba[k] + tc[k] : NULL_VALUE_D);
      rs.update();
      if (!ok) continue;
      ++res.corrected;
      res.minTc = first ? tc[k] : std::min(res.minTc, tc[k]);
      res.maxTc = first ? tc[k] : std::max(res.maxTc, tc[k]);
      first = false;
    }
    db.commit();
    inTransaction = false;
  } catch (const StoreError& e) {
    if (inTransaction) db.rollback();
    return fail(e.what());
  }
  res.outcome = Outcome::success(kMsgTrrDone);
  return res;
}

std::string terrainReport(const TerrainRunResult& r) {
  char b[200];
  std::snprintf(b, sizeof b, "测点数: %lld, 完成改正: %lld, 改正值: %.4f ~ %.4f mGal",
                static_cast<long long>(r.stations), static_cast<long long>(r.corrected), r.minTc,
                r.maxTc);
  return b;
}

}  // namespace sarnoth::gravmag
