// The work of the 2-D interactive resistivity/IP control, without a window: the data file, the
// section being drawn (curves and the regions closed from them), the mesh, its data and the
// results, with the steps in the order the control's menu offers them —
//   createRegions   "构造初始模型": regions from the closed curves (a curve that returns to its
//                   start, a chain of curves meeting end to end, or a curve whose two ends lie
//                   on the ground surface, closed along it); in an inverse run the start model
//                   is a half-space of the observed data's median ρa
//   buildMesh       "建立算区网格"
//   fetchMeshData   "获取网格数据": a region without properties is refused by number
//   compute         "正反演计算": the forward of the mesh data, or the inversion of the data
//   modifyRegion    "修改网格数据": new properties for a region (or the background, −1), its
//                   elements changed in the mesh data at once
//   resetMeshData   "重设网格数据": the mesh data from the regions again
// and the charts of the results: pseudo-sections of observed and computed data, the model as
// resistivity or chargeability image, and profile curves for the fixed-source devices.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "display/chart.h"
#include "electric/dc2d_file.h"
#include "electric/dc2d_forward.h"
#include "electric/dc2d_inversion.h"
#include "workarea/interaction.h"

namespace sarnoth::electric {

struct Dc2dCurve {
  std::vector<XZ> points;
};

class Dc2dSession {
 public:
  Dc2dSession();
  ~Dc2dSession();

  bool load(const std::string& path, std::string& error);
  void setFile(Dc2dFile file);
  bool loaded() const { return loaded_; }
  const Dc2dFile& file() const { return file_; }
  const std::string& path() const { return path_; }
  // A new section on the loaded data: curves and regions cleared (a forward file's regions
  // come back as outlines), mesh and results dropped.
  void newSection();

  // --- the section ---
  const std::vector<Dc2dCurve>& curves() const { return curves_; }
  // Adds a curve of at least two points; its ends snap to the ends of other curves and to the
  // ground surface within `snap` metres. Returns its index.
  int addCurve(std::vector<XZ> points, double snap = 0);
  bool removeCurve(int index);
  const Dc2dModel& model() const { return file_.model; }
  Outcome createRegions();
  bool removeRegion(int index);
  // Properties of a region (index ≥ 0) or the background (−1); ρ ≤ 0 refused.
  Outcome setRegionProperties(int index, double rho, double eta);
  // Station numbering for the display: the station of x is first + (x − X0)/DX.
  void setStationNumbering(double first) { firstStation_ = first; }
  double stationLabel(double x) const { return firstStation_ + file_.stationOf(x); }

  // --- the mesh and its data ---
  Outcome buildMesh(const Dc2dMeshSettings& settings = {});
  bool meshBuilt() const { return mesh_ != nullptr; }
  const Dc2dMesh* mesh() const { return mesh_.get(); }
  Outcome fetchMeshData();
  bool meshDataReady() const { return !data_.empty(); }
  const Dc2dMeshData& meshData() const { return data_; }
  Outcome modifyRegion(int index, double rho, double eta);
  Outcome resetMeshData();

  // --- computing ---
  Outcome compute(Progress& progress = noProgress(), int threads = 0);
  bool computed() const { return computed_; }
  const Dc2dResponse& response() const { return response_; }
  const Dc2dInversionResult* inversion() const { return inverted_ ? &inversion_ : nullptr; }
  const Dc2dCells* cells() const { return inverted_ ? &cells_ : nullptr; }

  std::string resultText() const;
  std::string meshText() const;

  // --- charts ---
  // Pseudo-section of observed (or computed) ρa or ηa; nullopt without such values.
  std::optional<chart::Chart> pseudoSection(bool computed, bool chargeability) const;
  // The model image: mesh data (forward) or inverted cells, down to the depth of interest.
  std::optional<chart::Chart> modelImage(bool chargeability) const;
  // ρa (or ηa) along the profile, one curve per pseudo-depth level, numbered from `first`.
  std::optional<chart::Chart> profileCurves(bool chargeability, int first = 1) const;

 private:
  void dropMesh();
  Dc2dFile file_;
  std::string path_;
  bool loaded_ = false;
  std::vector<Dc2dCurve> curves_;
  double firstStation_ = 0;
  std::unique_ptr<Dc2dMesh> mesh_;
  std::unique_ptr<Dc2dForward> forward_;
  Dc2dMeshData data_;
  bool computed_ = false, inverted_ = false;
  Dc2dResponse response_;
  Dc2dInversionResult inversion_;
  Dc2dCells cells_;
};

}  // namespace sarnoth::electric
