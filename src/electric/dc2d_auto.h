// Automatic 2-D resistivity/IP inversion of measured sections: for each measured file
// (dc2d_field.h: pole-pole, pole-dipole, Wenner/Schlumberger, dipole-dipole), with the terrain
// of a .ter file where given, the inversion parameters are derived from the data, the section
// is inverted by the 2-D engine (dc2d_inversion.h), and the model section, the observed and
// computed pseudo-sections and the misfit are written and drawn. No curves are drawn by hand:
// the start model is the half-space of the observed data's median ρa (and ηa).
//
// Parameters from the data
//   relative error e of ρa: the scatter of the data about their neighbours at the same pseudo-
//     depth. With l_i = ln ρa_i of three neighbours along a level, r = l_i − (l_{i−1} + l_{i+1})/2
//     has the variance 1.5 σ² for independent errors of standard deviation σ, so
//         σ ≈ 1.4826 · median|r| / √1.5
//     (the robust estimate of Rousseeuw & Croux 1993, JASA 88, 1273–1283); e = 100 σ %, kept
//     within [2, 5] %. The earth's own curvature along a level adds to the scatter and never
//     removes from it: over sharp bodies (the "pant legs" of dipole-dipole sections) the
//     estimate can reach twice the noise, and the cap keeps the inversion from stopping at a
//     too smooth model.
//   iterations: 6, or 8 when ρa spans more than a decade.
//   mesh columns to an electrode spacing: 4 up to 40 electrodes, 3 up to 100, else 2 (the
//     forward's accuracy against its cost: see dc2d_forward.h).
//   chargeability: inverted when the file carries ηa.
//
// Accuracy: that of the 2-D engine; a homogeneous half-space's data return a model within a few
// per cent of its resistivity (see the tests).
//
// Units: Ω·m, %, m.
#pragma once

#include <string>
#include <vector>

#include "electric/dc2d_file.h"
#include "electric/dc2d_section.h"
#include "workarea/interaction.h"
#include "workarea/progress.h"

namespace sarnoth::electric {

struct Dc2dAutoSettings {
  int iterations = 6;
  double errorPercent = 3;
  int cellsPerSpacing = 4;
};

// The relative error of the data (%) by the neighbour scatter above; 0 when no level has three
// data in a row.
double estimateDc2dDataError(const Dc2dSurvey& survey);
Dc2dAutoSettings dc2dAutoDefaults(const Dc2dFile& file);

// A measured file (by suffix) with, where `terrain` is not empty, that terrain: the 2-D inverse
// file on relief.
bool loadDc2dAuto(const std::string& path, const std::vector<XZ>& terrain, Dc2dFile& file,
                  std::string& error);

struct Dc2dAutoRun {
  Dc2dFile file;
  Dc2dAutoSettings settings;
  Dc2dInversionResult inversion;
  std::string resultText;  // the result data file (dc2d_file.h)
  SectionData model;       // cell centres: ρ (and η)
  SectionData pseudo;      // observed and computed ρa (and ηa) at the pseudo-positions
};

// Inverts one section. The outcome's message is the report line ("反演计算完成: …").
Outcome runDc2dAuto(const Dc2dFile& file, const Dc2dAutoSettings& settings, Dc2dAutoRun& run,
                    Progress& progress = noProgress(), int threads = 0);

// Writes stem + "_inv.dat" (result), "_mod.sec" (model section), "_ps.sec" (pseudo-sections)
// and, with `images`, "_mod.png" and "_ps.png"; false with the file that could not be written.
bool writeDc2dAutoRun(const Dc2dAutoRun& run, const std::string& stem, bool images,
                      std::string& error);
// The misfit per iteration as a chart (RMS % against the iteration, start model 0).
chart::Chart dc2dMisfitChart(const Dc2dInversionResult& inversion);

}  // namespace sarnoth::electric
