#include "workarea/session.h"

#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "workarea/path_resolver.h"
#include "workarea/profile_file.h"
#include "workarea/table_store.h"
#include "workarea/text_codec.h"
#include "workarea/work_area.h"

namespace sarnoth {

std::string gSysPath;
std::string gBasePath;
std::string gWorkPath;
std::string gTempPath;
float gUnitFactor = 1.0f;
std::string gPickedFile;
std::string gViewConnect;
std::string gViewSource;

namespace {

constexpr std::size_t kPathBuffer = 200;
constexpr std::size_t kUnitBuffer = 100;

std::string cutAtNul(const std::string& s) {
  std::size_t n = s.find('\0');
  return n == std::string::npos ? s : s.substr(0, n);
}

std::string upToFirstBlank(const std::string& s) {
  std::size_t n = s.find(' ');
  return n == std::string::npos ? s : s.substr(0, n);
}

}  // namespace

std::string executableDir() {
  char buf[PATH_MAX];
  ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
  if (n <= 0) return "./";
  std::filesystem::path p(std::string(buf, static_cast<std::size_t>(n)));
  return p.parent_path().string() + "/";
}

float readUnitFactor(const std::string& workPath) {
  std::string v =
      trimAtNul(getProfileString(workPath + "geomaps.inf", "WorkRegn", "UnitF", "", kUnitBuffer));
  if (v.empty()) return 1.0f;
  char* end = nullptr;
  float f = std::strtof(v.c_str(), &end);
  // A UnitF that is not a number would leave a zero factor that every tool divides by: it reads
  // as missing instead.
  if (end == v.c_str() || !(f > 0.0f)) return 1.0f;
  return f;
}

StartupResult loadSession(const std::string& sysPath) {
  StartupResult r;
  gSysPath = sysPath;
  std::string settings = gSysPath + kSettingsFile;
  std::string base =
      cutAtNul(getProfileString(settings, kSettingsSection, "CurBasePath", "", kPathBuffer));
  gBasePath = base.size() < 3 ? "" : base;
  std::string work =
      cutAtNul(getProfileString(settings, kSettingsSection, "CurWorkPath", "", kPathBuffer));
  if (work.size() < 3) {
    gWorkPath.clear();
    r.refusal = kRefusalText;
    return r;
  }
  gWorkPath = work;
  std::string temp =
      cutAtNul(getProfileString(settings, kSettingsSection, "CurTempPath", "", kPathBuffer));
  gTempPath = temp.size() < 3 ? "" : temp;
  gUnitFactor = readUnitFactor(gWorkPath);
  r.ok = true;
  return r;
}

std::string systemDatabasePath() { return gSysPath + "DMXManag.mdb"; }

void createSystemDatabase(const std::string& sysPath) {
  Database db = Database::open(storePathFor(sysPath + "DMXManag.mdb"), true);
  if (db.tableExists("OPRecoords")) return;
  db.createTable("OPRecoords", {{"USR_ID", JetType::Long, 0},
                                {"UMARK", JetType::Text, 50},
                                {"用户名", JetType::Text, 50},
                                {"操作记录", JetType::Text, 100},
                                {"操作日期", JetType::Date, 0},
                                {"操作时间", JetType::Date, 0},
                                {"备注", JetType::Text, 100}});
}

void writeOperationLog(int /*code*/, const std::string& subsystem, const std::string& operation) {
  // The file name is spelled as the original spells it here; the resolver folds the case.
  std::string settings = gSysPath + "DMXsysset.log";
  int userId = getProfileInt(settings, kSettingsSection, "CurUserID", -111111);
  std::string mark =
      upToFirstBlank(getProfileString(settings, kSettingsSection, "CurUserMK", "", kPathBuffer));
  std::string name =
      upToFirstBlank(getProfileString(settings, kSettingsSection, "CurUserNM", "", kPathBuffer));
  try {
    std::string store = storePathFor(systemDatabasePath());
    std::error_code ec;
    if (!std::filesystem::exists(store, ec) && !pathExists(systemDatabasePath())) return;
    Database db = openStoreFor(systemDatabasePath());
    Recordset rs = Recordset::openTable(db, "OPRecoords");
    rs.addNew();
    rs.set("USR_ID", static_cast<std::int64_t>(userId));
    rs.set("UMARK", mark);
    rs.set("用户名", name);
    rs.set("操作记录", subsystem);
    rs.set("操作日期", todayText());
    rs.set("操作时间", nowTimeText());
    rs.set("备注", operation);
    rs.update();
  } catch (const StoreError&) {
    // Errors ignored: the record is lost and nothing is shown.
  }
}

bool writeSettingsFile(const std::string& sysPath, const std::string& workPath,
                       const std::string& basePath, const std::string& tempPath) {
  std::ofstream f(resolvePath(sysPath + kSettingsFile), std::ios::binary);
  std::string text = "[CURSYSSET]\r\nCurBasePath=" + basePath + "\r\nCurWorkPath=" + workPath +
                     "\r\nCurTempPath=" + tempPath +
                     "\r\nCurUserID=1\r\nCurUserMK=admin\r\nCurUserNM=管理员\r\n";
  f << utf8ToGbk(text);
  return static_cast<bool>(f);
}

}  // namespace sarnoth
