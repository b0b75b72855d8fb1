#include "datatools/grid_to_table.h"

#include <cmath>
#include <filesystem>

#include "workarea/grid_file.h"
#include "workarea/null_value.h"
#include "workarea/path_resolver.h"
#include "workarea/work_area.h"

namespace sarnoth {

Outcome gridToTable(Database& db, const std::string& gridPath, const std::string& tableName,
                    const GridToTableOptions& opt, Interaction& ui, Progress& progress,
                    std::int64_t* rowsOut) {
  if (std::string why = newNameRefusal(tableName, NewNameKind::Table); !why.empty())
    return Outcome::failure(why);
  GridReadResult r = readGrid(gridPath);
  if (!r.ok()) return Outcome::failure(gridReadMessage(r.error, kMsgNotGrid2000));
  const GridHeader& h = r.grid.header;
  std::string value = opt.valueField.empty()
                          ? std::filesystem::path(resolvePath(gridPath)).stem().string()
                          : opt.valueField;
  if (value.empty()) value = "Z";
  if (value == opt.xField || value == opt.yField || opt.xField == opt.yField)
    return Outcome::failure("字段名不能重复.");

  const double a = static_cast<double>(h.angle) * M_PI / 180.0;
  const double ca = std::cos(a), sa = std::sin(a);
  std::int64_t rows = 0;
  try {
    db.begin();
    Registration how{"GridDataIn", "网格数据转入", OverwriteRule::Ask, "新数据表名已存在,是否覆盖?",
                     "",           false};
    if (registerTable(db, tableName, how, ui) == RegisterResult::Declined) {
      db.rollback();
      return Outcome::failure("");
    }
    db.createTable(tableName, {{opt.xField, JetType::Single, 0},
                               {opt.yField, JetType::Single, 0},
                               {value, JetType::Single, 0}});
    TableWriter w(db, tableName, {opt.xField, opt.yField, value});
    progress.setMaximum(h.ny);
    for (int row = 0; row < h.ny; ++row) {
      progress.setValue(row);
      for (int col = 0; col < h.nx; ++col) {
        float z = r.grid.at(row, col);
        bool null = isNullValue(z);
        if (null && !opt.keepNulls) continue;
        double u = col * static_cast<double>(h.dx), v = row * static_cast<double>(h.dy);
        w.setDouble(0, h.x0 + u * ca - v * sa);
        w.setDouble(1, h.y0 + u * sa + v * ca);
        w.setDouble(2, null ? NULL_VALUE_D : static_cast<double>(z));
        w.addRow();
        ++rows;
      }
      if (!progress.pump()) throw StoreError("已取消");
    }
    w.commit();
    db.commit();
  } catch (const StoreError& e) {
    db.rollback();
    return Outcome::failure(std::string("创建新数据表错误, ") + e.what());
  }
  progress.setValue(0);
  if (rowsOut) *rowsOut = rows;
  return Outcome::success("网格数据已转为数据表 " + tableName + ", 共 " + std::to_string(rows) +
                          " 条记录.");
}

}  // namespace sarnoth
