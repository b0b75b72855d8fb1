// Coordinate group conversion. Declarations in datatools/coord_groups.h.
#include "datatools/coord_groups.h"

#include <cmath>
#include <set>

#include "closed/proj_conv.h"

namespace sarnoth {

using namespace projconv;

const std::vector<std::string>& groupConversionCaptions() {
  static const std::vector<std::string> v = {"角度格式转换", "长度单位转换", "投影坐标转换"};
  return v;
}

FieldPair proposePair(const std::string& x, const std::string& y) {
  return {x, y, x + "_X", y + "_Y"};
}

namespace {

double toDecimal(int form, double v) {
  return form == 1 ? Geo_DMS2toDecimalD(v) : form == 2 ? Geo_DMS3toDecimalD(v) : v;
}

double fromDecimal(int form, double v) {
  return form == 1 ? Geo_DecimalDtoDMS2(v) : form == 2 ? Geo_DecimalDtoDMS3(v) : v;
}

}  // namespace

Outcome runCoordGroups(Database& db, const CoordGroupJob& job, Progress& progress,
                       CoordRunReport& report, int threads) {
  if (job.table.empty()) return Outcome::failure(kMsgConvNoTable);
  if (job.pairs.empty()) return Outcome::failure(kMsgGroupNoPairs);
  std::set<std::string> names;
  for (const auto& p : job.pairs)
    for (const std::string& n : {p.newX, p.newY}) {
      std::string key;
      for (char c : n) key += (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
      if (!names.insert(key).second) return Outcome::failure(kMsgGroupDuplicateField + n);
    }

  BlockConverter fn;
  std::unique_ptr<CoordTransform> transform;
  switch (job.kind) {
    case GroupConversion::Angle: {
      if (job.angleFrom < 0 || job.angleFrom > 2 || job.angleTo < 0 || job.angleTo > 2)
        return Outcome::failure(kMsgConvBadParameter + std::string("角度格式"));
      const int from = job.angleFrom, to = job.angleTo;
      fn = [from, to](std::span<double> xs, std::span<double> ys) {
        for (std::size_t i = 0; i < xs.size(); ++i) {
          xs[i] = fromDecimal(to, toDecimal(from, xs[i]));
          ys[i] = fromDecimal(to, toDecimal(from, ys[i]));
        }
        return std::size_t{0};
      };
      break;
    }
    case GroupConversion::Unit: {
      const double in = Geo_unitfz(job.unitFrom, job.factorFrom);
      const double out = Geo_unitfz(job.unitTo, job.factorTo);
      if (!(in > 0)) return Outcome::failure(kMsgInputUnitFactor);
      if (!(out > 0)) return Outcome::failure(kMsgOutputUnitFactor);
      const double scale = in / out;
      fn = [scale](std::span<double> xs, std::span<double> ys) {
        for (std::size_t i = 0; i < xs.size(); ++i) {
          xs[i] *= scale;
          ys[i] *= scale;
        }
        return std::size_t{0};
      };
      break;
    }
    case GroupConversion::Projection: {
      std::string message;
      transform = CoordTransform::create(job.from, job.to, message);
      if (!transform) return Outcome::failure(message);
      CoordTransform* t = transform.get();
      fn = [t, threads](std::span<double> xs, std::span<double> ys) {
        return t->convertAll(xs, ys, threads);
      };
      break;
    }
  }
  Outcome o = convertTableFields(db, job.table, job.pairs, "DOUBLE", fn, progress, report);
  if (transform) report.note = transform->note();
  return o;
}

}  // namespace sarnoth
