// Multi-level stepwise discriminant analysis; the method is described in stepwise_discriminant.h.
#include "geochem/stepwise_discriminant.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <limits>
#include <map>

#include "geochem/f_distribution.h"
#include "geochem/report_format.h"
#include "workarea/file_text.h"
#include "workarea/null_value.h"

namespace sarnoth::geochem {
namespace {

using Eigen::MatrixXd;
using Eigen::VectorXd;

constexpr double kTolerance = 1e-8;
const double kNaN = std::numeric_limits<double>::quiet_NaN();

// The samples of a node and their child.
struct NodeSamples {
  std::vector<std::size_t> rows;
  std::vector<int> child;
  int children = 0;
};

NodeSamples nodeSamples(const DiscriminantData& d, const std::vector<std::vector<int>>& children) {
  NodeSamples s;
  s.children = static_cast<int>(children.size());
  std::map<int, int> childOf;
  for (std::size_t c = 0; c < children.size(); ++c)
    for (int g : children[c]) childOf[g] = static_cast<int>(c);
  for (std::size_t i = 0; i < d.group.size(); ++i) {
    auto it = childOf.find(d.group[i]);
    if (it == childOf.end()) continue;
    s.rows.push_back(i);
    s.child.push_back(it->second);
  }
  return s;
}

MatrixXd subMatrix(const MatrixXd& m, const std::vector<int>& s) {
  MatrixXd r(static_cast<Eigen::Index>(s.size()), static_cast<Eigen::Index>(s.size()));
  for (std::size_t i = 0; i < s.size(); ++i)
    for (std::size_t j = 0; j < s.size(); ++j)
      r(static_cast<Eigen::Index>(i), static_cast<Eigen::Index>(j)) = m(s[i], s[j]);
  return r;
}

// log det of the submatrix; NaN when it is not positive definite.
double logDet(const MatrixXd& m, const std::vector<int>& s) {
  if (s.empty()) return 0;
  Eigen::LLT<MatrixXd> llt(subMatrix(m, s));
  if (llt.info() != Eigen::Success) return kNaN;
  double r = 0;
  for (Eigen::Index i = 0; i < llt.matrixLLT().rows(); ++i) {
    const double p = llt.matrixLLT()(i, i);
    if (!(p > 0)) return kNaN;
    r += 2 * std::log(p);
  }
  return r;
}

double scoreOf(const std::vector<double>& f, const double* x, const std::vector<int>& sel) {
  double s = f[0];
  for (std::size_t k = 0; k < sel.size(); ++k) s += f[k + 1] * x[sel[k]];
  return s;
}

int argmax(const std::vector<double>& v) {
  int best = -1;
  for (std::size_t i = 0; i < v.size(); ++i)
    if (!std::isnan(v[i]) && (best < 0 || v[i] > v[static_cast<std::size_t>(best)]))
      best = static_cast<int>(i);
  return best;
}

}  // namespace

LdaModel fitStepwiseLda(const DiscriminantData& d, const std::vector<std::vector<int>>& children,
                        const StepwiseLdaOptions& o) {
  LdaModel m;
  const NodeSamples ns = nodeSamples(d, children);
  const int p = d.p, K = ns.children;
  const std::int64_t N = static_cast<std::int64_t>(ns.rows.size());
  m.n = N;
  m.counts.assign(static_cast<std::size_t>(K), 0);
  MatrixXd means = MatrixXd::Zero(K, p);
  VectorXd grand = VectorXd::Zero(p);
  for (std::size_t s = 0; s < ns.rows.size(); ++s) {
    const double* x = &d.x[ns.rows[s] * static_cast<std::size_t>(p)];
    const int c = ns.child[s];
    ++m.counts[static_cast<std::size_t>(c)];
    for (int j = 0; j < p; ++j) {
      means(c, j) += x[j];
      grand(j) += x[j];
    }
  }
  for (int c = 0; c < K; ++c)
    if (m.counts[static_cast<std::size_t>(c)] > 0)
      means.row(c) /= static_cast<double>(m.counts[static_cast<std::size_t>(c)]);
  if (N > 0) grand /= static_cast<double>(N);
  MatrixXd W = MatrixXd::Zero(p, p), T = MatrixXd::Zero(p, p);
  for (std::size_t s = 0; s < ns.rows.size(); ++s) {
    const double* x = &d.x[ns.rows[s] * static_cast<std::size_t>(p)];
    VectorXd dw(p), dt(p);
    for (int j = 0; j < p; ++j) {
      dw(j) = x[j] - means(ns.child[s], j);
      dt(j) = x[j] - grand(j);
    }
    W.noalias() += dw * dw.transpose();
    T.noalias() += dt * dt.transpose();
  }

  auto lambdaOf = [&](const std::vector<int>& s) { return std::exp(logDet(W, s) - logDet(T, s)); };
  std::vector<int> S;
  if (o.backward) {
    for (int j = 0; j < p; ++j) {
      std::vector<int> t = S;
      t.push_back(j);
      const double cond = std::exp(logDet(W, t) - logDet(W, S));
      if (std::isfinite(cond) && cond > kTolerance * W(j, j)) S = t;
    }
  }
  const double dfG = K - 1;
  const int maxSteps = 4 * p + 8;
  for (int step = 0; step < maxSteps && K >= 2; ++step) {
    const int q = static_cast<int>(S.size());
    const double lamS = lambdaOf(S);
    // removal first
    int worst = -1;
    double worstF = std::numeric_limits<double>::infinity();
    for (int k = 0; k < q; ++k) {
      std::vector<int> t = S;
      t.erase(t.begin() + k);
      const double lj = lamS / lambdaOf(t);
      const double f = (static_cast<double>(N - K - q + 1) / dfG) * (1 - lj) / lj;
      if (f < worstF) worstF = f, worst = k;
    }
    if (worst >= 0 && worstF < o.fRemove) {
      LdaStep st;
      st.variable = S[static_cast<std::size_t>(worst)];
      st.entered = false;
      st.f = worstF;
      st.p = fUpperTail(worstF, dfG, static_cast<double>(N - K - q + 1));
      S.erase(S.begin() + worst);
      st.lambda = lambdaOf(S);
      st.inModel = static_cast<int>(S.size());
      m.steps.push_back(st);
      continue;
    }
    int bestJ = -1;
    double bestF = -1;
    if (N - K - q > 0) {
      const double ldW = logDet(W, S);
      for (int j = 0; j < p; ++j) {
        if (std::find(S.begin(), S.end(), j) != S.end()) continue;
        std::vector<int> t = S;
        t.push_back(j);
        const double cond = std::exp(logDet(W, t) - ldW);
        if (!std::isfinite(cond) || !(cond > kTolerance * W(j, j))) continue;
        const double lj = lambdaOf(t) / lamS;
        const double f = (static_cast<double>(N - K - q) / dfG) * (1 - lj) / lj;
        if (f > bestF) bestF = f, bestJ = j;
      }
    }
    if (bestJ < 0 || !(bestF > o.fEnter)) break;
    LdaStep st;
    st.variable = bestJ;
    st.f = bestF;
    st.p = fUpperTail(bestF, dfG, static_cast<double>(N - K - q));
    S.push_back(bestJ);
    st.lambda = lambdaOf(S);
    st.inModel = static_cast<int>(S.size());
    m.steps.push_back(st);
  }
  m.selected = S;
  m.lambda = lambdaOf(S);

  const int q = static_cast<int>(S.size());
  m.priors.resize(static_cast<std::size_t>(K));
  for (int c = 0; c < K; ++c)
    m.priors[static_cast<std::size_t>(c)] =
        o.proportionalPriors ? static_cast<double>(m.counts[static_cast<std::size_t>(c)]) /
                                   static_cast<double>(std::max<std::int64_t>(N, 1))
                             : 1.0 / K;
  MatrixXd Ws = subMatrix(W, S);
  m.within.assign(Ws.data(), Ws.data() + Ws.size());
  m.means.assign(static_cast<std::size_t>(K), std::vector<double>(static_cast<std::size_t>(q)));
  for (int c = 0; c < K; ++c)
    for (int k = 0; k < q; ++k)
      m.means[static_cast<std::size_t>(c)][static_cast<std::size_t>(k)] =
          means(c, S[static_cast<std::size_t>(k)]);
  m.functions.assign(static_cast<std::size_t>(K),
                     std::vector<double>(static_cast<std::size_t>(q + 1), 0));
  const double dfW = static_cast<double>(N - K);
  Eigen::LDLT<MatrixXd> ldlt;
  if (q > 0) ldlt.compute(Ws / dfW);
  for (int c = 0; c < K; ++c) {
    auto& f = m.functions[static_cast<std::size_t>(c)];
    const double lp = m.priors[static_cast<std::size_t>(c)] > 0
                          ? std::log(m.priors[static_cast<std::size_t>(c)])
                          : -std::numeric_limits<double>::infinity();
    if (q == 0) {
      f[0] = lp;
      continue;
    }
    VectorXd mc(q);
    for (int k = 0; k < q; ++k)
      mc(k) = m.means[static_cast<std::size_t>(c)][static_cast<std::size_t>(k)];
    VectorXd a = ldlt.solve(mc);
    f[0] = -0.5 * mc.dot(a) + lp;
    for (int k = 0; k < q; ++k) f[static_cast<std::size_t>(k + 1)] = a(k);
  }
  return m;
}

namespace {

// The child given by a node's functions, or by the functions recomputed without a sample of
// child `own` at x (own < 0: the full functions).
int classifyAtNode(const LdaModel& m, const double* x, int own) {
  const int K = static_cast<int>(m.functions.size());
  const int q = static_cast<int>(m.selected.size());
  std::vector<double> score(static_cast<std::size_t>(K));
  if (own < 0 || q == 0) {
    for (int c = 0; c < K; ++c)
      score[static_cast<std::size_t>(c)] =
          scoreOf(m.functions[static_cast<std::size_t>(c)], x, m.selected);
    if (own >= 0 && q == 0 && m.counts[static_cast<std::size_t>(own)] <= 1)
      score[static_cast<std::size_t>(own)] = kNaN;
    return argmax(score);
  }
  const auto uo = static_cast<std::size_t>(own);
  const double nc = static_cast<double>(m.counts[uo]);
  if (nc <= 1) {
    // the sample's child vanishes without it
    for (int c = 0; c < K; ++c)
      score[static_cast<std::size_t>(c)] =
          c == own ? kNaN : scoreOf(m.functions[static_cast<std::size_t>(c)], x, m.selected);
    return argmax(score);
  }
  VectorXd xs(q), d(q);
  for (int k = 0; k < q; ++k) {
    xs(k) = x[m.selected[static_cast<std::size_t>(k)]];
    d(k) = xs(k) - m.means[uo][static_cast<std::size_t>(k)];
  }
  Eigen::Map<const MatrixXd> W(m.within.data(), q, q);
  const double N1 = static_cast<double>(m.n - 1);
  MatrixXd Wd = W - (nc / (nc - 1)) * d * d.transpose();
  Eigen::LDLT<MatrixXd> ldlt(Wd / (N1 - K));
  const bool proportional = std::fabs(m.priors[0] - 1.0 / K) > 1e-15 ||
                            std::any_of(m.priors.begin(), m.priors.end(),
                                        [&](double p) { return std::fabs(p - 1.0 / K) > 1e-15; });
  for (int c = 0; c < K; ++c) {
    const auto uc = static_cast<std::size_t>(c);
    VectorXd mc(q);
    for (int k = 0; k < q; ++k) mc(k) = m.means[uc][static_cast<std::size_t>(k)];
    if (c == own) mc = (nc * mc - xs) / (nc - 1);
    double prior = m.priors[uc];
    if (proportional) prior = (static_cast<double>(m.counts[uc]) - (c == own ? 1 : 0)) / N1;
    const VectorXd a = ldlt.solve(mc);
    score[uc] = a.dot(xs) - 0.5 * mc.dot(a) + std::log(prior);
  }
  return argmax(score);
}

int descend(const DiscriminantTree& t, const double* x, int ownGroup) {
  int node = 0;
  for (int guard = 0; guard < 1000 && node >= 0; ++guard) {
    const LevelNode& ln = t.nodes[static_cast<std::size_t>(node)];
    int own = -1;
    if (ownGroup >= 0)
      for (std::size_t c = 0; c < ln.children.size(); ++c)
        if (std::find(ln.children[c].begin(), ln.children[c].end(), ownGroup) !=
            ln.children[c].end())
          own = static_cast<int>(c);
    const int c = classifyAtNode(ln.model, x, own);
    if (c < 0) return -1;
    const int next = ln.sub[static_cast<std::size_t>(c)];
    if (next < 0) return ln.children[static_cast<std::size_t>(c)].front();
    node = next;
  }
  return -1;
}

struct TreeItem {
  std::string name;
  std::vector<TreeItem> kids;
  bool leaf = true;
};

bool parseItems(const std::string& s, std::size_t& pos, std::vector<TreeItem>& out) {
  while (true) {
    while (pos < s.size() && s[pos] == ' ') ++pos;
    TreeItem it;
    if (pos < s.size() && s[pos] == '(') {
      ++pos;
      it.leaf = false;
      if (!parseItems(s, pos, it.kids)) return false;
      if (pos >= s.size() || s[pos] != ')') return false;
      ++pos;
    } else {
      std::size_t e = pos;
      while (e < s.size() && s[e] != ',' && s[e] != '(' && s[e] != ')') ++e;
      it.name = filetext::trim(s.substr(pos, e - pos));
      if (it.name.empty()) return false;
      pos = e;
    }
    out.push_back(std::move(it));
    while (pos < s.size() && s[pos] == ' ') ++pos;
    if (pos < s.size() && s[pos] == ',') {
      ++pos;
      continue;
    }
    return true;
  }
}

void leavesOf(const TreeItem& it, std::vector<std::string>& out) {
  if (it.leaf) {
    out.push_back(it.name);
    return;
  }
  for (const auto& k : it.kids) leavesOf(k, out);
}

// Unwraps "((a, b))" to the list inside.
const std::vector<TreeItem>* unwrap(const std::vector<TreeItem>& items) {
  const std::vector<TreeItem>* cur = &items;
  while (cur->size() == 1 && !(*cur)[0].leaf) cur = &(*cur)[0].kids;
  return cur;
}

class TreeBuilder {
 public:
  TreeBuilder(const DiscriminantData& d, const StepwiseLdaOptions& o) : d_(d), o_(o) {}
  DiscriminantTree tree;

