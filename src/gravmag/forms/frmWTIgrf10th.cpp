#include "gravmag/forms/frmWTIgrf10th.h"

#include <QApplication>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include "app/frmSelectFiles.h"
#include "app/messages.h"
#include "app/picker_common.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "gravmag/geomag_elements.h"
#include "workarea/session.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
namespace {

QLineEdit* box(QWidget* parent, const char* name, const char* tip = nullptr) {
  auto* b = named(new QLineEdit(parent), name);
  if (tip) b->setToolTip(QString::fromUtf8(tip));
  return b;
}

constexpr const char* kNotes =
    "1、本程序利用了最新的国际地磁参考场模式 IGRF 10th；\n"
    "2、应用本程序可以计算地球上任意一点的地磁要素值，时间跨度为1900年到2010年；\n"
    "3、时间在1945年到2000年范围内的计算结果是确定值，其他时间的计算结果是参考值。";
constexpr const char* kSameDate = "(统一时间)";

// The file picker over Prof_Dat\: gPickedFile holds the name, or "" when cancelled.
std::string pickFile(QWidget* parent, int mode, const char* title) {
  frmSelectFiles picker(parent);
  picker.mode = mode;
  picker.fileMask = "*.dat";
  picker.fileExt = ".dat";
  picker.setWindowTitle(u8(title));
  picker.run();
  return gPickedFile;
}

}  // namespace

