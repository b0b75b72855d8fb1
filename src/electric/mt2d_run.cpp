#include "electric/mt2d_run.h"

#include <filesystem>

#include "closed/mt2d.h"
#include "workarea/file_text.h"
#include "workarea/path_resolver.h"

namespace sarnoth::electric {
namespace {

namespace fs = std::filesystem;

std::string mismatch(const char* what, int basic, int other, const char* file) {
  return "基本信息数据文件的" + std::string(what) + " (" + std::to_string(basic) + ") 与" + file +
         " (" + std::to_string(other) + ") 不一致";
}

fs::path inDirectory(const std::string& dir, const std::string& name) {
  return fs::path(resolvePath(dir)) / name;
}

std::uintmax_t lengthOf(const fs::path& p) {
  std::error_code ec;
  const auto n = fs::file_size(p, ec);
  return ec ? 0 : n;
}

// Copies over the target and deletes the source; errors are ignored as the window ignores them.
void moveResultFile(const fs::path& from, const fs::path& to) {
  std::error_code ec;
  fs::create_directories(to.parent_path(), ec);
  fs::copy_file(from, to, fs::copy_options::overwrite_existing, ec);
  if (!ec) fs::remove(from, ec);
}

}  // namespace

std::string fieldFileName(MtMode mode) {
  switch (mode) {
    case MtMode::TE:
      return "Field.te";
    case MtMode::TM:
      return "Field.tm";
    case MtMode::Joint:
      return "Field.tetm";
  }
  return "Field.te";
}

MtRead<Mt2dInversionSetup> loadMt2dRun(const std::string& basicFile, const std::string& gridsFile,
                                       const std::string& modelFile, const std::string& pointFile) {
  MtRead<Mt2dInversionSetup> out;
  const auto basic = readMt2dBasic(basicFile);
  if (!basic) {
    out.message = basic.message;
    return out;
  }
  const auto mesh = readMt2dGrids(gridsFile);
  if (!mesh) {
    out.message = mesh.message;
    return out;
  }
  const auto model = readMt2dModel(modelFile);
  if (!model) {
    out.message = model.message;
    return out;
  }
  const auto points = readMt2dPoints(pointFile);
  if (!points) {
    out.message = points.message;
    return out;
  }
  const Mt2dBasic& b = *basic.value;
  const Mt2dMesh& m = *mesh.value;
  const Mt2dData& d = *points.value;
  if (b.horizontalNodes != m.columns() + 1)
    out.message =
        mismatch("水平网格节点数目", b.horizontalNodes, m.columns() + 1, "网格剖分数据文件");
  else if (b.airNodes != m.airRows())
    out.message = mismatch("空中垂直网格节点数目", b.airNodes, m.airRows(), "网格剖分数据文件");
  else if (b.earthNodes != m.earthRows() + 1)
    out.message =
        mismatch("地下垂直网格节点数目", b.earthNodes, m.earthRows() + 1, "网格剖分数据文件");
  else if (b.sites != d.siteCount())
    out.message = mismatch("测点数目", b.sites, d.siteCount(), "测点路径数据文件");
  else if (b.frequencies != d.frequencyCount())
    out.message = mismatch("频点数目", b.frequencies, d.frequencyCount(), "测点路径数据文件");
  if (!out.message.empty()) return out;
  Mt2dInversionSetup s;
  s.mesh = m;
  s.model = *model.value;
  s.data = d;
  s.mode = b.mode;
  s.targetRms = b.targetRms;
  s.rhoFloor = b.rhoFloor;
  s.phaseFloor = b.phaseFloor;
  s.maxIterations = b.maxIterations;
  if (std::string why = validateInversion(s); !why.empty()) {
    out.message = why;
    return out;
  }
  out.value = std::move(s);
  return out;
}

int collectMt2dOutputs(const std::string& workingDirectory, const std::string& targetDirectory) {
  for (MtMode mode : {MtMode::TE, MtMode::TM, MtMode::Joint}) {
    const fs::path src = inDirectory(workingDirectory, fieldFileName(mode));
    if (lengthOf(src) > 0) moveResultFile(src, inDirectory(targetDirectory, fieldFileName(mode)));
  }
  const fs::path log = inDirectory(workingDirectory, kIterationLog);
  const int n = countIterationLines(log.string());
  for (int i = 1; i <= n; ++i) {
    const fs::path src = inDirectory(workingDirectory, closed::mt2dLibraryOutputName(i));
    if (lengthOf(src) > 0) moveResultFile(src, inDirectory(targetDirectory, mt2dResultName(i)));
  }
  if (fs::exists(log)) moveResultFile(log, inDirectory(targetDirectory, kIterationLog));
  return n;
}

}  // namespace sarnoth::electric

