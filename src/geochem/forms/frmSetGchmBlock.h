// frmSetGchmBlock "分类统计与校正": numeric fields of a table summarised class by class, the
// result list lsvRest (eighteen columns), the optional result table, the correction of a field
// class by class (frame framI), and the list saved as text on a right-button release.
//
// The window lists the registered tables on opening; choosing one fills the class field list
// cboCLSItem (every field, its kind "NUM" or "TEXT" in the hidden list lstType), the check list
// of numeric items cboVVItem and the correction's data items cboDataI. btnStat runs
// geochem/class_statistics' runClassStatistics and shows its rows; btnCal runs the correction.
#pragma once

#include <QDialog>
#include <vector>

#include "geochem/class_statistics.h"
#include "workarea/table_store.h"

class QCheckBox;
class QComboBox;
class QGroupBox;
class QLineEdit;
class QListWidget;
class QPushButton;
class QTreeWidget;

namespace sarnoth::gui {

class frmSetGchmBlock : public QDialog {
  Q_OBJECT
 public:
  explicit frmSetGchmBlock(QWidget* parent = nullptr);
  bool load();

  std::int16_t mode = 0;

  QListWidget* lstTbls = nullptr;
  QComboBox* cboCLSItem = nullptr;
  QListWidget* lstType = nullptr;    // hidden, parallel to cboCLSItem
  QListWidget* cboVVItem = nullptr;  // check list
  QCheckBox* chkSel = nullptr;
  QLineEdit* txtDelN = nullptr;
  QCheckBox* chkSave = nullptr;
  QLineEdit* txtNewTbl = nullptr;
  QPushButton* btnStat = nullptr;
  QPushButton* btnView = nullptr;
  QPushButton* btnReturn = nullptr;
  QGroupBox* framI = nullptr;
  QComboBox* cboDataI = nullptr;
  QLineEdit* txtConst = nullptr;
  QComboBox* cboParI = nullptr;
  QLineEdit* txtNewField = nullptr;
  QPushButton* btnCal = nullptr;
  QTreeWidget* lsvRest = nullptr;

  // The rows as the list holds them.
  const std::vector<geochem::ClassStatRow>& rows() const { return rows_; }

 public slots:
  void btnStat_Click();
  void btnCal_Click();
  // The right-button save of the list.
  void saveListText();

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void tableChosen();
  void itemChosen(const QString& name);
  void showRows();
  std::string currentTable() const;

  Database db_;
  std::vector<geochem::ClassStatRow> rows_;
};

}  // namespace sarnoth::gui