frmWTIgrf10th::frmWTIgrf10th(QWidget* parent) : QDialog(parent) {
  setObjectName("frmWTIgrf10th");
  setWindowTitle(u8(gravmag::kGeomagCaption));
  Text_Date = box(this, "Text_Date", "取值范围1900.0到2015.0之间");
  Text_Date->setText("2000.00");
  Text_Heigh = box(this, "Text_Heigh");
  Text_Heigh->setText("0");
  Text_LongDegree = box(this, "Text_LongDegree", "取值范围-180到180之间");
  Text_LongMinute = box(this, "Text_LongMinute", "取值范围0到60之间");
  Text_LatiDegree = box(this, "Text_LatiDegree", "取值范围0到90之间");
  Text_LatiMinute = box(this, "Text_LatiMinute", "取值范围0到60之间");
  Text_InclinationDegree = box(this, "Text_InclinationDegree");
  Text_InclinationMinute = box(this, "Text_InclinationMinute");
  Text_DeclinationDegree = box(this, "Text_DeclinationDegree");
  Text_DeclinationMinute = box(this, "Text_DeclinationMinute");
  Text_TotalIntensity = box(this, "Text_TotalIntensity");
  Text_NorthComponent = box(this, "Text_NorthComponent");
  Text_EastComponent = box(this, "Text_EastComponent");
  Text_VerticalComponent = box(this, "Text_VerticalComponent");
  Text_HorizontalIntensity = box(this, "Text_HorizontalIntensity");
  Option_SinglePoint = named(new QRadioButton(u8("单点计算"), this), "Option_SinglePoint");
  Option_MultiPoint = named(new QRadioButton(u8("多点计算"), this), "Option_MultiPoint");
  Option_Reduce = named(new QRadioButton(u8("总场正常场改正"), this), "Option_Reduce");
  Option_SinglePoint->setChecked(true);
  cboModel = named(new QComboBox(this), "cboModel");
  cboModel->addItem(qs(gravmag::igrfGenerationName(gravmag::IgrfGeneration::Tenth)));
  cboModel->addItem(qs(gravmag::igrfGenerationName(gravmag::IgrfGeneration::Fourteenth)));
  cboModel->setCurrentIndex(0);
  Text_FileSave = box(this, "Text_FileSave");
  Cmd_FileSave = named(new QPushButton(u8("地磁要素计算结果文件"), this), "Cmd_FileSave");
  Cmd_OK = named(new QPushButton(u8("确定"), this), "Cmd_OK");
  Cmd_Exit = named(new QPushButton(u8("退出"), this), "Cmd_Exit");
  for (QPushButton* b : {Cmd_FileSave, Cmd_OK, Cmd_Exit}) b->setAutoDefault(false);
  lblNotes = named(new QLabel(u8(kNotes), this), "lblNotes");
  lblNotes->setWordWrap(true);

  auto* input = new QGroupBox(u8("参数输入"), this);
  auto* il = new QGridLayout(input);
  auto row = [](QGridLayout* l, int r, const char* label, QWidget* a, QWidget* b,
                const char* unit) {
    l->addWidget(new QLabel(QString::fromUtf8(label)), r, 0);
    l->addWidget(a, r, 1);
    if (b) l->addWidget(b, r, 2);
    if (unit) l->addWidget(new QLabel(QString::fromUtf8(unit)), r, 3);
  };
  row(il, 0, "计算时间", Text_Date, nullptr, "(年)");
  row(il, 1, "地形高程", Text_Heigh, nullptr, "(米)");
  row(il, 2, "测区经度", Text_LongDegree, Text_LongMinute, "(度 分)");
  row(il, 3, "测区纬度", Text_LatiDegree, Text_LatiMinute, "(度 分)");
  row(il, 4, "地磁参考场模式", cboModel, nullptr, nullptr);
  auto* result = new QGroupBox(u8("地磁要素"), this);
  auto* rl = new QGridLayout(result);
  row(rl, 0, "地磁倾角I", Text_InclinationDegree, Text_InclinationMinute, "(度 分)");
  row(rl, 1, "地磁偏角D", Text_DeclinationDegree, Text_DeclinationMinute, "(度 分)");
  row(rl, 2, "地磁总场T", Text_TotalIntensity, nullptr, "(nT)");
  row(rl, 3, "北向分量X", Text_NorthComponent, nullptr, "(nT)");
  row(rl, 4, "东向分量Y", Text_EastComponent, nullptr, "(nT)");
  row(rl, 5, "垂直分量Z", Text_VerticalComponent, nullptr, "(nT)");
  row(rl, 6, "水平分量H", Text_HorizontalIntensity, nullptr, "(nT)");

  fraReduce = named(new QGroupBox(u8("总场正常场改正 ΔT = T - F"), this), "fraReduce");
  optReduceTable = named(new QRadioButton(u8("数据表"), fraReduce), "optReduceTable");
  optReduceGrid = named(new QRadioButton(u8("网格(经纬度)"), fraReduce), "optReduceGrid");
  optReduceTable->setChecked(true);
  cboTable = named(new QComboBox(fraReduce), "cboTable");
  cboLon = named(new QComboBox(fraReduce), "cboLon");
  cboLat = named(new QComboBox(fraReduce), "cboLat");
  cboT = named(new QComboBox(fraReduce), "cboT");
  cboDate = named(new QComboBox(fraReduce), "cboDate");
  cboGrid = named(new QComboBox(fraReduce), "cboGrid");
  txtNewName = named(new QLineEdit(fraReduce), "txtNewName");
  auto* fl = new QGridLayout(fraReduce);
  fl->addWidget(optReduceTable, 0, 0);
  fl->addWidget(cboTable, 0, 1);
  fl->addWidget(optReduceGrid, 0, 2);
  fl->addWidget(cboGrid, 0, 3);
  fl->addWidget(new QLabel(u8("经度(度)"), fraReduce), 1, 0);
  fl->addWidget(cboLon, 1, 1);
  fl->addWidget(new QLabel(u8("纬度(度)"), fraReduce), 1, 2);
  fl->addWidget(cboLat, 1, 3);
  fl->addWidget(new QLabel(u8("总场T(nT)"), fraReduce), 2, 0);
  fl->addWidget(cboT, 2, 1);
  fl->addWidget(new QLabel(u8("时间"), fraReduce), 2, 2);
  fl->addWidget(cboDate, 2, 3);
  fl->addWidget(new QLabel(u8("新数据表名或网格文件名"), fraReduce), 3, 0, 1, 2);
  fl->addWidget(txtNewName, 3, 2, 1, 2);

  auto* modes = new QHBoxLayout;
  for (QRadioButton* b : {Option_SinglePoint, Option_MultiPoint, Option_Reduce})
    modes->addWidget(b);
  modes->addStretch(1);
  auto* file = new QHBoxLayout;
  file->addWidget(Cmd_FileSave);
  file->addWidget(Text_FileSave, 1);
  auto* frames = new QHBoxLayout;
  frames->addWidget(input);
  frames->addWidget(result);
  auto* buttons = new QHBoxLayout;
  buttons->addStretch(1);
  buttons->addWidget(Cmd_OK);
  buttons->addWidget(Cmd_Exit);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(lblNotes);
  layout->addLayout(frames);
  layout->addLayout(modes);
  layout->addWidget(fraReduce);
  layout->addLayout(file);
  layout->addLayout(buttons);
  fraReduce->setEnabled(false);
  resize(760, 560);

  connect(Option_SinglePoint, &QRadioButton::clicked, this, [this] { modeChosen(); });
  connect(Option_MultiPoint, &QRadioButton::clicked, this, [this] { modeChosen(); });
  connect(Option_Reduce, &QRadioButton::clicked, this, [this] { modeChosen(); });
  connect(cboTable, &QComboBox::currentIndexChanged, this, [this] { tableChosen(); });
  connect(Cmd_FileSave, &QPushButton::clicked, this, &frmWTIgrf10th::Cmd_FileSave_Click);
  connect(Cmd_OK, &QPushButton::clicked, this, &frmWTIgrf10th::Cmd_OK_Click);
  connect(Cmd_Exit, &QPushButton::clicked, this, &QDialog::reject);
}

