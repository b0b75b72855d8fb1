// The reference field synthesis: against values computed independently from the coefficient
// tables (tests/gravmag/make_igrf_reference.py: exact Legendre polynomials, the potential
// differentiated numerically in Earth-fixed Cartesian coordinates, the vector projected on the
// geodetic axes), against the closed form of a pure dipole, the date rules, the table reader's
// refusals, the threaded batch and the seam's angle parts.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <string>
#include <vector>

#include "closed/igrf.h"
#include "gravmag/igrf_model.h"
#include "test_support.h"
#include "workarea/session.h"

namespace sarnoth::gravmag {
namespace {

std::string resources() { return std::string(SARNOTH_SOURCE_DIR) + "/resources/"; }

const IgrfModel& tenth() { return igrfModel(resources(), IgrfGeneration::Tenth); }
const IgrfModel& fourteenth() { return igrfModel(resources(), IgrfGeneration::Fourteenth); }

// date, lat, lon, height km, X, Y, Z, H, F, D, I, dX/dt, dY/dt, dZ/dt, printed by
// make_igrf_reference.py (python3, run once).
struct Ref {
  double t, lat, lon, h, x, y, z, hh, f, d, i, sx, sy, sz;
};
const Ref kTenth[] = {
    {1900.00, 0.00, 0.00, 0.000, 28027.934, -8560.305, -5589.797, 29306.039, 29834.372, -16.98374,
     -10.79881, 4.650, 23.418, -132.127},
    {1945.50, 60.00, -100.00, 0.000, 6158.318, 1695.226, 60953.630, 6387.384, 61287.386, 15.39086,
     84.01776, 20.037, -7.475, -17.416},
    {1997.30, -45.50, 170.25, 0.000, 18069.913, 8111.059, -56204.356, 19806.843, 59592.287,
     24.17393, -70.58715, -9.680, 9.139, 31.430},
    {2003.70, 30.50, 114.30, 0.500, 34227.444, -2159.744, 35462.710, 34295.516, 49333.419, -3.61056,
     45.95858, -20.025, -33.189, 14.170},
    {2007.00, -80.00, 45.00, 100.000, 8452.005, -15045.432, -45266.706, 17256.924, 48444.567,
     -60.67422, -69.13177, -29.265, -20.973, 45.111},
    {1962.20, 10.00, -60.00, -5.000, 28512.955, -5033.855, 23866.877, 28953.899, 37522.741,
     -10.01218, 39.49897, -28.408, -47.141, -128.904},
};
const Ref kFourteenth[] = {
    {2027.40, 89.90, 10.00, 0.000, 1622.653, 883.449, 56891.732, 1847.562, 56921.724, 28.56597,
     88.13997, -23.821, 59.988, 22.878},
    {2020.00, -33.90, 18.40, 2.000, 9510.550, -4497.280, -23040.219, 10520.271, 25328.399,
     -25.30819, -65.45834, 9.483, -46.827, 71.997},
    {1912.80, 40.00, 116.00, 0.000, 28794.621, -1791.495, 45096.741, 28850.297, 53535.556, -3.56014,
     57.39123, -12.062, -31.878, 6.639},
    {2012.50, 39.90, 116.40, 0.050, 28107.167, -3224.656, 46516.989, 28291.540, 54444.848, -6.54477,
     58.69212, -44.505, -23.113, 57.847},
};

void expectMatches(const IgrfModel& model, const Ref& r) {
  SCOPED_TRACE(::testing::Message() << r.t << " " << r.lat << " " << r.lon << " " << r.h);
  const GeomagField f = igrfField(model, r.t, r.lat, r.lon, r.h);
  // The reference prints to 1e-3 nT; its numerical derivative is good to about 1e-4 nT.
  EXPECT_NEAR(f.main.x, r.x, 0.005);
  EXPECT_NEAR(f.main.y, r.y, 0.005);
  EXPECT_NEAR(f.main.z, r.z, 0.005);
  EXPECT_NEAR(f.main.h, r.hh, 0.005);
  EXPECT_NEAR(f.main.f, r.f, 0.005);
  EXPECT_NEAR(f.main.declination, r.d, 2e-5);
  EXPECT_NEAR(f.main.inclination, r.i, 2e-5);
  EXPECT_NEAR(f.rate.x, r.sx, 0.005);
  EXPECT_NEAR(f.rate.y, r.sy, 0.005);
  EXPECT_NEAR(f.rate.z, r.sz, 0.005);
}

TEST(IgrfSynthesis, AgreesWithTheIndependentComputation) {
  for (const Ref& r : kTenth) expectMatches(tenth(), r);
  for (const Ref& r : kFourteenth) expectMatches(fourteenth(), r);
}

// An independent calculator: GMT 6.4.0 `gmt mgd77magref pts.txt -A+y -Fxyzhtdi/0
// --FORMAT_FLOAT_OUT=%.4f` (its own IGRF-13 tables, geodetic input): lon lat height-km year, then
// X Y Z H F D I. The definitive and earlier coefficients are the same in the 13th and 14th
// generations up to 2015 and in the 10th up to 2000, so every generation must match there.
struct PeerRef {
  double lon, lat, h, t, x, y, z, hh, f, d, i;
};
const PeerRef kPeer[] = {
    {0, 0, 0, 1900.0, 28027.9342, -8560.3052, -5589.7974, 29306.0390, 29834.3721, -16.9837,
     -10.7988},
    {-100, 60, 0, 1945.5, 6158.3221, 1695.2267, 60953.6368, 6387.3879, 61287.3932, 15.3909,
     84.0178},
    {170.25, -45.5, 0, 1997.3, 18069.9192, 8111.0596, -56204.3574, 19806.8490, 59592.2903, 24.1739,
     -70.5871},
    {-60, 10, -5, 1962.2, 28512.9554, -5033.8550, 23866.8761, 28953.8999, 37522.7410, -10.0122,
     39.4990},
    {116, 40, 0, 1912.8, 28794.6269, -1791.4952, 45096.7399, 28850.3032, 53535.5578, -3.5601,
     57.3912},
    {-179.5, -89.5, 0, 1930.0, -12907.7345, 5829.7990, -60592.5975, 14163.1976, 62225.8712,
     155.6936, -76.8436},
    {75.3, -12.7, 300, 1985.75, 25613.2311, -4749.2916, -25174.2311, 26049.8249, 36226.1686,
     -10.5047, -44.0207},
    {-47.9, -15.8, 1.2, 2000.0, 20916.4474, -7478.4327, -8411.8553, 22213.1656, 23752.5585,
     -19.6739, -20.7411},
    {116.4, 39.9, 0.05, 2012.5, 28107.1725, -3224.6565, 46516.9880, 28291.5456, 54444.8504, -6.5448,
     58.6921},
    {-3.2, 55.9, 0, 2015.0, 17222.1944, -819.9412, 46765.7249, 17241.7018, 49842.8461, -2.7258,
     69.7620},
    {139.7, 35.7, 0, 2007.25, 30022.8278, -3683.0233, 35083.4395, 30247.8900, 46322.5925, -6.9938,
     49.2331},
};

TEST(IgrfSynthesis, AgreesWithAnIndependentCalculator) {
  // The peer converts decimal years through its calendar, which moves a date by up to a few
  // hours: a few thousandths of a nT at a secular variation of tens of nT a year.
  for (const PeerRef& r : kPeer) {
    SCOPED_TRACE(::testing::Message() << r.t << " " << r.lat << " " << r.lon << " " << r.h);
    std::vector<const IgrfModel*> models{&fourteenth()};
    if (r.t <= 2000.0) models.push_back(&tenth());
    for (const IgrfModel* m : models) {
      const GeomagField f = igrfField(*m, r.t, r.lat, r.lon, r.h);
      EXPECT_NEAR(f.main.x, r.x, 0.02);
      EXPECT_NEAR(f.main.y, r.y, 0.02);
      EXPECT_NEAR(f.main.z, r.z, 0.02);
      EXPECT_NEAR(f.main.h, r.hh, 0.02);
      EXPECT_NEAR(f.main.f, r.f, 0.02);
      EXPECT_NEAR(f.main.declination, r.d, 2e-4);
      EXPECT_NEAR(f.main.inclination, r.i, 2e-4);
    }
  }
}

TEST(IgrfSynthesis, RatesOfTheDerivedElementsFollowFromTheComponents) {
  // D, I, H and F a year later, from the components' rates, against the synthesis there.
  const GeomagField a = igrfField(fourteenth(), 2016.0, 39.9, 116.4, 0.0);
  const GeomagField b = igrfField(fourteenth(), 2016.001, 39.9, 116.4, 0.0);
  EXPECT_NEAR(a.rate.h, (b.main.h - a.main.h) / 0.001, 1e-3);
  EXPECT_NEAR(a.rate.f, (b.main.f - a.main.f) / 0.001, 1e-3);
  EXPECT_NEAR(a.rate.declination, (b.main.declination - a.main.declination) * 60 / 0.001, 1e-3);
  EXPECT_NEAR(a.rate.inclination, (b.main.inclination - a.main.inclination) * 60 / 0.001, 1e-3);
}

TEST(IgrfSynthesis, PureAxialDipoleHasItsClosedForm) {
  IgrfCoefficients c;
  c.maxDegree = 1;
  c.g.assign(3, 0.0);
  c.h = c.dg = c.dh = c.g;
  c.g[coefficientIndex(1, 0)] = -30000.0;
  IgrfSynthesis s(1);
  const double a = kIgrfReferenceRadiusKm;
  // On the equator the geodetic and geocentric frames agree; r is the semi-major axis + h.
  {
    const double r = kWgs84SemiMajorKm + 10.0;
    const GeomagField f = s.at(c, 0.0, 37.0, 10.0);
    EXPECT_NEAR(f.main.x, 30000.0 * std::pow(a / r, 3), 1e-9);
    EXPECT_NEAR(f.main.y, 0.0, 1e-9);
    EXPECT_NEAR(f.main.z, 0.0, 1e-9);
  }
  // At the north pole r is the semi-minor axis + h and the field is vertical, 2·g10·(a/r)³.
  {
    const double b = kWgs84SemiMajorKm * (1.0 - 1.0 / kWgs84InverseFlattening);
    const GeomagField f = s.at(c, 90.0, 0.0, 0.0);
    EXPECT_NEAR(f.main.z, 60000.0 * std::pow(a / b, 3), 1e-6);
    EXPECT_NEAR(f.main.h, 0.0, 1e-4);
    EXPECT_NEAR(f.main.inclination, 90.0, 1e-8);
  }
  // At 45° geodetic the vector is the geocentric dipole rotated by the latitude difference.
  {
    const double phi = 45.0 * std::numbers::pi / 180.0;
    const double e2 = (2.0 - 1.0 / kWgs84InverseFlattening) / kWgs84InverseFlattening;
    const double nu = kWgs84SemiMajorKm / std::sqrt(1 - e2 * std::sin(phi) * std::sin(phi));
    const double px = nu * std::cos(phi), pz = nu * (1 - e2) * std::sin(phi);
    const double r = std::hypot(px, pz), psi = std::atan2(pz, px), delta = phi - psi;
    const double scale = 30000.0 * std::pow(a / r, 3);
    const double xg = scale * std::cos(psi), zg = 2.0 * scale * std::sin(psi);
    const GeomagField f = s.at(c, 45.0, 200.0, 0.0);
    EXPECT_NEAR(f.main.x, xg * std::cos(delta) + zg * std::sin(delta), 1e-8);
    EXPECT_NEAR(f.main.z, zg * std::cos(delta) - xg * std::sin(delta), 1e-8);
  }
}

TEST(IgrfDates, InterpolationExtrapolationAndTheHighDegrees) {
  const IgrfModel& m = tenth();
  EXPECT_EQ(m.firstYear(), 1900.0);
  EXPECT_EQ(m.lastYear(), 2010.0);
  EXPECT_EQ(fourteenth().lastYear(), 2030.0);
  const int k10 = coefficientIndex(1, 0), k11 = coefficientIndex(11, 0);
  // At an epoch: the column; between: the straight line.
  EXPECT_DOUBLE_EQ(coefficientsAt(m, 1950.0).g[k10], -30554.0);
  EXPECT_DOUBLE_EQ(coefficientsAt(m, 1952.5).g[k10], (-30554.0 - 30500.0) / 2);
  EXPECT_DOUBLE_EQ(coefficientsAt(m, 1952.5).dg[k10], (-30500.0 + 30554.0) / 5);
  // Beyond 2005 the secular variation carries on: g10(2005) = -29556.8, SV 8.8 nT a year.
  EXPECT_NEAR(coefficientsAt(m, 2008.0).g[k10], -29556.8 + 3 * 8.8, 1e-9);
  EXPECT_NEAR(coefficientsAt(m, 2010.0).dg[k10], 8.8, 1e-9);
  // Degrees 11–13: absent up to 1995, half their 2000 value in 1997.5.
  EXPECT_EQ(coefficientsAt(m, 1994.9).maxDegree, 10);
  const IgrfCoefficients c = coefficientsAt(m, 1997.5);
  EXPECT_EQ(c.maxDegree, 13);
  EXPECT_DOUBLE_EQ(c.g[k11], coefficientsAt(m, 2000.0).g[k11] / 2);
  EXPECT_NE(coefficientsAt(m, 2000.0).g[k11], 0.0);
  EXPECT_THROW(coefficientsAt(m, 2010.01), IgrfError);
  EXPECT_THROW(coefficientsAt(m, 1899.99), IgrfError);
  EXPECT_NO_THROW(coefficientsAt(fourteenth(), 2030.0));
}

class ShcReader : public ::testing::Test, protected test::ScratchFiles {
 protected:
  // A degree-1 table of two epochs.
  static std::string table(const std::string& body) {
    return "# a comment\n1 1 2 2 5 2000.0 2005.0\n  2000.0 2005.0\n" + body;
  }
};

TEST_F(ShcReader, ReadsATableAndRefusesMalformedOnes) {
  put("ok.shc", table("1 0 -29000 -29010\n1 1 -1700 -1650\n1 1 5000 4950\n"));
  const IgrfModel m = readShcFile(path("ok.shc"));
  EXPECT_EQ(m.maxDegree, 1);
  EXPECT_EQ(m.g[1][coefficientIndex(1, 1)], -1650.0);
  EXPECT_EQ(m.h[0][coefficientIndex(1, 1)], 5000.0);

  const std::pair<const char*, std::string> bad[] = {
      {"missing h row", table("1 0 -29000 -29010\n1 1 -1700 -1650\n")},
      {"h row twice", table("1 0 1 2\n1 1 1 2\n1 1 1 2\n1 1 1 2\n")},
      {"short row", table("1 0 -29000\n1 1 -1700 -1650\n1 1 5000 4950\n")},
      {"not a number", table("1 0 -29000 abc\n1 1 -1700 -1650\n1 1 5000 4950\n")},
      {"order above degree", table("1 2 1 2\n")},
      {"epochs descending", "1 1 2 2 5 2000.0 2005.0\n2005.0 2000.0\n1 0 1 2\n1 1 1 2\n1 1 1 2\n"},
      {"no epochs", "1 1 2 2 5 2000.0 2005.0\n"},
      {"huge degree", "1 5000 2 2 5 2000.0 2005.0\n2000 2005\n"},
      {"empty", ""},
  };
  for (const auto& [what, text] : bad) {
    put("bad.shc", text);
    EXPECT_THROW(readShcFile(path("bad.shc")), IgrfError) << what;
  }
  EXPECT_THROW(readShcFile(path("absent.shc")), IgrfError);
}

TEST(IgrfBatch, ThreadsAndSinglePointsAgreeAndUncoveredDatesAreNaN) {
  const IgrfModel& m = fourteenth();
  const std::size_t n = 5000;
  std::vector<double> year(n), lat(n), lon(n), h(n);
  for (std::size_t i = 0; i < n; ++i) {
    year[i] = 1900.0 + static_cast<double>(i % 131);
    lat[i] = -89.5 + static_cast<double>(i % 180);
    lon[i] = -180.0 + 0.07 * static_cast<double>(i);
    h[i] = static_cast<double>(i % 7);
  }
  year[17] = 2031.0;
  std::vector<GeomagField> one(n), two(n);
  igrfFieldMany(m, year, lat, lon, h, one, 1);
  igrfFieldMany(m, year, lat, lon, h, two, 2);
  for (std::size_t i = 0; i < n; ++i) {
    if (i == 17) continue;
    ASSERT_EQ(one[i].main.f, two[i].main.f) << i;
    ASSERT_EQ(one[i].main.declination, two[i].main.declination) << i;
    ASSERT_EQ(one[i].rate.z, two[i].rate.z) << i;
  }
  const GeomagField single = igrfField(m, year[4321], lat[4321], lon[4321], h[4321]);
  EXPECT_EQ(single.main.x, two[4321].main.x);
  EXPECT_TRUE(std::isnan(one[17].main.f));
  EXPECT_TRUE(std::isnan(two[17].main.x));
}

TEST(IgrfSeam, AnglePartsAndTheCallAsTheToolMakesIt) {
  EXPECT_DOUBLE_EQ(closed::anglePartsToDegrees(116, 30), 116.5);
  EXPECT_DOUBLE_EQ(closed::anglePartsToDegrees(-120, 30), -120.5);
  EXPECT_DOUBLE_EQ(closed::anglePartsToDegrees(45, 60), 46.0);
  std::int32_t d = 0, m = 0;
  closed::degreesToAngleParts(-3.6167, d, m);  // 3°37.0′ W
  EXPECT_EQ(d, -3);
  EXPECT_EQ(m, -37);
  closed::degreesToAngleParts(45.9999, d, m);  // rounds up into the next degree
  EXPECT_EQ(d, 46);
  EXPECT_EQ(m, 0);

  // Beijing, 2003.7, 500 m: the 10th generation through the seam, as the tool calls it.
  const std::string saved = gSysPath;
  gSysPath = resources();
  const closed::IgrfDllResult r = closed::IGRFDLL(2003.7f, 0.5f, 114, 18, 30, 30);
  // Calls that switch date and generation get each their own field (the seam keeps the last
  // date's coefficients).
  const struct {
    float t;
    IgrfGeneration g;
  } calls[] = {{2003.7f, IgrfGeneration::Fourteenth},
               {1950.0f, IgrfGeneration::Fourteenth},
               {1950.0f, IgrfGeneration::Tenth},
               {2003.7f, IgrfGeneration::Tenth}};
  for (const auto& c : calls) {
    const closed::IgrfDllResult again = closed::IGRFDLL(c.t, 0.5f, 114, 18, 30, 30, c.g);
    const IgrfModel& m = c.g == IgrfGeneration::Tenth ? tenth() : fourteenth();
    EXPECT_EQ(again.totalT, static_cast<float>(igrfField(m, c.t, 30.5, 114.3, 0.5f).main.f))
        << c.t << " " << static_cast<int>(c.g);
  }
  gSysPath = saved;
  const GeomagField f = igrfField(tenth(), 2003.7f, 30.5, 114.3, 0.5f);
  EXPECT_EQ(r.totalT, static_cast<float>(f.main.f));
  EXPECT_EQ(r.eastY, static_cast<float>(f.main.y));
  std::int32_t incDeg = 0, incMin = 0;
  closed::degreesToAngleParts(f.main.inclination, incDeg, incMin);
  EXPECT_EQ(r.incDeg, incDeg);
  EXPECT_EQ(r.incMin, incMin);
  EXPECT_NEAR(r.totalT, 49333.4, 0.2);  // the reference row above, at the date as a float
}

}  // namespace
}  // namespace sarnoth::gravmag
