// 1-D sounding: a 30-spacing forward curve (goal < 1 ms), a Marquardt and an Occam inversion of
// a noisy three-layer curve (goal < 0.2 s each).
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>

#include "electric/sounding_inversion.h"

using namespace sarnoth::electric;

namespace {

const LayeredEarth kEarth{{5, 10}, {100, 10, 1000}, {}};

SoundingData curve(SoundDevice d) {
  SoundingData data;
  data.device = d;
  for (int j = 0; j < 30; ++j) {
    const double r = 1.5 * std::pow(10.0, j * 2.7 / 29);  // 1.5 m to 750 m
    Spacing s{r, 0, 0};
    if (d == SoundDevice::SymmetricMN) s.mn2 = r < 20 ? 0.5 : 5;
    if (d == SoundDevice::DipoleMN || d == SoundDevice::DipoleField) s.ab2 = r / 8;
    if (d == SoundDevice::DipoleMN) s.mn2 = r / 8;
    data.spacings.push_back(s);
  }
  std::mt19937 gen(11);
  std::normal_distribution<double> noise(0, 0.03);
  for (double v : soundingResponse(kEarth, d, data.spacings).rho)
    data.rho.push_back(v * (1 + noise(gen)));
  return data;
}

void BM_Forward30(benchmark::State& st) {
  const SoundingData d = curve(static_cast<SoundDevice>(st.range(0)));
  for (auto _ : st) benchmark::DoNotOptimize(soundingResponse(kEarth, d.device, d.spacings));
}
BENCHMARK(BM_Forward30)->Arg(1)->Arg(2)->Arg(3)->Arg(4)->Arg(5)->Unit(benchmark::kMicrosecond);

void BM_Invert(benchmark::State& st) {
  const SoundingData d = curve(SoundDevice::SymmetricMN);
  InversionSettings s;
  s.relativeError = 0.03;
  s.method = st.range(0) == 1 ? InversionMethod::Marquardt : InversionMethod::Occam;
  const LayeredEarth start{{2, 30}, {60, 60, 60}, {}};
  for (auto _ : st) benchmark::DoNotOptimize(invertSounding(d, start, {}, s));
}
BENCHMARK(BM_Invert)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
