// The computation mesh of a 2-D resistivity/IP section and its mesh data (the resistivity and
// chargeability of every element).
//
// What is built
//   A structured mesh of column lines x_i and row lines (depths below the surface d_j), each
//   quadrilateral cut into two linear triangles along alternating diagonals (so that no
//   direction is favoured). Under the electrodes the columns are `cellsPerSpacing` to the unit
//   electrode spacing a; the first row is h/2 thick (h = a / cellsPerSpacing) and rows grow by
//   `growth` down to the depth of interest, then by `padGrowth` to the bottom. Beyond the
//   electrodes columns grow by `padGrowth` until the mesh reaches `padding` times the spread
//   (at least 20 a) on either side, and the bottom lies as deep. Electrode positions and the
//   corners of the model regions become mesh lines (a line of the regular spacing closer than
//   h/3 to one of them gives way), so that electrodes are nodes and rectangular bodies are
//   exact.
//
// Terrain
//   Node (i, j) stands at z = z_ref + (z_s(x_i) − z_ref)·w(d_j) − d_j, with z_s the surface,
//   z_ref the mean surface elevation and w falling linearly from 1 at the surface to 0 at the
//   depth of interest: the first rows follow the terrain and the bottom is flat. Terrain
//   steeper than the rows can follow folds elements over; such a mesh is refused ("inverted
//   element"), never solved.
//
// Mesh data
//   Each element takes the properties of the region that holds its centroid (the last region
//   drawn where regions overlap), else the background's. A region without a resistivity is
//   refused with its number.
//
// Units: metres, Ω·m, % (0 ≤ η < 100).
#pragma once

#include <array>
#include <string>
#include <vector>

#include "electric/dc2d_model.h"

namespace sarnoth::electric {

struct Dc2dMeshSettings {
  int cellsPerSpacing = 4;     // columns to one unit electrode spacing under the electrodes
  double growth = 1.06;        // row growth under the electrodes
  double padGrowth = 1.4;      // column and row growth in the padding
  double padding = 10;         // the mesh reaches this many spreads beyond the electrodes
  double depthOfInterest = 0;  // m; 0: half the spread (at least 4 unit spacings)
};

// Largest mesh built; a survey that would need more is refused before anything is allocated.
inline constexpr std::size_t kMaxDc2dNodes = 2'000'000;

struct Dc2dBoundaryEdge {
  int n0 = 0, n1 = 0;     // nodes
  int element = 0;        // the triangle it bounds
  double nx = 0, nz = 0;  // outward unit normal
};

struct Dc2dMesh {
  std::vector<double> xs;                     // column lines, ascending
  std::vector<double> depths;                 // row lines: depth below the surface, 0 first
  std::vector<XZ> nodes;                      // node (i, j) at j·nx + i, row 0 on the surface
  std::vector<std::array<int, 3>> triangles;  // anticlockwise; quad q = j·(nx−1)+i holds 2q, 2q+1
  std::vector<Dc2dBoundaryEdge> boundary;     // left, right and bottom sides
  std::vector<int> electrodeNode;             // per survey electrode
  double depthOfInterest = 0;
  double unitSpacing = 1;
  XZ centre;  // the middle of the electrodes on the surface (reference of the outer boundary)

  int nx() const { return static_cast<int>(xs.size()); }
  int nz() const { return static_cast<int>(depths.size()); }
  int node(int i, int j) const { return j * nx() + i; }
  std::size_t elements() const { return triangles.size(); }
  XZ centroid(std::size_t e) const;
  double area(std::size_t e) const;  // signed; positive for a sound element
  // The quadrilateral column and row of an element.
  int columnOf(std::size_t e) const { return static_cast<int>(e / 2) % (nx() - 1); }
  int rowOf(std::size_t e) const { return static_cast<int>(e / 2) / (nx() - 1); }
};

// Builds the mesh; false with the reason (too many nodes, an inverted element, a survey without
// electrodes).
bool buildDc2dMesh(const Dc2dSurvey& survey, const Dc2dModel& model,
                   const Dc2dMeshSettings& settings, Dc2dMesh& mesh, std::string& error);
// "" when every element has a positive area, else "网格单元倒置" naming the first bad element.
std::string checkDc2dMesh(const Dc2dMesh& mesh);

struct Dc2dMeshData {
  std::vector<double> rho;  // Ω·m per element
  std::vector<double> eta;  // % per element
  std::vector<int> region;  // per element, -1 background
  bool empty() const { return rho.empty(); }
};

// The mesh data of a model; false with "区域 k 没有给定电阻率" (k from 1) for a region without
// properties.
bool assignDc2dMeshData(const Dc2dMesh& mesh, const Dc2dModel& model, Dc2dMeshData& data,
                        std::string& error);

}  // namespace sarnoth::electric
