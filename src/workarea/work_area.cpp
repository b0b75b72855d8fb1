#include "workarea/work_area.h"

#include <cmath>
#include <ctime>
#include <filesystem>
#include <fstream>

#include "workarea/jet_import.h"
#include "workarea/path_resolver.h"
#include "workarea/text_codec.h"

namespace sarnoth {
namespace fs = std::filesystem;

std::string storePathFor(const std::string& mdbPath) {
  std::string p = resolvePath(mdbPath);
  std::string lowerP = p;
  for (char& c : lowerP)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  if (lowerP.size() >= 4 && lowerP.compare(lowerP.size() - 4, 4, ".mdb") == 0)
    p = p.substr(0, p.size() - 4);
  return resolvePath(p + ".sqlite");
}

Database openStoreFor(const std::string& mdbPath) {
  std::string store = storePathFor(mdbPath);
  std::error_code ec;
  // An empty file is no store (an interrupted copy leaves one): the .mdb beside it is imported.
  if (fs::is_regular_file(store, ec) && fs::file_size(store, ec) == 0 &&
      fs::is_regular_file(resolvePath(mdbPath), ec))
    fs::remove(store, ec);
  if (!fs::exists(store, ec)) {
    std::string mdb = resolvePath(mdbPath);
    if (fs::is_regular_file(mdb, ec)) {
      Outcome o = importJetDatabase(mdb, store);
      if (!o) throw StoreError(o.message);
    }
  }
  return Database::open(store, false);
}

const std::vector<std::string>& workAreaDirectories() {
  static const std::vector<std::string> dirs = {"Qury_Dat",     "Grid_dat",      "Imag_Dat",
                                                "Prof_Dat",     "Prof_Dat/2DMT", "Proc_Dat",
                                                "Proc_Dat/map", "temp",          "temp/map"};
  return dirs;
}

std::string withTrailingSeparator(const std::string& dir) {
  if (dir.empty() || dir.back() == '/' || dir.back() == '\\') return dir;
  return dir + "/";
}

void ensureRegistry(Database& db) {
  if (db.tableExists(kRegistryTable)) return;
  db.createTable(kRegistryTable, {{"SCHNO", JetType::Long, 0},
                                  {"查询表名", JetType::Text, 50},
                                  {"查询库名", JetType::Text, 50},
                                  {"查询方式", JetType::Integer, 0},
                                  {"查询日期", JetType::Date, 0},
                                  {"说明", JetType::Text, 100}});
}

Outcome createWorkArea(const std::string& dirIn, float unitFactor) {
  std::string dir = withTrailingSeparator(dirIn);
  std::error_code ec;
  fs::create_directories(dir, ec);
  for (const auto& d : workAreaDirectories()) {
    fs::create_directories(resolvePath(dir + d), ec);
    if (ec) return Outcome::failure("无法创建工作区目录: " + dir + d);
  }
  std::string inf = resolvePath(dir + "geomaps.inf");
  if (!fs::exists(inf, ec)) {
    std::ofstream f(inf, std::ios::binary);
    char buf[64];
    std::snprintf(buf, sizeof buf, "%g", static_cast<double>(unitFactor));
    f << "[WorkRegn]\r\nUnitF=" << buf << "\r\n";
    if (!f) return Outcome::failure("无法写入 geomaps.inf: " + inf);
  }
  try {
    Database db = Database::open(storePathFor(dir + kQueryDbMdb), true);
    ensureRegistry(db);
  } catch (const StoreError& e) {
    return Outcome::failure(std::string("无法创建工作区数据库: ") + e.what());
  }
  return Outcome::success();
}

Database openWorkDatabase(const std::string& workPath) {
  return openStoreFor(workPath + kQueryDbMdb);
}

int listRegisteredTables(Database& db, std::vector<std::string>& list) {
  try {
    if (!db.tableExists(kRegistryTable)) return 0;
    Cursor c = db.query("Select [查询表名] From [TableInfo]");
    int n = 0;
    while (c.next()) {
      list.push_back(c.getText(0));
      ++n;
    }
    return n;
  } catch (const StoreError&) {
    return 0;
  }
}

void listDatabaseTables(Database& db, std::vector<std::string>& list) {
  for (const auto& t : db.tableNames()) {
    std::string l = t;
    for (char& c : l)
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    // The system flags of Jet catalogues: MSys tables never reach a tool.
    if (l == "tableinfo" || l.rfind("msys", 0) == 0) continue;
    list.push_back(t);
  }
}

int listFieldNames(Recordset& rs, std::vector<std::string>& list, int firstIndex) {
  if (!rs.isOpen() || rs.recordCount() == 0) return 0;
  rs.moveLast();
  int n = rs.fieldCount();
  for (int i = std::max(firstIndex, 0); i < n; ++i) list.push_back(rs.field(i).name);
  return n;
}

int findListItem(const std::string& text, const std::vector<std::string>& list) {
  for (std::size_t i = 0; i < list.size(); ++i)
    if (list[i] == text) return static_cast<int>(i);
  return -1;
}

std::string trimAtNul(const std::string& text) {
  std::size_t b = 0, e = text.size();
  while (b < e && text[b] == ' ') ++b;
  while (e > b && text[e - 1] == ' ') --e;
  std::string t = text.substr(b, e - b);
  if (t.empty()) return t;
  std::size_t nul = t.find('\0');
  return nul == std::string::npos ? t : t.substr(0, nul);
}

float maxFloat(float a, float b) { return a > b ? a : b; }
float minFloat(float a, float b) { return a <= b ? a : b; }
double log10Value(double x) { return std::log(x) / std::log(10.0); }

int nextTableNo(Recordset& registry) {
  if (registry.recordCount() == 0) return 1;
  registry.moveLast();
  return static_cast<int>(valueToDouble(registry.value("SCHNO"))) + 1;
}

int nextTableNo(Database& db) {
  if (!db.tableExists(kRegistryTable)) return 1;
  Recordset rs = Recordset::openTable(db, kRegistryTable);
  return nextTableNo(rs);
}

bool askOverwriteTable(Interaction& ui, const std::string& text) {
  return ui.ask(kTitle, text, Buttons::YesNo, Icon::Question) == Answer::Yes;
}

void dropWorkTable(Database& db, const std::string& name) {
  try {
    db.dropTable(name);
  } catch (const StoreError&) {
  }
}

namespace {
std::string nowAs(const char* format) {
  std::time_t t = std::time(nullptr);
  std::tm tm{};
  localtime_r(&t, &tm);
  char buf[32];
  std::strftime(buf, sizeof buf, format, &tm);
  return buf;
}
}  // namespace

std::string todayText() { return nowAs("%Y-%m-%d"); }
std::string nowTimeText() { return nowAs("%H:%M:%S"); }

RegisterResult registerTable(Database& db, const std::string& name, const Registration& how,
                             Interaction& ui) {
  // A store without the registry (an imported .mdb that had none) gets one on first use.
  ensureRegistry(db);
  Recordset rs = Recordset::openTable(db, kRegistryTable);
  int no = nextTableNo(rs);
  // The name is bound, so names holding apostrophes are found like any other.
  if (!rs.findFirst("[查询表名] = ?", {name})) {
    rs.addNew();
    rs.set("SCHNO", static_cast<std::int64_t>(no));
    rs.set("查询表名", name);
    rs.set("查询库名", how.origin);
    if (!how.shortRow) {
      rs.set("查询方式", static_cast<std::int64_t>(1));
      rs.set("查询日期", todayText());
      rs.set("说明", how.note);
    }
    rs.update();
    return RegisterResult::Added;
  }
  if (how.rule == OverwriteRule::Refuse) {
    ui.inform(kTitle, how.ruleText, Icon::Information);
    return RegisterResult::Refused;
  }
  if (!askOverwriteTable(ui, how.ruleText)) return RegisterResult::Declined;
  dropWorkTable(db, name);
  try {
    rs.edit();
    rs.set("查询库名", how.originOnEdit.empty() ? how.origin : how.originOnEdit);
    rs.set("查询方式", static_cast<std::int64_t>(1));
    rs.set("查询日期", todayText());
    rs.set("说明", how.note);
    rs.update();
  } catch (const StoreError&) {
    // The original runs this step with errors ignored.
  }
  return RegisterResult::Overwritten;
}

void removeWorkTable(Database& db, const std::string& name) {
  dropWorkTable(db, name);
  if (db.tableExists(kRegistryTable))
    db.execute("Delete From [TableInfo] Where [查询表名]=?", {name});
}

std::string newNameRefusal(const std::string& name, NewNameKind kind) {
  const bool file = kind == NewNameKind::GridFile;
  const std::string what = file ? "网格数据文件名" : "数据表名";
  if (name.find_first_not_of(" \t\r\n") == std::string::npos)
    return file ? "请给定保存数据文件名。" : "请输入新数据表名.";
  if (name.find_first_of("/\\") != std::string::npos ||
      (file && (name.find(':') != std::string::npos || name == "." || name == "..")))
    return what + "不能含有路径分隔符(/ \\ :): " + name;
  for (unsigned char c : name)
    if (c < 0x20) return what + "不能含有控制字符: " + name;
  return {};
}

std::string workAreaSummary(const std::string& workPath) {
  std::string shown = workPath;
  while (shown.size() > 1 && (shown.back() == '\\' || shown.back() == '/')) shown.pop_back();
  std::string text = "工作区: " + shown;
  std::vector<std::string> tables;
  try {
    Database db = openWorkDatabase(workPath);
    listRegisteredTables(db, tables);
  } catch (const StoreError&) {
    return text + " (无法打开)";
  }
  std::size_t grids = 0;
  std::error_code ec;
  const fs::path dir = resolvePath(workPath + "Grid_dat");
  for (fs::directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec)) {
    std::string ext = it->path().extension().string();
    for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (ext == ".grd" && it->is_regular_file(ec)) ++grids;
  }
  return text + "   数据表: " + std::to_string(tables.size()) + "   网格: " + std::to_string(grids);
}

}  // namespace sarnoth
