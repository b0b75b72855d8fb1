#include "geochem/forms/FrmBP.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QElapsedTimer>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPainter>
#include <QPushButton>
#include <QScrollBar>
#include <QTableWidget>
#include <QVBoxLayout>
#include <algorithm>

#include "app/chart_view.h"
#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "geochem/forms/geochem_form_support.h"
#include "geochem/report_format.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
namespace {

// A grid of values, rows × cols, with its scroll bars under their system names.
QTableWidget* weightGrid(QWidget* parent, const char* name, int scroll) {
  auto* t = named(new QTableWidget(parent), name);
  t->horizontalScrollBar()->setObjectName(QString("HScroll%1").arg(scroll));
  t->verticalScrollBar()->setObjectName(QString("VScroll%1").arg(scroll));
  t->horizontalHeader()->setDefaultSectionSize(86);
  t->verticalHeader()->setDefaultSectionSize(20);
  t->setEditTriggers(QAbstractItemView::NoEditTriggers);
  return t;
}

void fillGrid(QTableWidget* t, const std::vector<double>& v, int rows, int cols) {
  t->clear();
  t->setRowCount(rows);
  t->setColumnCount(cols);
  for (int r = 0; r < rows; ++r)
    for (int c = 0; c < cols; ++c)
      t->setItem(r, c,
                 new QTableWidgetItem(qs(geochem::singleText(static_cast<float>(
                     v[static_cast<std::size_t>(r) * static_cast<std::size_t>(cols) +
                       static_cast<std::size_t>(c)])))));
}

}  // namespace

// ---- the network scheme ------------------------------------------------------------------------

NetworkScheme::NetworkScheme(QWidget* parent) : QWidget(parent) { setMinimumSize(220, 160); }

void NetworkScheme::setSizes(int ii, int jj, int kk) {
  ii_ = ii;
  jj_ = jj;
  kk_ = kk;
  update();
}

void NetworkScheme::paintEvent(QPaintEvent*) {
  QPainter p(this);
  p.setRenderHint(QPainter::Antialiasing);
  p.fillRect(rect(), Qt::white);
  const int counts[3] = {std::max(ii_, 1), std::max(jj_, 1), std::max(kk_, 1)};
  const QString names[3] = {u8("输入层"), u8("中间层"), u8("输出层")};
  const double top = 22, bottom = height() - 8.0;
  std::vector<QPointF> nodes[3];
  for (int l = 0; l < 3; ++l) {
    // At most 20 nodes drawn per layer; more read as "…".
    const int shown = std::min(counts[l], 20);
    const double x = width() * (0.15 + 0.35 * l);
    for (int k = 0; k < shown; ++k)
      nodes[l].emplace_back(x, top + (bottom - top) * (k + 0.5) / shown);
    p.drawText(QRectF(x - 50, 2, 100, 16), Qt::AlignCenter,
               names[l] + QString(" %1").arg(counts[l]));
  }
  p.setPen(QPen(QColor(150, 150, 150), 0.5));
  for (int l = 0; l < 2; ++l)
    for (const QPointF& a : nodes[l])
      for (const QPointF& b : nodes[l + 1]) p.drawLine(a, b);
  p.setPen(Qt::black);
  p.setBrush(QColor(120, 160, 230));
  for (const auto& layer : nodes)
    for (const QPointF& n : layer) p.drawEllipse(n, 4, 4);
}

// ---- the tool window ---------------------------------------------------------------------------

