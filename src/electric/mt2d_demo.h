// A synthetic 2-D magnetotelluric survey: a 100 Ω·m host with a conductive block (5 Ω·m) and a
// resistive block (1000 Ω·m) side by side under a line of sites, its mesh (a uniform core under
// the sites, padding growing by 1.3 to the sides, cells growing by 1.15 with depth, air cells
// doubling upwards), a starting model of the host's resistivity in blocks of two by two cells,
// and TE + TM data computed on the same mesh with Gaussian noise (2 % in ρa, 0.57° in phase)
// and those errors; the basic file's error floors are half as large again (3 %, 0.86°), as a
// survey's would be. Same seed, same numbers.
//
// The demo work area gets a small set of it in Prof_Dat\2DMT\ (demo_mt2d.mt1 … .mt4, joint
// inversion, 21 sites × 16 frequencies on 68 columns × 40 earth rows and 7 air rows) and the
// same data as a registered table of measurements for the point-file writer; the benchmark a
// set of 40 sites × 30 frequencies on 150 columns × 70 earth rows and 10 air rows.
#pragma once

#include <string>
#include <vector>

#include "electric/mt2d_files.h"
#include "workarea/interaction.h"

namespace sarnoth::electric {

struct Mt2dDemoSize {
  int sites = 21;
  int frequencies = 16;
  double siteSpacing = 500;        // m
  double fmax = 300, fmin = 0.03;  // Hz
  int cellsPerSite = 2;            // core columns between sites
  int padColumns = 12;             // each side
  double padGrowth = 1.3;          // from one padding column to the next (at most 20 km wide)
  int earthRows = 40;
  int airRows = 7;
  int blockSize = 2;  // cells per model block, across and down
};

struct Mt2dDemoSet {
  Mt2dBasic basic;
  Mt2dMesh mesh;
  Mt2dModel start;            // the host everywhere
  std::vector<double> truth;  // resistivity of every earth cell
  Mt2dData data;              // TETM with noise and errors
};

Mt2dDemoSet makeMt2dDemoSet(const Mt2dDemoSize& size = {}, unsigned seed = 20261121);

inline constexpr const char* kDemoMtTable = "大地电磁测深数据";
inline constexpr const char* kDemoMtStem = "demo_mt2d";

// Writes Prof_Dat/2DMT/demo_mt2d.mt1 … .mt4 under `workPath` (with its trailing separator) and
// registers the measurements as the table kDemoMtTable (fields 点号, 距离, 频率, TE视电阻率,
// TE相位, TM视电阻率, TM相位).
Outcome writeDemoMt2d(const std::string& workPath, unsigned seed = 20261121);

}  // namespace sarnoth::electric
