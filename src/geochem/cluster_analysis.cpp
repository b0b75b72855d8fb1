#include "geochem/cluster_analysis.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <new>

#include "geochem/report_format.h"
#include "prep/parallel_rows.h"
#include "workarea/file_text.h"
#include "workarea/null_value.h"
#include "workarea/path_resolver.h"
#include "workarea/text_codec.h"

namespace sarnoth::geochem {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr const char* kMsgComputeFailed = "数据计算错:";

struct Cancelled {};

// Σa and Σa² of a row, in double.
struct RowSums {
  double s1 = 0, s2 = 0;
};

RowSums sumsOf(std::span<const float> r) {
  RowSums s;
  for (float v : r) {
    s.s1 += v;
    s.s2 += static_cast<double>(v) * v;
  }
  return s;
}

double similarity(std::span<const float> a, std::span<const float> b, const RowSums& sa,
                  const RowSums& sb, int isim) {
  const double n = static_cast<double>(a.size());
  if (isim == 2) {
    double d2 = 0;
    for (std::size_t k = 0; k < a.size(); ++k) {
      const double d = static_cast<double>(a[k]) - b[k];
      d2 += d * d;
    }
    const double d = std::sqrt(d2 / n);
    return d == 0 ? kInfinity : 1.0 / d;
  }
  double sab = 0;
  for (std::size_t k = 0; k < a.size(); ++k) sab += static_cast<double>(a[k]) * b[k];
  if (isim == 3) {
    const double den = std::sqrt(sa.s2 * sb.s2);
    if (!(den > 0)) throw NumericFault(kFaultDivideByZero);
    return sab / den;
  }
  const double va = sa.s2 - sa.s1 * sa.s1 / n, vb = sb.s2 - sb.s1 * sb.s1 / n;
  if (!(va > 0) || !(vb > 0)) throw NumericFault(kFaultDivideByZero);
  return (sab - sa.s1 * sb.s1 / n) / std::sqrt(va * vb);
}

// The upper triangle of the similarities, row after row.
class Triangle {
 public:
  explicit Triangle(int n) : n_(n) {
    values_.resize(static_cast<std::size_t>(n) * static_cast<std::size_t>(n - 1) / 2);
  }
  double& at(int i, int j) {  // i < j
    return values_[static_cast<std::size_t>(i) * (2 * static_cast<std::size_t>(n_) - i - 1) / 2 +
                   static_cast<std::size_t>(j - i - 1)];
  }

 private:
  int n_;
  std::vector<double> values_;
};

std::string similarityText(double s) { return std::isinf(s) ? "∞" : fixedText(s, 4); }

}  // namespace

const std::vector<std::string>& clusterTransformCaptions() {
  static const std::vector<std::string> c = {"不变换", "正则化变换", "标准化变换"};
  return c;
}

const std::vector<std::string>& clusterMeasureCaptions() {
  static const std::vector<std::string> c = {"相关系数", "欧拉距离倒数", "相似系数"};
  return c;
}

double rowSimilarity(std::span<const float> a, std::span<const float> b, int isim) {
  return similarity(a, b, sumsOf(a), sumsOf(b), isim);
}

bool transformRow(std::span<float> row, int icsr) {
  if (icsr == 2) {
    const auto [lo, hi] = std::minmax_element(row.begin(), row.end());
    const float mn = *lo, range = *hi - *lo;
    if (!(range > 0)) return false;
    for (float& v : row) v = (v - mn) / range;
  } else if (icsr == 3) {
    double sum = 0;
    for (float v : row) sum += v;
    const double mean = sum / static_cast<double>(row.size());
    double ss = 0;
    for (float v : row) ss += (v - mean) * (v - mean);
    const double s = std::sqrt(ss / static_cast<double>(row.size()));
    if (!(s > 0)) return false;
    for (float& v : row) v = static_cast<float>((v - mean) / s);
  }
  return true;
}