FrmBP::FrmBP(QWidget* parent) : QDialog(parent) {
  setObjectName("FrmBP");
  setWindowTitle(u8(geochem::kBpCaption));
  cboMTbl = named(new QComboBox(this), "cboMTbl");
  lstMItems = named(new QListWidget(this), "lstMItems");
  lstMItems->setSelectionMode(QAbstractItemView::MultiSelection);
  cboPItem = named(new QComboBox(this), "cboPItem");
  cboPTbl = named(new QComboBox(this), "cboPTbl");
  chkSel = named(new QCheckBox(u8("全选"), this), "chkSel");
  chkFile = named(new QCheckBox(u8("输出参数文件"), this), "chkFile");
  txtPar = named(new QLineEdit(this), "txtPar");
  txtPar->setEnabled(false);
  chkErr = named(new QCheckBox(u8("预测限差"), this), "chkErr");
  txtLim = named(new QLineEdit(u8("0.2"), this), "txtLim");
  txtJJ = named(new QLineEdit(u8("15"), this), "txtJJ");
  txtKK = named(new QLineEdit(u8("1"), this), "txtKK");
  txtMNum = named(new QLineEdit(this), "txtMNum");
  txtMNum->setReadOnly(true);
  txtPNum = named(new QLineEdit(this), "txtPNum");
  txtPNum->setReadOnly(true);
  txtLN = named(new QLineEdit(u8("1000"), this), "txtLN");
  txtL1 = named(new QLineEdit(u8("0.9"), this), "txtL1");
  txtL2 = named(new QLineEdit(u8("0.1"), this), "txtL2");
  btnIni = named(new QPushButton(u8("获取初始权重与阈值(&I)"), this), "btnIni");
  Command1 = named(new QPushButton(u8("网络预测计算(&C)"), this), "Command1");
  Command2 = named(new QPushButton(u8("退出(&X)"), this), "Command2");
  btnStop = named(new QPushButton(u8("停止(&S)"), this), "btnStop");
  btnStop->setEnabled(false);
  btnView = named(new QPushButton(u8("数据浏览(&V)"), this), "btnView");
  for (QPushButton* b : {btnIni, Command1, Command2, btnStop, btnView}) b->setAutoDefault(false);
  lblNote = named(new QLabel(this), "lblNote");
  lblErr = named(new QLabel(this), "lblErr");
  Picture16 = named(new NetworkScheme(this), "Picture16");
  auto* curveFrame = new QGroupBox(u8("误差曲线"), this);
  Picture15 = named(new ChartView(curveFrame), "Picture15");
  Picture15->setMinimumSize(320, 200);
  auto* weightFrame = new QGroupBox(u8("初始权重与阈值"), this);
  grdV = weightGrid(weightFrame, "grdV", 4);
  grdW = weightGrid(weightFrame, "grdW", 5);
  grdR = weightGrid(weightFrame, "grdR", 6);
  grdQ = weightGrid(weightFrame, "grdQ", 7);

  auto* data = new QGridLayout;
  data->addWidget(new QLabel(u8("学习模式数据表"), this), 0, 0);
  data->addWidget(cboMTbl, 0, 1);
  data->addWidget(new QLabel(u8("输入层数据项"), this), 1, 0);
  data->addWidget(lstMItems, 1, 1);
  data->addWidget(chkSel, 2, 1);
  data->addWidget(new QLabel(u8("输出数据项"), this), 3, 0);
  data->addWidget(cboPItem, 3, 1);
  data->addWidget(new QLabel(u8("预测数据表"), this), 4, 0);
  data->addWidget(cboPTbl, 4, 1);
  auto* par = new QGridLayout;
  const std::pair<const char*, QLineEdit*> boxes[] = {
      {"中间层节点数 JJ", txtJJ}, {"输出层节点数 KK", txtKK}, {"学习模式数 NN", txtMNum},
      {"预测模式数 NY", txtPNum}, {"迭代次数 N", txtLN},      {"权调节系数 L1", txtL1},
      {"阈调节系数 L2", txtL2}};
  int row = 0;
  for (const auto& [label, box] : boxes) {
    par->addWidget(new QLabel(u8(label), this), row, 0);
    par->addWidget(box, row++, 1);
  }
  par->addWidget(chkFile, row, 0);
  par->addWidget(txtPar, row++, 1);
  par->addWidget(chkErr, row, 0);
  par->addWidget(txtLim, row++, 1);
  auto* cl = new QVBoxLayout(curveFrame);
  cl->addWidget(Picture15);
  auto* wl = new QGridLayout(weightFrame);
  wl->addWidget(new QLabel(u8("中间层初始权系数Vji(JJ*II)"), weightFrame), 0, 0);
  wl->addWidget(grdV, 1, 0);
  wl->addWidget(new QLabel(u8("输出层权系数Wkj(KK*JJ)"), weightFrame), 0, 1);
  wl->addWidget(grdW, 1, 1);
  wl->addWidget(new QLabel(u8("阈值Rj(JJ)"), weightFrame), 2, 0);
  wl->addWidget(grdR, 3, 0);
  wl->addWidget(new QLabel(u8("输出层阈值Qk(KK)"), weightFrame), 2, 1);
  wl->addWidget(grdQ, 3, 1);

  auto* left = new QVBoxLayout;
  left->addLayout(data);
  left->addLayout(par);
  auto* right = new QVBoxLayout;
  auto* topRight = new QHBoxLayout;
  topRight->addWidget(Picture16, 1);
  topRight->addWidget(curveFrame, 2);
  right->addLayout(topRight, 1);
  right->addWidget(weightFrame, 1);
  auto* body = new QHBoxLayout;
  body->addLayout(left, 1);
  body->addLayout(right, 2);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(lblNote, 1);
  buttons->addWidget(lblErr, 1);
  for (QPushButton* b : {btnIni, Command1, btnStop, btnView, Command2}) buttons->addWidget(b);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(body, 1);
  layout->addLayout(buttons);
  resize(1180, 720);

  connect(cboMTbl, &QComboBox::currentIndexChanged, this, [this] { modelTableChosen(); });
  connect(cboPTbl, &QComboBox::currentIndexChanged, this, [this] { predictionTableChosen(); });
  connect(chkSel, &QCheckBox::toggled, this, [this](bool on) {
    for (int i = 0; i < lstMItems->count(); ++i) lstMItems->item(i)->setSelected(on);
  });
  connect(lstMItems, &QListWidget::itemSelectionChanged, this, [this] {
    Picture16->setSizes(static_cast<int>(lstMItems->selectedItems().size()), txtJJ->text().toInt(),
                        txtKK->text().toInt());
  });
  connect(chkFile, &QCheckBox::clicked, this, [this](bool on) {
    if (on) {
      const std::string path =
          askSaveFileName(this, geochem::kBpParTitle, geochem::kBpParFilter, "*.par");
      if (path.empty()) {
        chkFile->setChecked(false);
        return;
      }
      txtPar->setText(qs(path));
    }
    txtPar->setEnabled(chkFile->isChecked());
  });
  connect(btnIni, &QPushButton::clicked, this, &FrmBP::btnIni_Click);
  connect(Command1, &QPushButton::clicked, this, &FrmBP::Command1_Click);
  connect(Command2, &QPushButton::clicked, this, &QDialog::reject);
  connect(btnStop, &QPushButton::clicked, this, [this] { stop_ = true; });
  connect(btnView, &QPushButton::clicked, this, [this] {
    showWorkTable(
        this, ss(cboPTbl->currentIndex() >= 0 ? cboPTbl->currentText() : cboMTbl->currentText()));
  });
}

