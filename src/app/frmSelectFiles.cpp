#include "app/frmSelectFiles.h"

#include <QHBoxLayout>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include "app/messages.h"
#include "app/picker_common.h"
#include "workarea/session.h"

namespace sarnoth::gui {

frmSelectFiles::frmSelectFiles(QWidget* parent) : QDialog(parent) {
  setObjectName("frmSelectFiles");
  setWindowTitle(QString::fromUtf8("装载数据"));
  flstGridFiles = new QListWidget(this);
  flstGridFiles->setObjectName("flstGridFiles");
  txtFile = new QLineEdit(this);
  txtFile->setObjectName("txtFile");
  btnSure = pickerButton(this, "btnSure", "确定");
  btnCancel = pickerButton(this, "btnCancel", "取消");
  layOutPicker(this, flstGridFiles, txtFile, nullptr, {btnSure, btnCancel}, 360, 320);
  connect(btnSure, &QPushButton::clicked, this, &frmSelectFiles::btnSure_Click);
  connect(btnCancel, &QPushButton::clicked, this, &frmSelectFiles::btnCancel_Click);
  connect(flstGridFiles, &QListWidget::itemClicked, this, &frmSelectFiles::flstGridFiles_Click);
}

std::string frmSelectFiles::directory() const {
  return gWorkPath + (mode >= 300 ? "Grid_Dat\\" : "Prof_Dat\\");
}

bool frmSelectFiles::namingMode() const { return mode == 200 || mode == 300; }
bool frmSelectFiles::strictPick() const { return mode == 100 || mode == 110; }
bool frmSelectFiles::wholePath() const { return mode == 400 || mode == 500; }

bool frmSelectFiles::load() {
  QString error;
  auto names = listFiles(directory(), fileMask, &error);
  if (!names) {
    notify(this, "装载数据文件错：" + error.toStdString());
    gPickedFile.clear();
    return false;
  }
  fillList(flstGridFiles, *names);
  txtFile->setEnabled(true);
  if (namingMode()) {
    txtFile->setText(defaultNewName());
  } else if (strictPick()) {
    txtFile->clear();
    if (flstGridFiles->count() == 0) {
      notify(this, "工作区中没有数据，请检查!!");
      gPickedFile.clear();
      return false;
    }
    flstGridFiles->setCurrentRow(0);
  }
  return true;
}

int frmSelectFiles::run() {
  if (!load()) return Rejected;
  return exec();
}

void frmSelectFiles::btnSure_Click() {
  if (namingMode()) {
    QString name = nameBeforeComma(txtFile->text());
    if (name.isEmpty()) {
      notify(this, "请给定保存数据文件名。");
      return;
    }
    QString full = name + fileExt;
    if ((listHoldsName(flstGridFiles, full) || listHoldsName(flstGridFiles, name)) &&
        showMessage(this, kTitle, existingFileQuestion(full), Buttons::YesNo, Icon::Question) !=
            Answer::Yes)
      return;
    gPickedFile = full.toStdString();
    accept();
    return;
  }
  QListWidgetItem* item = flstGridFiles->currentItem();
  if (!item || !item->isSelected()) {
    notify(this, "请选择数据文件名。");
    return;
  }
  gPickedFile = wholePath() ? gWorkPath + "Grid_Dat\\" + item->text().toStdString()
                            : item->text().toStdString();
  accept();
}

void frmSelectFiles::btnCancel_Click() { reject(); }

void frmSelectFiles::reject() {
  gPickedFile.clear();
  QDialog::reject();
}

void frmSelectFiles::flstGridFiles_Click() {
  if (mode == 200) return;
  if (QListWidgetItem* item = flstGridFiles->currentItem()) txtFile->setText(item->text());
}

frmSel2DmtFiles::frmSel2DmtFiles(QWidget* parent) : frmSelectFiles(parent) {
  setObjectName("frmSel2DmtFiles");
  mode = 100;
}

std::string frmSel2DmtFiles::directory() const { return gWorkPath + "Prof_Dat\\2DMT\\"; }

QString frmSel2DmtFiles::passMask(int pass, bool leadingZero) {
  return (leadingZero ? QString("*.0") : QString("*.")) + QString::number(pass);
}

}  // namespace sarnoth::gui
