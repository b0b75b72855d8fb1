// frmOutTblToWorkBase "外部表格数据导入工作区": brings a field campaign's table into the work area.
//
// The user names a file (CSV or other delimited text, Excel .xlsx/.xls, .ods, dBASE .dbf, a Jet
// .mdb, or a scatter file of the system), picks the sheet or table of a many-table file with the
// table picker (frmSelectTbl, mode 100), sets how text is read (delimiter, decimal mark,
// encoding, header row), and looks at the preview: the columns with their guessed types, which
// may be changed or left out, and the first rows. "导入" writes the table under the new name;
// the registry question and the count of values stored as -1E+38 come from the engine.
#pragma once

#include <QDialog>
#include <memory>
#include <string>
#include <vector>

#include "datatools/table_import.h"
#include "workarea/table_store.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QTableWidget;

namespace sarnoth::gui {

class frmOutTblToWorkBase : public QDialog {
  Q_OBJECT
 public:
  explicit frmOutTblToWorkBase(QWidget* parent = nullptr);
  // The on-opening work: opens the work area's store. False (after a message) when it cannot.
  bool load();

  // The file to import, as the browse button sets it.
  void setFileName(const QString& path);

  QLineEdit* txtFileName = nullptr;
  QPushButton* btnBrowse = nullptr;
  QLineEdit* txtLayer = nullptr;
  QPushButton* btnSelLayer = nullptr;
  QComboBox* cboDelimiter = nullptr;
  QComboBox* cboDecimal = nullptr;
  QComboBox* cboEncoding = nullptr;
  QCheckBox* chkHeader = nullptr;
  QPushButton* btnPreview = nullptr;
  QTableWidget* grdFields = nullptr;   // 导入 / 字段名 / 类型 (an editable combo per row)
  QTableWidget* grdPreview = nullptr;  // the first rows
  QLabel* lblInfo = nullptr;
  QLineEdit* txtNewTbl = nullptr;
  QProgressBar* prgBar = nullptr;
  QPushButton* btnApply = nullptr;
  QPushButton* btnReturn = nullptr;

  // The columns as the user has set them in grdFields.
  std::vector<ImportColumn> chosenColumns() const;
  // The type combo of field row `row` (objectName "cboType_<row>").
  QComboBox* typeCombo(int row) const;

 public slots:
  void btnBrowse_Click();
  bool btnSelLayer_Click();
  bool btnPreview_Click();
  void btnApply_Click();

 private:
  DelimitedOptions textOptions() const;
  void invalidate();
  void showPreview();

  Database db_;
  std::unique_ptr<RowSource> source_;
  ImportPreview preview_;
  std::vector<std::string> layers_;
};

}  // namespace sarnoth::gui