bool frmWTIgrf10th::load() {
  try {
    db_ = openWorkDatabase(gWorkPath);
    std::vector<std::string> tables;
    listRegisteredTables(db_, tables);
    QSignalBlocker block(cboTable);
    for (const auto& t : tables) cboTable->addItem(qs(t));
    cboTable->setCurrentIndex(-1);
  } catch (const StoreError&) {
    // Without a store the two point modes still work.
  }
  if (auto grids = listFiles(gWorkPath + "Grid_Dat\\", QStringLiteral("*.grd")))
    for (const QString& g : *grids) cboGrid->addItem(g);
  cboGrid->setCurrentIndex(-1);
  return true;
}

void frmWTIgrf10th::done(int r) {
  db_.close();
  QDialog::done(r);
}

gravmag::IgrfGeneration frmWTIgrf10th::generation() const {
  return cboModel->currentIndex() == 1 ? gravmag::IgrfGeneration::Fourteenth
                                       : gravmag::IgrfGeneration::Tenth;
}

std::vector<QLineEdit*> frmWTIgrf10th::inputBoxes() const {
  return {Text_Date,       Text_Heigh,      Text_LongDegree,
          Text_LongMinute, Text_LatiDegree, Text_LatiMinute};
}

std::vector<QLineEdit*> frmWTIgrf10th::resultBoxes() const {
  return {Text_InclinationDegree, Text_InclinationMinute, Text_DeclinationDegree,
          Text_DeclinationMinute, Text_TotalIntensity,    Text_NorthComponent,
          Text_EastComponent,     Text_VerticalComponent, Text_HorizontalIntensity};
}

void frmWTIgrf10th::modeChosen() {
  const bool multi = Option_MultiPoint->isChecked(), reduce = Option_Reduce->isChecked();
  for (QLineEdit* b : resultBoxes()) {
    if (multi) b->clear();
    b->setEnabled(!multi && !reduce);
  }
  for (QLineEdit* b : inputBoxes()) {
    if (multi) b->clear();
    b->setEnabled(!multi);
  }
  // The reduction takes its date and height from the input frame, its position from the data.
  if (reduce)
    for (QLineEdit* b : {Text_LongDegree, Text_LongMinute, Text_LatiDegree, Text_LatiMinute})
      b->setEnabled(false);
  fraReduce->setEnabled(reduce);
  Cmd_FileSave->setEnabled(!reduce);
  Text_FileSave->setEnabled(!reduce);
  if (multi) inputFile_ = pickFile(this, 100, gravmag::kGeomagOpenTitle);
}

void frmWTIgrf10th::tableChosen() {
  for (QComboBox* c : {cboLon, cboLat, cboT, cboDate}) c->clear();
  cboDate->addItem(u8(kSameDate));
  if (cboTable->currentIndex() < 0) return;
  const std::string table = ss(cboTable->currentText());
  try {
    for (const FieldDef& f : db_.fields(table)) {
      if (!f.isNumeric()) continue;
      for (QComboBox* c : {cboLon, cboLat, cboT, cboDate}) c->addItem(qs(f.name));
    }
  } catch (const StoreError& e) {
    notify(this, e.what());
  }
  for (QComboBox* c : {cboLon, cboLat, cboT}) c->setCurrentIndex(-1);
  cboDate->setCurrentIndex(0);
  txtNewName->setText(qs(table + "_DT"));
}

void frmWTIgrf10th::Cmd_FileSave_Click() {
  const std::string name = pickFile(this, 200, gravmag::kGeomagSaveTitle);
  if (!name.empty()) Text_FileSave->setText(qs(name));
}