namespace sarnoth::closed {

std::string mt2dLibraryOutputName(int iteration) {
  return "mt2dinvout." + std::to_string(iteration);
}

Mt2dCallResult mt2dInverse(const std::string& basicFile, const std::string& gridsFile,
                           const std::string& modelFile, const std::string& pointFile,
                           const std::string& workingDirectory, Progress& progress) {
  using namespace electric;
  namespace fs = std::filesystem;
  Mt2dCallResult res;
  const auto setup = loadMt2dRun(basicFile, gridsFile, modelFile, pointFile);
  if (!setup) {
    res.message = setup.message;
    return res;
  }
  const Mt2dInversionSetup& s = *setup.value;
  const fs::path dir = resolvePath(workingDirectory);
  std::error_code ec;
  fs::create_directories(dir, ec);
  // The library's own earlier outputs go first, so that nothing stale is moved after the run.
  for (MtMode m : {MtMode::TE, MtMode::TM, MtMode::Joint}) fs::remove(dir / fieldFileName(m), ec);
  fs::remove(dir / kIterationLog, ec);
  for (int i = 1; fs::exists(dir / mt2dLibraryOutputName(i), ec); ++i)
    fs::remove(dir / mt2dLibraryOutputName(i), ec);

  const std::vector<double> nodes = s.mesh.nodePositions();
  const std::vector<double> depths = s.mesh.nodeDepths();
  std::vector<double> sitePositions;
  for (const MtSite& site : s.data.sites) sitePositions.push_back(site.position);
  bool writeFailed = false;
  std::string logText;
  auto onIteration = [&](const Mt2dIterationReport& rep) {
    Mt2dResult r;
    r.iteration = rep.iteration;
    r.rms = rep.rms;
    r.nodePositions = nodes;
    r.nodeDepths = depths;
    r.log10Rho = rep.cellLog10Rho;
    r.mode = s.mode;
    r.frequencies = s.data.frequencies;
    r.sitePositions = sitePositions;
    r.response = rep.response;
    if (!writeMt2dResult((dir / mt2dLibraryOutputName(rep.iteration)).string(), r))
      writeFailed = true;
    logText += iterationLogLine(rep.iteration, rep.rms, rep.roughness, rep.lagrange) + "\r\n";
    if (!filetext::writeWholeFile((dir / kIterationLog).string(), logText)) writeFailed = true;
  };

  // The field file needs the starting model's responses, which the first iteration computes;
  // it is written as soon as the run returns them.
  const Mt2dInversionOutcome o = invertMt2d(s, onIteration, &progress);
  if (!o.ok) {
    res.message = o.message;
    return res;
  }
  Mt2dFieldFile field;
  field.data = s.data;
  if (!hasTE(s.mode)) field.data.te = {};
  if (!hasTM(s.mode)) field.data.tm = {};
  field.data.mode = s.mode;
  field.initial = o.initialResponse;
  if (!writeMt2dField((dir / fieldFileName(s.mode)).string(), field)) writeFailed = true;
  res.ok = !writeFailed;
  res.iterations = o.iterations;
  res.message = writeFailed ? "反演结果文件无法写入: " + dir.string() : o.message;
  return res;
}

}  // namespace sarnoth::closed
