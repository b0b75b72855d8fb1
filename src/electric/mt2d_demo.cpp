#include "electric/mt2d_demo.h"

#include <algorithm>
#include <cmath>
#include <random>

#include "electric/mt2d_inversion.h"
#include "workarea/path_resolver.h"
#include "workarea/table_store.h"
#include "workarea/work_area.h"

namespace sarnoth::electric {
namespace {

constexpr double kHost = 100, kConductor = 5, kResistor = 1000;
constexpr double kRhoNoise = 2.0;     // %
constexpr double kPhaseNoise = 0.57;  // degrees: 1 % in |Z| as an angle

double blockAt(double y, double z) {
  if (y > -3500 && y < -1000 && z > 400 && z < 2000) return kConductor;
  if (y > 1000 && y < 3500 && z > 600 && z < 3000) return kResistor;
  return kHost;
}

// Spans of `n` cells in blocks of `size`, the last block taking what remains.
std::vector<int> spans(int n, int size) {
  std::vector<int> s;
  for (int left = n; left > 0; left -= size) s.push_back(std::min(size, left));
  if (s.size() > 1 && s.back() < size / 2 + 1 && s.back() < size) {
    s[s.size() - 2] += s.back();
    s.pop_back();
  }
  return s;
}

}  // namespace

Mt2dDemoSet makeMt2dDemoSet(const Mt2dDemoSize& z, unsigned seed) {
  Mt2dDemoSet set;
  Mt2dMesh& m = set.mesh;
  const double core = z.siteSpacing / z.cellsPerSite;
  std::vector<double> pad;
  double h = core;
  for (int i = 0; i < z.padColumns; ++i) pad.push_back(h = std::min(h * z.padGrowth, 20000.0));
  m.widths.assign(pad.rbegin(), pad.rend());
  const int coreColumns = (z.sites - 1) * z.cellsPerSite + 2 * z.cellsPerSite;
  m.widths.insert(m.widths.end(), static_cast<std::size_t>(coreColumns), core);
  m.widths.insert(m.widths.end(), pad.begin(), pad.end());
  double left = coreColumns * core / 2;
  for (double p : pad) left += p;
  m.y0 = -left;
  h = std::min(25.0, core / 4);
  for (int i = 0; i < z.earthRows; ++i, h *= 1.15) m.earth.push_back(std::round(h * 10) / 10);
  h = 100;
  for (int i = 0; i < z.airRows; ++i, h *= 3) m.air.push_back(h);

  const std::vector<double> y = m.nodePositions(), d = m.nodeDepths();
  for (int r = 0; r < m.earthRows(); ++r)
    for (int c = 0; c < m.columns(); ++c)
      set.truth.push_back(
          blockAt((y[static_cast<std::size_t>(c)] + y[static_cast<std::size_t>(c) + 1]) / 2,
                  (d[static_cast<std::size_t>(r)] + d[static_cast<std::size_t>(r) + 1]) / 2));

  Mt2dModel& s = set.start;
  s.columnSpans = spans(m.columns(), z.blockSize);
  s.rowSpans = spans(m.earthRows(), z.blockSize);
  s.resistivity.assign(s.columnSpans.size() * s.rowSpans.size(), kHost);
  s.fixed.assign(s.resistivity.size(), 0);

  Mt2dData& data = set.data;
  data.mode = MtMode::Joint;
  for (int i = 0; i < z.frequencies; ++i)
    data.frequencies.push_back(
        z.fmax *
        std::pow(z.fmin / z.fmax, z.frequencies > 1 ? double(i) / (z.frequencies - 1) : 0));
  std::vector<int> columns;
  for (int i = 0; i < z.sites; ++i) {
    char name[16];
    std::snprintf(name, sizeof name, "MT%02d", i + 1);
    const int col = z.padColumns + z.cellsPerSite + i * z.cellsPerSite;
    data.sites.push_back({name, y[static_cast<std::size_t>(col)]});
    columns.push_back(col);
  }
  MtResponses clean;
  mt2dResponses(m, set.truth, data.frequencies, columns, MtMode::Joint, clean);
  std::mt19937 gen(seed);
  auto gauss = [&gen] {
    const double u1 = (gen() + 1.0) / 4294967297.0, u2 = (gen() + 1.0) / 4294967297.0;
    return std::sqrt(-2 * std::log(u1)) * std::cos(2 * M_PI * u2);
  };
  for (auto [from, to] : {std::pair{&clean.te, &data.te}, std::pair{&clean.tm, &data.tm}}) {
    const std::size_t n = from->rho.size();
    to->rho.resize(n);
    to->phase.resize(n);
    to->rhoErr.assign(n, kRhoNoise);
    to->phaseErr.assign(n, kPhaseNoise);
    for (std::size_t i = 0; i < n; ++i) {
      to->rho[i] = std::round(from->rho[i] * (1 + kRhoNoise / 100 * gauss()) * 1000) / 1000;
      to->phase[i] = std::round((from->phase[i] + kPhaseNoise * gauss()) * 100) / 100;
    }
  }

  Mt2dBasic& b = set.basic;
  b.mode = MtMode::Joint;
  b.sites = z.sites;
  b.frequencies = z.frequencies;
  b.airNodes = m.airRows();
  b.horizontalNodes = m.columns() + 1;
  b.earthNodes = m.earthRows() + 1;
  b.maxIterations = 8;
  b.targetRms = 1.0;
  // Floors a little above the noise, as a survey's would be.
  b.rhoFloor = 1.5 * kRhoNoise;
  b.phaseFloor = 1.5 * kPhaseNoise;
  return set;
}

Outcome writeDemoMt2d(const std::string& workPath, unsigned seed) {
  const Mt2dDemoSet set = makeMt2dDemoSet({}, seed);
  const std::string base = workPath + "Prof_Dat\\2DMT\\" + kDemoMtStem;
  if (!writeMt2dBasic(base + ".mt1", set.basic) || !writeMt2dGrids(base + ".mt2", set.mesh) ||
      !writeMt2dModel(base + ".mt3", set.start) || !writeMt2dPoints(base + ".mt4", set.data))
    return Outcome::failure("写大地电磁演示文件错: " + base);
  try {
    Database db = openWorkDatabase(workPath);
    ScriptedInteraction yes({Answer::Yes}, Answer::Yes);
    registerTable(db, kDemoMtTable,
                  {"OutDataIn", "外部数据导入", OverwriteRule::Ask, "检索结果表名已存在,是否覆盖?",
                   "", false},
                  yes);
    const std::vector<FieldDef> defs = {
        {"点号", JetType::Text, 20},    {"距离", JetType::Double, 0},
        {"频率", JetType::Double, 0},   {"TE视电阻率", JetType::Single, 0},
        {"TE相位", JetType::Single, 0}, {"TM视电阻率", JetType::Single, 0},
        {"TM相位", JetType::Single, 0}};
    db.createTable(kDemoMtTable, defs);
    std::vector<std::string> cols;
    for (const auto& f : defs) cols.push_back(f.name);
    TableWriter w(db, kDemoMtTable, cols);
    const Mt2dData& d = set.data;
    const std::size_t nf = d.frequencies.size();
    for (std::size_t s = 0; s < d.sites.size(); ++s)
      for (std::size_t f = 0; f < nf; ++f) {
        const std::size_t i = s * nf + f;
        w.setText(0, d.sites[s].name);
        w.setDouble(1, d.sites[s].position);
        w.setDouble(2, d.frequencies[f]);
        w.setDouble(3, d.te.rho[i]);
        w.setDouble(4, d.te.phase[i]);
        w.setDouble(5, d.tm.rho[i]);
        w.setDouble(6, d.tm.phase[i]);
        w.addRow();
      }
    w.commit();
  } catch (const StoreError& e) {
    return Outcome::failure(std::string("创建新数据表错误, ") + e.what());
  }
  return Outcome::success();
}

}  // namespace sarnoth::electric
