// Topographic correction of 2-D direct-current data.
//
// What is computed
//   For every datum of a survey on relief, the terrain factor
//       T = ρa(homogeneous half-space under the terrain) / ρa(the same half-space, flat),
//   and the corrected apparent resistivity ρa_c = ρa / T, after Fox, Hohmann, Killpack & Rijo
//   (1980), "Topographic effects in resistivity and induced-polarization surveys", Geophysics
//   45, 75–93, who showed the terrain effect of a homogeneous earth as this ratio, and the
//   "correction by division" of their discussion (see also Tsourlos, Szymanski & Tsokas 1999,
//   Geophysics 64, 1357–1363, for its limits). Both responses come from the 2.5-D finite-element
//   forward (dc2d_forward.h) on meshes built alike, so the forward's own discretisation error
//   largely cancels in the ratio; on flat terrain the two meshes are the same and T = 1.
//   Chargeability of a homogeneous earth does not depend on the terrain (Seigel's ρa*/ρa is
//   the same ratio on both meshes), so ηa is left as measured.
//
// Where it fails
//   The correction is exact only for a homogeneous earth; beneath strong structure it mixes
//   terrain and structure (Fox et al.). Terrain steeper than the mesh rows can follow is refused
//   by the mesh ("网格单元倒置").
//
// Units: Ω·m, m.
#pragma once

#include <string>
#include <vector>

#include "electric/dc2d_file.h"
#include "electric/dc2d_mesh.h"
#include "electric/dc2d_section.h"
#include "workarea/interaction.h"
#include "workarea/progress.h"

namespace sarnoth::electric {

struct Dc2dTopoCorrection {
  std::vector<double> relief;     // ρa of the unit half-space under the terrain, per datum
  std::vector<double> flat;       // ρa of the unit half-space with a flat surface
  std::vector<double> factor;     // relief / flat
  std::vector<double> corrected;  // observed ρa / factor; NULL_VALUE where not observed
};

// The correction of the file's data (its terrain; a file without terrain gives T = 1).
Outcome dc2dTopoCorrect(const Dc2dFile& file, const Dc2dMeshSettings& mesh, Dc2dTopoCorrection& out,
                        Progress& progress = noProgress(), int threads = 0);

// The correction as a table: a title line, a header, then per datum its electrode stations
// ("-" remote), plot position and pseudo-depth, observed ρa, terrain factor and corrected ρa
// (and ηa).
std::string formatDc2dTopoCorrection(const Dc2dFile& file, const Dc2dTopoCorrection& tc);
// The corrected data as a flat 2-D inverse data file (dc2d_file.h), ready for inversion.
Dc2dFile correctedDc2dFile(const Dc2dFile& file, const Dc2dTopoCorrection& tc);
// Pseudo-sections of the observed ρa, the terrain factor and the corrected ρa, on the terrain.
SectionData topoSection(const Dc2dFile& file, const Dc2dTopoCorrection& tc);

}  // namespace sarnoth::electric