ClusterTree clusterRows(SingleMatrix rows, int isim, Progress& progress, int threads) {
  const int n = rows.rows();
  ClusterTree tree;
  if (n <= 0) return tree;
  std::vector<RowSums> sums(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) sums[static_cast<std::size_t>(i)] = sumsOf(rows.row(i));
  Triangle sim(n);

  // The first matrix on all cores: bands of rows holding about equal numbers of pairs.
  {
    const int bands = std::max(1, std::min(64, n / 8));
    std::vector<int> start(static_cast<std::size_t>(bands) + 1, n);
    const double pairs = static_cast<double>(n) * (n - 1) / 2;
    int b = 0;
    double done = 0;
    start[0] = 0;
    for (int i = 0; i < n && b < bands; ++i) {
      if (done >= pairs * b / bands) start[static_cast<std::size_t>(b++)] = i;
      done += n - 1 - i;
    }
    for (; b < bands; ++b) start[static_cast<std::size_t>(b)] = n;
    std::vector<std::string> faults(static_cast<std::size_t>(bands));
    detail::forRowBands(
        bands,
        [&](int bb, int be, int) {
          for (int band = bb; band < be; ++band) {
            try {
              for (int i = start[static_cast<std::size_t>(band)];
                   i < start[static_cast<std::size_t>(band) + 1]; ++i)
                for (int j = i + 1; j < n; ++j)
                  sim.at(i, j) =
                      similarity(rows.row(i), rows.row(j), sums[static_cast<std::size_t>(i)],
                                 sums[static_cast<std::size_t>(j)], isim);
            } catch (const NumericFault& e) {
              faults[static_cast<std::size_t>(band)] = e.what();
            }
          }
        },
        1, threads);
    for (const auto& f : faults)
      if (!f.empty()) throw NumericFault(f);
  }

  // Live rows as a linked list in index order; each row's best partner further along.
  std::vector<int> next(static_cast<std::size_t>(n)), prev(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) {
    next[static_cast<std::size_t>(i)] = i + 1;
    prev[static_cast<std::size_t>(i)] = i - 1;
  }
  int head = 0;
  std::vector<double> best(static_cast<std::size_t>(n), -kInfinity);
  std::vector<int> bestJ(static_cast<std::size_t>(n), -1);
  auto recompute = [&](int i) {
    double b = -kInfinity;
    int bj = -1;
    for (int j = next[static_cast<std::size_t>(i)]; j < n; j = next[static_cast<std::size_t>(j)]) {
      const double s = sim.at(i, j);
      if (s > b || bj < 0) {
        b = s;
        bj = j;
      }
    }
    best[static_cast<std::size_t>(i)] = b;
    bestJ[static_cast<std::size_t>(i)] = bj;
  };
  for (int i = 0; i < n; ++i) recompute(i);
  std::vector<std::vector<int>> members(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) members[static_cast<std::size_t>(i)] = {i};

  progress.setMaximum(n - 1);
  std::vector<int> stale;
  for (int round = 0; round < n - 1; ++round) {
    // The largest similarity, the first met scanning row by row.
    int i = -1;
    for (int r = head; r < n; r = next[static_cast<std::size_t>(r)]) {
      if (bestJ[static_cast<std::size_t>(r)] < 0) continue;
      if (i < 0 || best[static_cast<std::size_t>(r)] > best[static_cast<std::size_t>(i)]) i = r;
    }
    const int j = bestJ[static_cast<std::size_t>(i)];
    tree.joins.push_back({i, j, best[static_cast<std::size_t>(i)]});

    // Row i becomes the sum of the two; row j leaves.
    std::span<float> ri = rows.row(i), rj = rows.row(j);
    for (std::size_t k = 0; k < ri.size(); ++k) ri[k] += rj[k];
    sums[static_cast<std::size_t>(i)] = sumsOf(ri);
    auto& mi = members[static_cast<std::size_t>(i)];
    auto& mj = members[static_cast<std::size_t>(j)];
    mi.insert(mi.end(), mj.begin(), mj.end());
    mj.clear();
    mj.shrink_to_fit();
    const int pj = prev[static_cast<std::size_t>(j)], nj = next[static_cast<std::size_t>(j)];
    if (pj >= 0) next[static_cast<std::size_t>(pj)] = nj;
    if (nj < n) prev[static_cast<std::size_t>(nj)] = pj;
    if (head == j) head = nj;

    // One pass over the live rows: the new row's similarities, and the best partners they
    // beat; rows whose partner was one of the pair are searched again afterwards.
    stale.clear();
    for (int r = head; r < n; r = next[static_cast<std::size_t>(r)]) {
      if (r == i) continue;
      const int a = std::min(r, i), b = std::max(r, i);
      const double s = similarity(rows.row(a), rows.row(b), sums[static_cast<std::size_t>(a)],
                                  sums[static_cast<std::size_t>(b)], isim);
      sim.at(a, b) = s;
      const int br = bestJ[static_cast<std::size_t>(r)];
      if (r < i) {
        if (br == i || br == j) {
          stale.push_back(r);
        } else if (s > best[static_cast<std::size_t>(r)] ||
                   (s == best[static_cast<std::size_t>(r)] && i < br)) {
          best[static_cast<std::size_t>(r)] = s;
          bestJ[static_cast<std::size_t>(r)] = i;
        }
      } else if (br == j) {
        stale.push_back(r);
      }
    }
    recompute(i);
    for (int r : stale) recompute(r);
    progress.setValue(round + 1);
    if ((round & 15) == 0 && !progress.pump()) throw Cancelled{};
  }
  tree.order = std::move(members[static_cast<std::size_t>(head)]);
  return tree;
}

