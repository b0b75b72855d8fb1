#include "geochem/bp_network.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "geochem/report_format.h"
#include "workarea/file_text.h"
#include "workarea/null_value.h"
#include "workarea/path_resolver.h"
#include "workarea/text_codec.h"

namespace sarnoth::geochem {
namespace {

// The tool's null test: a value counts above -1E+31.
bool isData(double v) { return isDataAbove(v, -1e31); }

double sigmoid(double u) { return 1.0 / (1.0 + std::exp(-u)); }

struct Stop {
  std::string text;
};

bool positiveCount(const std::string& text, int& v) {
  long long n = 0;
  if (!filetext::parseInt(filetext::trim(text), n) || n < 1 || n > 100000000) return false;
  v = static_cast<int>(n);
  return true;
}

bool positiveNumber(const std::string& text, double& v) {
  return filetext::parseDouble(filetext::trim(text), v) && std::isfinite(v) && v > 0;
}

std::string joinedValues(const double* v, int n, bool single) {
  std::string s;
  for (int i = 0; i < n; ++i)
    s += (i ? "  " : "") + (single ? singleText(static_cast<float>(v[i])) : doubleText(v[i]));
  return s;
}

// Σ_p (t − y)² ÷ patterns per output unit, with the network as it stands.
std::vector<double> unitErrors(const BpWeights& net, const std::vector<double>& x,
                               const std::vector<double>& t) {
  const std::size_t patterns = t.size() / static_cast<std::size_t>(net.kk);
  std::vector<double> h(static_cast<std::size_t>(net.jj)), y(static_cast<std::size_t>(net.kk));
  std::vector<double> err(static_cast<std::size_t>(net.kk), 0.0);
  for (std::size_t p = 0; p < patterns; ++p) {
    bpForward(net, &x[p * static_cast<std::size_t>(net.ii)], h.data(), y.data());
    for (int k = 0; k < net.kk; ++k) {
      const double d = t[p * static_cast<std::size_t>(net.kk) + static_cast<std::size_t>(k)] -
                       y[static_cast<std::size_t>(k)];
      err[static_cast<std::size_t>(k)] += d * d;
    }
  }
  for (double& e : err) e /= static_cast<double>(std::max<std::size_t>(patterns, 1));
  return err;
}

double meanOf(const std::vector<double>& v) {
  double s = 0;
  for (double x : v) s += x;
  return v.empty() ? 0 : s / static_cast<double>(v.size());
}

}  // namespace

BpWeights initialWeights(int ii, int jj, int kk, std::uint32_t seed) {
  BpWeights n;
  n.ii = ii;
  n.jj = jj;
  n.kk = kk;
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> u(0.0, 1.0);
  auto fill = [&](std::vector<double>& a, std::size_t size) {
    a.resize(size);
    for (double& x : a) x = 2 * u(rng) - 1;
  };
  fill(n.v, static_cast<std::size_t>(jj) * static_cast<std::size_t>(ii));
  fill(n.w, static_cast<std::size_t>(kk) * static_cast<std::size_t>(jj));
  fill(n.r, static_cast<std::size_t>(jj));
  fill(n.q, static_cast<std::size_t>(kk));
  return n;
}

void bpForward(const BpWeights& net, const double* x, double* h, double* y) {
  for (int j = 0; j < net.jj; ++j) {
    const double* vj = &net.v[static_cast<std::size_t>(j) * static_cast<std::size_t>(net.ii)];
    double s = 0;
    for (int i = 0; i < net.ii; ++i) s += vj[i] * x[i];
    h[j] = sigmoid(s - net.r[static_cast<std::size_t>(j)]);
  }
  for (int k = 0; k < net.kk; ++k) {
    const double* wk = &net.w[static_cast<std::size_t>(k) * static_cast<std::size_t>(net.jj)];
    double s = 0;
    for (int j = 0; j < net.jj; ++j) s += wk[j] * h[j];
    y[k] = sigmoid(s - net.q[static_cast<std::size_t>(k)]);
  }
}

int bpTrain(BpWeights& net, const std::vector<double>& x, const std::vector<double>& t, int rounds,
            double l1, double l2, const std::function<bool(int round, double mse)>& round) {
  const auto ii = static_cast<std::size_t>(net.ii), jj = static_cast<std::size_t>(net.jj),
             kk = static_cast<std::size_t>(net.kk);
  const std::size_t patterns = t.size() / kk;
  std::vector<double> h(jj), y(kk), d(kk), e(jj);
  for (int it = 1; it <= rounds; ++it) {
    for (std::size_t p = 0; p < patterns; ++p) {
      const double* xp = &x[p * ii];
      const double* tp = &t[p * kk];
      bpForward(net, xp, h.data(), y.data());
      for (std::size_t k = 0; k < kk; ++k) d[k] = (tp[k] - y[k]) * y[k] * (1 - y[k]);
      for (std::size_t j = 0; j < jj; ++j) {
        double s = 0;
        for (std::size_t k = 0; k < kk; ++k) s += d[k] * net.w[k * jj + j];
        e[j] = s * h[j] * (1 - h[j]);
      }
      for (std::size_t k = 0; k < kk; ++k) {
        for (std::size_t j = 0; j < jj; ++j) net.w[k * jj + j] += l1 * d[k] * h[j];
        net.q[k] -= l2 * d[k];
      }
      for (std::size_t j = 0; j < jj; ++j) {
        for (std::size_t i = 0; i < ii; ++i) net.v[j * ii + i] += l1 * e[j] * xp[i];
        net.r[j] -= l2 * e[j];
      }
    }
    if (round && !round(it, meanOf(unitErrors(net, x, t)))) return it;
  }
  return rounds;
}

bool bpSizes(const BpJob& job, int& ii, int& jj, int& kk, std::string& message) {
  ii = static_cast<int>(job.inputs.size());
  if (!positiveCount(job.hiddenText, jj) || !positiveCount(job.outputsText, kk)) {
    message = kMsgBpParameters;
    return false;
  }
  if (kk != 1) {
    message = kMsgBpOneOutput;
    return false;
  }
  return true;
}

Outcome runBpNetwork(Database& db, const BpJob& job, const BpWeights& start, BpResult& result,
                     const std::function<bool(int round, double mse)>& round, Progress& progress) {
  if (job.modelTable.empty()) return Outcome::failure(kMsgBpNoModelTable);
  if (job.inputs.empty()) return Outcome::failure(kMsgBpNoInputs);
  if (job.output.empty()) return Outcome::failure(kMsgBpNoOutput);
  if (std::find(job.inputs.begin(), job.inputs.end(), job.output) != job.inputs.end())
    return Outcome::failure(kMsgBpOutputIsInput);
  int ii = 0, jj = 0, kk = 0, rounds = 0;
  std::string why;
  if (!bpSizes(job, ii, jj, kk, why)) return Outcome::failure(why);
  double l1 = 0, l2 = 0, limit = 0;
  if (!positiveCount(job.roundsText, rounds) || !positiveNumber(job.l1Text, l1) ||
      !positiveNumber(job.l2Text, l2) || (job.flagError && !positiveNumber(job.limitText, limit)))
    return Outcome::failure(kMsgBpParameters);
  if (!start.fits(ii, jj, kk)) return Outcome::failure(kMsgBpWeights);

  BpResult res;
  const auto uii = static_cast<std::size_t>(ii);
  try {
    // The learning patterns.
    std::vector<double> x, t;
    {
      std::string sql = "Select ";
      for (const auto& f : job.inputs) sql += bracket(f) + ",";
      Cursor c = db.query(sql + bracket(job.output) + " From " + bracket(job.modelTable));
      std::vector<double> row(uii + 1);
      while (c.next()) {
        bool ok = true;
        for (std::size_t i = 0; i <= uii; ++i) {
          row[i] = c.isNull(static_cast<int>(i)) ? NULL_VALUE_D : c.getDouble(static_cast<int>(i));
          ok = ok && isData(row[i]);
        }
        if (!ok) continue;
        x.insert(x.end(), row.begin(), row.begin() + static_cast<std::ptrdiff_t>(uii));
        t.push_back(row[uii]);
      }
    }
    res.nn = static_cast<int>(t.size());
    if (res.nn == 0) return Outcome::failure(kMsgBpNoPatterns);
    // Normalisation by the learning patterns' extremes.
    std::vector<double> xmin(uii, 1e38), xmax(uii, -1e38);
    double ymin = 1e38, ymax = -1e38;
    for (int p = 0; p < res.nn; ++p) {
      for (std::size_t i = 0; i < uii; ++i) {
        xmin[i] = std::min(xmin[i], x[static_cast<std::size_t>(p) * uii + i]);
        xmax[i] = std::max(xmax[i], x[static_cast<std::size_t>(p) * uii + i]);
      }
      ymin = std::min(ymin, t[static_cast<std::size_t>(p)]);
      ymax = std::max(ymax, t[static_cast<std::size_t>(p)]);
    }
    for (std::size_t i = 0; i < uii; ++i)
      if (!(xmax[i] > xmin[i]))
        throw Stop{std::string(kMsgBpComputeFailed) + "除数为零 (" + job.inputs[i] +
                   " 在学习模式中为常数)"};
    if (!(ymax > ymin))
      throw Stop{std::string(kMsgBpComputeFailed) + "除数为零 (" + job.output +
                 " 在学习模式中为常数)"};
    std::vector<double> xn = x, tn = t;
    for (std::size_t p = 0; p < static_cast<std::size_t>(res.nn); ++p) {
      for (std::size_t i = 0; i < uii; ++i)
        xn[p * uii + i] = (x[p * uii + i] - xmin[i]) / (xmax[i] - xmin[i]);
      tn[p] = (t[p] - ymin) / (ymax - ymin);
    }

    // The prediction patterns, read before anything is trained or written.
    std::vector<std::vector<double>> pin;
    if (!job.predictionTable.empty()) {
      std::vector<FieldDef> pf = db.fields(job.predictionTable);
      for (const auto& f : job.inputs)
        if (std::none_of(pf.begin(), pf.end(), [&](const FieldDef& d) { return d.name == f; }))
          throw Stop{"预测数据表中无数据项 " + f + "。"};
      std::string sql = "Select ";
      for (std::size_t i = 0; i < uii; ++i) sql += (i ? "," : "") + bracket(job.inputs[i]);
      Cursor c = db.query(sql + " From " + bracket(job.predictionTable));
      while (c.next()) {
        std::vector<double> r(uii);
        for (std::size_t i = 0; i < uii; ++i)
          r[i] = c.isNull(static_cast<int>(i)) ? NULL_VALUE_D : c.getDouble(static_cast<int>(i));
        pin.push_back(std::move(r));
      }
      if (pin.empty()) throw Stop{kMsgBpNoPrediction};
    }
    res.ny = static_cast<int>(pin.size());

    std::vector<std::string>& out = res.report;
    out.push_back("学习模式数 NN=" + std::to_string(res.nn) +
                  "  输入层节点数 II=" + std::to_string(ii));
    out.push_back("输出层节点数 KK=" + std::to_string(kk) +
                  "  预测模式数 NY=" + std::to_string(res.ny));
    out.push_back("迭代次数N=" + std::to_string(rounds) + "  权调节系数 L1=" + doubleText(l1) +
                  "  阈调节系数 L2=" + doubleText(l2));
    out.push_back("中间层节点数 JJ=" + std::to_string(jj));
    out.push_back("********V(j, i)中间层连接权系数,个数为JJ乘II********");
    for (int j = 0; j < jj; ++j)
      out.push_back(joinedValues(&start.v[static_cast<std::size_t>(j) * uii], ii, false));
    out.push_back("********W(k, j)输出层连接权系数,个数为KK乘JJ********");
    for (int k = 0; k < kk; ++k)
      out.push_back(joinedValues(
          &start.w[static_cast<std::size_t>(k) * static_cast<std::size_t>(jj)], jj, false));
    out.push_back("********R(j)中间层节点阈值,个数为JJ********");
    out.push_back(joinedValues(start.r.data(), jj, false));
    out.push_back("********Q(k)输出层节点阈值,个数为KK********");
    out.push_back(joinedValues(start.q.data(), kk, false));
    out.push_back("输入层样本数据正规化到0和1之间的最小值:");
    out.push_back(joinedValues(xmin.data(), ii, true));
    out.push_back("输入层样本数据正规化到0和1之间的最大值:");
    out.push_back(joinedValues(xmax.data(), ii, true));
    out.push_back("xmin7=" + singleText(static_cast<float>(ymin)));
    out.push_back("xmax7=" + singleText(static_cast<float>(ymax)));
    out.push_back("*********开始迭代N次进行学习训练***********");

    // Training.
    res.trained = start;
    progress.setMaximum(rounds);
    bool cancelled = false;
    auto er1 = [&](int it) {
      std::vector<double> e = unitErrors(res.trained, xn, tn);
      out.push_back(std::to_string(it) + "次迭代，输出层各单元的一般化误差 Er1(k) = " +
                    joinedValues(e.data(), kk, false));
    };
    bpTrain(res.trained, xn, tn, rounds, l1, l2, [&](int it, double mse) {
      res.curve.push_back(mse);
      if (it == 1 || it == rounds) er1(it);
      progress.setValue(it);
      if ((round && !round(it, mse)) || !progress.pump()) {
        cancelled = true;
        return false;
      }
      return true;
    });
    if (cancelled) return Outcome::failure("");

    // The simulation of the learning patterns.
    std::vector<double> h(static_cast<std::size_t>(jj)), y(static_cast<std::size_t>(kk));
    std::vector<double> fitError(static_cast<std::size_t>(res.nn));
    out.push_back("*********迭代" + std::to_string(rounds) +
                  "次后的教师信号的“实际输出”的复原值 即所谓的“仿真结果”***********");
    for (std::size_t p = 0; p < static_cast<std::size_t>(res.nn); ++p) {
      bpForward(res.trained, &xn[p * uii], h.data(), y.data());
      fitError[p] = std::fabs(tn[p] - y[0]);
      res.simulated.push_back(y[0] * (ymax - ymin) + ymin);
      out.push_back(std::to_string(p + 1) + "  " + singleText(static_cast<float>(t[p])) + "  " +
                    singleText(static_cast<float>(res.simulated.back())));
    }

    // Prediction.
    if (!job.predictionTable.empty()) {
      out.push_back(
          "*********录入的需要预测的数据 NY*II ，NY是预测样品数，II是每个样品的变量数"
          "**********");
      for (const auto& r : pin) out.push_back(joinedValues(r.data(), ii, true));
      out.push_back("++++++++++预测结果(正规化复原成实际的)+++++++++++++");
      std::vector<double> z(uii);
      for (const auto& r : pin) {
        if (!std::all_of(r.begin(), r.end(), isData)) {
          res.predicted.push_back(NULL_VALUE_D);
          out.push_back(NULL_TEXT);
          continue;
        }
        for (std::size_t i = 0; i < uii; ++i) z[i] = (r[i] - xmin[i]) / (xmax[i] - xmin[i]);
        bpForward(res.trained, z.data(), h.data(), y.data());
        const double value = y[0] * (ymax - ymin) + ymin;
        bool flag = false;
        if (job.flagError) {
          std::size_t nearest = 0;
          double bestD = std::numeric_limits<double>::infinity();
          for (std::size_t p = 0; p < static_cast<std::size_t>(res.nn); ++p) {
            double dd = 0;
            for (std::size_t i = 0; i < uii; ++i) {
              const double a = z[i] - xn[p * uii + i];
              dd += a * a;
            }
            if (dd < bestD) {
              bestD = dd;
              nearest = p;
            }
          }
          flag = fitError[nearest] > limit;
        }
        res.flagged += flag ? 1 : 0;
        res.predicted.push_back(flag ? NULL_VALUE_D : value);
        out.push_back(singleText(static_cast<float>(value)) + (flag ? "  *超限" : ""));
      }
      // The results into the prediction table, in its record order.
      res.resultField = job.output + kBpResultSuffix;
      std::vector<FieldDef> pf = db.fields(job.predictionTable);
      if (std::none_of(pf.begin(), pf.end(),
                       [&](const FieldDef& d) { return d.name == res.resultField; }))
        db.execute("Alter Table " + bracket(job.predictionTable) + " Add Column " +
                   bracket(res.resultField) + " Single Default -1E+38");
      Recordset rs = Recordset::openTable(db, job.predictionTable);
      const int col = rs.fieldIndex(res.resultField);
      db.begin();
      std::size_t k = 0;
      for (rs.moveFirst(); !rs.eof() && k < res.predicted.size(); rs.moveNext(), ++k) {
        rs.edit();
        rs.set(col, res.predicted[k]);
        rs.update();
      }
      db.commit();
    }

    if (!job.parFile.empty()) {
      std::string text;
      for (const auto& l : out) text += l + "\r\n";
      if (!filetext::writeWholeFile(resolvePath(job.parFile), utf8ToGbk(text)))
        throw Stop{std::string(kMsgBpComputeFailed) + "不能写文件 " + job.parFile};
    }
  } catch (const Stop& s) {
    return Outcome::failure(s.text);
  } catch (const StoreError& e) {
    return Outcome::failure(std::string(kMsgBpComputeFailed) + e.what());
  }
  result = std::move(res);
  return Outcome::success(kBpDone);
}

bool bpShowsRound(int round, int rounds) {
  return round == 1 || round == rounds || round % 100 == 0;
}

std::string bpErrorText(int round, double mse) {
  return std::to_string(round) + "次，均方差=" + singleText(static_cast<float>(mse));
}

chart::Chart bpErrorChart(const std::vector<double>& curve, int rounds) {
  chart::Chart c;
  c.fitFrame = true;
  c.x.label = "迭代次数";
  c.x.autoRange = false;
  c.x.lo = 0;
  c.x.hi = std::max(rounds, 1);
  c.y.label = "均方差";
  c.y.scale = chart::Scale::Log10;
  chart::Series s = chart::Series::of(chart::SeriesKind::Line, {}, {}, chart::kBlue);
  // At most about 2,000 points drawn: every round's value until then, then every n-th.
  const std::size_t step = std::max<std::size_t>(1, curve.size() / 2000);
  for (std::size_t i = 0; i < curve.size(); i += step)
    if (curve[i] > 0) {
      s.x.push_back(static_cast<double>(i + 1));
      s.y.push_back(curve[i]);
    }
  if (!curve.empty() && curve.back() > 0 && (curve.size() - 1) % step != 0) {
    s.x.push_back(static_cast<double>(curve.size()));
    s.y.push_back(curve.back());
  }
  c.series.push_back(std::move(s));
  return c;
}

}  // namespace sarnoth::geochem
