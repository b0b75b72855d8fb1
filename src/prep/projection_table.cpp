// The projection, ellipsoid and ready-made system lists of coordinate conversion.
#include "prep/projection_table.h"

#include <array>

namespace sarnoth::projtable {
namespace {

constexpr unsigned CM = kUseCentralMeridian, LAT0 = kUseOriginLatitude, PAR = kUseParallels,
                   MORE = kUseMore, K = kUseScale, AA = kUseAA;

// The rows of cboProj by index, as the window enables them.
const std::array<ProjectionRow, 30> kRows = {{
    {0, false},                                       // 0 geographic
    {CM | K, false, "", "1", "500000.0"},             // 1 Gauss-Krüger 3°
    {CM | K, false, "", "1", "500000.0"},             // 2 Gauss-Krüger 6°
    {CM | K, false, "", "0.9996", "500000.0"},        // 3 UTM
    {CM | LAT0 | MORE | K, false},                    // 4 transverse Mercator
    {PAR | CM | LAT0 | MORE, false},                  // 5 Lambert conformal conic
    {PAR | CM | LAT0 | MORE, false},                  // 6 Albers
    {CM | LAT0 | MORE, false},                        // 7 polyconic
    {CM | LAT0 | MORE, true},                         // 8 equidistant conic
    {CM | LAT0 | MORE, true},                         // 9 stereographic
    {CM | LAT0 | MORE, true},                         // 10 Lambert azimuthal
    {CM | LAT0 | MORE, true},                         // 11
    {CM | LAT0 | MORE, true},                         // 12 gnomonic
    {CM | LAT0 | MORE, true},                         // 13 orthographic
    {CM | LAT0 | MORE | AA, true, "距地表高度(米)"},  // 14 near-side perspective
    {CM, true},                                       // 15 sinusoidal
    {PAR | CM | LAT0 | MORE, false},                  // 16
    {CM | MORE, true},                                // 17 Miller
    {CM | LAT0 | MORE, true},                         // 18 van der Grinten
    {PAR | LAT0 | MORE | K, false},                   // 19 oblique Mercator, two points
    {CM | LAT0 | MORE | AA | K, false, "方位角(DD.MMSS)", "0.9996"},  // 20 oblique Mercator
    {CM | LAT0 | MORE, true},                                         // 21 Robinson
    {MORE, true},                                                     // 22 Goode
    {CM | MORE, true},                                                // 23 Mollweide
    {MORE, true},                                                     // 24 interrupted Mollweide
    {CM | MORE, true},                                                // 25 Hammer
    {CM | MORE, true},                                                // 26 Wagner IV
    {CM | MORE, true},                                                // 27 Wagner VII
    {CM | LAT0 | PAR | MORE | K | AA, true, "角度(DD.MMSS)"},         // 28 oblated equal area
    {CM | LAT0 | MORE, false},                                        // 29 polar stereographic
}};

// The output list's texts; the input list has rows 11 and 16 the other way round.
const std::array<const char*, 30> kCaptions = {
    "地理坐标(经纬度)",
    "高斯-克吕格(3度带）投影(Gauss Kruger)",
    "高斯-克吕格(6度带）投影(Gauss Kruger)",
    "通用横轴墨卡托投影(UTM)",
    "横轴墨卡托投影(TRANSVERSE MERCATOR)",
    "等角割圆锥投影(LAMBERT CONFORMAL )",
    "阿尔伯斯等积圆锥投影(ALBERS CONICAL EQ AR)",
    "多圆锥投影(POLYCONIC)  ",
    "等距圆锥投影(EQUIDISTANT CONIC) ",
    "球面投影(STEREOGRAPHIC) ",
    "兰勃特等面积方位投影 (LAMBERT AZIMUTHAL EQ AR) ",
    "等距方位投影(AZIMUTHAL EQUDISTANT) ",
    "球心切面投影(GNOMONIC) ",
    "正射投影(ORTHOGRAPHIC) ",
    "普通垂直近面透视投影(GENERAL VERTICAL NEAR-SIDE PERSPECTIVE)",
    "正弦曲线投影(SINUSOIDAL) ",
    "等矩形投影(EQUIRECTANGULAR)",
    "米勒圆柱投影(MILLER CYLINDRICAL)",
    "VAN DER GRINTEN",
    "斜轴墨卡托投影-模式1(OBLIQUE MERCATOR)",
    "斜轴墨卡托投影-模式2(OBLIQUE MERCATOR)",
    "鲁滨逊投影(ROBINSON) ",
    "古德等面积投影(GOODE) ",
    "摩尔维特投影(MOLLWEIDE) ",
    "中断的摩尔维特投影(INTERRUPTED MOLLEIDE) ",
    "哈默爱托夫投影(HAMMER)\u3000",
    "瓦格纳IV投影(WAGNER IV)  ",
    "瓦格纳VII投影(WAGNER VII) ",
    "扁圆等面积投影(OBLATED EQ AR)",
    "极射赤平投影(POLAR STEREOGRAPHIC) ",
};
constexpr const char* kInputCaption11 = "等矩形投影(EQUIRECTANGULAR) ";
constexpr const char* kInputCaption16 = "等距方位投影(AZIMUTHAL EQUDISTANT)";

// One row per projection number: the PROJ operation and the record values it takes.
const std::array<ProjectionOperation, 30> kOperations = {{
    {0, "Geographic", "", "longitude and latitude on the side's ellipsoid"},
    {1, "Gauss-Kruger 3-degree zone",
     "+proj=tmerc +lat_0=0 +lon_0={cm} +k_0={k} +x_0={fe} +y_0={fn}",
     "central meridian of the point's zone on output, of the zone in front of x with the prefix"},
    {2, "Gauss-Kruger 6-degree zone",
     "+proj=tmerc +lat_0=0 +lon_0={cm} +k_0={k} +x_0={fe} +y_0={fn}", "as 1, 6-degree zones"},
    {3, "Universal Transverse Mercator",
     "+proj=tmerc +lat_0=0 +lon_0={cm} +k_0={k} +x_0={fe} +y_0={fn}",
     "as 1, UTM zones; false northing 10 000 000 m in the southern hemisphere"},
    {4, "Transverse Mercator", "+proj=tmerc +lat_0={lat0} +lon_0={cm} +k_0={k} +x_0={fe} +y_0={fn}",
     ""},
    {5, "Lambert Conformal Conic",
     "+proj=lcc +lat_1={p1} +lat_2={p2} +lat_0={lat0} +lon_0={cm} +x_0={fe} +y_0={fn}", ""},
    {6, "Albers Equal-Area Conic",
     "+proj=aea +lat_1={p1} +lat_2={p2} +lat_0={lat0} +lon_0={cm} +x_0={fe} +y_0={fn}", ""},
    {7, "Polyconic", "+proj=poly +lat_0={lat0} +lon_0={cm} +x_0={fe} +y_0={fn}", ""},
    {8, "Equidistant Conic",
     "+proj=eqdc +lat_1={p1} +lat_2={p2} +lat_0={lat0} +lon_0={cm} +x_0={fe} +y_0={fn}",
     "standard parallels as the (locked) parallel boxes hold them, 25 and 47"},
    {9, "Stereographic", "+proj=stere +lat_0={lat0} +lon_0={cm} +k_0=1 +x_0={fe} +y_0={fn}", ""},
    {10, "Lambert Azimuthal Equal-Area", "+proj=laea +lat_0={lat0} +lon_0={cm} +x_0={fe} +y_0={fn}",
     ""},
    {11, "Azimuthal Equidistant", "+proj=aeqd +lat_0={lat0} +lon_0={cm} +x_0={fe} +y_0={fn}", ""},
    {12, "Gnomonic", "+proj=gnom +lat_0={lat0} +lon_0={cm} +x_0={fe} +y_0={fn}", ""},
    {13, "Orthographic", "+proj=ortho +lat_0={lat0} +lon_0={cm} +x_0={fe} +y_0={fn}", ""},
    {14, "General Vertical Near-Side Perspective",
     "+proj=nsper +h={h} +lat_0={lat0} +lon_0={cm} +x_0={fe} +y_0={fn}",
     "txtAA is the height of the perspective point above the surface in metres"},
    {15, "Sinusoidal", "+proj=sinu +lon_0={cm}", ""},
    {16, "Equirectangular", "+proj=eqc +lat_ts={lat0} +lon_0={cm} +x_0={fe} +y_0={fn}",
     "the origin latitude is the latitude of true scale; y counts from the equator"},
    {17, "Miller Cylindrical", "+proj=mill +lon_0={cm} +x_0={fe} +y_0={fn}", ""},
    {18, "Van der Grinten", "+proj=vandg +lon_0={cm} +x_0={fe} +y_0={fn}",
     "centred on the equator: the origin latitude does not enter"},
    {19, "Hotine Oblique Mercator (two points)",
     "+proj=omerc +lat_0={lat0} +lat_1={p1} +lon_1={lon1} +lat_2={p2} +lon_2={lon2} +k_0={k} "
     "+x_0={fe} +y_0={fn}",
     "the centre line passes through (txtLon1, txtUpLat) and (txtLon2, txtDownLat)"},
    {20, "Hotine Oblique Mercator (azimuth)",
     "+proj=omerc +lat_0={lat0} +lonc={cm} +alpha={az} +k_0={k} +x_0={fe} +y_0={fn}",
     "centre at (txtCentLong, txtZeroLat), azimuth of the centre line from txtAA"},
    {21, "Robinson", "+proj=robin +lon_0={cm} +x_0={fe} +y_0={fn}",
     "centred on the equator: the origin latitude does not enter"},
    {22, "Interrupted Goode Homolosine", "+proj=igh +x_0={fe} +y_0={fn}",
     "Goode's land interruptions with their fixed lobe meridians"},
    {23, "Mollweide", "+proj=moll +lon_0={cm} +x_0={fe} +y_0={fn}", ""},
    {24, "Interrupted Mollweide", "+proj=imoll +x_0={fe} +y_0={fn}",
     "Goode's land interruptions with their fixed lobe meridians"},
    {25, "Hammer", "+proj=hammer +lon_0={cm} +x_0={fe} +y_0={fn}", ""},
    {26, "Wagner IV", "+proj=wag4 +lon_0={cm} +x_0={fe} +y_0={fn}", ""},
    {27, "Wagner VII", "+proj=wag7 +lon_0={cm} +x_0={fe} +y_0={fn}", ""},
    {28, "Oblated Equal-Area",
     "+proj=oea +m={m} +n={n} +theta={theta} +lat_0={lat0} +lon_0={cm} +x_0={fe} +y_0={fn}",
     "m and n from the parallel boxes (参数 m, 参数 n), θ from txtAA"},
    {29, "Polar Stereographic",
     "+proj=stere +lat_0={pole} +lat_ts={lat_ts} +lon_0={cm} +x_0={fe} +y_0={fn}",
     "the origin latitude is the latitude of true scale and its sign chooses the pole; 0 means "
     "true scale at the north pole"},
}};

const std::vector<EllipsoidRow> kEllipsoids = {
    {"白塞尔 ()Bessel)1841", "6377397.155", "6356078.96284"},
    {"克拉克(Clarke) 1866", "6378206.4", "6356583.8"},
    {"克拉克(Clarke) 1880", "6378249.145", "6356514.86955"},
    {"克拉索夫斯基/北京54", "6378245.0", "6356863.0188"},
    {"IUUG 1975/西安80", "6378140", "6356755.2882"},
    {"IUUG 1967/澳大利亚", "6378160.0", "6356774.719"},
    {"IUUG 1983", "6378136.0", "6356751.3"},
    {"WGS 1984", "6378137.0", "6356752.314245"},
    {"WGS 1972", "6378135.0", "6356750.519915"},
    {"WGS 1966", "6378145.0", "6356759.769356"},
    {"GRS 1980", "6378137.0", "6356752.31414"},
    {"国际(International) 1909", "6378388.0", "6356911.94613"},
    {"新国际(International) 1967", "6378137.5", "6356772.2"},
    // From here the texts and the axes are one place apart; the pairs stand as the list has
    // always written them.
    {"埃维而尔斯特 1930/48", "6378150.0", "6356768.337303"},
    {"费歇尔(Mercury)  1968", "6378166.0", "6356784.283666"},
    {"费歇尔(Mercury) 1960", "6378155.0", "6356773.3205"},
    {"东南亚(Southeast Asia)", "6376896.0", "6356773.3205"},
    {"WalBeck", "6377563.396", "6356256.91"},
    {"Airy", "6377340.189", "6356034.448"},
    {"Modified Airy", "6377276.3452", "6356075.4133"},
    {"Everest", "6377304.063", "6356103.039"},
    {"Modified Everest", "6378270.0", "6356794.343479"},
    {"Hough", "6370997.0", "6370997.0"},
    {"球体(R)", "6370997.0", "6370997.0"},
    {"用户定义", "", ""},
};

std::vector<ReadyMadeSystem> makeReadyMade() {
  std::vector<ReadyMadeSystem> v;
  struct Datum {
    const char* name;        // as the projected systems' names begin
    const char* geographic;  // the registry's name of the geographic system
    const char* caption;
    int geographicCode, gk3Zone25, gk3Cm75, gk6Zone13, gk6Cm75;  // EPSG codes of the blocks
  };
  const Datum datums[] = {
      {"Beijing 1954", "Beijing 1954", "北京54", 4214, 2401, 2422, 21413, 21453},
      {"Xian 1980", "Xian 1980", "西安80", 4610, 2349, 2370, 2327, 2338},
      {"CGCS2000", "China Geodetic Coordinate System 2000", "CGCS2000", 4490, 4513, 4534, 4491,
       4502}};
  for (const auto& d : datums)
    v.push_back({d.geographic, std::string(d.caption) + " 地理坐标", d.geographicCode});
  v.push_back({"WGS 84", "WGS84 地理坐标", 4326});
  for (const auto& d : datums) {
    const std::string n = d.name, c = d.caption;
    for (int z = 25; z <= 45; ++z)
      v.push_back({n + " / 3-degree Gauss-Kruger zone " + std::to_string(z),
                   c + " 3度带 " + std::to_string(z) + "带 (带号+横坐标)", d.gk3Zone25 + z - 25});
    for (int z = 25; z <= 45; ++z)
      v.push_back({n + " / 3-degree Gauss-Kruger CM " + std::to_string(3 * z) + "E",
                   c + " 3度带 中央经线" + std::to_string(3 * z) + "°", d.gk3Cm75 + z - 25});
    for (int z = 13; z <= 23; ++z)
      v.push_back({n + " / Gauss-Kruger zone " + std::to_string(z),
                   c + " 6度带 " + std::to_string(z) + "带 (带号+横坐标)", d.gk6Zone13 + z - 13});
    for (int z = 13; z <= 23; ++z)
      v.push_back({n + " / Gauss-Kruger CM " + std::to_string(6 * z - 3) + "E",
                   c + " 6度带 中央经线" + std::to_string(6 * z - 3) + "°", d.gk6Cm75 + z - 13});
  }
  for (int south = 0; south < 2; ++south)
    for (int z = 1; z <= 60; ++z)
      v.push_back({"WGS 84 / UTM zone " + std::to_string(z) + (south ? "S" : "N"),
                   "WGS84 UTM " + std::to_string(z) + (south ? "S" : "N"),
                   (south ? 32700 : 32600) + z});
  return v;
}

}  // namespace

const ProjectionRow* projectionRow(int index) {
  if (index < 0 || index >= 30) return nullptr;
  return &kRows[static_cast<std::size_t>(index)];
}

int projectionNumber(int side, int index) {
  if (index < 0 || index >= 30) return -1;
  if (side == kInputSide && index == 11) return 16;
  if (side == kInputSide && index == 16) return 11;
  return index;
}

int projectionIndex(int side, int number) { return projectionNumber(side, number); }

std::string projectionCaption(int side, int index) {
  if (index < 0 || index >= 30) return {};
  if (side == kInputSide && index == 11) return kInputCaption11;
  if (side == kInputSide && index == 16) return kInputCaption16;
  return kCaptions[static_cast<std::size_t>(index)];
}

std::vector<std::string> projectionCaptions(int side) {
  std::vector<std::string> v;
  for (int i = 0; i < 30; ++i) v.push_back(projectionCaption(side, i));
  return v;
}

const ProjectionOperation* projectionOperation(int number) {
  if (number < 0 || number >= 30) return nullptr;
  return &kOperations[static_cast<std::size_t>(number)];
}

const std::vector<EllipsoidRow>& ellipsoidRows() { return kEllipsoids; }

const std::vector<std::string>& angleUnitCaptions() {
  static const std::vector<std::string> v = {" DDD.dd(度)", " DDD.MMSSss", " DDDMMSS.s"};
  return v;
}

const std::vector<std::string>& lengthUnitCaptions() {
  static const std::vector<std::string> v = {" 公里 (km)", " 米 (m)", " 单位因子"};
  return v;
}

const std::vector<ReadyMadeSystem>& readyMadeSystems() {
  static const std::vector<ReadyMadeSystem> v = makeReadyMade();
  return v;
}

}  // namespace sarnoth::projtable