std::string checkClusterJob(const ClusterJob& job) {
  if (filetext::trim(job.outputFile).empty()) return kMsgClusterNoFile;
  if (job.fields.size() < 3) return kMsgClusterFewVariables;
  return {};
}

Outcome runClusterAnalysis(Database& db, const ClusterJob& job, ClusterResult& result,
                           Progress& progress) {
  if (std::string why = checkClusterJob(job); !why.empty()) return Outcome::failure(why);
  const int m = static_cast<int>(job.fields.size());
  ClusterResult res;
  std::vector<float> values;  // sample after sample, m values each
  try {
    std::string sql = "Select ";
    for (int k = 0; k < m; ++k)
      sql += (k ? "," : "") + bracket(job.fields[static_cast<std::size_t>(k)]);
    Cursor c = db.query(sql + " From " + bracket(job.table));
    std::vector<float> row(static_cast<std::size_t>(m));
    while (c.next()) {
      ++res.records;
      bool ok = true;
      for (int k = 0; k < m; ++k) {
        row[static_cast<std::size_t>(k)] = c.isNull(k) ? NULL_VALUE : c.getFloat(k);
        ok = ok && isDataAbove(row[static_cast<std::size_t>(k)], -1e37f);
      }
      if (ok)
        values.insert(values.end(), row.begin(), row.end());
      else
        ++res.dropped;
      if ((res.records & 0xFFFF) == 0 && !progress.pump()) return Outcome::failure("");
    }
  } catch (const StoreError& e) {
    return Outcome::failure(std::string(kMsgComputeFailed) + e.what());
  }
  const std::int64_t n = static_cast<std::int64_t>(values.size()) / m;
  res.samples = n;
  if (n < 3 || (job.itype == 1 && n < m) || n > std::numeric_limits<int>::max() / 2)
    return Outcome::failure("样品数太少,不能进行分析!!!");
  auto at = [&](std::int64_t i, int k) -> float& {
    return values[static_cast<std::size_t>(i * m + k)];
  };
  const auto field = [&](int k) { return job.fields[static_cast<std::size_t>(k)]; };
  if (job.ilog == 1)
    for (std::int64_t i = 0; i < n; ++i)
      for (int k = 0; k < m; ++k) {
        if (!(at(i, k) > 0))
          return Outcome::failure(std::string(kMsgComputeFailed) + "第" + std::to_string(i + 1) +
                                  "个样品的 " + field(k) + " 不大于0,不能取对数。");
        at(i, k) = std::log(at(i, k)) / 2.302585f;
      }
  for (int k = 0; k < m; ++k) {
    bool constant = true;
    for (std::int64_t i = 1; i < n && constant; ++i) constant = at(i, k) == at(0, k);
    if (constant) return Outcome::failure("变量 " + field(k) + " 为常数,不能进行聚类分析。");
  }

  // The working matrix: samples in rows for Q type, variables in rows for R type.
  const bool rType = job.itype == 1;
  const int objects = rType ? m : static_cast<int>(n);
  const int width = rType ? static_cast<int>(n) : m;
  SingleMatrix work;
  try {
    work = SingleMatrix(objects, width);
  } catch (const std::bad_alloc&) {
    return Outcome::failure(std::string(kMsgComputeFailed) + "内存不足");
  }
  for (std::int64_t i = 0; i < n; ++i)
    for (int k = 0; k < m; ++k)
      if (rType)
        work(k, static_cast<int>(i)) = at(i, k);
      else
        work(static_cast<int>(i), k) = at(i, k);
  values = {};
  auto rowName = [&](int r) {
    return rType ? "变量 " + field(r) : "第" + std::to_string(r + 1) + "个样品";
  };
  for (int r = 0; r < objects; ++r) {
    if (!transformRow(work.row(r), job.icsr))
      return Outcome::failure(std::string(kMsgComputeFailed) + rowName(r) +
                              "的数据无变化,不能变换。");
    if (job.isim != 2) {
      // Correlation needs spread in every row, the cosine a row that is not all zero.
      const RowSums s = sumsOf(work.row(r));
      const double spread = s.s2 - s.s1 * s.s1 / width;
      if ((job.isim == 1 && !(spread > 0)) || (job.isim == 3 && !(s.s2 > 0)))
        return Outcome::failure(std::string(kMsgComputeFailed) + rowName(r) +
                                "的数据无变化,不能计算相似性。");
    }
  }
  for (int r = 0; r < objects; ++r) res.labels.push_back(rType ? field(r) : std::to_string(r + 1));

  try {
    res.tree = clusterRows(std::move(work), job.isim, progress, job.threads);
  } catch (const NumericFault& e) {
    return Outcome::failure(std::string(kMsgComputeFailed) + e.what());
  } catch (const Cancelled&) {
    return Outcome::failure("");
  } catch (const std::bad_alloc&) {
    return Outcome::failure(std::string(kMsgComputeFailed) + "内存不足");
  }

  std::vector<std::string>& out = res.report;
  out.push_back("**** 聚类分析预先给定的参数 ****");
  out.push_back(" 原始样本样品数 n= " + std::to_string(res.records) +
                " 变量数 m= " + std::to_string(m));
  out.push_back(rType ? " itype = 1 , 作 R 型聚类分析 " : " itype = 2 , 作 Q 型聚类分析 ");
  out.push_back("");
  out.push_back(job.ilog == 1 ? " ilog = 1 , 对原始数据取对数 " : " ilog = 0 , 对原始数据不取对数");
  out.push_back("");
  static const char* kIcsr[] = {" icsr = 1, 对数据不变换", " icsr = 2, 对数据正规化变换",
                                " icsr = 3, 对数据标准化变换"};
  static const char* kIsim[] = {" isim = 1, 相关系数法", " isim = 2, 欧拉距离倒数",
                                " isim = 3, 相似系数法"};
  out.push_back(kIcsr[std::clamp(job.icsr, 1, 3) - 1]);
  out.push_back("");
  out.push_back(kIsim[std::clamp(job.isim, 1, 3) - 1]);
  out.push_back("");
  out.push_back("含空区的样品数 =" + std::to_string(res.dropped));
  out.push_back("去掉含空区的样品后实际样品个数 =" + std::to_string(n));
  for (std::size_t k = 0; k < res.tree.joins.size(); ++k) {
    const ClusterJoin& jn = res.tree.joins[k];
    out.push_back("kkk=" + std::to_string(k + 1) + "  (" + std::to_string(jn.first + 1) + "," +
                  std::to_string(jn.second + 1) + ")  " + similarityText(jn.similarity));
  }
  out.push_back(" **** 绘谱系图顺序**** ");
  std::string line;
  char buf[16];
  for (std::size_t k = 0; k < res.tree.order.size(); ++k) {
    std::snprintf(buf, sizeof buf, "%6d", res.tree.order[k] + 1);
    line += buf;
    if (k % 10 == 9 || k + 1 == res.tree.order.size()) {
      out.push_back(line);
      line.clear();
    }
  }
  out.push_back("****    计算结束 !    ****");

  std::string text;
  for (const auto& l : out) text += l + "\r\n";
  if (!filetext::writeWholeFile(resolvePath(job.outputFile), utf8ToGbk(text)))
    return Outcome::failure(std::string(kMsgComputeFailed) + "不能写文件 " + job.outputFile);
  result = std::move(res);
  return Outcome::success();
}

