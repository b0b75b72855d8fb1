// The International Geomagnetic Reference Field: its coefficient tables and the synthesis of
// the main field and its secular variation at a point on or above the Earth.
//
// What is computed
//   The magnetic elements of the internal main field at geodetic latitude φ, longitude λ and
//   height h above the WGS 84 ellipsoid, at a date t (year with fraction): the north, east and
//   vertical (down) components X, Y, Z in the geodetic frame, the horizontal intensity
//   H = √(X² + Y²), the total intensity F = √(H² + Z²), the declination D = atan2(Y, X) (east
//   positive) and the inclination I = atan2(Z, H) (down positive); and their rates of change.
//
// How
//   The potential V = a Σn (a/r)^(n+1) Σm (g_nm cos mλ + h_nm sin mλ) P_n^m(cos θ), a = 6371.2 km,
//   with P_n^m the Schmidt semi-normalised associated Legendre functions (no Condon–Shortley
//   phase), computed with their θ-derivatives by the standard recursions
//     P_n^n = √(1 − 1/2n)·sin θ·P_(n−1)^(n−1)             (P_1^1 = sin θ)
//     P_n^m = [(2n − 1)·cos θ·P_(n−1)^m − √((n−1)² − m²)·P_(n−2)^m] / √(n² − m²)
//   and X = −B_θ = (1/r)∂V/∂θ, Y = B_λ = −(1/(r sin θ))∂V/∂λ, Z = −B_r = ∂V/∂r, summed to the
//   model's degree (13; 10 where the degrees above are zero). The geodetic point is first
//   turned into geocentric radius r and colatitude θ on the WGS 84 ellipsoid
//   (a = 6378.137 km, 1/f = 298.257223563); X and Z come out along the geocentric axes and are
//   rotated back by the angle δ between the two latitudes: X = X'cos δ + Z'sin δ,
//   Z = Z'cos δ − X'sin δ. Y is the same in both frames.
//
//   Dates. Coefficients are interpolated linearly between the 5-year epochs of the table, as the
//   model defines them; the rate of change in an interval is the difference of its two columns
//   over five years. Beyond the last definitive epoch the table's last column is that epoch
//   plus five years of the published secular variation, so the same interpolation extrapolates
//   linearly with the secular variation (10th generation: 2005–2010; 14th: 2025–2030). Degrees
//   11 to 13 are zero in the table up to 1995 and enter from 2000: between 1995 and 2000 they
//   rise linearly from 0 to their 2000 values, exactly as the published programs interpolate
//   from a degree-10 to a degree-13 model. Dates outside the table's span are refused by the
//   callers (see IgrfModel::covers); the synthesis itself does not extrapolate.
//   Rates: X', Y', Z' from the same sums with dg/dt and dh/dt, then H' = (XX' + YY')/H,
//   F' = (XX' + YY' + ZZ')/F, D' = (XY' − YX')/H², I' = (HZ' − ZH')/F² (in arc-minutes a year).
//
// How exact
//   The synthesis is the model's definition, evaluated in double precision: it agrees with the
//   published reference programs to rounding (well below 0.1 nT), so the error against the real
//   field is the model's own (IGRF: tens to hundreds of nT, larger for extrapolated dates).
//   Tests compare against an independent implementation at points from pole to pole over
//   1900–2030 (tests/gravmag/test_igrf_model.cpp).
//
// Where it fails
//   At the geographic poles (sin θ = 0) D and Y are undefined; there θ is held 1e-10 rad away
//   from the pole, which gives the limit along the meridian λ. Heights are not limited here;
//   below −1000 km or beyond a few Earth radii the model is meaningless (the callers refuse
//   heights below −1000 km). Near the magnetic poles H → 0 and D becomes erratic, as it is.
//
// Units: latitude and longitude in decimal degrees (north and east positive), height in km
//   above the ellipsoid, date in decimal years (2000.5 is the middle of 2000), fields in nT,
//   angles in degrees, rates in nT a year and arc-minutes a year.
//
// References: C. C. Finlay et al., International Geomagnetic Reference Field: the eleventh
//   generation, Geophys. J. Int. 183 (2010) 1216–1230; P. Alken et al., the thirteenth
//   generation, Earth Planets Space 73 (2021) 49; R. A. Langel, The main field, in J. A. Jacobs
//   (ed.), Geomagnetism vol. 1, Academic Press 1987, 249–512 (Schmidt functions, the geodetic
//   rotation).
#pragma once

#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace sarnoth::gravmag {