bool FrmBP::load() {
  if (!openToolDatabase(this, db_)) return false;
  std::vector<std::string> tables;
  listRegisteredTables(db_, tables);
  for (const auto& t : tables) {
    cboMTbl->addItem(qs(t));
    cboPTbl->addItem(qs(t));
  }
  cboMTbl->setCurrentIndex(-1);
  cboPTbl->setCurrentIndex(-1);
  return true;
}

void FrmBP::modelTableChosen() {
  lstMItems->clear();
  cboPItem->clear();
  txtMNum->clear();
  if (cboMTbl->currentIndex() < 0) return;
  const std::string table = ss(cboMTbl->currentText());
  try {
    for (const FieldDef& f : db_.fields(table)) {
      if (!f.isNumeric()) continue;
      lstMItems->addItem(qs(f.name));
      cboPItem->addItem(qs(f.name));
    }
    txtMNum->setText(QString::number(db_.rowCount(table)));
  } catch (const StoreError& e) {
    notify(this, e.what());
  }
  cboPItem->setCurrentIndex(-1);
}

void FrmBP::predictionTableChosen() {
  txtPNum->clear();
  if (cboPTbl->currentIndex() < 0) return;
  try {
    txtPNum->setText(QString::number(db_.rowCount(ss(cboPTbl->currentText()))));
  } catch (const StoreError& e) {
    notify(this, e.what());
  }
}

