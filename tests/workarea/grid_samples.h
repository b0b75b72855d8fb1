// Small grids for the grid format tests.
#pragma once

#include <cstring>
#include <string>
#include <vector>

#include "workarea/grid_file.h"

namespace sarnoth::test {

// nx x ny grid at (x0, y0) with values 0.1·i - 3 at node i and nulls where `nullEvery` divides i+1.
inline Grid sampleGrid(int nx, int ny, float x0 = 500.5f, float y0 = 3200.25f, float dx = 25,
                       float dy = 12.5f, int nullEvery = 5) {
  Grid g;
  g.header.x0 = x0;
  g.header.y0 = y0;
  g.header.nx = nx;
  g.header.ny = ny;
  g.header.dx = dx;
  g.header.dy = dy;
  g.nodes.resize(static_cast<std::size_t>(nx) * ny);
  for (std::size_t i = 0; i < g.nodes.size(); ++i)
    g.nodes[i] =
        (nullEvery > 0 && (i + 1) % nullEvery == 0) ? NULL_VALUE : 0.1f * static_cast<float>(i) - 3;
  recomputeGridStats(g.header, g.nodes);
  return g;
}

template <typename T>
T bytesAt(const std::string& s, std::size_t off) {
  T v{};
  std::memcpy(&v, s.data() + off, sizeof v);
  return v;
}

}  // namespace sarnoth::test
