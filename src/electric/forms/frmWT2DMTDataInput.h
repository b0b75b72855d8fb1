// frmWT2DMTDataInput "大地电磁测点数据转换" (modeless): the point path file (*.mt4) from
// measured data imported into the work database (electric/mt2d_data_input.h). TE or TM: a table
// and its fields (site name, distance, frequency, apparent resistivity, phase, optionally the two
// errors) become a point file of that mode, saved through frmSel2DmtFiles; joint: a TE and a TM
// point file opened and joined into one. Without a registered table the window refuses to open
// ("您还没有导入数据到数据库中!"). Its mode (1 TE, 2 TM, 3 joint, 0 as last chosen) presets the
// options.
#pragma once

#include <QDialog>
#include <string>

#include "workarea/table_store.h"

class QComboBox;
class QListWidget;
class QPushButton;
class QRadioButton;

namespace sarnoth::gui {

class frmWT2DMTDataInput : public QDialog {
  Q_OBJECT
 public:
  explicit frmWT2DMTDataInput(QWidget* parent = nullptr, int mode = 0);
  // Opens the database and lists its tables; false (with the message shown) when there is none.
  bool load();

  QRadioButton* Option_TE = nullptr;
  QRadioButton* Option_TM = nullptr;
  QRadioButton* Option_UN = nullptr;
  QListWidget* lstTbls = nullptr;
  QComboBox* cboPoint = nullptr;
  QComboBox* cboDist = nullptr;
  QComboBox* cboFreq = nullptr;
  QComboBox* cboRes = nullptr;
  QComboBox* cboPhase = nullptr;
  QComboBox* cboResErr = nullptr;
  QComboBox* cboPhaErr = nullptr;
  QPushButton* Cmd_OK = nullptr;
  QPushButton* Cmd_Cancel = nullptr;

  void Cmd_OK_Click();

 private:
  void onTableChosen();
  void proposeFields();
  void joinFiles();
  Database db_;
};

}  // namespace sarnoth::gui