geochem::BpJob FrmBP::collectJob() const {
  geochem::BpJob job;
  if (cboMTbl->currentIndex() >= 0) job.modelTable = ss(cboMTbl->currentText());
  for (int i = 0; i < lstMItems->count(); ++i)
    if (lstMItems->item(i)->isSelected()) job.inputs.push_back(ss(lstMItems->item(i)->text()));
  if (cboPItem->currentIndex() >= 0) job.output = ss(cboPItem->currentText());
  if (cboPTbl->currentIndex() >= 0) job.predictionTable = ss(cboPTbl->currentText());
  job.hiddenText = ss(txtJJ->text());
  job.outputsText = ss(txtKK->text());
  job.roundsText = ss(txtLN->text());
  job.l1Text = ss(txtL1->text());
  job.l2Text = ss(txtL2->text());
  if (chkFile->isChecked()) job.parFile = ss(txtPar->text().trimmed());
  job.flagError = chkErr->isChecked();
  job.limitText = ss(txtLim->text());
  return job;
}

void FrmBP::showWeights() {
  fillGrid(grdV, weights_.v, weights_.jj, weights_.ii);
  fillGrid(grdW, weights_.w, weights_.kk, weights_.jj);
  fillGrid(grdR, weights_.r, weights_.jj, 1);
  fillGrid(grdQ, weights_.q, weights_.kk, 1);
  Picture16->setSizes(weights_.ii, weights_.jj, weights_.kk);
}

void FrmBP::btnIni_Click() {
  int ii = 0, jj = 0, kk = 0;
  std::string why;
  if (!geochem::bpSizes(collectJob(), ii, jj, kk, why)) {
    notify(this, why);
    return;
  }
  if (ii == 0) {
    notify(this, geochem::kMsgBpNoInputs);
    return;
  }
  weights_ = geochem::initialWeights(ii, jj, kk, seed++);
  showWeights();
}

void FrmBP::Command1_Click() {
  geochem::BpJob job = collectJob();
  int ii = 0, jj = 0, kk = 0;
  std::string why;
  if (geochem::bpSizes(job, ii, jj, kk, why) && ii > 0 && !weights_.fits(ii, jj, kk)) {
    // The boxes changed since the weights were drawn (or they never were): draw them now.
    weights_ = geochem::initialWeights(ii, jj, kk, seed++);
    showWeights();
  }
  const int rounds = std::max(1, txtLN->text().toInt());
  lblNote->setText(u8(geochem::kBpRunning));
  lblErr->clear();
  stop_ = false;
  btnStop->setEnabled(true);
  Command1->setEnabled(false);
  std::vector<double> curve;
  QElapsedTimer pumped, drawn;
  pumped.start();
  drawn.start();
  geochem::BpResult r;
  Progress progress;  // events are let through by the round hook above
  Outcome o = geochem::runBpNetwork(
      db_, job, weights_, r,
      [&](int round, double mse) {
        curve.push_back(mse);
        if (geochem::bpShowsRound(round, rounds))
          lblErr->setText(qs(geochem::bpErrorText(round, mse)));
        if (drawn.elapsed() > 250 || round == rounds) {
          Picture15->setChart(geochem::bpErrorChart(curve, rounds));
          drawn.restart();
        }
        if (pumped.elapsed() > 40) {
          QCoreApplication::processEvents();
          pumped.restart();
        }
        return !stop_;
      },
      progress);
  btnStop->setEnabled(false);
  Command1->setEnabled(true);
  if (!o.ok) {
    lblNote->setText(o.message.empty() ? u8("  预测计算已中止! ") : QString());
    if (!o.message.empty()) notify(this, o.message);
    return;
  }
  result_ = std::move(r);
  Picture15->setChart(geochem::bpErrorChart(result_.curve, rounds));
  lblNote->setText(qs(o.message));
}

static ToolWindowRegistrar reg{"FrmBP", loadingWindow<FrmBP>()};

}  // namespace sarnoth::gui
