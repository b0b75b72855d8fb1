#include "prep/gridding.h"

#include <sys/mman.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <set>
#include <thread>

#include "closed/fractal_proc.h"
#include "prep/parallel_rows.h"
#include "workarea/null_value.h"
#include "workarea/path_resolver.h"
#include "workarea/work_area.h"

namespace sarnoth {

// ---- lists and settings
// --------------------------------------------------------------------------

const std::vector<std::string>& gridMethodCaptions() {
  static const std::vector<std::string> v{"最近点",   "平均值", "中位数",    "距离倒数加权",
                                          "指数加权", "累加",   "克里格插值"};
  return v;
}

const std::vector<std::string>& krigingKindCaptions() {
  static const std::vector<std::string> v{"普通克里格", "泛克里格", "对数正态克里格",
                                          "三参数对数正态克里格", "指示克里格"};
  return v;
}

const std::vector<std::string>& driftCaptions() {
  static const std::vector<std::string> v{"X方向一次漂移", "Y方向一次漂移", "X,Y方向一次漂移",
                                          "X方向二次漂移", "Y方向二次漂移", "X,Y方向二次漂移"};
  return v;
}

const std::vector<std::string>& sectorCaptions() {
  static const std::vector<std::string> v{"4", "8", "16", "32"};
  return v;
}

std::optional<float> methodDefaultParameter(GridMethod m) {
  switch (m) {
    case GridMethod::InverseDistance:
      return 2.0f;
    case GridMethod::Exponential:
      return 5.0f;
    case GridMethod::Kriging:
      return 6.0f;
    default:
      return std::nullopt;
  }
}

std::optional<std::vector<float>> parseKrigingParams(const std::string& text) {
  std::vector<float> out;
  if (text.find_first_not_of(" \t") == std::string::npos) return out;
  std::size_t at = 0;
  for (;;) {
    std::size_t comma = text.find(',', at);
    std::string item = text.substr(at, comma == std::string::npos ? std::string::npos : comma - at);
    // An item is a whole number text, blanks around it allowed; "abc", "" and "2x" are not.
    std::size_t b = item.find_first_not_of(" \t"), e = item.find_last_not_of(" \t");
    if (b == std::string::npos) return std::nullopt;
    item = item.substr(b, e - b + 1);
    char* end = nullptr;
    float v = std::strtof(item.c_str(), &end);
    if (end == item.c_str() || *end != '\0' || !std::isfinite(v)) return std::nullopt;
    out.push_back(v);
    if (comma == std::string::npos) break;
    at = comma + 1;
  }
  return out;
}

void GriddingSettings::onMethodSelected(GridMethod m) {
  maxNodePoints = 6;
  minNodePoints = 3;
  if (m == GridMethod::Sum) minNodePoints = 1;
}

// ---- geometry
// ------------------------------------------------------------------------------------

std::optional<int> gridCount(float min, float max, float spacing) {
  if (!(spacing > 0)) return std::nullopt;
  float q = (max - min) / spacing;
  double n = std::trunc(static_cast<double>(q) + 1.9999);
  if (!(n >= -32768 && n <= 32767)) return std::nullopt;
  return static_cast<int>(n);
}

float adjustedBound(float min, float spacing, int count) {
  return min + spacing * static_cast<float>(count - 1);
}

namespace {

std::string format2(double v) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.2f", v);
  return buf;
}

}  // namespace

AxisExtentResult autoAxisExtent(Database& db, const std::string& table, const std::string& field) {
  AxisExtentResult res;
  try {
    const std::string f = bracket(field);
    Cursor c = db.query("Select MIN(" + f + "),MAX(" + f + ") From " + bracket(table) + " Where " +
                        f + " <> -1E+38");
    if (!c.next() || c.isNull(0) || c.isNull(1)) {
      res.outcome = Outcome::failure(kMsgNoCoordinateData);
      return res;
    }
    AxisExtent& e = res.extent;
    e.minText = format2(c.getDouble(0));
    e.maxText = format2(c.getDouble(1));
    e.min = std::strtof(e.minText.c_str(), nullptr);
    e.max = std::strtof(e.maxText.c_str(), nullptr);
    e.spacing = c.getDouble(0) > 100000 ? 2000.0f : 2.0f;
    auto n = gridCount(e.min, e.max, e.spacing);
    if (!n) {
      res.outcome = Outcome::failure(kMsgGriddingFailed);
      return res;
    }
    e.count = *n;
    e.just = e.min + e.spacing * static_cast<float>(e.count - 1);
  } catch (const StoreError& err) {
    res.outcome = Outcome::failure(err.what());
  }
  return res;
}

FieldMaximumResult fieldMaximum(Database& db, const std::string& table, const std::string& field) {
  FieldMaximumResult res;
  try {
    const std::string f = bracket(field);
    Cursor c =
        db.query("Select MAX(" + f + ") From " + bracket(table) + " Where " + f + " <> -1E+38");
    if (c.next() && !c.isNull(0)) res.maximum = c.getFloat(0);
  } catch (const StoreError& err) {
    res.outcome = Outcome::failure(err.what());
  }
  return res;
}

AxisEdit editAxis(bool xAxis, AxisBox edited, const AxisBoxes& b) {
  AxisEdit e;
  if (!b.spacing) return e;
  const float spacing = *b.spacing;
  auto recompute = [&]() -> bool {
    if (!b.low || !b.high) return false;
    auto n = gridCount(*b.low, *b.high, spacing);
    if (!n) return false;
    e.count = *n;
    e.just = static_cast<float>(*n - 1) * spacing + *b.low;
    return true;
  };
  switch (edited) {
    case AxisBox::Low:
    case AxisBox::High:
      if (spacing > 0)
        recompute();
      else
        e.spacingMessage = true;
      break;
    case AxisBox::Spacing:
      if (spacing > 0) {
        if (!recompute()) return {};
      } else if (!xAxis) {
        e.spacingMessage = true;
      }
      if (xAxis) e.radius = 2.5f * spacing;
      break;
    case AxisBox::Count:
      if (spacing > 0 && b.count && *b.count >= 2 && b.low)
        e.just = adjustedBound(*b.low, spacing, *b.count);
      break;
  }
  return e;
}

FieldChoice chooseGridFields(const std::vector<FieldDef>& fields) {
  FieldChoice fc;
  if (fields.size() < 3) {
    fc.outcome = Outcome::failure(kMsgFewFields);
    return fc;
  }
  int xi = 0, yi = 0;
  for (const auto& f : fields) {
    if (!f.isNumeric()) continue;
    int pos = static_cast<int>(fc.numericFields.size());
    if (f.name == "横坐标" || f.name == "工作横坐标") xi = pos;
    if (f.name == "纵坐标" || f.name == "工作纵坐标") yi = pos;
    fc.numericFields.push_back(f.name);
  }
  if (fc.numericFields.size() < 3) {
    fc.numericFields.clear();
    fc.outcome = Outcome::failure(kMsgNotGriddable);
    return fc;
  }
  if (xi == yi) {
    fc.x = 0;
    fc.y = 1;
    fc.value = 2;
  } else {
    fc.x = xi;
    fc.y = yi;
    fc.value = yi + 1 < static_cast<int>(fc.numericFields.size()) ? yi + 1 : 0;
  }
  return fc;
}

