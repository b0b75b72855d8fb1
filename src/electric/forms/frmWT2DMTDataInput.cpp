#include "electric/forms/frmWT2DMTDataInput.h"

#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include "app/frmSelectFiles.h"
#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "electric/mt2d_data_input.h"
#include "workarea/session.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
namespace {

using namespace sarnoth::electric;

constexpr const char* kDir = "Prof_Dat\\2DMT\\";
constexpr const char* kNone = "<无>";
int lastMode = 1;  // the options open on the last mode chosen

void say(QWidget* w, const std::string& text, Icon icon = Icon::Information) {
  showMessage(w, kTitleInfo, text, Buttons::Ok, icon);
}

std::string pickPointFile(QWidget* parent, int mode, const std::string& title) {
  frmSel2DmtFiles p(parent);
  p.mode = mode;
  p.fileMask = "*.mt4";
  p.fileExt = ".mt4";
  p.setWindowTitle(qs(title));
  p.run();
  return gPickedFile;
}

// The first field whose name holds one of the keys (case-blind), preferring those that also
// hold `prefer`; -1 for none.
int fieldLike(const QStringList& names, std::initializer_list<const char*> keys,
              const QString& prefer = {}) {
  for (int pass = prefer.isEmpty() ? 1 : 0; pass < 2; ++pass)
    for (const char* k : keys)
      for (int i = 0; i < names.size(); ++i)
        if (names[i].contains(QString::fromUtf8(k), Qt::CaseInsensitive) &&
            (pass == 1 || names[i].contains(prefer, Qt::CaseInsensitive)))
          return i;
  return -1;
}

}  // namespace

frmWT2DMTDataInput::frmWT2DMTDataInput(QWidget* parent, int mode) : QDialog(parent) {
  setObjectName("frmWT2DMTDataInput");
  setWindowTitle(QString::fromUtf8("大地电磁测点数据转换"));
  if (mode >= 1 && mode <= 3) lastMode = mode;

  auto* modes = new QGroupBox(QString::fromUtf8("反演模式选择"), this);
  auto* ml = new QHBoxLayout(modes);
  Option_TE = named(new QRadioButton(QString::fromUtf8("TE 模 式"), modes), "Option_TE");
  Option_TM = named(new QRadioButton(QString::fromUtf8("TM 模 式"), modes), "Option_TM");
  Option_UN = named(new QRadioButton(QString::fromUtf8("联合反演"), modes), "Option_UN");
  for (QRadioButton* o : {Option_TE, Option_TM, Option_UN}) ml->addWidget(o);
  (lastMode == 2 ? Option_TM : lastMode == 3 ? Option_UN : Option_TE)->setChecked(true);

  auto* tables = new QGroupBox(QString::fromUtf8("数据表"), this);
  auto* tl = new QVBoxLayout(tables);
  lstTbls = named(new QListWidget(tables), "lstTbls");
  tl->addWidget(lstTbls);

  auto* fields = new QGroupBox(QString::fromUtf8("数据项"), this);
  auto* fl = new QGridLayout(fields);
  const char* labels[7] = {"测点名",   "测点距离(米)",    "频率(Hz)",    "视电阻率",
                           "相位(度)", "视电阻率误差(%)", "相位误差(度)"};
  const char* names[7] = {"cboPoint", "cboDist",   "cboFreq",  "cboRes",
                          "cboPhase", "cboResErr", "cboPhaErr"};
  QComboBox** combos[7] = {&cboPoint, &cboDist,   &cboFreq,  &cboRes,
                           &cboPhase, &cboResErr, &cboPhaErr};
  for (int i = 0; i < 7; ++i) {
    fl->addWidget(new QLabel(QString::fromUtf8(labels[i]), fields), i, 0);
    *combos[i] = named(new QComboBox(fields), names[i]);
    fl->addWidget(*combos[i], i, 1);
  }

  Cmd_OK = named(new QPushButton(QString::fromUtf8("转换"), this), "Cmd_OK");
  Cmd_Cancel = named(new QPushButton(QString::fromUtf8("退出"), this), "Cmd_Cancel");
  Cmd_OK->setAutoDefault(false);
  Cmd_Cancel->setAutoDefault(false);
  connect(Cmd_OK, &QPushButton::clicked, this, &frmWT2DMTDataInput::Cmd_OK_Click);
  connect(Cmd_Cancel, &QPushButton::clicked, this, &QDialog::close);
  connect(lstTbls, &QListWidget::currentRowChanged, this, [this] { onTableChosen(); });
  for (QRadioButton* o : {Option_TE, Option_TM, Option_UN})
    connect(o, &QRadioButton::toggled, this, [this](bool on) {
      if (on) proposeFields();
    });

  auto* middle = new QHBoxLayout;
  middle->addWidget(tables, 1);
  middle->addWidget(fields, 1);
  auto* row = new QHBoxLayout;
  row->addStretch(1);
  row->addWidget(Cmd_OK);
  row->addWidget(Cmd_Cancel);
  auto* all = new QVBoxLayout(this);
  all->addWidget(modes);
  all->addLayout(middle, 1);
  all->addLayout(row);
  resize(560, 360);
}

bool frmWT2DMTDataInput::load() {
  if (!openToolDatabase(this, db_)) return false;
  std::vector<std::string> names;
  try {
    listRegisteredTables(db_, names);
  } catch (const StoreError& e) {
    say(this, e.what(), Icon::Warning);
    return false;
  }
  if (names.empty()) {
    say(this, kMsgNoImportedData);
    return false;
  }
  for (const auto& n : names) lstTbls->addItem(qs(n));
  lstTbls->setCurrentRow(0);
  return true;
}

