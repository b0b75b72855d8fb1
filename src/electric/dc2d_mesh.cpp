#include "electric/dc2d_mesh.h"

#include <algorithm>
#include <cmath>

namespace sarnoth::electric {
namespace {

// Merges required lines into regular ones: a regular line closer than `tol` to a required one
// gives way to it.
std::vector<double> mergeLines(std::vector<double> regular, std::vector<double> required,
                               double tol) {
  std::sort(required.begin(), required.end());
  required.erase(
      std::unique(required.begin(), required.end(),
                  [&](double a, double b) { return std::abs(a - b) < 1e-9 * (1 + std::abs(a)); }),
      required.end());
  std::vector<double> out = required;
  for (double v : regular) {
    const auto it = std::lower_bound(required.begin(), required.end(), v);
    bool near = false;
    if (it != required.end() && *it - v < tol) near = true;
    if (it != required.begin() && v - *(it - 1) < tol) near = true;
    if (!near) out.push_back(v);
  }
  std::sort(out.begin(), out.end());
  return out;
}

}  // namespace

XZ Dc2dMesh::centroid(std::size_t e) const {
  const auto& t = triangles[e];
  const XZ& a = nodes[static_cast<std::size_t>(t[0])];
  const XZ& b = nodes[static_cast<std::size_t>(t[1])];
  const XZ& c = nodes[static_cast<std::size_t>(t[2])];
  return {(a.x + b.x + c.x) / 3, (a.z + b.z + c.z) / 3};
}

double Dc2dMesh::area(std::size_t e) const {
  const auto& t = triangles[e];
  const XZ& a = nodes[static_cast<std::size_t>(t[0])];
  const XZ& b = nodes[static_cast<std::size_t>(t[1])];
  const XZ& c = nodes[static_cast<std::size_t>(t[2])];
  return 0.5 * ((b.x - a.x) * (c.z - a.z) - (c.x - a.x) * (b.z - a.z));
}

bool buildDc2dMesh(const Dc2dSurvey& survey, const Dc2dModel& model, const Dc2dMeshSettings& st,
                   Dc2dMesh& mesh, std::string& error) {
  mesh = Dc2dMesh{};
  if (survey.electrodes.empty()) {
    error = "没有电极";
    return false;
  }
  if (!(st.cellsPerSpacing >= 1 && st.cellsPerSpacing <= 64 && st.growth >= 1 && st.growth < 2 &&
        st.padGrowth > 1 && st.padGrowth < 4 && st.padding > 0)) {
    error = "网格参数错误";
    return false;
  }
  const double a = survey.unitSpacing();
  const double h = a / st.cellsPerSpacing;
  const double x0 = survey.xMin(), x1 = survey.xMax();
  const double spread = std::max(x1 - x0, a);
  const double doi = st.depthOfInterest > 0 ? st.depthOfInterest : std::max(spread / 2, 4 * a);
  const double reach = std::max(st.padding * spread, 20 * a);
  mesh.unitSpacing = a;
  mesh.depthOfInterest = doi;
  mesh.centre = {(x0 + x1) / 2, survey.surfaceAt((x0 + x1) / 2)};

  // Columns: regular under the electrodes, electrodes and region corners exact, then padding.
  const auto cols = static_cast<long long>(std::ceil((x1 - x0) / h - 1e-9));
  if (cols > static_cast<long long>(kMaxDc2dNodes)) {
    error = "网格节点过多";
    return false;
  }
  std::vector<double> regular, required;
  for (long long i = 0; i <= cols; ++i) regular.push_back(x0 + (x1 - x0) * i / std::max(1LL, cols));
  for (const auto& e : survey.electrodes) required.push_back(e.x);
  std::vector<double> requiredDepths{0.0};
  for (const auto& e : survey.electrodes)
    if (e.depth > 0) requiredDepths.push_back(e.depth);
  for (const auto& r : model.regions)
    for (const XZ& p : r.outline) {
      if (p.x > x0 && p.x < x1) required.push_back(p.x);
      const double d = survey.surfaceAt(p.x) - p.z;
      if (d > 1e-9 && d < doi) requiredDepths.push_back(d);
    }
  std::vector<double> xs = mergeLines(regular, required, h / 3);
  std::vector<double> left, right;
  for (double w = h * st.padGrowth, x = xs.front(); xs.front() - x < reach; w *= st.padGrowth) {
    x -= w;
    left.push_back(x);
  }
  for (double w = h * st.padGrowth, x = xs.back(); x - xs.back() < reach; w *= st.padGrowth) {
    x += w;
    right.push_back(x);
  }
  mesh.xs.assign(left.rbegin(), left.rend());
  mesh.xs.insert(mesh.xs.end(), xs.begin(), xs.end());
  mesh.xs.insert(mesh.xs.end(), right.begin(), right.end());

  // Rows: h/2 at the surface, growing to the depth of interest, then padding.
  std::vector<double> depths{0.0};
  for (double t = h / 2, d = 0; d < doi; t *= st.growth) {
    d += t;
    depths.push_back(d);
    if (depths.size() > kMaxDc2dNodes) break;
  }
  depths = mergeLines(depths, requiredDepths, h / 6);
  for (double t = (depths.back() - depths[depths.size() - 2]) * st.padGrowth, d = depths.back();
       d < reach; t *= st.padGrowth) {
    d += t;
    depths.push_back(d);
  }
  mesh.depths = depths;
  const std::size_t nx = mesh.xs.size(), nz = depths.size();
  if (nx * nz > kMaxDc2dNodes) {
    error = "网格节点过多";
    return false;
  }

  // Nodes, following the terrain near the surface.
  double zref = 0;
  if (!survey.flat()) {
    for (const XZ& p : survey.terrain) zref += p.z;
    zref /= static_cast<double>(survey.terrain.size());
  }
  mesh.nodes.resize(nx * nz);
  for (std::size_t j = 0; j < nz; ++j) {
    const double d = depths[j];
    const double w = std::max(0.0, 1 - d / doi);
    for (std::size_t i = 0; i < nx; ++i) {
      const double zs = survey.surfaceAt(mesh.xs[i]);
      mesh.nodes[j * nx + i] = {mesh.xs[i], zref + (zs - zref) * w - d};
    }
  }
  // Triangles, diagonals alternating.
  mesh.triangles.reserve(2 * (nx - 1) * (nz - 1));
  for (std::size_t j = 0; j + 1 < nz; ++j)
    for (std::size_t i = 0; i + 1 < nx; ++i) {
      const int n00 = static_cast<int>(j * nx + i), n10 = n00 + 1;
      const int n01 = static_cast<int>((j + 1) * nx + i), n11 = n01 + 1;
      if ((i + j) % 2 == 0) {
        mesh.triangles.push_back({n01, n11, n00});
        mesh.triangles.push_back({n11, n10, n00});
      } else {
        mesh.triangles.push_back({n01, n11, n10});
        mesh.triangles.push_back({n01, n10, n00});
      }
    }
  // Outer boundary: left and right sides, then the bottom.
  auto elementWith = [&](std::size_t quad, int p, int q) {
    for (std::size_t e = 2 * quad; e < 2 * quad + 2; ++e) {
      const auto& t = mesh.triangles[e];
      const bool hp = t[0] == p || t[1] == p || t[2] == p;
      const bool hq = t[0] == q || t[1] == q || t[2] == q;
      if (hp && hq) return static_cast<int>(e);
    }
    return static_cast<int>(2 * quad);
  };
  for (std::size_t j = 0; j + 1 < nz; ++j) {
    const int l0 = static_cast<int>(j * nx), l1 = static_cast<int>((j + 1) * nx);
    mesh.boundary.push_back({l0, l1, elementWith(j * (nx - 1), l0, l1), -1, 0});
    const int r0 = l0 + static_cast<int>(nx) - 1, r1 = l1 + static_cast<int>(nx) - 1;
    mesh.boundary.push_back({r0, r1, elementWith(j * (nx - 1) + nx - 2, r0, r1), 1, 0});
  }
  for (std::size_t i = 0; i + 1 < nx; ++i) {
    const int b0 = static_cast<int>((nz - 1) * nx + i);
    mesh.boundary.push_back({b0, b0 + 1, elementWith((nz - 2) * (nx - 1) + i, b0, b0 + 1), 0, -1});
  }
  // Electrodes at their nodes.
  for (const auto& e : survey.electrodes) {
    const auto ci = std::min_element(mesh.xs.begin(), mesh.xs.end(), [&](double p, double q) {
      return std::abs(p - e.x) < std::abs(q - e.x);
    });
    const auto rj = std::min_element(depths.begin(), depths.end(), [&](double p, double q) {
      return std::abs(p - e.depth) < std::abs(q - e.depth);
    });
    mesh.electrodeNode.push_back(
        mesh.node(static_cast<int>(ci - mesh.xs.begin()), static_cast<int>(rj - depths.begin())));
  }
  error = checkDc2dMesh(mesh);
  return error.empty();
}

std::string checkDc2dMesh(const Dc2dMesh& mesh) {
  for (std::size_t e = 0; e < mesh.elements(); ++e)
    if (!(mesh.area(e) > 0)) return "网格单元倒置: 第" + std::to_string(e + 1) + "单元";
  return {};
}

bool assignDc2dMeshData(const Dc2dMesh& mesh, const Dc2dModel& model, Dc2dMeshData& data,
                        std::string& error) {
  for (std::size_t r = 0; r < model.regions.size(); ++r)
    if (!model.regions[r].hasProperties()) {
      error = "区域 " + std::to_string(r + 1) + " 没有给定电阻率";
      return false;
    }
  if (!(model.rho0 > 0)) {
    error = "背景电阻率必须大于 0";
    return false;
  }
  Dc2dMeshData out;
  const std::size_t ne = mesh.elements();
  out.rho.resize(ne);
  out.eta.resize(ne);
  out.region.resize(ne);
  for (std::size_t e = 0; e < ne; ++e) {
    const int r = model.regionAt(mesh.centroid(e));
    out.region[e] = r;
    out.rho[e] = r < 0 ? model.rho0 : model.regions[static_cast<std::size_t>(r)].rho;
    out.eta[e] = r < 0 ? model.eta0 : model.regions[static_cast<std::size_t>(r)].eta;
  }
  data = std::move(out);
  return true;
}

}  // namespace sarnoth::electric
