#include "electric/mt2d_data_input.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "workarea/null_value.h"

namespace sarnoth::electric {
namespace {

std::string bracket(const std::string& name) { return "[" + name + "]"; }

}  // namespace

double foldPhase(double d, MtMode mode) {
  while (d > 180) d -= 360;
  while (d <= -180) d += 360;
  if (mode == MtMode::TM && d < -90) d += 180;
  return d;
}

MtRead<Mt2dData> pointDataFromTable(Database& db, const PointFields& f, MtMode mode) {
  MtRead<Mt2dData> out;
  if (mode == MtMode::Joint) {
    out.message = kMsgWrongMode;
    return out;
  }
  for (const std::string* s : {&f.table, &f.name, &f.distance, &f.frequency, &f.rho, &f.phase})
    if (s->empty()) {
      out.message = "请选择数据表及其测点名、距离、频率、视电阻率和相位字段";
      return out;
    }
  std::string sql = "Select " + bracket(f.name) + "," + bracket(f.distance) + "," +
                    bracket(f.frequency) + "," + bracket(f.rho) + "," + bracket(f.phase);
  const bool errors = !f.rhoError.empty() && !f.phaseError.empty();
  if (errors) sql += "," + bracket(f.rhoError) + "," + bracket(f.phaseError);
  sql += " From " + bracket(f.table);

  struct Reading {
    double rho, phase, rhoErr, phaseErr;
  };
  struct Site {
    double distance;
    std::map<double, Reading> byFrequency;
  };
  std::map<std::string, Site> sites;
  std::vector<double> freqs;
  try {
    Cursor c = db.query(sql);
    while (c.next()) {
      if (c.isNull(0) || c.isNull(1) || c.isNull(2)) continue;
      const std::string name = c.getText(0);
      const double dist = c.getDouble(1), freq = c.getDouble(2);
      if (name.empty() || !std::isfinite(dist) || isNullValue(static_cast<float>(dist)) ||
          !(freq > 0) || !std::isfinite(freq))
        continue;
      Reading r{NULL_VALUE, NULL_VALUE, 0, 0};
      if (!c.isNull(3) && !c.isNull(4)) {
        const double rho = c.getDouble(3), pha = c.getDouble(4);
        if (isMeasured(rho) && !isNullValue(static_cast<float>(rho)) && std::isfinite(pha) &&
            !isNullValue(static_cast<float>(pha)))
          r = {rho, foldPhase(pha, mode), 0, 0};
      }
      if (errors && !c.isNull(5) && !c.isNull(6)) {
        r.rhoErr = std::max(0.0, c.getDouble(5));
        r.phaseErr = std::max(0.0, c.getDouble(6));
      }
      auto [it, fresh] = sites.try_emplace(name, Site{dist, {}});
      (void)fresh;
      it->second.byFrequency[freq] = r;
      freqs.push_back(freq);
    }
  } catch (const StoreError& e) {
    out.message = std::string("读数据表错: ") + e.what();
    return out;
  }
  std::sort(freqs.begin(), freqs.end(), std::greater<>());
  freqs.erase(std::unique(freqs.begin(), freqs.end()), freqs.end());
  if (sites.empty() || freqs.empty()) {
    out.message = "数据表 " + f.table + " 中没有可用的测点数据";
    return out;
  }
  if (static_cast<int>(sites.size()) > kMaxMtSites ||
      static_cast<int>(freqs.size()) > kMaxMtFrequencies) {
    out.message = "测点或频点太多: " + std::to_string(sites.size()) + " 个测点, " +
                  std::to_string(freqs.size()) + " 个频点";
    return out;
  }
  std::vector<std::pair<std::string, const Site*>> order;
  for (const auto& [name, s] : sites) order.emplace_back(name, &s);
  std::stable_sort(order.begin(), order.end(), [](const auto& a, const auto& b) {
    return a.second->distance < b.second->distance;
  });
  Mt2dData d;
  d.mode = mode;
  d.frequencies = freqs;
  MtCurves& c = mode == MtMode::TE ? d.te : d.tm;
  for (const auto& [name, s] : order) {
    d.sites.push_back({name, s->distance});
    for (double fr : freqs) {
      const auto it = s->byFrequency.find(fr);
      const Reading r =
          it == s->byFrequency.end() ? Reading{NULL_VALUE, NULL_VALUE, 0, 0} : it->second;
      c.rho.push_back(r.rho);
      c.phase.push_back(r.phase);
      c.rhoErr.push_back(r.rhoErr);
      c.phaseErr.push_back(r.phaseErr);
    }
  }
  out.value = std::move(d);
  return out;
}

MtRead<Mt2dData> joinPointData(const Mt2dData& te, const Mt2dData& tm) {
  MtRead<Mt2dData> out;
  if (te.mode != MtMode::TE || tm.mode != MtMode::TM) {
    out.message = kMsgWrongMode;
    return out;
  }
  if (te.siteCount() != tm.siteCount() || te.frequencies != tm.frequencies) {
    out.message = "TE 与 TM 模式实测数据的测点或频点不一致";
    return out;
  }
  for (int s = 0; s < te.siteCount(); ++s)
    if (std::abs(te.sites[static_cast<std::size_t>(s)].position -
                 tm.sites[static_cast<std::size_t>(s)].position) > 1e-6) {
      out.message =
          "TE 与 TM 模式实测数据的测点位置不一致: " + te.sites[static_cast<std::size_t>(s)].name;
      return out;
    }
  Mt2dData d = te;
  d.mode = MtMode::Joint;
  d.tm = tm.tm;
  out.value = std::move(d);
  return out;
}

}  // namespace sarnoth::electric