  int addNode(std::vector<std::vector<int>> children) {
    const int index = static_cast<int>(tree.nodes.size());
    tree.nodes.emplace_back();
    tree.nodes.back().children = children;
    tree.nodes.back().sub.assign(children.size(), -1);
    tree.nodes[static_cast<std::size_t>(index)].model = fitStepwiseLda(d_, children, o_);
    return index;
  }

  int automatic(const std::vector<int>& groups) {
    if (groups.size() <= 2) {
      std::vector<std::vector<int>> ch;
      for (int g : groups) ch.push_back({g});
      return addNode(ch);
    }
    auto split = splitInTwo(groups);
    const int node = addNode(split);
    for (std::size_t c = 0; c < split.size(); ++c)
      if (split[c].size() > 1) {
        const int sub = automatic(split[c]);
        tree.nodes[static_cast<std::size_t>(node)].sub[c] = sub;
      }
    return node;
  }

  int given(const std::vector<TreeItem>& items, const std::map<std::string, int>& index) {
    const std::vector<TreeItem>& list = *unwrap(items);
    std::vector<std::vector<int>> ch;
    for (const auto& it : list) {
      std::vector<std::string> names;
      leavesOf(it, names);
      std::vector<int> gs;
      for (const auto& n : names) gs.push_back(index.at(n));
      ch.push_back(gs);
    }
    const int node = addNode(ch);
    for (std::size_t c = 0; c < list.size(); ++c)
      if (ch[c].size() > 1) {
        const int sub = given(list[c].kids, index);
        tree.nodes[static_cast<std::size_t>(node)].sub[c] = sub;
      }
    return node;
  }