// ---- points from a table
// -------------------------------------------------------------------------

TablePointSource::TablePointSource(Database& db, const std::string& table, const std::string& x,
                                   const std::string& y, const std::string& v)
    : reader_(std::make_unique<TableReader>(db, table, std::vector<std::string>{x, y, v})) {}

TablePointSource::TablePointSource(const std::string& storePath, const std::string& table,
                                   const std::string& x, const std::string& y, const std::string& v)
    : reader_(std::make_unique<TableReader>(storePath, table, std::vector<std::string>{x, y, v})) {}

TablePointSource::~TablePointSource() = default;

std::int64_t TablePointSource::count() { return reader_->rowCount(); }

bool TablePointSource::next(ScatterPoint& p) { return nextBlock(&p, 1) == 1; }

std::size_t TablePointSource::nextBlock(ScatterPoint* out, std::size_t max) {
  static_assert(sizeof(ScatterPoint) == 3 * sizeof(float));
  return reader_->readFloats(reinterpret_cast<float*>(out), max);
}

// ---- the sector rule of the azimuth search

namespace {

// Floats in their numeric order as unsigned keys (-0 just below +0).
std::uint32_t orderKey(float f) {
  std::uint32_t u = floatBits(f);
  return (u & 0x80000000u) ? ~u : (u | 0x80000000u);
}

float fromKey(std::uint32_t k) {
  std::uint32_t u = (k & 0x80000000u) ? (k & 0x7FFFFFFFu) : ~k;
  float f;
  std::memcpy(&f, &u, sizeof f);
  return f;
}

}  // namespace

SectorRule::SectorRule(int sectors)
    : sectors_(sectors), width_(360.0f / static_cast<float>(sectors)) {
  // Three pieces on which the sector never falls as t = sy/sx rises: sx > 0 with t < 0 (the
  // angle gets 360 added), sx > 0 with t from -0 up, and sx < 0 (180 added).
  const std::uint32_t kNegInf = orderKey(-INFINITY), kPosInf = orderKey(INFINITY);
  const std::uint32_t kNegZero = orderKey(-0.0f);
  const struct {
    std::uint32_t lo, hi;
    bool sxPositive;
  } spans[3] = {
      {kNegInf, kNegZero - 1, true}, {kNegZero, kPosInf, true}, {kNegInf, kPosInf, false}};
  for (int p = 0; p < 3; ++p) {
    Piece& piece = pieces_[p];
    auto at = [&](std::uint32_t k) {
      // sx = ±1 with sy chosen so that sy / sx is the key's float exactly
      return spans[p].sxPositive ? direct(1.0f, fromKey(k)) : direct(-1.0f, -fromKey(k));
    };
    piece.base = at(spans[p].lo);
    const int top = at(spans[p].hi);
    for (int j = piece.base + 1; j <= top; ++j) {
      // The smallest key whose sector reaches j.
      std::uint32_t lo = spans[p].lo, hi = spans[p].hi;
      while (lo < hi) {
        std::uint32_t mid = lo + (hi - lo) / 2;
        if (at(mid) >= j)
          hi = mid;
        else
          lo = mid + 1;
      }
      piece.start.push_back(lo);
    }
  }
}

int SectorRule::direct(float sx, float sy) const {
  float angle = static_cast<float>(std::atan(static_cast<double>(sy / sx)) * 180.0 / 3.14159);
  if (!(sx > 0))
    angle += 180.0f;
  else if (angle < 0)
    angle += 360.0f;
  int s = 0;
  if (angle >= 0.001f)
    s = static_cast<int>(std::floor((static_cast<double>(angle) - 0.001) / width_));
  return std::clamp(s, 0, sectors_ - 1);
}

int SectorRule::lookup(float sx, float sy) const {
  const float t = sy / sx;
  const std::uint32_t k = orderKey(t);
  const Piece& piece = sx > 0 ? pieces_[k < orderKey(-0.0f) ? 0 : 1] : pieces_[2];
  int s = piece.base;
  for (std::uint32_t start : piece.start) {
    if (k < start) break;
    ++s;
  }
  return s;
}

// ---- the computations
// ----------------------------------------------------------------------------

namespace {

// A run that the tool's error handler ends.
struct RunFailure {
  std::string message;
};

// Fix(v) into a 32-bit integer, as the window bounds take it; a value out of range (a null
// coordinate) is the tool's overflow.
long fixToLong(double v) {
  double t = std::trunc(v);
  if (!(t >= -2147483648.0 && t <= 2147483647.0)) throw RunFailure{kMsgGriddingFailed};
  return static_cast<long>(t);
}

struct Window {
  long rowLo, rowHi, colLo, colHi;
};

// The search window of a reduced point, clipped to the grid (7d).
Window searchWindow(float x, float y, float rx, float ry, const GridGeometry& g) {
  Window w;
  w.rowLo = fixToLong(static_cast<double>((y - ry) / g.dy) + 0.99);
  w.rowHi = fixToLong(static_cast<double>((y + ry) / g.dy));
  w.colLo = fixToLong(static_cast<double>((x - rx) / g.dx) + 0.99);
  w.colHi = fixToLong(static_cast<double>((x + rx) / g.dx));
  if (w.rowLo < 0) w.rowLo = 0;
  if (w.colLo < 0) w.colLo = 0;
  if (w.rowHi > g.rows - 1) w.rowHi = g.rows - 1;
  if (w.colHi > g.columns - 1) w.colHi = g.columns - 1;
  return w;
}

// Division as the tool's single arithmetic does it: a zero divisor fails the run.
float divide(float a, float b) {
  if (b == 0) throw RunFailure{kMsgGriddingFailed};
  return a / b;
}

// A run shows its progress and lets window events through every 100 ms at least, on a table
// of any size; the clock is looked at every few records, not on each. A pump that answers
// "stop" ends the run without a message.
class Pacer {
 public:
  static constexpr std::chrono::milliseconds kInterval{100};
  explicit Pacer(Progress& progress) : progress_(progress), last_(Clock::now()) {}
  void tick(std::int64_t value) {
    const Clock::time_point now = Clock::now();
    if (now - last_ < kInterval) return;
    progress_.setValue(value);
    if (!progress_.pump()) throw RunFailure{{}};
    last_ = Clock::now();
  }
  // The same for the worker threads' watcher: false when the user asked to stop.
  bool watch(std::int64_t value) {
    progress_.setValue(value);
    return progress_.pump();
  }