void frmWTIgrf10th::Cmd_OK_Click() {
  if (Option_Reduce->isChecked()) {
    runReduce();
    return;
  }
  const std::string name = ss(Text_FileSave->text().trimmed());
  if (name.empty()) {
    notify(this, gravmag::kMsgGeomagNoResultFile);
    return;
  }
  const std::string resultPath = gWorkPath + "Prof_Dat\\" + name;
  if (Option_MultiPoint->isChecked())
    runMulti(resultPath);
  else
    runSingle(resultPath);
}

void frmWTIgrf10th::runSingle(const std::string& resultPath) {
  gravmag::GeomagSingleInput in;
  in.date = ss(Text_Date->text());
  in.height = ss(Text_Heigh->text());
  in.lonDeg = ss(Text_LongDegree->text());
  in.lonMin = ss(Text_LongMinute->text());
  in.latDeg = ss(Text_LatiDegree->text());
  in.latMin = ss(Text_LatiMinute->text());
  gravmag::GeomagPoint point;
  const Outcome o = gravmag::geomagSinglePoint(in, generation(), point);
  if (!o.ok) {
    notify(this, o.message);
    return;
  }
  const auto texts = gravmag::geomagResultTexts(point.r);
  const auto boxes = resultBoxes();
  for (std::size_t i = 0; i < boxes.size(); ++i) boxes[i]->setText(qs(texts[i]));
  if (!gravmag::writeGeomagResultFile(resultPath, {point}))
    notify(this, std::string(gravmag::kMsgGeomagFailed));
}

void frmWTIgrf10th::runMulti(const std::string& resultPath) {
  std::vector<gravmag::GeomagPoint> points;
  QApplication::setOverrideCursor(Qt::WaitCursor);
  const Outcome o = gravmag::geomagMultiPoint(
      inputFile_.empty() ? std::string() : gWorkPath + "Prof_Dat\\" + inputFile_, generation(),
      points);
  QApplication::restoreOverrideCursor();
  if (!o.ok) {
    notify(this, o.message.empty() ? std::string(gravmag::kMsgGeomagFailed) : o.message);
    return;
  }
  if (!gravmag::writeGeomagResultFile(resultPath, points)) {
    notify(this, gravmag::kMsgGeomagFailed);
    return;
  }
  notify(this, o.message);
}

void frmWTIgrf10th::runReduce() {
  const double date = gravmag::geomagBoxValue(ss(Text_Date->text()));
  const double height = gravmag::geomagBoxValue(ss(Text_Heigh->text()));
  const std::string name = ss(txtNewName->text().trimmed());
  QApplication::setOverrideCursor(Qt::WaitCursor);
  Outcome o;
  if (optReduceGrid->isChecked()) {
    if (cboGrid->currentIndex() < 0 || name.empty()) {
      QApplication::restoreOverrideCursor();
      notify(this, "请选择网格文件并给定新网格文件名。");
      return;
    }
    gravmag::IgrfGridReductionJob job;
    job.input = gWorkPath + "Grid_Dat\\" + ss(cboGrid->currentText());
    job.output =
        gWorkPath + "Grid_Dat\\" +
        (QString::fromStdString(name).endsWith(".grd", Qt::CaseInsensitive) ? name : name + ".grd");
    job.date = date;
    job.heightM = height;
    job.generation = generation();
    o = gravmag::reduceGridByIgrf(job);
  } else {
    gravmag::IgrfReductionJob job;
    if (cboTable->currentIndex() >= 0) job.table = ss(cboTable->currentText());
    if (cboLon->currentIndex() >= 0) job.lonField = ss(cboLon->currentText());
    if (cboLat->currentIndex() >= 0) job.latField = ss(cboLat->currentText());
    if (cboT->currentIndex() >= 0) job.valueField = ss(cboT->currentText());
    if (cboDate->currentIndex() > 0) job.dateField = ss(cboDate->currentText());
    job.date = date;
    job.heightM = height;
    job.newTable = name;
    job.generation = generation();
    GuiInteraction ui(this);
    gravmag::IgrfReductionReport report;
    o = gravmag::reduceTableByIgrf(db_, job, ui, report);
    if (o.ok) {
      QSignalBlocker block(cboTable);
      if (cboTable->findText(qs(name)) < 0) cboTable->addItem(qs(name));
    }
  }
  QApplication::restoreOverrideCursor();
  if (!o.message.empty()) notify(this, o.message);
}

static ToolWindowRegistrar reg{"frmWTIgrf10th", loadingWindow<frmWTIgrf10th>()};

}  // namespace sarnoth::gui
