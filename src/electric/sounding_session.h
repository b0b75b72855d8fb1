// One open sounding as the sounding control works on it: the file, the model being edited, the
// last computation, and the edits the control's commands make (electrode correction, data
// change, layer positions). Everything the window shows is computed here, so the command line
// and the tests see the same numbers.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "electric/sounding_file.h"
#include "workarea/interaction.h"

namespace sarnoth::electric {

// Plot data for log–log display: every series in metres and Ω·m (or %), ready to be drawn on
// decade axes; misfit in % against the spacing on a linear axis.
struct SoundingPlot {
  std::vector<double> r;            // plotted spacing of each datum (AM, AB/2, OO')
  std::vector<double> observed;     // ρa, NULL_VALUE where not observed or left out
  std::vector<double> computed;     // ρa of the model, empty before a computation
  std::vector<double> misfit;       // (computed − observed)/observed, %
  std::vector<double> etaObserved;  // ηa, parameter mode 2
  std::vector<double> etaComputed;
  std::vector<double> stairDepth;  // staircase of the model: depth of each corner, m
  std::vector<double> stairRho;    // resistivity at each corner, Ω·m
  double rMin = 1, rMax = 10;      // decade-rounded axis ranges
  double rhoMin = 1, rhoMax = 10;
};

class SoundingSession {
 public:
  SoundingSession() = default;

  // A new sounding with the standard spacings of the device (AB/2 from 1.5 m to 1 km, about six
  // a decade) and a three-layer model; no observations.
  static SoundingSession fresh(const SoundingHead& head);
  // Loads a file; false with the reason, leaving the session as it was.
  bool load(const std::string& path, std::string& error);

  bool loaded() const { return loaded_; }
  const SoundingFile& file() const { return file_; }
  const std::string& path() const { return path_; }
  const LayeredEarth& model() const { return file_.model; }
  const std::vector<int>& fixed() const { return file_.fixed; }
  const std::vector<bool>& use() const { return use_; }
  bool computed() const { return response_.has_value(); }
  const SoundingResponse* response() const { return response_ ? &*response_ : nullptr; }
  const InversionResult* inversion() const { return inversion_ ? &*inversion_ : nullptr; }

  // Forward: the model's response at every spacing. Inverse: the inversion from the current
  // model as starting model (the result becomes the model). Failure: the reason.
  Outcome compute(std::optional<InversionMethod> method = std::nullopt);

  // Model edits, validated; a refused edit leaves the model as it was.
  Outcome setLayer(std::size_t layer, double thickness, double resistivity, double chargeability,
                   int fixed);
  Outcome insertLayer(std::size_t before);
  Outcome removeLayer(std::size_t layer);
  // Layer positions: the depth of each interface (bottom of layers 1..n−1), and whether each is
  // known (its thickness then fixed). Depths must increase.
  Outcome setInterfaces(const std::vector<double>& depths, const std::vector<bool>& known);
  // Data change: an observation and whether it takes part.
  Outcome setObservation(std::size_t j, double rho, double eta, bool used);
  // Electrode correction: each later MN segment (device 2) or dipole pair (device 4) is shifted
  // to join the one before at the spacings they share (mean of the log ratios). Returns the
  // factors applied, one per segment, in the outcome's text; refuses devices without MN.
  Outcome electrodeCorrection(std::vector<double>* factors = nullptr);
  // A station position from a position file: the station of the sounding's name, or the only one.
  Outcome takePosition(const std::vector<StationPosition>& stations);

  SoundingPlot plot() const;
  std::string resultText() const;
  // Writes the current model and data back as a sounding file.
  bool save(const std::string& path) const;

 private:
  void invalidate();
  SoundingFile file_;
  std::string path_;
  bool loaded_ = false;
  std::vector<bool> use_;
  std::optional<SoundingResponse> response_;
  std::optional<InversionResult> inversion_;
};

}  // namespace sarnoth::electric
