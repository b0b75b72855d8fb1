// Grid to table: the nodes of a grid become a registered table of x, y and value.
//
// Node (r, c) stands at x = x0 + c·dx·cos a − r·dy·sin a, y = y0 + c·dx·sin a + r·dy·cos a,
// a being the mesh rotation in degrees, counter-clockwise. Null nodes (-1E+38 and anything at or
// below -1E+30) are skipped or kept as -1E+38 by choice. The table is registered under the ask
// rule ("新数据表名已存在,是否覆盖?", "GridDataIn", "网格数据转入"); registration, table and rows
// go in one transaction. A file that is not a binary grid gives "非Sarnoth 2000网格数据.".
#pragma once

#include <string>

#include "workarea/interaction.h"
#include "workarea/progress.h"
#include "workarea/table_store.h"

namespace sarnoth {

struct GridToTableOptions {
  std::string xField = "横坐标";
  std::string yField = "纵坐标";
  std::string valueField;  // empty: the grid file's base name
  bool keepNulls = false;
};

Outcome gridToTable(Database& db, const std::string& gridPath, const std::string& tableName,
                    const GridToTableOptions& opt, Interaction& ui,
                    Progress& progress = noProgress(), std::int64_t* rows = nullptr);

}  // namespace sarnoth