 private:
  using Clock = std::chrono::steady_clock;
  Progress& progress_;
  Clock::time_point last_;
};

// ---- the point-driven accumulation, on row bands of nodes
//
// Each worker thread owns a band of node rows and visits every record, in table order, for the
// nodes of its band only: a node is written by one thread and sees the records in table order,
// so its sums are accumulated in the same order as on one thread and the grid is the same bit
// for bit. The reading thread reads the next block of records while the workers scatter the
// last one, and keeps the progress and the window alive meanwhile.
//
// A record may end its scattering early, at the node where it lands exactly (nearest point,
// inverse distance) or at a node locked by an earlier exact hit (azimuth search); the nodes
// after that one, in row-by-row order, never see it. A band cannot know what happened in the
// bands before it, so the node where each record ends (`stop`) is worked out before any band
// scatters it: by the workers together where it depends on the record alone, by the reading
// thread in record order where it depends on the records before (locked nodes). Every band then
// leaves out the nodes beyond it.

constexpr std::size_t kNoStop = SIZE_MAX;
// Records read at a time. Large enough that a sub-band's nodes are written a few times over while
// they are in the cache; small enough that the reading and the scattering overlap well.
constexpr std::size_t kBlockRecords = 131072;

// A record as the workers take it: its value capped, its position reduced to the grid origin,
// its search window clipped to the grid, worked out once before the bands scatter it. A skipped
// record (a null value) has an empty window.
struct Prepared {
  float x, y, v;
  std::int32_t rowLo, rowHi, colLo, colHi;
  bool skipped() const { return rowLo > rowHi || colLo > colHi; }
  Window window() const { return {rowLo, rowHi, colLo, colHi}; }
};

Prepared preparedRecord(float x, float y, float v, float rx, float ry, const GridGeometry& g) {
  const Window w = searchWindow(x, y, rx, ry, g);
  return {x,
          y,
          v,
          static_cast<std::int32_t>(w.rowLo),
          static_cast<std::int32_t>(w.rowHi),
          static_cast<std::int32_t>(w.colLo),
          static_cast<std::int32_t>(w.colHi)};
}

constexpr Prepared kSkipped{0, 0, 0, 1, 0, 1, 0};

struct RecordBlock {
  std::vector<ScatterPoint> points;
  std::vector<Prepared> records;
  std::vector<std::size_t> stop;  // per record: the node where its scattering ends, or kNoStop
  std::size_t count = 0;
};

// The square of a reduced offset is zero only within about 3E-23 of a node, so with spacings far
// above that at most one row and one column can hold an exact hit; below it the run keeps to one
// band, where every early end happens in place.
constexpr float kExactHitSpacing = 1e-18f;

// The node (linear index) in a point's window where d is exactly 0 and the region test passes,
// in the single arithmetic of the node loops; kNoStop when there is none.
std::size_t exactHitNode(float x, float y, const Window& w, const GridGeometry& g, float rx,
                         float ry, bool circle) {
  long hitR = -1, hitC = -1;
  const double rq = std::floor(static_cast<double>(y) / g.dy);
  for (long r = std::max(w.rowLo, static_cast<long>(rq) - 1);
       r <= std::min(w.rowHi, static_cast<long>(rq) + 2); ++r) {
    const float ay = std::fabs(y - static_cast<float>(r) * g.dy);
    if (ay * ay == 0) {
      hitR = r;
      break;
    }
  }
  if (hitR < 0) return kNoStop;
  const double cq = std::floor(static_cast<double>(x) / g.dx);
  for (long c = std::max(w.colLo, static_cast<long>(cq) - 1);
       c <= std::min(w.colHi, static_cast<long>(cq) + 2); ++c) {
    const float ax = std::fabs(x - static_cast<float>(c) * g.dx);
    if (ax * ax == 0) {
      hitC = c;
      break;
    }
  }
  if (hitC < 0) return kNoStop;
  const float ax = std::fabs(x - static_cast<float>(hitC) * g.dx);
  const float ay = std::fabs(y - static_cast<float>(hitR) * g.dy);
  const float d = std::sqrt(ax * ax + ay * ay);
  if (circle ? !(d <= rx) : !(ax <= rx && ay <= ry)) return kNoStop;
  return static_cast<std::size_t>(hitR) * static_cast<std::size_t>(g.columns) +
         static_cast<std::size_t>(hitC);
}

// The bands of a run: `requested` threads (0: one per core), at least 16 rows a band; one band
// when the spacing is too fine to tell exact hits apart.
int bandCount(const GridGeometry& g, int requested) {
  if (g.dx < kExactHitSpacing || g.dy < kExactHitSpacing) return 1;
  return detail::rowThreads(g.rows, requested, 16);
}

// The rows of a sub-band: a band scatters each block of records sub-band by sub-band, so that
// the nodes it writes stay in the core's own cache (about 256 KB of them) while the records of
// the block fall all over the grid. `requested` > 0 fixes it; the whole grid when the spacing is
// too fine to tell exact hits apart, as for the bands.
long subBandRows(const GridGeometry& g, int requested, std::size_t bytesPerNode) {
  if (g.dx < kExactHitSpacing || g.dy < kExactHitSpacing) return g.rows;
  if (requested > 0) return requested;
  constexpr std::size_t kCacheBytes = 256 * 1024;
  const std::size_t rowBytes = std::max<std::size_t>(1, g.columns * bytesPerNode);
  return static_cast<long>(std::max<std::size_t>(4, kCacheBytes / rowBytes));
}

// Runs the records of `points` through visit(record, stop, rowBegin, rowEnd) on `bands` workers,
// each taking a block of records sub-band by sub-band of `subRows` rows: the records that reach a
// sub-band, in record order, then the next sub-band. A node lies in one sub-band, so it still
// sees the records in table order. prepare(point) makes the record (value, position, window)
// and, when a record's nodes are split between bands or sub-bands, stopOf(record) the node
// where it ends. When they depend on the record alone (`pure`), the workers share that work,
// each a slice of the block, and wait for each other before scattering; otherwise the reading
// thread does it, in record order. ahead(record, rowBegin, rowEnd) is called a few records
// before visit, to bring the nodes of the record's window into the cache.
template <class Prepare, class StopOf, class Ahead, class Visit>
void scatterRecords(PointSource& points, const GridGeometry& g, int bands, long subRows, bool pure,
                    Progress& progress, Prepare&& prepare, StopOf&& stopOf, Ahead&& ahead,
                    Visit&& visit) {
  subRows = std::max(1L, subRows);
  // Splitting needs the stops: a record that ends early in one piece must end in the next.
  const bool split = bands > 1 || subRows < g.rows;
  constexpr std::size_t kAhead = 12;
  RecordBlock blocks[2];
  for (auto& b : blocks) {
    b.points.resize(kBlockRecords);
    b.records.resize(kBlockRecords);
    b.stop.assign(kBlockRecords, kNoStop);
  }
  std::mutex m;
  std::condition_variable cv;
  long published = -1;  // the last block handed to the workers; guarded by m
  bool finished = false, stopping = false;
  std::atomic<bool> abandon{false};       // set with stopping: workers leave the block they are in
  int doneWorkers = 0;                    // workers done with the block `published`
  std::atomic<int> prepared[2] = {0, 0};  // workers done preparing their slice of each block
  std::exception_ptr failure;
  // Records each worker has scattered, for the progress: the slowest band is where the run is.
  std::vector<std::atomic<std::int64_t>> scattered(static_cast<std::size_t>(bands));
  for (auto& a : scattered) a.store(0, std::memory_order_relaxed);
  auto progressValue = [&] {
    std::int64_t v = INT64_MAX;
    for (const auto& a : scattered) v = std::min(v, a.load(std::memory_order_relaxed));
    return v;
  };

  auto worker = [&](int band) {
    const long rowBegin = static_cast<long>(static_cast<long long>(g.rows) * band / bands);
    const long rowEnd = static_cast<long>(static_cast<long long>(g.rows) * (band + 1) / bands);
    const long subs = std::max(1L, (rowEnd - rowBegin + subRows - 1) / subRows);
    // The records of the block that reach each sub-band, in record order.
    std::vector<std::vector<std::uint32_t>> reach(static_cast<std::size_t>(subs));
    long seen = -1;
    for (;;) {
      {
        std::unique_lock lock(m);
        cv.wait(lock, [&] { return stopping || published > seen || finished; });
        if (stopping || published == seen) return;
        seen = published;
      }
      try {
        RecordBlock& b = blocks[seen % 2];
        const std::size_t n = b.count;
        if (pure) {
          const std::size_t from = n * static_cast<std::size_t>(band) / bands;
          const std::size_t to = n * static_cast<std::size_t>(band + 1) / bands;
          for (std::size_t i = from; i < to; ++i) {
            b.records[i] = prepare(b.points[i]);
            if (split) b.stop[i] = b.records[i].skipped() ? kNoStop : stopOf(b.records[i]);
          }
          std::atomic<int>& ready = prepared[seen % 2];
          ready.fetch_add(1, std::memory_order_acq_rel);
          while (ready.load(std::memory_order_acquire) < bands) {
            if (abandon.load(std::memory_order_relaxed)) return;
            std::this_thread::yield();
          }
        }
        std::atomic<std::int64_t>& mine = scattered[static_cast<std::size_t>(band)];
        const std::int64_t base = mine.load(std::memory_order_relaxed);
        if (subs > 1) {
          for (auto& list : reach) list.clear();
          for (std::size_t i = 0; i < n; ++i) {
            const Prepared& r = b.records[i];
            if (r.skipped() || r.rowHi < rowBegin || r.rowLo >= rowEnd) continue;
            const long lo = (std::max<long>(r.rowLo, rowBegin) - rowBegin) / subRows;
            const long hi = (std::min<long>(r.rowHi, rowEnd - 1) - rowBegin) / subRows;
            for (long k = lo; k <= hi; ++k)
              reach[static_cast<std::size_t>(k)].push_back(static_cast<std::uint32_t>(i));
          }
          for (long k = 0; k < subs; ++k) {
            if (abandon.load(std::memory_order_relaxed)) return;
            const long sb = rowBegin + k * subRows, se = std::min(rowEnd, sb + subRows);
            const std::vector<std::uint32_t>& list = reach[static_cast<std::size_t>(k)];
            const std::size_t count = list.size();
            for (std::size_t q = 0; q < std::min(kAhead, count); ++q)
              ahead(b.records[list[q]], sb, se);
            for (std::size_t q = 0; q < count; ++q) {
              if (q + kAhead < count) ahead(b.records[list[q + kAhead]], sb, se);
              visit(b.records[list[q]], b.stop[list[q]], sb, se);
            }
            mine.store(base + static_cast<std::int64_t>(n) * (k + 1) / subs,
                       std::memory_order_relaxed);
          }
        } else {
          for (std::size_t i = 0; i < std::min(kAhead, n); ++i)
            ahead(b.records[i], rowBegin, rowEnd);
          for (std::size_t i = 0; i < n; ++i) {
            if ((i & 255) == 255 && abandon.load(std::memory_order_relaxed)) return;
            if (i + kAhead < n) ahead(b.records[i + kAhead], rowBegin, rowEnd);
            const Prepared& r = b.records[i];
            // Most records lie in another band: one test and on.
            if (r.skipped() || r.rowHi < rowBegin || r.rowLo >= rowEnd) continue;
            visit(r, b.stop[i], rowBegin, rowEnd);
            if ((i & 63) == 63)
              mine.store(base + static_cast<std::int64_t>(i) + 1, std::memory_order_relaxed);
          }
          mine.store(base + static_cast<std::int64_t>(n), std::memory_order_relaxed);
        }
      } catch (...) {
        abandon = true;  // a worker waiting for the others' slices does not wait for this one
        std::lock_guard lock(m);
        if (!failure) failure = std::current_exception();
        stopping = true;
        cv.notify_all();
        return;
      }
      std::lock_guard lock(m);
      ++doneWorkers;
      cv.notify_all();
    }
  };

  std::vector<std::thread> pool;
  pool.reserve(static_cast<std::size_t>(bands));
  for (int t = 0; t < bands; ++t) pool.emplace_back(worker, t);
  auto halt = [&] {
    abandon = true;
    {
      std::lock_guard lock(m);
      stopping = true;
    }
    cv.notify_all();
    for (auto& th : pool) th.join();
  };

  Pacer pacer(progress);
  try {
    for (long k = 0;; ++k) {
      // Read block k while the workers scatter block k − 1 (block k − 2, the same buffer, is
      // done: it was waited for before k − 1 went out).
      RecordBlock& b = blocks[k % 2];
      b.count = points.nextBlock(b.points.data(), kBlockRecords);
      if (!pure) {
        for (std::size_t i = 0; i < b.count; ++i) b.records[i] = prepare(b.points[i]);
        if (split)
          for (std::size_t i = 0; i < b.count; ++i)
            b.stop[i] = b.records[i].skipped() ? kNoStop : stopOf(b.records[i]);
      }
      std::unique_lock lock(m);
      while (published >= 0 && doneWorkers < bands && !stopping) {
        lock.unlock();
        pacer.tick(progressValue());
        lock.lock();
        cv.wait_for(lock, std::chrono::milliseconds(20),
                    [&] { return doneWorkers >= bands || stopping; });
      }
      if (stopping) break;  // a worker failed
      if (b.count == 0) {
        finished = true;
        cv.notify_all();
        break;
      }
      published = k;
      doneWorkers = 0;
      prepared[k % 2].store(0, std::memory_order_relaxed);  // no worker is on this buffer now
      cv.notify_all();
      lock.unlock();
      pacer.tick(progressValue());
    }
  } catch (...) {
    halt();
    throw;
  }
  for (auto& th : pool) th.join();
  if (failure) std::rethrow_exception(failure);
}

// Touches the cache lines of the window rows of a record within [rowBegin, rowEnd), in an array
// of `bytesPerNode` per node.
void prefetchWindow(const Prepared& p, int columns, const void* base, std::size_t bytesPerNode,
                    long rowBegin, long rowEnd) {
  if (p.skipped()) return;
  const long rl = std::max<long>(rowBegin, p.rowLo), rh = std::min<long>(rowEnd - 1, p.rowHi);
  const char* b = static_cast<const char*>(base);
  for (long r = rl; r <= rh; ++r) {
    const char* a = b + (static_cast<std::size_t>(r) * columns + p.colLo) * bytesPerNode;
    const char* e = b + (static_cast<std::size_t>(r) * columns + p.colHi + 1) * bytesPerNode;
    for (; a < e; a += 64) __builtin_prefetch(a, 1);
    __builtin_prefetch(e - 1, 1);
  }
}

// The rows of a window a band visits: its own rows, none beyond the row of `stop`.
struct BandRows {
  long lo, hi;        // rows lo … hi
  long stopRow = -1;  // the row of `stop`, where the columns end at stopCol
  long stopCol = 0;
};
BandRows bandRows(const Window& w, std::size_t stop, long rowBegin, long rowEnd, int columns) {
  BandRows b{std::max(w.rowLo, rowBegin), std::min(w.rowHi, rowEnd - 1)};
  if (stop != kNoStop) {
    b.stopRow = static_cast<long>(stop / static_cast<std::size_t>(columns));
    b.stopCol = static_cast<long>(stop % static_cast<std::size_t>(columns));
    b.hi = std::min(b.hi, b.stopRow);
  }
  return b;
}

class Stats {
 public:
  Stats(float lo, float hi) : min_(lo), max_(hi) {}
  void add(float v) {
    if (v < min_) min_ = v;
    if (v > max_) max_ = v;
    ++count_;
  }
  // Minimum, maximum and count do not depend on the order the nodes come in.
  void merge(const Stats& o) {
    if (o.min_ < min_) min_ = o.min_;
    if (o.max_ > max_) max_ = o.max_;
    count_ += o.count_;
  }
  void store(GridComputation& g) const {
    g.zMin = min_;
    g.zMax = max_;
    g.validCount = count_;
  }