 private:
  // Two sets seeded by the groups farthest apart in Mahalanobis distance.
  std::vector<std::vector<int>> splitInTwo(const std::vector<int>& groups) {
    const int p = d_.p;
    std::map<int, std::size_t> slot;
    for (std::size_t i = 0; i < groups.size(); ++i) slot[groups[i]] = i;
    MatrixXd means = MatrixXd::Zero(static_cast<Eigen::Index>(groups.size()), p);
    std::vector<double> count(groups.size(), 0);
    for (std::size_t i = 0; i < d_.group.size(); ++i) {
      auto it = slot.find(d_.group[i]);
      if (it == slot.end()) continue;
      count[it->second] += 1;
      for (int j = 0; j < p; ++j)
        means(static_cast<Eigen::Index>(it->second), j) +=
            d_.x[i * static_cast<std::size_t>(p) + j];
    }
    for (std::size_t g = 0; g < groups.size(); ++g)
      if (count[g] > 0) means.row(static_cast<Eigen::Index>(g)) /= count[g];
    MatrixXd W = MatrixXd::Zero(p, p);
    double n = 0;
    for (std::size_t i = 0; i < d_.group.size(); ++i) {
      auto it = slot.find(d_.group[i]);
      if (it == slot.end()) continue;
      VectorXd dv(p);
      for (int j = 0; j < p; ++j)
        dv(j) = d_.x[i * static_cast<std::size_t>(p) + j] -
                means(static_cast<Eigen::Index>(it->second), j);
      W.noalias() += dv * dv.transpose();
      n += 1;
    }
    W /= std::max(1.0, n - static_cast<double>(groups.size()));
    Eigen::CompleteOrthogonalDecomposition<MatrixXd> cod(W);
    auto dist = [&](std::size_t a, std::size_t b) {
      VectorXd dv =
          (means.row(static_cast<Eigen::Index>(a)) - means.row(static_cast<Eigen::Index>(b)))
              .transpose();
      return dv.dot(cod.solve(dv));
    };
    std::size_t sa = 0, sb = 1;
    double far = -1;
    for (std::size_t a = 0; a < groups.size(); ++a)
      for (std::size_t b = a + 1; b < groups.size(); ++b)
        if (const double dd = dist(a, b); dd > far) far = dd, sa = a, sb = b;
    std::vector<std::vector<int>> two(2);
    for (std::size_t g = 0; g < groups.size(); ++g)
      two[dist(g, sa) <= dist(g, sb) ? 0 : 1].push_back(groups[g]);
    return two;
  }

