#include "electric/forms/frmWT2DMTInversion.h"

#include <QAction>
#include <QApplication>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QIntValidator>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include "app/frmSelectFiles.h"
#include "app/messages.h"
#include "app/tool_registry.h"
#include "closed/mt2d.h"
#include "datatools/forms/data_form_support.h"
#include "electric/mt2d_files.h"
#include "electric/mt2d_run.h"
#include "electric/mt2d_sections.h"
#include "workarea/file_text.h"
#include "workarea/session.h"

namespace sarnoth::gui {
namespace {

using namespace sarnoth::electric;

constexpr const char* kDir = "Prof_Dat\\2DMT\\";
constexpr const char* kFieldTitle = "请选择您要打开的大地电磁二维反演初始数据文件名";

const Mt2dInputKind kKinds[4] = {
    {".mt1", kMt1Tag, "请您选择大地电磁二维反演程序基本信息数据文件",
     "请您选择大地电磁二维反演程序基本信息数据文件！",
     "您读入的基本信息数据文件不正确，请重新确认！"},
    {".mt2", kMt2Tag, "请您选择大地电磁二维反演程序网格剖分数据文件",
     "请您选择大地电磁二维反演程序网格剖分数据文件！",
     "您读入的网格剖分数据文件不正确，请重新确认！"},
    {".mt3", kMt3Tag, "请您选择大地电磁二维反演程序初始模型数据文件",
     "请您选择大地电磁二维反演程序初始模型数据文件！",
     "您读入的初始模型数据文件不正确，请重新确认！"},
    {".mt4", kMt4Tag, "请您选择大地电磁二维反演程序测点路径数据文件",
     "请您选择大地电磁二维反演程序测点路径数据文件！",
     "您读入的测点路径数据文件不正确，请重新确认！"},
};

void say(QWidget* w, const std::string& text, Icon icon = Icon::Information) {
  showMessage(w, kTitleInfo, text, Buttons::Ok, icon);
}

// The picker of Prof_Dat\2DMT\: a name, or "" when nothing was chosen.
std::string pick2Dmt(QWidget* parent, int mode, const QString& mask, const QString& ext,
                     const std::string& title) {
  frmSel2DmtFiles p(parent);
  p.mode = mode;
  p.fileMask = mask;
  p.fileExt = ext;
  p.setWindowTitle(qs(title));
  p.run();
  return gPickedFile;
}

QLineEdit* countBox(QWidget* parent, const char* name) {
  auto* e = named(new QLineEdit(parent), name);
  e->setValidator(new QIntValidator(0, 100000, e));
  return e;
}

}  // namespace

const Mt2dInputKind& mt2dInputKind(int which) { return kKinds[std::clamp(which, 0, 3)]; }

frmWT2DMTInversion::frmWT2DMTInversion(QWidget* parent) : QDialog(parent) {
  setObjectName("frmWT2DMTInversion");
  setWindowTitle(QString::fromUtf8(kMt2dCaption));

  auto* files = new QGroupBox(QString::fromUtf8("反演数据文件"), this);
  auto* fl = new QGridLayout(files);
  const char* labels[4] = {"基本信息数据文件", "网格剖分数据文件", "初始模型数据文件",
                           "测点路径数据文件"};
  const char* boxNames[4] = {"Text_BasedInfoFile", "Text_GridsInfoFile", "Text_ModelInfoFile",
                             "Text_PointInfoFile"};
  const char* buttonNames[4] = {"Cmd_BasedInfoFile", "Cmd_GridsInfoFile", "Cmd_ModelInfoFile",
                                "Cmd_PointInfoFile"};
  QLineEdit** boxes[4] = {&Text_BasedInfoFile, &Text_GridsInfoFile, &Text_ModelInfoFile,
                          &Text_PointInfoFile};
  QPushButton** buttons[4] = {&Cmd_BasedInfoFile, &Cmd_GridsInfoFile, &Cmd_ModelInfoFile,
                              &Cmd_PointInfoFile};
  for (int i = 0; i < 4; ++i) {
    fl->addWidget(new QLabel(QString::fromUtf8(labels[i]), files), i, 0);
    *boxes[i] = named(new QLineEdit(files), boxNames[i]);
    (*boxes[i])->setReadOnly(true);
    fl->addWidget(*boxes[i], i, 1);
    *buttons[i] = named(new QPushButton(QString::fromUtf8("..."), files), buttonNames[i]);
    (*buttons[i])->setAutoDefault(false);
    fl->addWidget(*buttons[i], i, 2);
    connect(*buttons[i], &QPushButton::clicked, this, [this, i] { chooseInputFile(i); });
  }

  auto* counts = new QGroupBox(QString::fromUtf8("基本信息"), this);
  auto* cl = new QGridLayout(counts);
  Text_nSite = countBox(counts, "Text_nSite");
  Text_nFreq = countBox(counts, "Text_nFreq");
  Text_uGrid = countBox(counts, "Text_uGrid");
  Text_hGrid = countBox(counts, "Text_hGrid");
  Text_dGrid = countBox(counts, "Text_dGrid");
  const char* countLabels[5] = {"测点数目", "频点数目", "空中垂直网格节点数目", "水平网格节点数目",
                                "地下垂直网格节点数目"};
  QLineEdit* countBoxes[5] = {Text_nSite, Text_nFreq, Text_uGrid, Text_hGrid, Text_dGrid};
  for (int i = 0; i < 5; ++i) {
    cl->addWidget(new QLabel(QString::fromUtf8(countLabels[i]), counts), i, 0);
    cl->addWidget(countBoxes[i], i, 1);
  }

  auto* modes = new QGroupBox(QString::fromUtf8("反演模式选择"), this);
  auto* ml = new QVBoxLayout(modes);
  Option_TE = named(new QRadioButton(QString::fromUtf8("TE 模 式"), modes), "Option_TE");
  Option_TM = named(new QRadioButton(QString::fromUtf8("TM 模 式"), modes), "Option_TM");
  Option_UN = named(new QRadioButton(QString::fromUtf8("联合反演"), modes), "Option_UN");
  for (QRadioButton* o : {Option_TE, Option_TM, Option_UN}) ml->addWidget(o);
  Option_UN->setChecked(true);

  auto* units = new QGroupBox(QString::fromUtf8("剖面长度单位选择"), this);
  auto* ul = new QVBoxLayout(units);
  Option_Metre = named(new QRadioButton(QString::fromUtf8("  米"), units), "Option_Metre");
  Option_Kilometre = named(new QRadioButton(QString::fromUtf8("公里"), units), "Option_Kilometre");
  ul->addWidget(Option_Metre);
  ul->addWidget(Option_Kilometre);
  Option_Metre->setChecked(true);

  Cmd_OK = named(new QPushButton(QString::fromUtf8("反演计算"), this), "Cmd_OK");
  Cmd_Cancel = named(new QPushButton(QString::fromUtf8("退出反演"), this), "Cmd_Cancel");
  Cmd_DataTrans = named(new QPushButton(QString::fromUtf8("数据转换"), this), "Cmd_DataTrans");
  Cmd_DataGraph = named(new QPushButton(QString::fromUtf8("数据成图"), this), "Cmd_DataGraph");
  for (QPushButton* b : {Cmd_OK, Cmd_Cancel, Cmd_DataTrans, Cmd_DataGraph})
    b->setAutoDefault(false);
  prbInverse = named(new QProgressBar(this), "prbInverse");
  prbInverse->setTextVisible(false);

  // The popup menus of the two buttons; every entry under its system name.
  auto entry = [this](QMenu* menu, const char* name, const char* caption) {
    QAction* a = menu->addAction(QString::fromUtf8(caption));
    a->setObjectName(name);
    connect(a, &QAction::triggered, this, [this, n = std::string(name)] { runMenu(n); });
  };
  mnuDataTrans = named(new QMenu(this), "mnuDataTrans");
  entry(mnuDataTrans, "mnuDataTransTE", "TE 模式实测数据转换");
  entry(mnuDataTrans, "mnuDataTransTM", "TM 模式实测数据转换");
  entry(mnuDataTrans, "mnuDataTransUN", "联合模式实测数据合成");
  mnuDataGraph = named(new QMenu(this), "mnuDataGraph");
  QMenu* ori = named(mnuDataGraph->addMenu(QString::fromUtf8("原始数据成图文件")), "mnuOriGraph");
  entry(ori, "mnuOriResSection", "视电阻率拟断面图");
  entry(ori, "mnuOriPhaSection", "相位拟断面图");
  QMenu* inv = named(mnuDataGraph->addMenu(QString::fromUtf8("反演数据成图文件")), "mnuInvGraph");
  entry(inv, "mnuInverseTimes", "反演输出文件选择");
  entry(inv, "mnuInvResProfile", "反演电阻率剖面图");
  entry(inv, "mnuInvResSection", "视电阻率拟断面图");
  entry(inv, "mnuInvPhaSection", "相位拟断面图");

  connect(Cmd_OK, &QPushButton::clicked, this, &frmWT2DMTInversion::Cmd_OK_Click);
  connect(Cmd_Cancel, &QPushButton::clicked, this, &QDialog::close);
  connect(Cmd_DataTrans, &QPushButton::clicked, this, [this] {
    mnuDataTrans->popup(Cmd_DataTrans->mapToGlobal(QPoint(0, Cmd_DataTrans->height())));
  });
  connect(Cmd_DataGraph, &QPushButton::clicked, this, [this] {
    mnuDataGraph->popup(Cmd_DataGraph->mapToGlobal(QPoint(0, Cmd_DataGraph->height())));
  });

  auto* right = new QVBoxLayout;
  right->addWidget(modes);
  right->addWidget(units);
  right->addStretch(1);
  auto* middle = new QHBoxLayout;
  middle->addWidget(counts, 1);
  middle->addLayout(right);
  auto* row = new QHBoxLayout;
  row->addWidget(Cmd_OK);
  row->addWidget(Cmd_DataTrans);
  row->addWidget(Cmd_DataGraph);
  row->addStretch(1);
  row->addWidget(Cmd_Cancel);
  auto* all = new QVBoxLayout(this);
  all->addWidget(files);
  all->addLayout(middle);
  all->addWidget(prbInverse);
  all->addLayout(row);
  resize(620, 460);
}

QLineEdit* frmWT2DMTInversion::fileBox(int which) const {
  QLineEdit* const boxes[4] = {Text_BasedInfoFile, Text_GridsInfoFile, Text_ModelInfoFile,
                               Text_PointInfoFile};
  return boxes[std::clamp(which, 0, 3)];
}

void frmWT2DMTInversion::chooseInputFile(int which) {
  const Mt2dInputKind& k = mt2dInputKind(which);
  const std::string name = pick2Dmt(this, 100, QString("*") + k.suffix, {}, k.title);
  if (name.empty()) {
    say(this, k.emptyMessage);
    return;
  }
  const std::string path = gWorkPath + kDir + name;
  QLineEdit* box = fileBox(which);
  if (mtFirstLine(path) != k.tag) {
    say(this, k.wrongMessage);
    box->clear();
    return;
  }
  box->setText(qs(path));
  if (which == 0) fillFromBasic(path);
  if (which == 3) {
    std::string text;
    filetext::readWholeFile(path, text);
    const std::vector<std::string> lines = filetext::splitLines(text);
    const auto mode = lines.size() > 1 ? modeFromLine(lines[1]) : std::nullopt;
    if (mode == MtMode::TE) Option_TE->setChecked(true);
    if (mode == MtMode::TM) Option_TM->setChecked(true);
    if (mode == MtMode::Joint) Option_UN->setChecked(true);
  }
}

void frmWT2DMTInversion::fillFromBasic(const std::string& path) {
  const auto b = readMt2dBasic(path);
  if (!b) {
    say(this, b.message, Icon::Warning);
    Text_BasedInfoFile->clear();
    return;
  }
  Option_TE->setChecked(b.value->mode == MtMode::TE);
  Option_TM->setChecked(b.value->mode == MtMode::TM);
  Option_UN->setChecked(b.value->mode == MtMode::Joint);
  Text_nSite->setText(QString::number(b.value->sites));
  Text_nFreq->setText(QString::number(b.value->frequencies));
  Text_uGrid->setText(QString::number(b.value->airNodes));
  Text_hGrid->setText(QString::number(b.value->horizontalNodes));
  Text_dGrid->setText(QString::number(b.value->earthNodes));
}

void frmWT2DMTInversion::Cmd_OK_Click() {
  std::string files[4];
  for (int i = 0; i < 4; ++i) {
    files[i] = ss(fileBox(i)->text().trimmed());
    if (files[i].empty()) {
      say(this, mt2dInputKind(i).emptyMessage);
      return;
    }
  }
  QLineEdit* const countBoxes[5] = {Text_nSite, Text_nFreq, Text_uGrid, Text_hGrid, Text_dGrid};
  const char* countLabels[5] = {"测点数目", "频点数目", "空中垂直网格节点数目", "水平网格节点数目",
                                "地下垂直网格节点数目"};
  int counts[5];
  for (int i = 0; i < 5; ++i) {
    bool ok = false;
    counts[i] = countBoxes[i]->text().trimmed().toInt(&ok);
    if (!ok || counts[i] < (i == 2 ? 0 : 1)) {
      say(this, std::string("请您输入") + countLabels[i] + "！");
      return;
    }
  }
  // The basic file carries what the form shows: a mode or count changed on the form is written
  // into it before the run, the inversion's controls kept.
  auto basic = readMt2dBasic(files[0]);
  if (!basic) {
    say(this, basic.message, Icon::Warning);
    return;
  }
  Mt2dBasic b = *basic.value;
  const MtMode mode = Option_TE->isChecked()   ? MtMode::TE
                      : Option_TM->isChecked() ? MtMode::TM
                                               : MtMode::Joint;
  if (b.mode != mode || b.sites != counts[0] || b.frequencies != counts[1] ||
      b.airNodes != counts[2] || b.horizontalNodes != counts[3] || b.earthNodes != counts[4]) {
    b.mode = mode;
    b.sites = counts[0];
    b.frequencies = counts[1];
    b.airNodes = counts[2];
    b.horizontalNodes = counts[3];
    b.earthNodes = counts[4];
    if (!writeMt2dBasic(files[0], b)) {
      say(this, "基本信息数据文件无法写入: " + files[0], Icon::Warning);
      return;
    }
  }

  for (QPushButton* w : {Cmd_OK, Cmd_Cancel, Cmd_DataTrans, Cmd_DataGraph}) w->setEnabled(false);
  QApplication::setOverrideCursor(Qt::WaitCursor);
  const std::string run = gTempPath + "mt2d";
  BarProgress progress(prbInverse);
  const closed::Mt2dCallResult r =
      closed::mt2dInverse(files[0], files[1], files[2], files[3], run, progress);
  const int n = collectMt2dOutputs(run, gWorkPath + kDir);
  QApplication::restoreOverrideCursor();
  for (QPushButton* w : {Cmd_OK, Cmd_Cancel, Cmd_DataTrans, Cmd_DataGraph}) w->setEnabled(true);
  inversePass_ = 0;
  if (!r.ok) {
    say(this, r.message, Icon::Warning);
    return;
  }
  say(this, "大地电磁二维反演计算结束，共迭代 " + std::to_string(n) + " 次: " + r.message);
}

std::string frmWT2DMTInversion::saveName(const std::string& title) {
  return pick2Dmt(this, 200, "*.xyz", ".xyz", title);
}

void frmWT2DMTInversion::originalSections(bool phase) {
  const std::string name = pick2Dmt(this, 100, "*.te;*.tm;*.tetm", {}, kFieldTitle);
  if (name.empty()) return;
  const auto f = readMt2dField(gWorkPath + kDir + name);
  if (!f) {
    say(this, f.message, Icon::Warning);
    return;
  }
  const LengthUnit unit = Option_Kilometre->isChecked() ? LengthUnit::Kilometre : LengthUnit::Metre;
  std::vector<double> pos;
  for (const MtSite& s : f.value->data.sites) pos.push_back(s.position);
  for (Polarisation pol : {Polarisation::TE, Polarisation::TM}) {
    const bool te = pol == Polarisation::TE;
    if (te ? !hasTE(f.value->data.mode) : !hasTM(f.value->data.mode)) continue;
    const std::string title =
        std::string("请输入您要保存的") + (te ? "TE" : "TM") +
        (phase ? "反演模式相位拟断面数据文件名" : "反演模式视电阻率拟断面数据文件名");
    const std::string out = saveName(title);
    if (out.empty()) return;
    if (!writePseudoSection(gWorkPath + kDir + out, pos, f.value->data.frequencies,
                            te ? f.value->data.te : f.value->data.tm, phase, unit,
                            sectionTitle(pol, phase, false))) {
      say(this, "文件无法写入: " + out, Icon::Warning);
      return;
    }
  }
}

std::string frmWT2DMTInversion::resultFile() {
  const int pass =
      inversePass_ > 0 ? inversePass_ : countIterationLines(gWorkPath + kDir + kIterationLog);
  if (pass <= 0) {
    say(this, kMsgNoIterations);
    return {};
  }
  const std::string name =
      pick2Dmt(this, 100, frmSel2DmtFiles::passMask(pass, pass < 10), {}, k2DmtOpenTitle);
  return name.empty() ? std::string() : gWorkPath + kDir + name;
}

void frmWT2DMTInversion::resultSections(int kind) {
  const std::string file = resultFile();
  if (file.empty()) return;
  const auto r = readMt2dResult(file);
  if (!r) {
    say(this, r.message, Icon::Warning);
    return;
  }
  const LengthUnit unit = Option_Kilometre->isChecked() ? LengthUnit::Kilometre : LengthUnit::Metre;
  if (kind == 0) {
    const std::string out = saveName("请输入您要保存的反演后的电阻率剖面数据文件名");
    if (!out.empty() && !writeModelProfile(gWorkPath + kDir + out, *r.value, unit,
                                           profileTitle(r.value->iteration)))
      say(this, "文件无法写入: " + out, Icon::Warning);
    return;
  }
  const bool phase = kind == 2;
  const bool joint = r.value->mode == MtMode::Joint;
  for (Polarisation pol : {Polarisation::TE, Polarisation::TM}) {
    const bool te = pol == Polarisation::TE;
    if (te ? !hasTE(r.value->mode) : !hasTM(r.value->mode)) continue;
    const std::string what = phase ? "相位拟断面数据文件名" : "视电阻率拟断面数据文件名";
    const std::string title =
        std::string("请输入您要保存的反演后的") + (joint ? (te ? "TE模式" : "TM模式") : "") + what;
    const std::string out = saveName(title);
    if (out.empty()) return;
    if (!writePseudoSection(gWorkPath + kDir + out, r.value->sitePositions, r.value->frequencies,
                            te ? r.value->response.te : r.value->response.tm, phase, unit,
                            sectionTitle(pol, phase, true))) {
      say(this, "文件无法写入: " + out, Icon::Warning);
      return;
    }
  }
}

void frmWT2DMTInversion::openDataInput(int mode) {
  QWidget* w = createToolWindow("frmWT2DMTDataInput", this, mode);
  if (!w) return;
  w->setWindowFlag(Qt::Window);
  w->setAttribute(Qt::WA_DeleteOnClose);
  w->show();
}

void frmWT2DMTInversion::runMenu(const std::string& name) {
  if (name == "mnuOriResSection")
    originalSections(false);
  else if (name == "mnuOriPhaSection")
    originalSections(true);
  else if (name == "mnuInvResProfile")
    resultSections(0);
  else if (name == "mnuInvResSection")
    resultSections(1);
  else if (name == "mnuInvPhaSection")
    resultSections(2);
  else if (name == "mnuDataTransTE")
    openDataInput(1);
  else if (name == "mnuDataTransTM")
    openDataInput(2);
  else if (name == "mnuDataTransUN")
    openDataInput(3);
  else if (name == "mnuInverseTimes") {
    frmWT2DMTInveTimes dlg(this);
    if (dlg.load() && dlg.exec() == QDialog::Accepted && dlg.chosen > 0) inversePass_ = dlg.chosen;
  }
}

// --- frmWT2DMTInveTimes ------------------------------------------------------------------------

frmWT2DMTInveTimes::frmWT2DMTInveTimes(QWidget* parent) : QDialog(parent) {
  setObjectName("frmWT2DMTInveTimes");
  setWindowTitle(QString::fromUtf8("反演输出文件选择"));
  lstTimes = named(new QListWidget(this), "lstTimes");
  Cmd_OK = named(new QPushButton(QString::fromUtf8("确定"), this), "Cmd_OK");
  Cmd_Cancel = named(new QPushButton(QString::fromUtf8("取消"), this), "Cmd_Cancel");
  Cmd_OK->setAutoDefault(false);
  Cmd_Cancel->setAutoDefault(false);
  connect(Cmd_OK, &QPushButton::clicked, this, [this] {
    if (!lstTimes->currentItem()) {
      say(this, "请选择反演输出文件。");
      return;
    }
    chosen = lstTimes->currentRow() + 1;
    accept();
  });
  connect(Cmd_Cancel, &QPushButton::clicked, this, &QDialog::reject);
  connect(lstTimes, &QListWidget::itemDoubleClicked, Cmd_OK, &QPushButton::click);
  auto* row = new QHBoxLayout;
  row->addStretch(1);
  row->addWidget(Cmd_OK);
  row->addWidget(Cmd_Cancel);
  auto* all = new QVBoxLayout(this);
  all->addWidget(lstTimes);
  all->addLayout(row);
  resize(280, 320);
}

bool frmWT2DMTInveTimes::load() {
  const int n = countIterationLines(gWorkPath + kDir + kIterationLog);
  if (n <= 0) {
    say(this, kMsgNoIterations);
    return false;
  }
  for (int i = 1; i <= n; ++i) lstTimes->addItem(qs(mt2dResultName(i)));
  lstTimes->setCurrentRow(n - 1);
  return true;
}

namespace {
const ToolWindowRegistrar registerInversion{
    "frmWT2DMTInversion",
    [](QWidget* parent, int) -> QWidget* { return new frmWT2DMTInversion(parent); }};
}  // namespace

}  // namespace sarnoth::gui
