// The section model of the 2-D gravity and magnetic modeller: polygonal bodies with their
// properties along one observed profile, the edits a geophysicist makes on them, and the checks
// that keep a model computable.
//
// Frame and units. x runs along the profile (m, from the profile's origin), z is the depth below
// the datum (m, down positive); a station at elevation h stands at z = −h. Densities are absolute
// (g/cm³) and the body's contrast is its density less the background density; susceptibilities
// are SI, likewise relative to the background susceptibility; remanent magnetisation is in A/m
// with inclination and declination in degrees. The geomagnetic field is given by its intensity
// (nT), inclination and declination (degrees), the profile by its azimuth (degrees clockwise from
// north, the direction of increasing x).
//
// Checks. A body needs three vertices, finite coordinates and a boundary that does not cross
// itself; no vertex may stand above the observation surface (the elevation of the stations,
// linear between them and constant beyond the ends). Edits that would break a check are refused
// with the system's text and leave the model as it was.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "gravmag/talwani.h"
#include "workarea/interaction.h"
#include "workarea/null_value.h"

namespace sarnoth::gm2d {

inline constexpr const char* kMsgSelfIntersect = "模型多边形的边界自相交，操作被取消。";
inline constexpr const char* kMsgAboveStations = "模型角点高于观测点，操作被取消。";
inline constexpr const char* kMsgTooFewVertices = "模型至少需要三个角点。";
inline constexpr const char* kMsgBadCoordinate = "模型角点坐标无效。";

struct Rgb {
  std::uint8_t r = 0, g = 0, b = 0;
  friend bool operator==(const Rgb&, const Rgb&) = default;
};

// Which field a computation or an inversion concerns.
enum class FieldKind { Gravity, Magnetic };
// The magnetic component observed: total-field anomaly, vertical, horizontal along the profile.
enum class MagComponent { DeltaT, Za, Hax };

// Vertex freedom in the inversion.
enum VertexFree : std::uint8_t { kFixed = 0, kFreeX = 1, kFreeZ = 2, kFreeXZ = 3 };

struct Body {
  std::string name;
  std::vector<Point2> vertices;
  std::vector<std::uint8_t> free;  // per vertex, VertexFree bits (empty: all fixed)
  double density = 2.67;           // g/cm³
  double susceptibility = 0;       // SI
  double remanence = 0;            // A/m
  double remInclination = 0;       // degrees
  double remDeclination = 0;       // degrees
  double halfStrike = 0;           // m; 0 for a body of infinite strike
  Rgb colour{200, 200, 200};
  std::optional<Point2> label;  // where the title stands; none: at the centroid
  // Inversion: which properties vary, their ranges, and how far a free vertex may move.
  bool invertDensity = false;
  bool invertSusceptibility = false;
  bool invertRemanence = false;
  double densityMin = 1.0, densityMax = 4.0;
  double susceptibilityMin = 0, susceptibilityMax = 1.0;
  double remanenceMin = 0, remanenceMax = 100;
  double moveX = 500, moveZ = 500;  // m, from the vertex's place at the start of an inversion
  bool chosen = false;              // chosen for the inversion

  std::uint8_t freedom(std::size_t vertex) const { return vertex < free.size() ? free[vertex] : 0; }
};

// A regional background: Σ c_k ((x − x0)/1000)^k, x in m, the value in mGal or nT.
struct Trend {
  double x0 = 0;
  std::vector<double> c;  // c0, c1, … (empty: none)
  bool invert = false;    // the coefficients vary in the inversion
  double at(double x) const;
};

struct GeomagneticField {
  double intensity = 50000;  // nT
  double inclination = 45;   // degrees, down positive
  double declination = 0;    // degrees, east positive
};

struct Model {
  std::string title;
  std::vector<Body> bodies;
  double backgroundDensity = 2.67;
  double backgroundSusceptibility = 0;
  GeomagneticField field;
  double azimuth = 90;  // of the profile, degrees
  MagComponent component = MagComponent::DeltaT;
  Trend gravityTrend, magneticTrend;

