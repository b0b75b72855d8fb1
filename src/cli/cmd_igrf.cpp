// igrf: the geomagnetic elements of the reference field ("地磁要素计算") for one point or for a
// scatter file of points; igrf-reduce: ΔT = T − F of a table or a grid.
#include <cmath>
#include <cstdio>
#include <filesystem>

#include "cli/cli.h"
#include "gravmag/geomag_elements.h"
#include "workarea/session.h"
#include "workarea/work_area.h"

namespace sarnoth::cli {
namespace {

const char* kUsage =
    "usage: sarnoth-cli igrf --date YEAR --lat DEG --lon DEG [--height M] [--generation 10|14]\n"
    "       sarnoth-cli igrf --file IN -o OUT [--generation 10|14] [--workarea DIR]\n"
    "\n"
    "  One point: latitude and longitude in decimal degrees (north and east positive), height\n"
    "  in metres above the WGS 84 ellipsoid (default 0), date as a year with fraction. Prints\n"
    "  D and I (degrees and degrees-minutes), X, Y, Z, H, F in nT and their secular variation\n"
    "  (nT a year, arc-minutes a year).\n"
    "  A file: the tool's multi-point input (ASCII scatter, four columns: longitude, latitude in\n"
    "  degrees.minutes, height in metres, date), IN a path or a file of the work area's\n"
    "  Prof_Dat; OUT the result file of eleven columns, written without a question.\n"
    "  --generation: 10 (IGRF 10th, 1900–2010, the default) or 14 (IGRF 14th, 1900–2030).";

const char* kReduceUsage =
    "usage: sarnoth-cli igrf-reduce --table T --lon F --lat F --field T\n"
    "         (--date YEAR | --date-field F) [--height M | --height-field F] [--new NAME]\n"
    "         [--generation 10|14] [--threads N] [--workarea DIR]\n"
    "       sarnoth-cli igrf-reduce --grid IN -o OUT --date YEAR [--height M]\n"
    "         [--generation 10|14] [--threads N]\n"
    "\n"
    "  Reduces total-field measurements by the reference field of each point's date and\n"
    "  position: F of the model and ΔT = T − F. A table (longitude and latitude fields in\n"
    "  decimal degrees) gives the new table NAME (default T_DT) with the position, T, T_F and\n"
    "  T_DT. A grid whose x and y are longitude and latitude in decimal degrees gives the grid\n"
    "  of ΔT. --generation defaults to 14 (IGRF 14th, 1900–2030).";

bool generationOf(const Args& a, const char* def, gravmag::IgrfGeneration& g) {
  const std::string v = a.get("generation", def);
  if (v == "10")
    g = gravmag::IgrfGeneration::Tenth;
  else if (v == "14")
    g = gravmag::IgrfGeneration::Fourteenth;
  else
    return false;
  return true;
}

bool numberOption(const Args& a, const char* name, double& v) {
  if (!a.has(name)) return false;
  char* end = nullptr;
  const std::string s = a.get(name);
  v = std::strtod(s.c_str(), &end);
  return end && *end == '\0' && !s.empty() && std::isfinite(v);
}

std::string dm(double deg) {
  std::int32_t d = 0, m = 0;
  closed::degreesToAngleParts(deg, d, m);
  char buf[48];
  std::snprintf(buf, sizeof buf, "%s%d°%02d′", deg < 0 && d == 0 ? "-" : "", d, std::abs(m));
  return buf;
}

int runPoint(const Args& a, gravmag::IgrfGeneration gen) {
  using namespace gravmag;
  double date = 0, lat = 0, lon = 0, height = 0;
  if (!numberOption(a, "date", date) || !numberOption(a, "lat", lat) ||
      !numberOption(a, "lon", lon))
    return failWith(kUsage);
  if (a.has("height") && !numberOption(a, "height", height)) return failWith(kMsgGeomagHeight);
  try {
    const IgrfModel& model = igrfModel(gSysPath, gen);
    if (!model.covers(date)) return failWith(geomagDateMessage(model, false));
    if (std::abs(lat) > 90.0) return failWith(kMsgGeomagLatDegrees);
    if (std::abs(lon) > 360.0) return failWith(kMsgGeomagLonDegrees);
    if (height / 1000.0 < kIgrfMinHeightKm) return failWith(kMsgGeomagHeight);
    const GeomagField f = igrfField(model, date, lat, lon, height / 1000.0);
    const GeomagElements& e = f.main;
    const SecularVariation& s = f.rate;
    std::printf("model %s  date %.3f  lat %.6f  lon %.6f  height %.1f m\n",
                igrfGenerationName(gen).c_str(), date, lat, lon, height);
    std::printf("D  %10.4f deg  %s   SV %8.2f min/yr\n", e.declination, dm(e.declination).c_str(),
                s.declination);
    std::printf("I  %10.4f deg  %s   SV %8.2f min/yr\n", e.inclination, dm(e.inclination).c_str(),
                s.inclination);
    std::printf("X  %10.1f nT   SV %8.1f nT/yr\n", e.x, s.x);
    std::printf("Y  %10.1f nT   SV %8.1f nT/yr\n", e.y, s.y);
    std::printf("Z  %10.1f nT   SV %8.1f nT/yr\n", e.z, s.z);
    std::printf("H  %10.1f nT   SV %8.1f nT/yr\n", e.h, s.h);
    std::printf("F  %10.1f nT   SV %8.1f nT/yr\n", e.f, s.f);
  } catch (const IgrfError& e) {
    return failWith(e.what());
  }
  return 0;
}

// IN as given, else under the work area's Prof_Dat.
std::string inputPath(const Args& a, const std::string& in, const char* dir) {
  std::error_code ec;
  if (std::filesystem::exists(in, ec)) return in;
  const std::string work = workPath(a);
  if (!work.empty() && std::filesystem::exists(work + dir + in, ec)) return work + dir + in;
  return in;
}

int runIgrf(Args& a) {
  gravmag::IgrfGeneration gen{};
  if (!generationOf(a, "10", gen)) return failWith("unknown --generation " + a.get("generation"));
  if (!a.has("file")) return runPoint(a, gen);
  const std::string out = a.get("o", a.get("out"));
  if (out.empty()) return failWith(gravmag::kMsgGeomagNoResultFile);
  std::vector<gravmag::GeomagPoint> points;
  CliProgress progress("igrf");
  Outcome o =
      gravmag::geomagMultiPoint(inputPath(a, a.get("file"), "Prof_Dat/"), gen, points, progress);
  if (!o.ok) return failWith(o.message);
  if (!gravmag::writeGeomagResultFile(out, points)) return failWith("不能写入文件: " + out);
  std::fprintf(stderr, "%s\n", o.message.c_str());
  return 0;
}

int runReduce(Args& a) {
  using namespace gravmag;
  IgrfGeneration gen{};
  if (!generationOf(a, "14", gen)) return failWith("unknown --generation " + a.get("generation"));
  const int threads = static_cast<int>(a.getInt("threads", 0));
  CliProgress progress("igrf-reduce");
  if (a.has("grid")) {
    IgrfGridReductionJob job;
    job.input = inputPath(a, a.get("grid"), "Grid_Dat/");
    job.output = a.get("o", a.get("out"));
    if (job.output.empty() || !numberOption(a, "date", job.date)) return failWith(kReduceUsage);
    if (a.has("height") && !numberOption(a, "height", job.heightM))
      return failWith(kMsgGeomagHeight);
    job.generation = gen;
    job.threads = threads;
    Outcome o = reduceGridByIgrf(job, progress);
    if (!o.ok) return failWith(o.message);
    std::fprintf(stderr, "%s\n", o.message.c_str());
    return 0;
  }
  const std::string work = workPath(a);
  if (work.empty()) return failWith("请运行主程序设置当前工作区.");
  IgrfReductionJob job;
  job.table = a.get("table");
  job.lonField = a.get("lon");
  job.latField = a.get("lat");
  job.valueField = a.get("field");
  if (job.table.empty()) return failWith(kReduceUsage);
  job.dateField = a.get("date-field");
  if (job.dateField.empty() && !numberOption(a, "date", job.date)) return failWith(kReduceUsage);
  job.heightField = a.get("height-field");
  if (a.has("height") && !numberOption(a, "height", job.heightM)) return failWith(kMsgGeomagHeight);
  job.newTable = a.get("new", job.table + "_DT");
  job.generation = gen;
  job.threads = threads;
  try {
    Database db = openWorkTable(work, job.table);
    CliInteraction ui(a);
    IgrfReductionReport report;
    Outcome o = reduceTableByIgrf(db, job, ui, report, progress);
    if (!o.ok) return failWith(o.message.empty() ? kMsgReduceNameExists : o.message);
    std::printf("rows=%lld reduced=%lld table=%s\n", static_cast<long long>(report.rows),
                static_cast<long long>(report.reduced), job.newTable.c_str());
  } catch (const StoreError& e) {
    return failWith(e.what());
  }
  return 0;
}

CommandRegistrar reg{
    {"igrf", "geomagnetic elements of the reference field (地磁要素计算)", kUsage, runIgrf}};
CommandRegistrar regReduce{{"igrf-reduce",
                            "total field reduced by the reference field: ΔT = T − F of a table "
                            "or grid",
                            kReduceUsage, runReduce}};

}  // namespace
}  // namespace sarnoth::cli
