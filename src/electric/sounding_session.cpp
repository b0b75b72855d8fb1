#include "electric/sounding_session.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "workarea/null_value.h"

namespace sarnoth::electric {
namespace {

double decadeBelow(double v) { return std::pow(10.0, std::floor(std::log10(v))); }
double decadeAbove(double v) { return std::pow(10.0, std::ceil(std::log10(v) - 1e-9)); }

}  // namespace

SoundingSession SoundingSession::fresh(const SoundingHead& head) {
  SoundingSession s;
  SoundingFile& f = s.file_;
  f.head = head;
  const SoundDevice d = f.device();
  std::vector<double> ab2;
  for (double r = 1.5; r < 1100; r *= 1.468) ab2.push_back(std::round(r * 10) / 10);
  auto add = [&](Spacing sp) {
    f.spacings.push_back(sp);
    f.rho.push_back(NULL_VALUE_D);
    if (f.chargeability()) f.eta.push_back(NULL_VALUE_D);
  };
  if (d == SoundDevice::SymmetricMN) {
    // Three MN segments that overlap by two spacings, as a field crew lays them out.
    for (double rr : ab2)
      if (rr <= 15) add({rr, 0, 0.5});
    for (double rr : ab2)
      if (rr >= 7 && rr <= 150) add({rr, 0, 5});
    for (double rr : ab2)
      if (rr >= 70) add({rr, 0, 50});
  } else {
    for (double rr : ab2) {
      Spacing sp{rr, 0, 0};
      if (d == SoundDevice::DipoleMN || d == SoundDevice::DipoleField) {
        sp.r = rr * 4;
        sp.ab2 = rr;
        if (d == SoundDevice::DipoleMN) sp.mn2 = rr;
      }
      add(sp);
    }
  }
  f.model = {{5, 20}, {100, 20, 500}, {}};
  if (f.chargeability()) f.model.chargeability = {1, 5, 2};
  f.fixed.assign(3, 0);
  s.use_.assign(f.spacings.size(), true);
  s.loaded_ = true;
  return s;
}

bool SoundingSession::load(const std::string& path, std::string& error) {
  SoundingFile f;
  if (!readSoundingFile(path, f, error)) return false;
  file_ = std::move(f);
  path_ = path;
  loaded_ = true;
  use_.assign(file_.spacings.size(), true);
  invalidate();
  return true;
}

void SoundingSession::invalidate() {
  response_.reset();
  inversion_.reset();
}

Outcome SoundingSession::compute(std::optional<InversionMethod> method) {
  if (!loaded_) return Outcome::failure("没有测深数据");
  try {
    if (!file_.inverse()) {
      response_ = soundingResponse(file_.model, file_.device(), file_.spacings);
      inversion_.reset();
      return Outcome::success();
    }
    SoundingData data;
    data.device = file_.device();
    std::vector<std::size_t> index;
    for (std::size_t j = 0; j < file_.spacings.size(); ++j) {
      if (isNullValue(file_.rho[j]) || !use_[j]) continue;
      data.spacings.push_back(file_.spacings[j]);
      data.rho.push_back(file_.rho[j]);
      if (file_.chargeability())
        data.eta.push_back(j < file_.eta.size() && !isNullValue(file_.eta[j]) ? file_.eta[j] : 0.0);
    }
    if (data.rho.empty()) return Outcome::failure("没有可用的实测数据");
    InversionSettings settings = file_.settings;
    if (method) settings.method = *method;
    InversionResult r = invertSounding(data, file_.model, file_.fixed, settings);
    file_.model = r.earth;
    file_.fixed = r.fixed;
    file_.settings.method = settings.method;
    response_ = soundingResponse(file_.model, file_.device(), file_.spacings);
    inversion_ = std::move(r);
    return Outcome::success();
  } catch (const std::invalid_argument& e) {
    return Outcome::failure(e.what());
  }
}

Outcome SoundingSession::setLayer(std::size_t layer, double thickness, double resistivity,
                                  double chargeability, int fixed) {
  if (layer >= file_.model.layers()) return Outcome::failure("层号超出范围");
  LayeredEarth e = file_.model;
  if (layer < e.thickness.size()) e.thickness[layer] = thickness;
  e.resistivity[layer] = resistivity;
  if (e.polarisable()) e.chargeability[layer] = chargeability;
  const std::string why = validateEarth(e);
  if (!why.empty()) return Outcome::failure(why);
  file_.model = std::move(e);
  file_.fixed[layer] = fixed & 7;
  invalidate();
  return Outcome::success();
}

Outcome SoundingSession::insertLayer(std::size_t before) {
  LayeredEarth& e = file_.model;
  if (before > e.layers()) return Outcome::failure("层号超出范围");
  if (e.layers() >= 100) return Outcome::failure("层数太多");
  const std::size_t k = std::min(before, e.layers() - 1);
  // Split layer k in two halves (the half-space: a new layer as thick as the one above, or 10 m).
  const double h = k < e.thickness.size() ? e.thickness[k] / 2
                                          : (e.thickness.empty() ? 10.0 : e.thickness.back());
  if (k < e.thickness.size()) e.thickness[k] = h;
  e.thickness.insert(e.thickness.begin() + static_cast<std::ptrdiff_t>(k), h);
  e.resistivity.insert(e.resistivity.begin() + static_cast<std::ptrdiff_t>(k), e.resistivity[k]);
  if (e.polarisable())
    e.chargeability.insert(e.chargeability.begin() + static_cast<std::ptrdiff_t>(k),
                           e.chargeability[k]);
  file_.fixed.insert(file_.fixed.begin() + static_cast<std::ptrdiff_t>(k), 0);
  invalidate();
  return Outcome::success();
}

Outcome SoundingSession::removeLayer(std::size_t layer) {
  LayeredEarth& e = file_.model;
  if (layer >= e.layers()) return Outcome::failure("层号超出范围");
  if (e.layers() == 1) return Outcome::failure("地电模型至少要有一层");
  // The layer's thickness goes to the one above (or the top layer takes the one below's place).
  if (layer < e.thickness.size()) {
    if (layer > 0) e.thickness[layer - 1] += e.thickness[layer];
    e.thickness.erase(e.thickness.begin() + static_cast<std::ptrdiff_t>(layer));
  } else {
    e.thickness.pop_back();
  }
  e.resistivity.erase(e.resistivity.begin() + static_cast<std::ptrdiff_t>(layer));
  if (e.polarisable())
    e.chargeability.erase(e.chargeability.begin() + static_cast<std::ptrdiff_t>(layer));
  file_.fixed.erase(file_.fixed.begin() + static_cast<std::ptrdiff_t>(layer));
  invalidate();
  return Outcome::success();
}

Outcome SoundingSession::setInterfaces(const std::vector<double>& depths,
                                       const std::vector<bool>& known) {
  LayeredEarth e = file_.model;
  if (depths.size() != e.thickness.size() || known.size() != depths.size())
    return Outcome::failure("界面数目与层数不符");
  double above = 0;
  for (std::size_t i = 0; i < depths.size(); ++i) {
    if (!(std::isfinite(depths[i]) && depths[i] > above))
      return Outcome::failure("界面深度必须向下递增且大于零");
    e.thickness[i] = depths[i] - above;
    above = depths[i];
  }
  file_.model = std::move(e);
  for (std::size_t i = 0; i < known.size(); ++i)
    file_.fixed[i] =
        known[i] ? (file_.fixed[i] | kFixThickness) : (file_.fixed[i] & ~kFixThickness);
  invalidate();
  return Outcome::success();
}

Outcome SoundingSession::setObservation(std::size_t j, double rho, double eta, bool used) {
  if (j >= file_.spacings.size()) return Outcome::failure("数据点超出范围");
  if (!isNullValue(rho) && !(std::isfinite(rho) && rho > 0))
    return Outcome::failure("视电阻率必须大于零");
  if (file_.chargeability() && !isNullValue(eta) &&
      !(std::isfinite(eta) && eta > -100 && eta < 100))
    return Outcome::failure("视极化率必须在-100到100之间");
  file_.rho[j] = rho;
  if (file_.chargeability()) file_.eta[j] = eta;
  use_[j] = used;
  invalidate();
  return Outcome::success();
}

Outcome SoundingSession::electrodeCorrection(std::vector<double>* factors) {
  const SoundDevice d = file_.device();
  if (d != SoundDevice::SymmetricMN && d != SoundDevice::DipoleMN)
    return Outcome::failure("该装置没有MN变换, 不需要电极校正");
  // Segments: runs of spacings with one MN/2 (and AB/2 for the dipoles), in file order.
  std::vector<std::size_t> start{0};
  for (std::size_t j = 1; j < file_.spacings.size(); ++j) {
    const Spacing &a = file_.spacings[j - 1], &b = file_.spacings[j];
    if (a.mn2 != b.mn2 || (d == SoundDevice::DipoleMN && a.ab2 != b.ab2)) start.push_back(j);
  }
  start.push_back(file_.spacings.size());
  std::vector<double> applied{1.0};
  for (std::size_t s = 1; s + 1 < start.size(); ++s) {
    double sum = 0;
    int n = 0;
    for (std::size_t j = start[s]; j < start[s + 1]; ++j) {
      if (isNullValue(file_.rho[j])) continue;
      for (std::size_t k = start[s - 1]; k < start[s]; ++k)
        if (file_.spacings[k].r == file_.spacings[j].r && !isNullValue(file_.rho[k])) {
          sum += std::log(file_.rho[k] / file_.rho[j]);
          ++n;
        }
    }
    const double f = n ? std::exp(sum / n) : 1.0;
    for (std::size_t j = start[s]; j < start[s + 1]; ++j)
      if (!isNullValue(file_.rho[j])) file_.rho[j] *= f;
    applied.push_back(f);
  }
  if (factors) *factors = applied;
  invalidate();
  std::string text = "电极校正系数:";
  for (double f : applied) {
    char buf[32];
    std::snprintf(buf, sizeof buf, " %.4f", f);
    text += buf;
  }
  return Outcome::success(text);
}

Outcome SoundingSession::takePosition(const std::vector<StationPosition>& stations) {
  for (const auto& s : stations)
    if (s.name == file_.name) {
      file_.position = s;
      return Outcome::success();
    }
  if (stations.size() == 1) {
    file_.position = stations[0];
    file_.position.name = file_.name;
    return Outcome::success();
  }
  return Outcome::failure("位置文件中没有测点 " + file_.name);
}

SoundingPlot SoundingSession::plot() const {
  SoundingPlot p;
  const SoundingFile& f = file_;
  double lo = 1e300, hi = 0, rlo = 1e300, rhi = 0;
  auto widen = [&](double v) {
    if (isNullValue(v) || !(v > 0)) return;
    lo = std::min(lo, v);
    hi = std::max(hi, v);
  };
  for (std::size_t j = 0; j < f.spacings.size(); ++j) {
    p.r.push_back(f.spacings[j].r);
    rlo = std::min(rlo, f.spacings[j].r);
    rhi = std::max(rhi, f.spacings[j].r);
    const double obs = use_[j] ? f.rho[j] : NULL_VALUE_D;
    p.observed.push_back(obs);
    widen(obs);
    if (f.chargeability())
      p.etaObserved.push_back(use_[j] && j < f.eta.size() ? f.eta[j] : NULL_VALUE_D);
  }
  if (response_) {
    p.computed = response_->rho;
    p.etaComputed = response_->eta;
    for (double v : p.computed) widen(v);
    for (std::size_t j = 0; j < p.computed.size(); ++j)
      p.misfit.push_back(isNullValue(p.observed[j])
                             ? NULL_VALUE_D
                             : 100.0 * (p.computed[j] - p.observed[j]) / p.observed[j]);
  }
  const LayeredEarth& e = f.model;
  double top = 0;
  const double bottom = std::max(e.thickness.empty() ? 10.0 : e.depthOf(e.layers()) * 1.5, rhi / 2);
  for (std::size_t i = 0; i < e.layers(); ++i) {
    const double z = i < e.thickness.size() ? top + e.thickness[i] : bottom;
    p.stairDepth.push_back(top);
    p.stairRho.push_back(e.resistivity[i]);
    p.stairDepth.push_back(z);
    p.stairRho.push_back(e.resistivity[i]);
    widen(e.resistivity[i]);
    top = z;
  }
  if (hi <= 0) lo = 1, hi = 10;
  p.rhoMin = decadeBelow(lo);
  p.rhoMax = std::max(decadeAbove(hi), p.rhoMin * 10);
  if (rhi <= 0) rlo = 1, rhi = 10;
  p.rMin = decadeBelow(std::min(rlo, e.thickness.empty() ? rlo : e.thickness[0]));
  p.rMax = std::max(decadeAbove(std::max(rhi, bottom)), p.rMin * 10);
  return p;
}

std::string SoundingSession::resultText() const {
  SoundingResponse r = response_ ? *response_ : SoundingResponse{};
  return formatSoundingResult(file_, file_.model, r, inversion_ ? &*inversion_ : nullptr);
}

bool SoundingSession::save(const std::string& path) const { return writeSoundingFile(path, file_); }

}  // namespace sarnoth::electric