  const Trend& trend(FieldKind f) const {
    return f == FieldKind::Gravity ? gravityTrend : magneticTrend;
  }
  Trend& trend(FieldKind f) { return f == FieldKind::Gravity ? gravityTrend : magneticTrend; }
};

// The observed profile: stations in ascending x with their elevation and readings (mGal, nT);
// a missing reading is -1E+38. A profile placed on the map (origin easting and northing of x = 0,
// azimuth) can take its station elevations from a terrain grid.
struct Profile {
  std::string title;
  std::vector<double> x, elevation;
  std::vector<double> gravity, magnetic;  // as long as x, or empty when not observed
  MagComponent component = MagComponent::DeltaT;
  bool georeferenced = false;
  double originX = 0, originY = 0, azimuth = 90;

  bool has(FieldKind f) const { return !(f == FieldKind::Gravity ? gravity : magnetic).empty(); }
  const std::vector<double>& observed(FieldKind f) const {
    return f == FieldKind::Gravity ? gravity : magnetic;
  }
  std::size_t size() const { return x.size(); }
};

// A reading that is not there: NaN or the null value.
inline bool isMissing(double v) { return !isDataAbove(v, -1e37); }

// --- the observation surface ------------------------------------------------------------------

// The surface elevation at x from stations (x ascending, elevation in m); 0 without stations.
double surfaceElevation(const std::vector<double>& x, const std::vector<double>& elevation,
                        double at);

// --- checks -------------------------------------------------------------------------------------

// True when two edges of the polygon that are not neighbours cross or touch.
bool selfIntersects(const std::vector<Point2>& polygon);
// The body's checks (three vertices, finite coordinates, no self-intersection).
Outcome checkBody(const Body& body);
// Every body's checks, then no vertex above the surface of the stations (when there are any).
Outcome checkModel(const Model& model, const std::vector<double>& stationX,
                   const std::vector<double>& stationElevation);

// --- properties -------------------------------------------------------------------------------

// Unit vector of an inclination and declination in the profile frame (x along the azimuth, y
// along strike, z down).
struct Vec3 {
  double x = 0, y = 0, z = 0;
};
Vec3 directionInProfile(double inclinationDeg, double declinationDeg, double azimuthDeg);
// The body's magnetisation in A/m in the profile frame: χ·F/μ0 along the field plus remanence,
// χ being the contrast with the background.
Vec3 magnetisation(const Body& body, const Model& model);
double densityContrast(const Body& body, const Model& model);

// --- edits (each returns the system's text on refusal and leaves the model unchanged) ----------

Point2 centroid(const std::vector<Point2>& polygon);
// Inserts a vertex on edge `edge` (between vertex edge and edge + 1).
Outcome insertVertex(Body& body, std::size_t edge, Point2 at);
Outcome deleteVertex(Body& body, std::size_t vertex);
// Cuts a body along the chord between two vertices that are not neighbours; the second part is
// appended to the model as a new body with the same properties.
Outcome splitBody(Model& model, std::size_t body, std::size_t v1, std::size_t v2);
// Joins two bodies that share at least one edge (vertices within `tolerance` m taken as one);
// the first keeps its properties and the second is removed.
Outcome mergeBodies(Model& model, std::size_t a, std::size_t b, double tolerance = 1e-6);
// Scales the listed bodies about their own centroids by (sx, sz), then shifts them by (dx, dz).
Outcome scaleBodies(Model& model, const std::vector<std::size_t>& bodies, double sx, double sz,
                    double dx, double dz);

// How dragging a vertex acts (the moving property of the section panel).
enum class MoveMode {
  Joined,    // the vertex and the vertices of other bodies at the same place move together
  Separate,  // only the vertex of the body picked
  Whole,     // the whole body follows the pointer
  Stretch,   // the body is stretched: the vertex farthest from the one dragged stays, the rest
             // scale in x and z so that the dragged vertex lands on the pointer
  Locked,    // nothing moves
};
// Moves vertex `vertex` of body `body` to `to` as the mode says; refusals as for every edit.
Outcome dragVertex(Model& model, std::size_t body, std::size_t vertex, Point2 to, MoveMode mode,
                   double tolerance = 1e-6);

// Undo and redo of whole models, newest last.
class History {
 public:
  explicit History(std::size_t depth = 100) : depth_(depth) {}
  void push(const Model& before);
  bool canUndo() const { return !undo_.empty(); }
  bool canRedo() const { return !redo_.empty(); }
  // Returns the model to show; `current` goes to the other stack.
  bool undo(Model& current);
  bool redo(Model& current);
  void clear();

 private:
  std::size_t depth_;
  std::vector<Model> undo_, redo_;
};

}  // namespace sarnoth::gm2d