void frmWT2DMTDataInput::onTableChosen() {
  if (!lstTbls->currentItem() || !db_.isOpen()) return;
  std::vector<FieldDef> defs;
  try {
    defs = db_.fields(ss(lstTbls->currentItem()->text()));
  } catch (const StoreError& e) {
    say(this, e.what(), Icon::Warning);
    return;
  }
  QStringList names;
  for (const FieldDef& d : defs) names << qs(d.name);
  for (QComboBox* c : {cboPoint, cboDist, cboFreq, cboRes, cboPhase, cboResErr, cboPhaErr}) {
    c->clear();
    if (c == cboResErr || c == cboPhaErr) c->addItem(QString::fromUtf8(kNone));
    c->addItems(names);
  }
  proposeFields();
}

// The fields whose names say what they hold, for the mode chosen.
void frmWT2DMTDataInput::proposeFields() {
  QStringList names;
  for (int i = 0; i < cboPoint->count(); ++i) names << cboPoint->itemText(i);
  if (names.isEmpty()) return;
  const QString mode = Option_TM->isChecked() ? "TM" : "TE";
  auto set = [&](QComboBox* c, int i, int offset = 0) {
    if (i >= 0) c->setCurrentIndex(i + offset);
  };
  set(cboPoint, fieldLike(names, {"点号", "测点", "点名", "site", "station", "point", "name"}));
  set(cboDist, fieldLike(names, {"距离", "桩号", "dist", "offset", "x"}));
  set(cboFreq, fieldLike(names, {"频率", "freq"}));
  set(cboRes, fieldLike(names, {"视电阻率", "电阻率", "rho", "res"}, mode));
  set(cboPhase, fieldLike(names, {"相位", "phase", "pha"}, mode));
}

void frmWT2DMTDataInput::Cmd_OK_Click() {
  if (!Option_TE->isChecked() && !Option_TM->isChecked() && !Option_UN->isChecked()) {
    say(this, kMsgWrongMode);
    return;
  }
  if (Option_UN->isChecked()) {
    lastMode = 3;
    joinFiles();
    return;
  }
  const bool te = Option_TE->isChecked();
  lastMode = te ? 1 : 2;
  if (!lstTbls->currentItem()) {
    say(this, "请选择数据表.");
    return;
  }
  PointFields f;
  f.table = ss(lstTbls->currentItem()->text());
  f.name = ss(cboPoint->currentText());
  f.distance = ss(cboDist->currentText());
  f.frequency = ss(cboFreq->currentText());
  f.rho = ss(cboRes->currentText());
  f.phase = ss(cboPhase->currentText());
  if (cboResErr->currentIndex() > 0 && cboPhaErr->currentIndex() > 0) {
    f.rhoError = ss(cboResErr->currentText());
    f.phaseError = ss(cboPhaErr->currentText());
  }
  const auto d = pointDataFromTable(db_, f, te ? MtMode::TE : MtMode::TM);
  if (!d) {
    say(this, d.message, Icon::Warning);
    return;
  }
  const std::string name = pickPointFile(this, 200,
                                         te ? "请输入您要保存的 TE 模式实测数据路径文件名"
                                            : "请输入您要保存的 TM 模式实测数据路径文件名");
  if (name.empty()) return;
  if (!writeMt2dPoints(gWorkPath + kDir + name, *d.value)) {
    say(this, "文件无法写入: " + name, Icon::Warning);
    return;
  }
  say(this, "测点路径数据文件 " + name + " 已经生成: " + std::to_string(d.value->siteCount()) +
                " 个测点, " + std::to_string(d.value->frequencyCount()) + " 个频点.");
}

void frmWT2DMTDataInput::joinFiles() {
  const std::string teName = pickPointFile(this, 100, "请输入您要打开的 TE 模式实测数据路径文件名");
  if (teName.empty()) return;
  const auto te = readMt2dPoints(gWorkPath + kDir + teName);
  if (!te) {
    say(this, te.message, Icon::Warning);
    return;
  }
  if (te.value->mode != MtMode::TE) {
    say(this, kMsgWrongMode);
    return;
  }
  const std::string tmName = pickPointFile(this, 100, "请输入您要打开的 TM 模式实测数据路径文件名");
  if (tmName.empty()) return;
  const auto tm = readMt2dPoints(gWorkPath + kDir + tmName);
  if (!tm) {
    say(this, tm.message, Icon::Warning);
    return;
  }
  const auto joint = joinPointData(*te.value, *tm.value);
  if (!joint) {
    say(this, joint.message, Icon::Warning);
    return;
  }
  const std::string name = pickPointFile(this, 200, "请输入您要保存的联合模式实测数据路径文件名");
  if (name.empty()) return;
  if (!writeMt2dPoints(gWorkPath + kDir + name, *joint.value)) {
    say(this, "文件无法写入: " + name, Icon::Warning);
    return;
  }
  say(this, "测点路径数据文件 " + name + " 已经生成.");
}

namespace {
const ToolWindowRegistrar registerDataInput{"frmWT2DMTDataInput",
                                            [](QWidget* parent, int mode) -> QWidget* {
                                              auto* w = new frmWT2DMTDataInput(parent, mode);
                                              if (!w->load()) {
                                                delete w;
                                                return nullptr;
                                              }
                                              return w;
                                            }};
}  // namespace

}  // namespace sarnoth::gui
