// The session state every tool reads, and the start-up steps that set it.
//
// The program is a companion of a main program that picks the work area and writes it into the
// settings file dmxsysset.log beside this program. Start-up reads that file, refuses to go on
// without a work area, reads the work area's unit factor, and the caller then shows the main
// window and logs the entry into the system database's "OPRecoords".
#pragma once

#include <string>

namespace sarnoth {

// Session state, set once at start and read-only afterwards (gPickedFile, gViewConnect and
// gViewSource excepted: they carry one answer from a picker or to a viewer).
extern std::string gSysPath;   // program directory with its trailing separator
extern std::string gBasePath;  // "CurBasePath", "" when shorter than 3 characters
extern std::string gWorkPath;  // "CurWorkPath", with its trailing separator as written
extern std::string gTempPath;  // "CurTempPath", "" when shorter than 3 characters
extern float gUnitFactor;      // "UnitF" of geomaps.inf, 1.0 by default
extern std::string gPickedFile;
extern std::string gViewConnect;
extern std::string gViewSource;

inline constexpr const char* kSettingsFile = "dmxsysset.log";
inline constexpr const char* kSettingsSection = "CURSYSSET";
inline constexpr const char* kRefusalText = "请运行主程序设置当前工作区.";
inline constexpr const char* kMainWindowTitle = " Sarnoth -- 数据处理与分析";
inline constexpr const char* kMainProgramTitle = " Sarnoth 2005";
inline constexpr const char* kLogSubsystem = "数据分析与处理";
inline constexpr const char* kLogEnter = "进入";
inline constexpr const char* kLogLeave = "退出";
inline constexpr int kLogCode = 2001;
inline constexpr const char* kViewConnectPrefix = "Provider=Microsoft.Jet.OLEDB.4.0;;;Data Source=";

// The directory of the running executable with a trailing '/'.
std::string executableDir();

struct StartupResult {
  bool ok = false;
  std::string refusal;  // kRefusalText when there is no work area
};

// Start-up steps 1 to 5: sets gSysPath to `sysPath` and reads the settings and geomaps.inf.
// On refusal the caller shows the text under "Sarnoth 提示" and ends; nothing is logged.
StartupResult loadSession(const std::string& sysPath);

// Reads UnitF from a work area: 1.0 when missing, blank or not a number.
float readUnitFactor(const std::string& workPath);

// Appends one record to "OPRecoords" of the system database beside the program. Re-reads the
// user keys of the settings file on each call. Runs with errors ignored: a missing database or
// table loses the record silently. `code` is accepted and stored nowhere.
void writeOperationLog(int code, const std::string& subsystem, const std::string& operation);

// The system database's Jet path beside the program, and making it (with "OPRecoords") when absent.
std::string systemDatabasePath();
void createSystemDatabase(const std::string& sysPath);

// Writes a settings file pointing at a work area, as the main program does.
bool writeSettingsFile(const std::string& sysPath, const std::string& workPath,
                       const std::string& basePath = {}, const std::string& tempPath = {});

}  // namespace sarnoth