 private:
  float min_, max_;
  std::int32_t count_ = 0;
};

// The finishing pass over the nodes, node(k, stats) for every node, on row bands; the progress
// shows the rows done.
template <class Node>
Stats finishNodes(const GridGeometry& g, int threads, Progress& progress, Node&& node) {
  progress.setMaximum(g.rows);
  const int bands = detail::rowThreads(g.rows, threads, 16);
  std::vector<Stats> part(static_cast<std::size_t>(bands), Stats(1e38f, -1e38f));
  Pacer pacer(progress);
  const bool finished = detail::forItemsWatched(
      bands, bands,
      [&](int band, int) {
        const int r0 = static_cast<int>(static_cast<long long>(g.rows) * band / bands);
        const int r1 = static_cast<int>(static_cast<long long>(g.rows) * (band + 1) / bands);
        Stats& st = part[static_cast<std::size_t>(band)];
        for (int r = r0; r < r1; ++r)
          for (int c = 0; c < g.columns; ++c) node(static_cast<std::size_t>(r) * g.columns + c, st);
      },
      [&](int done) { return pacer.watch(static_cast<std::int64_t>(done) * g.rows / bands); }, 20);
  if (!finished) throw RunFailure{{}};
  Stats all(1e38f, -1e38f);
  for (const Stats& st : part) all.merge(st);
  return all;
}

void checkGeometry(const GridGeometry& g, std::size_t bytesPerNode) {
  if (g.columns < 1 || g.rows < 1 || g.columns > 32767 || g.rows > 32767)
    throw RunFailure{kMsgGriddingFailed};
  if (!(g.dx > 0) || !(g.dy > 0)) throw RunFailure{kMsgGriddingFailed};
  // The arrays of a 32767 × 32767 grid do not fit any machine the tool runs on.
  constexpr double kMaxBytes = 8.0 * 1024 * 1024 * 1024;
  if (static_cast<double>(g.nodeCount()) * static_cast<double>(bytesPerNode) > kMaxBytes)
    throw RunFailure{kMsgGriddingFailed};
}

void plainAccumulation(PointSource& points, const GriddingJob& job, const GriddingSettings& set,
                       Progress& progress, GridComputation& out) {
  const GridGeometry& g = job.geometry;
  checkGeometry(g, 10);
  const std::size_t n = g.nodeCount();
  const float rx = job.rx;
  const float ry = job.circle ? job.rx : job.ry;
  const float par = job.par;
  const GridMethod m = job.method;
  const float cap = set.highValueCap;
  const bool capOn = isDataValue(cap);

  // nodeValue, nodeWeight and nodeCount of a node side by side, so that a node costs one cache
  // line, not three; the values go into the result array (Columns·Rows + 1, the spare last
  // element 0) as the nodes are finished.
  struct NodeSums {
    float value = 0, weight = 0;
    std::int16_t count = 0;
  };
  std::vector<NodeSums> node(n);
  auto bump = [&](NodeSums& a) {
    if (a.count == INT16_MAX) throw RunFailure{kMsgGriddingFailed};
    ++a.count;
  };

  progress.setMaximum(points.count());
  const bool endsOnHit = m == GridMethod::Nearest || m == GridMethod::InverseDistance;
  auto prepare = [&](const ScatterPoint& p) -> Prepared {
    float v = p.v;
    if (capOn && v > cap) v = cap;
    if (v < -1e37f) return kSkipped;
    return preparedRecord(p.x - g.xLeft, p.y - g.yBottom, v, rx, ry, g);
  };
  auto stopOf = [&](const Prepared& p) -> std::size_t {
    if (!endsOnHit) return kNoStop;
    return exactHitNode(p.x, p.y, p.window(), g, rx, ry, job.circle);
  };
  auto ahead = [&](const Prepared& q, long rowBegin, long rowEnd) {
    prefetchWindow(q, g.columns, node.data(), sizeof(NodeSums), rowBegin, rowEnd);
  };
  auto visit = [&](const Prepared& p, std::size_t stop, long rowBegin, long rowEnd) {
    const float v = p.v, x = p.x, y = p.y;
    const Window w = p.window();
    const BandRows rows = bandRows(w, stop, rowBegin, rowEnd, g.columns);
    for (long r = rows.lo; r <= rows.hi; ++r) {
      const float ay = std::fabs(y - static_cast<float>(r) * g.dy);
      const long colHi = r == rows.stopRow ? std::min(w.colHi, rows.stopCol) : w.colHi;
      for (long c = w.colLo; c <= colHi; ++c) {
        const float ax = std::fabs(x - static_cast<float>(c) * g.dx);
        const float d = std::sqrt(ax * ax + ay * ay);
        if (job.circle ? !(d <= rx) : !(ax <= rx && ay <= ry)) continue;
        NodeSums& a = node[static_cast<std::size_t>(r) * g.columns + c];
        switch (m) {
          case GridMethod::Nearest:
            if (d == 0) {
              a.value = v;
              a.weight = -9999;
              return;
            }
            if (a.weight == 0 || d < a.weight) {
              a.weight = d;
              a.value = v;
            }
            break;
          case GridMethod::Mean:
          case GridMethod::Sum:
            bump(a);
            a.value += v;
            break;
          case GridMethod::InverseDistance: {
            if (d == 0) {
              a.value = v;
              a.weight = -99999;
              a.count = -1;
              return;
            }
            bump(a);
            float dd = par != 1.0f ? d * d : d;
            a.value += v / dd;
            a.weight += 1.0f / dd;
            break;
          }
          case GridMethod::Exponential: {
            bump(a);
            const float wgt = std::exp(par * d / rx);
            a.value += divide(v, wgt);
            a.weight += divide(1.0f, wgt);
            break;
          }
          default:
            break;
        }
      }
    }
  };
  // A record's window and its end depend on the record alone.
  scatterRecords(points, g, bandCount(g, job.threads),
                 subBandRows(g, job.subBandRows, sizeof(NodeSums)), true, progress, prepare, stopOf,
                 ahead, visit);

  const std::int32_t minPts = set.minNodePoints;
  out.nodes.assign(n + 1, 0.0f);
  Stats stats = finishNodes(g, job.threads, progress, [&](std::size_t k, Stats& st) {
    const NodeSums& a = node[k];
    float value = a.value;
    bool valid = true;
    switch (m) {
      case GridMethod::Nearest:
        if (a.weight == 0) valid = false;
        break;
      case GridMethod::Mean:
        if (a.count < minPts)
          valid = false;
        else
          value = divide(a.value, static_cast<float>(a.count));
        break;
      case GridMethod::InverseDistance:
        if (a.count < minPts) {
          if (a.count >= 0) valid = false;
        } else {
          value = divide(a.value, a.weight);
        }
        break;
      case GridMethod::Exponential:
        if (a.weight != 0 && a.count >= minPts)
          value = a.value / a.weight;
        else
          valid = false;
        break;
      case GridMethod::Sum:
        if (a.count < minPts) valid = false;
        break;
      default:
        break;
    }
    if (valid)
      st.add(value);
    else
      value = NULL_VALUE;
    out.nodes[k] = value;
  });
  stats.store(out);
}

void azimuthSearch(PointSource& points, const GriddingJob& job, const GriddingSettings& set,
                   Progress& progress, GridComputation& out) {
  const GridGeometry& g = job.geometry;
  const int S = job.sectors;
  if (S != 4 && S != 8 && S != 16 && S != 32) throw RunFailure{kMsgGriddingFailed};
  checkGeometry(g, 8 * static_cast<std::size_t>(S) + 4);
  const std::size_t n = g.nodeCount();
  const float rx = job.rx;
  const float ry = job.circle ? job.rx : job.ry;
  const SectorRule rule(S);
  const bool capOn = job.settingsChecked;
  const float cap = set.highValueCap;

  // sectorValue and sectorDistance side by side: a node's sectors share its cache lines.
  struct SectorEntry {
    float value;
    float distance;
  };
  // Aligned to the cache line, so that the 8 sectors of a node fill exactly one, and on large
  // pages where the system offers them: the window rows of a point lie a grid row apart.
  constexpr std::size_t kHuge = std::size_t{2} << 20;
  const std::size_t bytes = (n * S * sizeof(SectorEntry) + kHuge - 1) / kHuge * kHuge;
  std::unique_ptr<SectorEntry[], decltype(&std::free)> storage(
      static_cast<SectorEntry*>(std::aligned_alloc(kHuge, bytes)), &std::free);
  if (!storage) throw RunFailure{kMsgGriddingFailed};
  madvise(storage.get(), bytes, MADV_HUGEPAGE);
  SectorEntry* sector = storage.get();
  std::fill(sector, sector + n * S, SectorEntry{NULL_VALUE, 0.0f});

  progress.setMaximum(points.count());
  // The nodes locked by an exact hit so far, in record order, as the reading thread sees them: a
  // record ends at the first node of its window (row by row) that is locked or that it hits.
  std::set<std::size_t> locked;
  auto prepare = [&](const ScatterPoint& p) -> Prepared {
    float v = p.v;
    if (capOn && v > cap) v = cap;
    if (v < -1e30f) return kSkipped;
    return preparedRecord(p.x - g.xLeft, p.y - g.yBottom, v, rx, ry, g);
  };
  auto stopOf = [&](const Prepared& p) -> std::size_t {
    const float v = p.v, x = p.x, y = p.y;
    const Window w = p.window();
    std::size_t stop = exactHitNode(x, y, w, g, rx, ry, job.circle);
    const std::size_t hit = stop;
    for (long r = w.rowLo; r <= w.rowHi && !locked.empty(); ++r) {
      const std::size_t rowStart = static_cast<std::size_t>(r) * g.columns;
      if (rowStart + static_cast<std::size_t>(w.colLo) > stop) break;
      const float ay = std::fabs(y - static_cast<float>(r) * g.dy);
      for (auto it = locked.lower_bound(rowStart + static_cast<std::size_t>(w.colLo));
           it != locked.end() && *it <= rowStart + static_cast<std::size_t>(w.colHi) && *it < stop;
           ++it) {
        const long c = static_cast<long>(*it - rowStart);
        const float ax = std::fabs(x - static_cast<float>(c) * g.dx);
        const float d = std::sqrt(ax * ax + ay * ay);
        if (job.circle ? !(d <= rx) : !(ax <= rx && ay <= ry)) continue;
        stop = *it;
        break;
      }
    }
    // Reaching its own hit, the record locks that node (a value of -1E+30 holds no lock).
    if (stop != kNoStop && stop == hit && isDataValue(v)) locked.insert(hit);
    return stop;
  };
  auto ahead = [&](const Prepared& q, long rowBegin, long rowEnd) {
    prefetchWindow(q, g.columns, sector, S * sizeof(SectorEntry), rowBegin, rowEnd);
  };
  auto visit = [&](const Prepared& p, std::size_t stop, long rowBegin, long rowEnd) {
    const float v = p.v, x = p.x, y = p.y;
    const Window w = p.window();
    const BandRows rows = bandRows(w, stop, rowBegin, rowEnd, g.columns);
    for (long r = rows.lo; r <= rows.hi; ++r) {
      const float sy = y - static_cast<float>(r) * g.dy;
      const float ay = std::fabs(sy);
      const long colHi = r == rows.stopRow ? std::min(w.colHi, rows.stopCol) : w.colHi;
      for (long c = w.colLo; c <= colHi; ++c) {
        const float sx = x - static_cast<float>(c) * g.dx;
        const float ax = std::fabs(sx);
        const float d = std::sqrt(ax * ax + ay * ay);
        if (job.circle ? !(d <= rx) : !(ax <= rx && ay <= ry)) continue;
        const std::size_t k0 = (static_cast<std::size_t>(r) * g.columns + c) * S;
        if (isDataValue(sector[k0].value) && sector[k0].distance == -9999) return;
        if (d == 0) {
          sector[k0] = {v, -9999};
          return;
        }
        if (sx == 0) continue;
        const int s = rule.lookup(sx, sy);
        SectorEntry& e = sector[k0 + static_cast<std::size_t>(s)];
        if (!isDataFrom(e.value, -1e30f) || d < e.distance) e = {v, d};
      }
    }
  };
  // Where a record ends depends on the nodes locked before it: worked out in record order.
  scatterRecords(points, g, bandCount(g, job.threads),
                 subBandRows(g, job.subBandRows, S * sizeof(SectorEntry)), false, progress, prepare,
                 stopOf, ahead, visit);

  // The index of the method list, kept one place behind the list as the tool has it.
  const int index = static_cast<int>(job.method);
  const std::int32_t minPts = set.minNodePoints;
  out.nodes.assign(n + 1, 0.0f);
  Stats stats = finishNodes(g, job.threads, progress, [&](std::size_t k, Stats& st) {
    const std::size_t k0 = k * S;
    if (isDataValue(sector[k0].value) && sector[k0].distance == -9999) {
      st.add(sector[k0].value);
    } else if (index >= 1 && index <= 3) {
      int filled = 0;
      float num = 0, den = 0;
      for (int s = 0; s < S; ++s) {
        const float sv = sector[k0 + s].value;
        if (!isDataFrom(sv, -1e30f)) continue;
        const float sd = sector[k0 + s].distance;
        ++filled;
        if (index == 1) {
          num += sv;
        } else if (index == 2) {
          num += divide(sv, sd);
          den += divide(1.0f, sd);
        } else {
          const float wgt = std::exp(job.par * sd / rx);
          num += divide(sv, wgt);
          den += divide(1.0f, wgt);
        }
      }
      if (filled < minPts) {
        sector[k0].value = NULL_VALUE;
      } else {
        sector[k0].value = index == 1 ? divide(num, static_cast<float>(filled)) : divide(num, den);
        st.add(sector[k0].value);
      }
    }
    out.nodes[k] = sector[k0].value;
  });
  stats.store(out);
}

std::vector<ScatterPoint> readAll(PointSource& points, Progress& progress) {
  std::vector<ScatterPoint> pts;
  std::int64_t total = points.count();
  progress.setMaximum(total);
  // Room for the count and one block more, so that the last block never moves the array.
  if (total > 0) pts.reserve(static_cast<std::size_t>(total) + kBlockRecords);
  Pacer pacer(progress);
  for (;;) {
    const std::size_t at = pts.size();
    pts.resize(at + kBlockRecords);
    const std::size_t got = points.nextBlock(pts.data() + at, kBlockRecords);
    pts.resize(at + got);
    if (got == 0) break;
    pacer.tick(static_cast<std::int64_t>(pts.size()));
  }
  return pts;
}

std::span<const float> asFloats(const std::vector<ScatterPoint>& pts) {
  static_assert(sizeof(ScatterPoint) == 3 * sizeof(float));
  return {reinterpret_cast<const float*>(pts.data()), pts.size() * 3};
}

void medianGridding(PointSource& points, const GriddingJob& job, Progress& progress,
                    GridComputation& out) {
  const GridGeometry& g = job.geometry;
  checkGeometry(g, 12);
  std::vector<ScatterPoint> pts = readAll(points, progress);
  out.nodes.assign(g.nodeCount() + 1, 0.0f);
  const float extent[4] = {g.xLeft, g.yBottom, g.xJust, g.yJust};
  const float ry = job.circle ? job.rx : job.ry;
  progress.setMaximum(g.rows);
  Pacer pacer(progress);
  bool stopped = false;
  std::int32_t rc = Geo_IMMedian(asFloats(pts), static_cast<std::int32_t>(pts.size()), extent,
                                 job.circle ? 0 : 1, job.rx, ry, g.dx, g.dy, g.columns, g.rows,
                                 out.nodes, job.threads, [&](int rows) {
                                   stopped = !pacer.watch(rows);
                                   return !stopped;
                                 });
  pts = {};
  if (stopped) throw RunFailure{{}};
  if (rc > 0) throw RunFailure{kMsgMedianFailed};
  progress.setMaximum(g.rows);
  Stats stats(1e38f, -1e38f);
  for (std::size_t k = 0; k < g.nodeCount(); ++k)
    if (isDataAbove(out.nodes[k], -1e35f)) stats.add(out.nodes[k]);
  stats.store(out);
}

void krigingGridding(PointSource& points, const GriddingJob& job, const GriddingSettings& set,
                     Progress& progress, GridComputation& out) {
  const GridGeometry& g = job.geometry;
  checkGeometry(g, 4);
  std::vector<ScatterPoint> pts;
  {
    std::int64_t total = points.count();
    progress.setMaximum(total);
    std::vector<ScatterPoint> block(kBlockRecords);
    std::int64_t rec = 0;
    Pacer pacer(progress);
    while (std::size_t got = points.nextBlock(block.data(), block.size())) {
      rec += static_cast<std::int64_t>(got);
      pacer.tick(rec);
      for (std::size_t i = 0; i < got; ++i) {
        ScatterPoint p = block[i];
        if (isDataFrom(p.x, -1e30f) && isDataFrom(p.y, -1e30f) && isDataFrom(p.v, -1e30f)) {
          if (job.settingsChecked && p.v > set.highValueCap) p.v = set.highValueCap;
          pts.push_back(p);
        }
      }
    }
  }
  if (pts.size() < 10) throw RunFailure{kMsgTooFewForKriging};
  const float searchF = job.par;
  if (!(searchF >= 3)) throw RunFailure{kMsgTooFewSearchPoints};
  const std::int32_t search =
      static_cast<std::int32_t>(std::min(static_cast<double>(searchF), 2147483647.0));
  std::int32_t code = 1;
  std::vector<float> params{0.0f};
  float paramCount = 0;
  switch (job.krigingKind) {
    case KrigingKind::Ordinary:
      code = 1;
      break;
    case KrigingKind::Universal:
      code = 2 + std::clamp(job.drift, 0, 5);
      break;
    case KrigingKind::Lognormal:
      code = 8;
      break;
    case KrigingKind::Lognormal3:
      code = 9;
      if (job.krigingParams.size() < 3) throw RunFailure{kMsgThreeParams};
      break;
    case KrigingKind::Indicator:
      code = 10;
      if (job.krigingParams.size() < 3) throw RunFailure{kMsgAtLeastThreeParams};
      break;
  }
  if (code >= 9) {
    params = job.krigingParams;
    paramCount = static_cast<float>(params.size() - 1);
  }
  out.nodes.assign(g.nodeCount() + 1, 0.0f);
  const float extent[4] = {g.xLeft, g.yBottom, g.xJust, g.yJust};
  // The node solves run on the worker threads; this thread shows their progress by rows.
  progress.setMaximum(g.rows);
  Pacer pacer(progress);
  bool stopped = false;
  GEO_ScatToGridWithKrig(asFloats(pts), 2, static_cast<std::int32_t>(pts.size()), 3, extent, g.dx,
                         g.dy, g.columns - 1, g.rows - 1, search, code, paramCount, params,
                         out.nodes, &out.variograms, job.threads, [&](int rows) {
                           stopped = !pacer.watch(rows);
                           return !stopped;
                         });
  pts = {};
  if (stopped) throw RunFailure{{}};
  Stats stats(1e35f, -1e35f);
  for (std::size_t k = 0; k < g.nodeCount(); ++k) stats.add(out.nodes[k]);
  stats.store(out);
}

// Rewrites the tail of a grid file of `nodes` nodes as the spare element (0) and the end mark.
bool appendSpareElement(const std::string& path, std::size_t nodes) {
  std::FILE* f = std::fopen(path.c_str(), "r+b");
  if (!f) return false;
  static const char tail[13] = {0, 0, 0, 0, '#', 'E', 'N', 'D', 'D', 'A', 'T', 'A', '#'};
  bool ok = std::fseek(f, static_cast<long>(100 + 4 * nodes), SEEK_SET) == 0 &&
            std::fwrite(tail, 1, sizeof tail, f) == sizeof tail;
  if (std::fclose(f) != 0) ok = false;
  return ok;
}

}  // namespace