  const DiscriminantData& d_;
  const StepwiseLdaOptions& o_;
};

}  // namespace

DiscriminantTree buildDiscriminantTree(const DiscriminantData& d, LevelScheme scheme,
                                       const std::string& given, const StepwiseLdaOptions& o,
                                       std::string& failure) {
  failure.clear();
  TreeBuilder b(d, o);
  std::vector<int> all;
  for (std::size_t g = 0; g < d.groupNames.size(); ++g) all.push_back(static_cast<int>(g));
  if (scheme == LevelScheme::Single) {
    std::vector<std::vector<int>> ch;
    for (int g : all) ch.push_back({g});
    b.addNode(ch);
  } else if (scheme == LevelScheme::Automatic) {
    b.automatic(all);
  } else {
    std::vector<TreeItem> items;
    std::size_t pos = 0;
    const std::string text = filetext::trim(given);
    if (text.empty() || !parseItems(text, pos, items) || pos != text.size()) {
      failure = kMsgDiscrimBadTree;
      return {};
    }
    std::vector<std::string> names;
    for (const auto& it : items) leavesOf(it, names);
    std::map<std::string, int> index;
    for (std::size_t g = 0; g < d.groupNames.size(); ++g)
      index[d.groupNames[g]] = static_cast<int>(g);
    std::vector<std::string> sorted = names;
    std::sort(sorted.begin(), sorted.end());
    const bool once = std::adjacent_find(sorted.begin(), sorted.end()) == sorted.end();
    const bool known = std::all_of(names.begin(), names.end(),
                                   [&](const std::string& n) { return index.count(n) > 0; });
    if (!once || !known || names.size() != d.groupNames.size() || unwrap(items)->size() < 2) {
      failure = kMsgDiscrimBadTree;
      return {};
    }
    b.given(items, index);
  }
  return std::move(b.tree);
}

int classifySample(const DiscriminantTree& t, const double* x) {
  if (t.nodes.empty()) return -1;
  return descend(t, x, -1);
}

ErrorRates discriminantErrors(const DiscriminantData& d, const DiscriminantTree& t) {
  ErrorRates e;
  const std::size_t G = d.groupNames.size();
  e.confusion.assign(G, std::vector<std::int64_t>(G, 0));
  for (std::size_t i = 0; i < d.group.size(); ++i) {
    const double* x = &d.x[i * static_cast<std::size_t>(d.p)];
    const int r = t.nodes.empty() ? -1 : descend(t, x, -1);
    const int l = t.nodes.empty() ? -1 : descend(t, x, d.group[i]);
    e.resubstitution.push_back(r);
    e.leaveOneOut.push_back(l);
    e.resubErrors += r != d.group[i];
    e.looErrors += l != d.group[i];
    if (r >= 0) ++e.confusion[static_cast<std::size_t>(d.group[i])][static_cast<std::size_t>(r)];
  }
  return e;
}

std::string checkDiscriminantJob(const DiscriminantJob& job) {
  if (job.modelTable.empty()) return kMsgDiscrimNoModelTable;
  if (job.groupField.empty()) return kMsgDiscrimNoGroup;
  if (job.variables.empty()) return kMsgDiscrimNoVariables;
  if (std::find(job.variables.begin(), job.variables.end(), job.groupField) != job.variables.end())
    return kMsgDiscrimGroupIsVariable;
  if (!(job.options.fEnter > 0) || !(job.options.fRemove > 0) ||
      job.options.fEnter < job.options.fRemove)
    return kMsgDiscrimFValues;
  return {};
}

namespace {

// The group label of a value: a number as its shortest text, a text trimmed; empty for none.
std::string groupLabel(const Cursor& c, int col, bool numeric) {
  if (c.isNull(col)) return {};
  if (numeric) {
    const double v = c.getDouble(col);
    if (!isDataValue(v) || !std::isfinite(v)) return {};
    return doubleText(v);
  }
  return filetext::trim(c.getText(col));
}

bool fieldIsNumeric(Database& db, const std::string& table, const std::string& field) {
  for (const FieldDef& f : db.fields(table))
    if (f.name == field) return f.isNumeric();
  return false;
}

std::string selectVariables(const std::vector<std::string>& vars) {
  std::string s;
  for (const auto& v : vars) s += "," + bracket(v);
  return s;
}

}  // namespace

DiscriminantData readDiscriminantData(Database& db, const DiscriminantJob& job) {
  DiscriminantData d;
  d.p = static_cast<int>(job.variables.size());
  const bool numeric = fieldIsNumeric(db, job.modelTable, job.groupField);
  Cursor c = db.query("Select " + bracket(job.groupField) + selectVariables(job.variables) +
                      " From " + bracket(job.modelTable));
  std::map<std::string, int> index;
  std::vector<double> row(static_cast<std::size_t>(d.p));
  while (c.next()) {
    const std::string label = groupLabel(c, 0, numeric);
    if (label.empty()) continue;
    bool ok = true;
    for (int j = 0; j < d.p && ok; ++j) {
      if (c.isNull(j + 1))
        ok = false;
      else
        row[static_cast<std::size_t>(j)] = c.getDouble(j + 1);
      ok = ok && isDataValue(row[static_cast<std::size_t>(j)]) &&
           std::isfinite(row[static_cast<std::size_t>(j)]);
    }
    if (!ok) continue;
    auto [it, added] = index.emplace(label, static_cast<int>(d.groupNames.size()));
    if (added) d.groupNames.push_back(label);
    d.group.push_back(it->second);
    d.x.insert(d.x.end(), row.begin(), row.end());
  }
  return d;
}

namespace {

std::vector<std::string> discriminantReport(const DiscriminantJob& job,
                                            const DiscriminantResult& r) {
  std::vector<std::string> out;
  const auto& d = r.data;
  out.push_back("   多级逐步判别分析");
  out.push_back("   学习数据表: " + job.modelTable + "    分类数据项: " + job.groupField);
  out.push_back("   样品数=" + std::to_string(d.n()) + "   类别数=" +
                std::to_string(d.groupNames.size()) + "   变量数=" + std::to_string(d.p));
  out.push_back("   F选入=" + doubleText(job.options.fEnter) +
                "   F剔除=" + doubleText(job.options.fRemove) +
                (job.options.proportionalPriors ? "   先验概率: 按样品数" : "   先验概率: 相等"));
  auto setName = [&](const std::vector<int>& gs) {
    std::string s;
    for (int g : gs) s += (s.empty() ? "" : ",") + d.groupNames[static_cast<std::size_t>(g)];
    return gs.size() > 1 ? "(" + s + ")" : s;
  };
  for (std::size_t k = 0; k < r.tree.nodes.size(); ++k) {
    const LevelNode& ln = r.tree.nodes[k];
    std::string head = "   第" + std::to_string(k + 1) + "判别节点: ";
    for (std::size_t c = 0; c < ln.children.size(); ++c)
      head += (c ? " | " : "") + setName(ln.children[c]);
    out.push_back("");
    out.push_back(head);
    out.push_back("     步骤  变量          选入/剔除      F值        概率P     Wilks λ");
    for (std::size_t s = 0; s < ln.model.steps.size(); ++s) {
      const LdaStep& st = ln.model.steps[s];
      char line[256];
      std::snprintf(line, sizeof line, "     %3zu   %-12s  %-8s  %10.4f  %10.4g  %10.6f", s + 1,
                    job.variables[static_cast<std::size_t>(st.variable)].c_str(),
                    st.entered ? "选入" : "剔除", st.f, st.p, st.lambda);
      out.push_back(line);
    }
    if (ln.model.selected.empty()) {
      out.push_back("     无变量选入, 按先验概率判别。");
      continue;
    }
    out.push_back("     Wilks λ=" + doubleText(ln.model.lambda));
    out.push_back("     判别函数系数:");
    for (std::size_t c = 0; c < ln.children.size(); ++c) {
      const auto& f = ln.model.functions[c];
      std::string line = "       " + setName(ln.children[c]) + ": 常数=" + doubleText(f[0]);
      for (std::size_t v = 0; v < ln.model.selected.size(); ++v)
        line += "  " + job.variables[static_cast<std::size_t>(ln.model.selected[v])] + "=" +
                doubleText(f[v + 1]);
      out.push_back(line);
    }
  }
  const double n = static_cast<double>(std::max<std::int64_t>(d.n(), 1));
  out.push_back("");
  out.push_back("   回代判别: 错判数=" + std::to_string(r.errors.resubErrors) + "   错判率=" +
                fixedText(100.0 * static_cast<double>(r.errors.resubErrors) / n, 2) + "%");
  out.push_back("   留一法(交叉验证): 错判数=" + std::to_string(r.errors.looErrors) + "   错判率=" +
                fixedText(100.0 * static_cast<double>(r.errors.looErrors) / n, 2) + "%");
  out.push_back("   回代判别结果 (行: 原类别, 列: 判别类别):");
  std::string head = "     ";
  for (const auto& g : d.groupNames) head += "  " + g;
  out.push_back(head);
  for (std::size_t a = 0; a < d.groupNames.size(); ++a) {
    std::string line = "     " + d.groupNames[a] + ":";
    for (std::size_t b = 0; b < d.groupNames.size(); ++b)
      line += "  " + std::to_string(r.errors.confusion[a][b]);
    out.push_back(line);
  }
  return out;
}

}  // namespace

Outcome runDiscriminant(Database& db, const DiscriminantJob& job, DiscriminantResult& result,
                        Progress& progress) {
  if (std::string why = checkDiscriminantJob(job); !why.empty()) return Outcome::failure(why);
  DiscriminantResult r;
  try {
    r.data = readDiscriminantData(db, job);
    const auto& d = r.data;
    if (d.groupNames.size() < 2) return Outcome::failure(kMsgDiscrimTooFewGroups);
    std::vector<std::int64_t> counts(d.groupNames.size(), 0);
    for (int g : d.group) ++counts[static_cast<std::size_t>(g)];
    if (d.n() < static_cast<std::int64_t>(d.groupNames.size()) + d.p + 1 ||
        *std::min_element(counts.begin(), counts.end()) < 2)
      return Outcome::failure(kMsgDiscrimTooFewSamples);
    std::string failure;
    r.tree = buildDiscriminantTree(d, job.scheme, job.tree, job.options, failure);
    if (!failure.empty()) return Outcome::failure(failure);
    if (!progress.pump()) return Outcome::failure({});
    r.errors = discriminantErrors(d, r.tree);
    r.report = discriminantReport(job, r);

    if (!job.predictionTable.empty()) {
      const bool numeric = fieldIsNumeric(db, job.modelTable, job.groupField);
      r.resultField = job.groupField + kDiscrimSuffix;
      std::vector<FieldDef> pf = db.fields(job.predictionTable);
      for (const auto& v : job.variables)
        if (std::none_of(pf.begin(), pf.end(), [&](const FieldDef& f) { return f.name == v; }))
          return Outcome::failure(std::string(kMsgDiscrimFailed) + "预测数据表中无数据项 " + v);
      if (std::none_of(pf.begin(), pf.end(),
                       [&](const FieldDef& f) { return f.name == r.resultField; }))
        db.execute("Alter Table " + bracket(job.predictionTable) + " Add Column " +
                   bracket(r.resultField) + (numeric ? " Single Default -1E+38" : " Text(50)"));
      Recordset rs = Recordset::openTable(db, job.predictionTable);
      const int col = rs.fieldIndex(r.resultField);
      std::vector<int> vcol;
      for (const auto& v : job.variables) vcol.push_back(rs.fieldIndex(v));
      std::vector<double> x(static_cast<std::size_t>(d.p));
      db.begin();
      for (rs.moveFirst(); !rs.eof(); rs.moveNext()) {
        bool ok = true;
        for (int j = 0; j < d.p && ok; ++j) {
          const Value& v = rs.value(vcol[static_cast<std::size_t>(j)]);
          x[static_cast<std::size_t>(j)] = isNull(v) ? NULL_VALUE_D : valueToDouble(v);
          ok = isDataValue(x[static_cast<std::size_t>(j)]) &&
               std::isfinite(x[static_cast<std::size_t>(j)]);
        }
        const int g = ok ? classifySample(r.tree, x.data()) : -1;
        rs.edit();
        if (g < 0) {
          rs.set(col, numeric ? Value(NULL_VALUE_D) : Value(std::string()));
        } else {
          const std::string& name = d.groupNames[static_cast<std::size_t>(g)];
          double v = 0;
          if (numeric && filetext::parseDouble(name, v))
            rs.set(col, Value(v));
          else
            rs.set(col, Value(name));
          ++r.predicted;
        }
        rs.update();
      }
      db.commit();
      r.report.push_back("   预测数据表: " + job.predictionTable + "   结果数据项: " +
                         r.resultField + "   判别样品数=" + std::to_string(r.predicted));
    }
  } catch (const StoreError& e) {
    return Outcome::failure(std::string(kMsgDiscrimFailed) + e.what());
  }
  result = std::move(r);
  return Outcome::success();
}

}  // namespace sarnoth::geochem