chart::Chart dendrogramChart(const ClusterJob& job, const ClusterResult& result) {
  chart::Chart c;
  c.title = job.itype == 1 ? "R 型聚类图" : "Q 型聚类图";
  c.fitFrame = true;
  const auto& order = result.tree.order;
  const int objects = static_cast<int>(order.size());
  constexpr int kHeadRows = 4;  // room above the first object for the three option lines

  // The similarity axis: the joins' range, largest at the left.
  double lo = kInfinity, hi = -kInfinity;
  for (const auto& j : result.tree.joins)
    if (std::isfinite(j.similarity)) {
      lo = std::min(lo, j.similarity);
      hi = std::max(hi, j.similarity);
    }
  if (!(lo <= hi)) lo = 0, hi = 1;
  if (hi - lo < 1e-12) lo -= 0.5, hi += 0.5;
  const double pad = (hi - lo) * 0.05;
  lo -= pad;
  hi += pad;
  c.x.autoRange = false;
  c.x.reversed = true;
  c.x.label = job.isim == 2 ? "欧拉距离倒数" : (job.isim == 3 ? "相似系数" : "相关系数");
  double tlo = lo, thi = hi;
  std::vector<double> ticks = chart::niceTicks(tlo, thi, 8, false);
  const int digits = hi - lo >= 1 ? 2 : 3;
  for (double t : ticks)
    if (t >= lo && t <= hi) {
      c.x.ticks.push_back(t);
      c.x.tickLabels.push_back(fixedText(t, digits));
    }
  c.x.lo = lo;
  c.x.hi = hi;

  c.y.autoRange = false;
  c.y.reversed = true;
  c.y.lo = -kHeadRows - 0.5;
  c.y.hi = objects - 0.5;
  std::vector<double> pos(static_cast<std::size_t>(std::max(objects, 1)));
  std::vector<double> level(pos.size(), hi);
  for (int k = 0; k < objects; ++k) {
    const int obj = order[static_cast<std::size_t>(k)];
    pos[static_cast<std::size_t>(obj)] = k;
    c.y.ticks.push_back(k);
    c.y.tickLabels.push_back(result.labels[static_cast<std::size_t>(obj)]);
  }
  chart::Series tree = chart::Series::of(chart::SeriesKind::Segments, {}, {}, chart::kBlack);
  chart::Series joins = chart::Series::of(chart::SeriesKind::Markers, {}, {}, chart::kBlue);
  joins.marker = chart::Marker::Plus;
  joins.markerSize = 6;
  auto seg = [&](double x0, double y0, double x1, double y1) {
    tree.x.insert(tree.x.end(), {x0, x1});
    tree.y.insert(tree.y.end(), {y0, y1});
  };
  for (const auto& j : result.tree.joins) {
    const auto a = static_cast<std::size_t>(j.first), b = static_cast<std::size_t>(j.second);
    const double s = std::isfinite(j.similarity) ? j.similarity : hi;
    seg(level[a], pos[a], s, pos[a]);
    seg(level[b], pos[b], s, pos[b]);
    seg(s, pos[a], s, pos[b]);
    pos[a] = (pos[a] + pos[b]) / 2;
    level[a] = s;
    joins.x.push_back(s);
    joins.y.push_back(pos[a]);
  }
  c.series.push_back(std::move(tree));
  c.series.push_back(std::move(joins));

  static const char* kLog[] = {"       对原始数据不取对数", "       对原始数据取对数"};
  static const char* kIcsr[] = {"       对数据不变换", "       对数据正规化变换",
                                "       对数据标准化变换"};
  static const char* kIsim[] = {"       相关系数法", "       欧拉距离倒数", "       相似系数法"};
  const std::string lines[3] = {kLog[job.ilog == 1 ? 1 : 0], kIcsr[std::clamp(job.icsr, 1, 3) - 1],
                                kIsim[std::clamp(job.isim, 1, 3) - 1]};
  for (int k = 0; k < 3; ++k) {
    chart::Note note;
    note.x = hi;
    note.y = -kHeadRows + 0.5 + k;
    note.text = lines[k];
    note.anchor = chart::Anchor::Left;
    c.notes.push_back(note);
  }
  return c;
}

std::pair<int, int> dendrogramSize(const ClusterResult& result) {
  const int objects = static_cast<int>(result.tree.order.size());
  // Pictures stop at 32,000 pixels (the raster limit); beyond about 2,250 objects the labels
  // close up and zooming into the SVG reads them.
  return {900, std::clamp(14 * (objects + 4) + 120, 600, 32000)};
}

}  // namespace sarnoth::geochem