GridComputation computeGrid(PointSource& points, const GriddingJob& job,
                            const GriddingSettings& settings, Progress& progress) {
  GridComputation out;
  try {
    const int m = static_cast<int>(job.method);
    if (job.azimuth && m >= 1 && m <= 4)
      azimuthSearch(points, job, settings, progress, out);
    else if (job.method == GridMethod::Median)
      medianGridding(points, job, progress, out);
    else if (job.method == GridMethod::Kriging)
      krigingGridding(points, job, settings, progress, out);
    else
      plainAccumulation(points, job, settings, progress, out);
    roundGrid(out, settings.roundDecimals);
  } catch (const RunFailure& f) {
    out = GridComputation{};
    out.outcome = Outcome::failure(f.message);
  } catch (const StoreError&) {
    out = GridComputation{};
    out.outcome = Outcome::failure(kMsgGriddingFailed);
  } catch (const std::bad_alloc&) {
    out = GridComputation{};
    out.outcome = Outcome::failure(kMsgGriddingFailed);
  }
  progress.setValue(0);
  return out;
}

// ---- rounding
// ------------------------------------------------------------------------------------

float roundThroughText(float v, int decimals) {
  if (decimals < 0 || decimals > 4 || !std::isfinite(v)) return v;
  // The exact decimal expansion of the single, then half away from zero at `decimals`.
  char buf[128];
  std::snprintf(buf, sizeof buf, "%.60f", static_cast<double>(v));
  std::string s = buf;
  bool neg = s[0] == '-';
  if (neg) s.erase(0, 1);
  std::size_t dot = s.find('.');
  std::string digits = s.substr(0, dot) + s.substr(dot + 1);
  std::size_t keep = dot + static_cast<std::size_t>(decimals);
  bool up = digits[keep] >= '5';
  digits.resize(keep);
  if (up) {
    std::size_t i = digits.size();
    while (i > 0) {
      --i;
      if (digits[i] == '9') {
        digits[i] = '0';
      } else {
        ++digits[i];
        break;
      }
      if (i == 0) {
        digits.insert(digits.begin(), '1');
        ++dot;
      }
    }
  }
  std::string text = (neg ? "-" : "") + digits.substr(0, dot) +
                     (decimals > 0 ? "." + digits.substr(dot) : std::string());
  return std::strtof(text.c_str(), nullptr);
}

