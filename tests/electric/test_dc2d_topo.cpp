// Topographic correction: flat terrain gives the factor 1 exactly; on a ridge the pole-pole
// arrays at its crest read high and in a valley low (the earth fills less or more than a
// half-space around them), arrays far from the relief read 1, and mirrored arrays read alike.
#include <gtest/gtest.h>

#include <cmath>

#include "electric/dc2d_topo.h"

namespace sarnoth::electric {
namespace {

// Pole-pole a = 5 m over 21 electrodes (x 0…100), separations 1..3; terrain of height h with a
// Gaussian of 15 m width centred at 50 m.
Dc2dFile polePole(double h) {
  Dc2dFile f;
  f.head = {2, 1, 1, 7};
  f.stationInterval = 5;
  f.survey.device = Dc2dDevice::PolePoleSounding;
  for (int i = 0; i <= 20; ++i) f.survey.electrodes.push_back({i * 5.0, 0});
  for (int n = 1; n <= 3; ++n)
    for (int i = 0; i + n <= 20; ++i) {
      Dc2dDatum d{i, kRemote2d, i + n, kRemote2d};
      d.rho = 80;
      f.survey.data.push_back(d);
    }
  for (int k = -40; k <= 60; ++k) {
    const double x = 2.5 * k;
    f.survey.terrain.push_back({x, h * std::exp(-std::pow((x - 50) / 15, 2))});
  }
  return f;
}

int datum(const Dc2dFile& f, int a, int m) {
  for (std::size_t i = 0; i < f.survey.data.size(); ++i)
    if (f.survey.data[i].a == a && f.survey.data[i].m == m) return static_cast<int>(i);
  return -1;
}

TEST(Dc2dTopo, FlatTerrainGivesFactorOneAndTheCorrectedDataUnchanged) {
  Dc2dFile f = polePole(0);
  Dc2dTopoCorrection tc;
  const Outcome o = dc2dTopoCorrect(f, {}, tc);
  ASSERT_TRUE(o) << o.message;
  ASSERT_EQ(tc.factor.size(), f.survey.data.size());
  for (std::size_t i = 0; i < tc.factor.size(); ++i) {
    EXPECT_NEAR(tc.factor[i], 1.0, 1e-12);
    EXPECT_NEAR(tc.corrected[i], 80, 1e-9);
    // The unit half-space itself within the forward's accuracy for pole-pole arrays.
    EXPECT_NEAR(tc.flat[i], 1.0, 0.02);
  }
  const Dc2dFile c = correctedDc2dFile(f, tc);
  EXPECT_TRUE(c.survey.flat());
  EXPECT_EQ(c.head.terrain, 0);
  EXPECT_NE(formatDc2dTopoCorrection(f, tc).find("地形改正系数"), std::string::npos);
  EXPECT_EQ(topoSection(f, tc).columns(), 3);
}

TEST(Dc2dTopo, RidgeReadsHighValleyLowFarArraysOneMirrorsAlike) {
  for (double h : {6.0, -6.0}) {
    const Dc2dFile f = polePole(h);
    Dc2dTopoCorrection tc;
    const Outcome o = dc2dTopoCorrect(f, {}, tc);
    ASSERT_TRUE(o) << o.message;
    const int crest = datum(f, 10, 11);  // A at the crest (x 50), M 5 m beside it
    ASSERT_GE(crest, 0);
    if (h > 0)
      EXPECT_GT(tc.factor[static_cast<std::size_t>(crest)], 1.02);
    else
      EXPECT_LT(tc.factor[static_cast<std::size_t>(crest)], 0.98);
    EXPECT_NEAR(tc.corrected[static_cast<std::size_t>(crest)],
                80 / tc.factor[static_cast<std::size_t>(crest)], 1e-9);
    // Far from the relief (x 0…5, 45 m from its centre, three widths) the factor is near 1.
    EXPECT_NEAR(tc.factor[static_cast<std::size_t>(datum(f, 0, 1))], 1.0, 0.02);
    // The array 9–10 mirrors 11–10 ... as A M → M A by reciprocity: (A 9, M 10) and (A 10, M 11)
    // are mirror images about x = 50.
    EXPECT_NEAR(tc.factor[static_cast<std::size_t>(datum(f, 9, 10))],
                tc.factor[static_cast<std::size_t>(datum(f, 10, 11))], 0.01);
  }
}

}  // namespace
}  // namespace sarnoth::electric
