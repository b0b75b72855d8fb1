// frmSaveDataTo "工作区数据表转出": sends a registered table out of the work area as CSV text,
// an Excel workbook (.xlsx), a dBASE file (.dbf), or a binary or ASCII scatter file of the system
// ("B_FromBase", "C_FROMBASE"). The user chooses how -1E+38 is written: kept, or as an empty cell
// (a scatter file, holding floats only, then leaves out the points with a null).
#pragma once

#include <QDialog>

#include "datatools/data_convert.h"
#include "workarea/table_store.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QRadioButton;

namespace sarnoth::gui {

inline constexpr const char* kNoTablesToSave = "工作区中无数据表.";

class frmSaveDataTo : public QDialog {
  Q_OBJECT
 public:
  explicit frmSaveDataTo(QWidget* parent = nullptr);
  // Opens the store and lists the registered tables; false (after a message) when there are none.
  bool load();

  QComboBox* cboTables = nullptr;
  QLabel* lblTableInfo = nullptr;
  QComboBox* cboFormat = nullptr;  // in the order of SaveFormat
  QRadioButton* optNullKeep = nullptr;
  QRadioButton* optNullEmpty = nullptr;
  QComboBox* cboEncoding = nullptr;   // GBK, UTF-8 (text)
  QComboBox* cboDelimiter = nullptr;  // comma, tab, semicolon (text)
  QLineEdit* txtFileName = nullptr;
  QPushButton* btnBrowse = nullptr;
  QProgressBar* prgBar = nullptr;
  QPushButton* btnApply = nullptr;
  QPushButton* btnReturn = nullptr;

  SaveFormat format() const;

 public slots:
  void btnBrowse_Click();
  void btnApply_Click();

 private:
  void tableChanged();
  void formatChanged();
  Database db_;
};

}  // namespace sarnoth::gui
