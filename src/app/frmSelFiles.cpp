#include "app/frmSelFiles.h"

#include <QHBoxLayout>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>
#include <cmath>
#include <cstdio>

#include "app/frmInfoBox.h"
#include "app/messages.h"
#include "app/picker_common.h"
#include "workarea/grid_info.h"
#include "workarea/session.h"

namespace sarnoth::gui {
namespace {

std::string coord(double v) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.10g", v);
  return buf;
}

}  // namespace

GridFrame gridFrame(const GridHeader& h) {
  GridFrame f;
  const double x0 = h.x0, y0 = h.y0;
  const double x1 = x0 + (h.nx - 1) * static_cast<double>(h.dx);
  const double y1 = y0 + (h.ny - 1) * static_cast<double>(h.dy);
  f.xMin = x0;
  f.yMin = y0;
  f.xMax = x1;
  f.yMax = y1;
  f.edges = {{x0, y0, x1, y0}, {x1, y0, x1, y1}, {x1, y1, x0, y1}, {x0, y1, x0, y0}};
  for (const auto& e : f.edges) {
    const double length = std::hypot(e.x2 - e.x1, e.y2 - e.y1);
    const double height = length / 60.0 * 1.5;
    const bool horizontal = e.y1 == e.y2;
    auto label = [&](double x, double y) {
      f.labels.push_back({x, y, height, horizontal ? coord(x) : coord(y)});
    };
    label(e.x1, e.y1);
    label((e.x1 + e.x2) / 2, (e.y1 + e.y2) / 2);
    label(e.x2, e.y2);
  }
  return f;
}

frmSelFiles::frmSelFiles(QWidget* parent) : QDialog(parent) {
  setObjectName("frmSelFiles");
  setWindowTitle(QString::fromUtf8("装载重磁数据"));
  flstGridFiles = new QListWidget(this);
  flstGridFiles->setObjectName("flstGridFiles");
  txtFile = new QLineEdit(this);
  txtFile->setObjectName("txtFile");
  btnSure = pickerButton(this, "btnSure", "确定(&S)");
  btnCancel = pickerButton(this, "btnCancel", "取消(&C)");
  btnDInfo = pickerButton(this, "btnDInfo", "数据信息(&I)");
  layOutPicker(this, flstGridFiles, txtFile, btnDInfo, {btnSure, btnCancel}, 360, 320);

  connect(btnSure, &QPushButton::clicked, this, &frmSelFiles::btnSure_Click);
  connect(btnCancel, &QPushButton::clicked, this, &frmSelFiles::btnCancel_Click);
  connect(btnDInfo, &QPushButton::clicked, this, &frmSelFiles::btnDInfo_Click);
  connect(flstGridFiles, &QListWidget::itemClicked, this, &frmSelFiles::flstGridFiles_Click);
}

QString frmSelFiles::directory() const { return QString::fromStdString(gWorkPath + "Grid_Dat\\"); }

bool frmSelFiles::load() {
  fillList(flstGridFiles, listFiles(directory().toStdString(), "*.grd").value_or(QStringList()));
  switch (mode) {
    case 100:
      setWindowTitle(QString::fromUtf8("请选择您要打开数据的文件名"));
      txtFile->setEnabled(true);
      txtFile->clear();
      if (flstGridFiles->count() == 0) {
        notify(this, "工作区中没有数据，请检查!!");
        gPickedFile.clear();
        return false;
      }
      flstGridFiles->setCurrentRow(0);
      break;
    case 200:
      setWindowTitle(QString::fromUtf8("请输入您要保存数据的文件名"));
      txtFile->setEnabled(true);
      txtFile->setText("NewGrid");
      flstGridFiles->setEnabled(true);
      btnDInfo->setEnabled(false);
      break;
    default:
      break;  // 300: the window stands as designed
  }
  return true;
}

int frmSelFiles::run() {
  if (!load()) return Rejected;
  return exec();
}

void frmSelFiles::btnSure_Click() {
  if (mode == 200) {
    QString name = nameBeforeComma(txtFile->text());
    if (name.isEmpty()) {
      notify(this, "请给定保存数据文件名。");
      return;
    }
    name += ".grd";
    gPickedFile = name.toStdString();
    if (listHoldsName(flstGridFiles, name) &&
        showMessage(this, kTitle, existingFileQuestion(name), Buttons::YesNo, Icon::Question) !=
            Answer::Yes)
      return;
    accept();
    return;
  }
  QListWidgetItem* item = flstGridFiles->currentItem();
  if (!item || !item->isSelected()) {
    notify(this, "请选择数据文件。");
    return;
  }
  gPickedFile = item->text().toStdString();
  if (mode == 100 && frameOnMap) {
    // The frame needs the selected grid's header, whether or not the list was clicked.
    GridHeadResult head = readBinaryGridHead(directory().toStdString() + gPickedFile);
    if (head.ok()) frameOnMap(gridFrame(head.header));
  }
  accept();
}

void frmSelFiles::btnCancel_Click() { reject(); }

void frmSelFiles::reject() {
  gPickedFile.clear();
  QDialog::reject();
}

void frmSelFiles::flstGridFiles_Click() {
  if (mode == 200) return;
  QListWidgetItem* item = flstGridFiles->currentItem();
  if (!item) return;
  GridHeadResult head = readBinaryGridHead(directory().toStdString() + item->text().toStdString());
  if (!head.ok()) {
    notify(this, kNotBinaryGridText);
    return;
  }
  record_ = head.header;
  recordRead_ = true;
  if (mode == 100) txtFile->setText(item->text());
}

void frmSelFiles::btnDInfo_Click() {
  const std::string path = gWorkPath + "tempfile.txt";
  if (!writeGridInfoFile(path, record_)) {
    notify(this, "不能写入文件: " + path);
    return;
  }
  frmInfoBox box(this);
  box.mode = 4000;
  box.filePath = QString::fromStdString(path);
  box.run();
}

}  // namespace sarnoth::gui