inline constexpr double kIgrfReferenceRadiusKm = 6371.2;
inline constexpr double kWgs84SemiMajorKm = 6378.137;
inline constexpr double kWgs84InverseFlattening = 298.257223563;
// No published main-field model goes beyond degree 13; the reader accepts up to 20 so that a
// table is refused only when it is malformed.
inline constexpr int kIgrfMaxDegree = 20;
// A height the callers refuse: below this the point lies deep in the core.
inline constexpr double kIgrfMinHeightKm = -1000.0;

enum class IgrfGeneration { Tenth = 10, Fourteenth = 14 };

class IgrfError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// One coefficient table: the columns of an SHC file.
struct IgrfModel {
  int generation = 0;
  int maxDegree = 0;
  std::vector<double> epochs;  // ascending years
  // Column e: g and h of every (n, m), packed at coefficientIndex(n, m); h is 0 for m = 0.
  std::vector<std::vector<double>> g, h;

  double firstYear() const { return epochs.empty() ? 0 : epochs.front(); }
  double lastYear() const { return epochs.empty() ? 0 : epochs.back(); }
  bool covers(double year) const { return year >= firstYear() && year <= lastYear(); }
};

// Position of (n, m) in a packed coefficient or Legendre array: n(n+1)/2 + m.
constexpr int coefficientIndex(int n, int m) { return n * (n + 1) / 2 + m; }
constexpr int coefficientCount(int maxDegree) { return (maxDegree + 1) * (maxDegree + 2) / 2; }

// Reads an SHC table ("#" comments; "nmin nmax nepochs order step start end"; the epochs; one
// line "n m v1 … vN" per coefficient with the g row before the h row). Throws IgrfError naming
// the line for a missing or malformed file: wrong counts, a degree or order out of range, a
// coefficient missing or given three times, epochs not ascending, a value that is not finite.
IgrfModel readShcFile(const std::string& path);

// The table of a generation beside the program: sysPath + "igrf/IGRF10.SHC" or "IGRF14.SHC".
std::string igrfTablePath(const std::string& sysPath, IgrfGeneration generation);
// The table of a generation read once per path and kept (thread-safe). Throws IgrfError.
const IgrfModel& igrfModel(const std::string& sysPath, IgrfGeneration generation);
// "IGRF 10th (1900–2010)" and the like, for lists and reports.
std::string igrfGenerationName(IgrfGeneration generation);

// The coefficients at one date and their rates (nT and nT a year), to the degree that is not
// zero in the two columns used.
struct IgrfCoefficients {
  int maxDegree = 0;
  std::vector<double> g, h, dg, dh;
};
// Interpolated as described above; the date must lie in model.covers().
IgrfCoefficients coefficientsAt(const IgrfModel& model, double year);

struct GeomagElements {
  double x = 0, y = 0, z = 0;  // north, east, vertical (down) in nT
  double h = 0, f = 0;         // horizontal and total intensity in nT
  double declination = 0;      // degrees, east positive
  double inclination = 0;      // degrees, down positive
};
struct SecularVariation {
  double x = 0, y = 0, z = 0, h = 0, f = 0;  // nT a year
  double declination = 0, inclination = 0;   // arc-minutes a year
};
struct GeomagField {
  GeomagElements main;
  SecularVariation rate;
};

// The synthesis at one geodetic point from coefficients already taken at the date. Reuses its
// work arrays: one per thread.
class IgrfSynthesis {
 public:
  explicit IgrfSynthesis(int maxDegree = 13);
  GeomagField at(const IgrfCoefficients& c, double latDeg, double lonDeg, double heightKm);

 private:
  int maxDegree_;
  std::vector<double> a_, b_, diag_;  // recursion factors by coefficientIndex, diagonal by n
  std::vector<double> p_, dp_, cosm_, sinm_;
};

// The field of one point at one date. Throws IgrfError for a date the model does not cover.
GeomagField igrfField(const IgrfModel& model, double year, double latDeg, double lonDeg,
                      double heightKm);

// Many points at once: out[i] for (year[i], lat[i], lon[i], heightKm[i]), all spans of one
// length, on up to `threads` threads (0: one per core). Points whose date is not covered get
// NaN elements. Coefficients are taken once per run of equal dates. The result does not
// depend on the number of threads.
void igrfFieldMany(const IgrfModel& model, std::span<const double> year,
                   std::span<const double> latDeg, std::span<const double> lonDeg,
                   std::span<const double> heightKm, std::span<GeomagField> out, int threads = 0);

}  // namespace sarnoth::gravmag