void roundGrid(GridComputation& g, int decimals) {
  if (decimals < 0 || decimals > 4) return;
  for (float& v : g.nodes)
    if (isDataValue(v)) v = roundThroughText(v, decimals);
  g.zMin = roundThroughText(g.zMin, decimals);
  g.zMax = roundThroughText(g.zMax, decimals);
}

// ---- the run
// -------------------------------------------------------------------------------------

std::string gridOutputPath(const std::string& workPath, const std::string& name) {
  return resolvePath(workPath + "Grid_Dat\\" + name + ".grd");
}

GriddingRunResult runGridding(const std::string& workPath, const GriddingJob& job,
                              const GriddingSettings& settings, Interaction& ui,
                              Progress& progress) {
  GriddingRunResult res;
  if (std::string why = newNameRefusal(job.outputName, NewNameKind::GridFile); !why.empty()) {
    res.outcome = Outcome::failure(why);
    return res;
  }
  res.path = gridOutputPath(workPath, job.outputName);
  std::error_code ec;
  if (std::filesystem::exists(res.path, ec)) {
    Answer a = ui.ask(
        kTitle, std::string(kMsgOverwritePrefix) + job.outputName + ".grd" + kMsgOverwriteSuffix,
        Buttons::YesNo, Icon::Question);
    if (a != Answer::Yes) {
      res.declined = true;
      res.outcome = Outcome::failure({});
      return res;
    }
    std::filesystem::remove(res.path, ec);
  }

  GridComputation comp;
  try {
    // The store as the work area has it; the points through a reader of their own.
    const std::string store = openWorkDatabase(workPath).path();
    TablePointSource src(store, job.table, job.xField, job.yField, job.valueField);
    comp = computeGrid(src, job, settings, progress);
  } catch (const StoreError&) {
    comp.outcome = Outcome::failure(kMsgGriddingFailed);
  }
  progress.setValue(0);
  if (!comp.outcome) {
    res.outcome = comp.outcome;
    return res;
  }

  GridHeader& h = res.grid.header;
  h.magic = kGridMagicB;
  h.method = kScatToGridMethod;
  h.x0 = job.geometry.xLeft;
  h.y0 = job.geometry.yBottom;
  h.angle = job.angle;
  h.nx = job.geometry.columns;
  h.ny = job.geometry.rows;
  h.dx = job.geometry.dx;
  h.dy = job.geometry.dy;
  h.nullValue = NULL_VALUE;
  h.zMin = comp.zMin;
  h.zMax = comp.zMax;
  h.validCount = comp.validCount;
  res.variograms = std::move(comp.variograms);
  // Up to 1,000,000 valid nodes the whole result array goes out, the spare element included;
  // beyond that the rows alone.
  const bool rowByRow = comp.validCount > 1000000;
  res.grid.nodes = std::move(comp.nodes);
  if (rowByRow) res.grid.nodes.resize(job.geometry.nodeCount());

  std::filesystem::create_directories(std::filesystem::path(res.path).parent_path(), ec);
  {
    std::ofstream probe(res.path, std::ios::binary | std::ios::trunc);
    if (!probe) {
      res.outcome = Outcome::failure(kMsgCannotCreate + res.path);
      return res;
    }
  }
  // The shared writer takes the Columns·Rows nodes; the spare element goes in after them,
  // before the end mark, as the tool's one-block write puts it there.
  errno = 0;
  const bool spare = res.grid.nodes.size() > job.geometry.nodeCount();
  if (spare) res.grid.nodes.pop_back();
  bool written = writeGrid(res.path, h.magic, h.method, h, res.grid.nodes);
  if (spare) {
    res.grid.nodes.push_back(0.0f);
    if (written) written = appendSpareElement(res.path, res.grid.nodes.size() - 1);
  }
  if (!written) {
    if (rowByRow)
      res.outcome = Outcome::failure(kMsgWriteFailed + std::string(std::strerror(errno)));
    else
      res.outcome = Outcome::failure(kMsgCannotCreate + res.path);
    return res;
  }
  res.outcome = Outcome::success();
  return res;
}

std::string griddingSummary(const GriddingRunResult& r, double seconds) {
  const GridHeader& h = r.grid.header;
  auto g7 = [](double v) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.7g", v);
    return std::string(buf);
  };
  char time[32];
  std::snprintf(time, sizeof time, "%.2f", seconds);
  std::string text = "已生成 " + std::filesystem::path(r.path).filename().string() + ": " +
                     std::to_string(h.nx) + " 列 × " + std::to_string(h.ny) + " 行, 有效节点 " +
                     std::to_string(h.validCount);
  if (h.validCount > 0) text += ", 最小值 " + g7(h.zMin) + ", 最大值 " + g7(h.zMax);
  return text + ", 用时 " + time + " 秒";
}

}  // namespace sarnoth
