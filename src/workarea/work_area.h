// The work area: its directory tree, its table store with the registry TableInfo, and the shared
// operations every tool uses (the system's CommModule).
//
// Paths are kept as the system spells them (gWorkPath carries its trailing separator and tools
// append "Grid_dat\" and the like); every open goes through resolvePath. The store of a work
// area is Qury_Dat/QueryDB.sqlite; when only the Jet file Qury_Dat/QueryDB.mdb exists, its tables
// are imported once, and the .mdb is left untouched.
#pragma once

#include <string>
#include <vector>

#include "workarea/interaction.h"
#include "workarea/table_store.h"

namespace sarnoth {

inline constexpr const char* kRegistryTable = "TableInfo";
inline constexpr const char* kQueryDbMdb = "Qury_Dat\\QueryDB.mdb";

// The store file that stands for a Jet path: "…/QueryDB.mdb" → "…/QueryDB.sqlite".
std::string storePathFor(const std::string& mdbPath);
// Opens the store behind a Jet path, importing the .mdb once when only it exists.
Database openStoreFor(const std::string& mdbPath);

// --- work area tree -----------------------------------------------------------------------------

// The subdirectories a work area holds, as the system spells them.
const std::vector<std::string>& workAreaDirectories();
// Makes an empty work area: the tree, geomaps.inf with "UnitF", and a store holding TableInfo.
// Existing files are kept; returns the failure text when the directory cannot be written.
Outcome createWorkArea(const std::string& dir, float unitFactor = 1.0f);
// Creates TableInfo in a store that lacks it.
void ensureRegistry(Database& db);
// A work path with its trailing separator, as gWorkPath holds it.
std::string withTrailingSeparator(const std::string& dir);

// Names of new things in the work area, tested where they enter: a name of blanks, or one with a
// path separator ("/", "\") that would put a file outside its folder, is refused with the text
// returned; empty when the name is good. Files (grids) also refuse ":", "." and "..".
enum class NewNameKind { Table, GridFile };
std::string newNameRefusal(const std::string& name, NewNameKind kind);

// What the main window's status bar says of the work area: "工作区: <path>   数据表: 12   网格:
// 5", counting the registered tables and the *.grd files of Grid_dat; "工作区: <path> (无法打开)"
// when its store cannot be read.
std::string workAreaSummary(const std::string& workPath);

// --- CommModule -------------------------------------------------------------------------------

// Opens gWorkPath + "Qury_Dat\QueryDB.mdb" (the given work path here). Throws StoreError.
Database openWorkDatabase(const std::string& workPath);
// Adds the "查询表名" of every registry row to `list`, in record order; 0 on an empty registry or
// any error. The list is not cleared.
int listRegisteredTables(Database& db, std::vector<std::string>& list);
// Adds every user table except TableInfo.
void listDatabaseTables(Database& db, std::vector<std::string>& list);
// Adds the names of fields from `firstIndex` on; returns the field count, 0 for an empty set.
int listFieldNames(Recordset& rs, std::vector<std::string>& list, int firstIndex);
// First index whose item equals `text` byte for byte, or -1.
int findListItem(const std::string& text, const std::vector<std::string>& list);
// Blanks trimmed at both ends, then what stands before the first NUL.
std::string trimAtNul(const std::string& text);
// Equal arguments: maxFloat returns the second, minFloat the first.
float maxFloat(float a, float b);
float minFloat(float a, float b);
// ln(x) / ln(10).
double log10Value(double x);
// "SCHNO" of the registry's last row plus 1, or 1 for an empty registry.
int nextTableNo(Recordset& registry);
int nextTableNo(Database& db);
// Yes/No question with title "Sarnoth 提示".
bool askOverwriteTable(Interaction& ui, const std::string& text);
// Drops the table; errors are ignored (a registered name without table passes silently).
void dropWorkTable(Database& db, const std::string& name);

enum class OverwriteRule { Ask, Refuse };

// How a tool registers its result table.
struct Registration {
  std::string origin;  // "查询库名"
  std::string note;    // "说明"
  OverwriteRule rule = OverwriteRule::Ask;
  std::string ruleText;      // the question (ask) or the message (refuse)
  std::string originOnEdit;  // origin written when an existing row is edited; empty: `origin`
  bool shortRow = false;     // only "SCHNO", "查询表名" and "查询库名" (the SQL tool)
};

enum class RegisterResult {
  Added,        // a new row; build the table
  Overwritten,  // the old table dropped and the row renewed; build the table
  Declined,     // the user answered No: stop, nothing changed
  Refused,      // the name exists under the refuse rule: the user must give another
};

// The registration sequence. Throws StoreError when the registry cannot be read or written.
RegisterResult registerTable(Database& db, const std::string& name, const Registration& how,
                             Interaction& ui);

// Removes a table with its registry row (the clean-up tool's removal, without the question).
void removeWorkTable(Database& db, const std::string& name);

// Today as the store holds dates: "YYYY-MM-DD".
std::string todayText();
std::string nowTimeText();

}  // namespace sarnoth
