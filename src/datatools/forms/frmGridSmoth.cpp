#include "datatools/forms/frmGridSmoth.h"

#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>
#include <climits>
#include <filesystem>
#include <optional>

#include "app/messages.h"
#include "app/picker_common.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "datatools/grid_smooth.h"
#include "workarea/file_text.h"
#include "workarea/grid_file.h"
#include "workarea/path_resolver.h"
#include "workarea/session.h"

namespace sarnoth::gui {
namespace {

constexpr const char* kMsgNoGrids = "工作区中没有数据，请检查!!";
constexpr const char* kMsgPickGrid = "请选择数据文件。";
constexpr const char* kMsgNoResult = "结果数据文件不存在，请先处理。";

std::optional<int> readInt(const QLineEdit* box) {
  long long v = 0;
  if (!filetext::parseInt(ss(box->text()), v) || v < INT32_MIN || v > INT32_MAX)
    return std::nullopt;
  return static_cast<int>(v);
}

}  // namespace

frmGridSmoth::frmGridSmoth(QWidget* parent, int m) : QDialog(parent) {
  mode = static_cast<std::int16_t>(m == kGridOverlayMode ? kGridOverlayMode : kGridSmoothMode);
  setObjectName("frmGridSmoth");
  setWindowTitle(u8(overlay() ? kGridOverlayCaption : kGridSmoothCaption));
  lstGrids = named(new QListWidget(this), "lstGrids");
  lstGrids->setSelectionMode(overlay() ? QAbstractItemView::MultiSelection
                                       : QAbstractItemView::SingleSelection);
  lblGridInfo = named(new QLabel(this), "lblGridInfo");
  cboMethod = named(new QComboBox(this), "cboMethod");
  for (const auto& c : overlay() ? overlayOpCaptions() : smoothMethodCaptions())
    cboMethod->addItem(qs(c));
  txtWindow = named(new QLineEdit(QStringLiteral("3"), this), "txtWindow");
  txtPasses = named(new QLineEdit(QStringLiteral("1"), this), "txtPasses");
  txtWeights = named(new QLineEdit(this), "txtWeights");
  txtWeights->setPlaceholderText(u8("1,1"));
  txtFileOut =
      named(new QLineEdit(u8(overlay() ? "OverlayGrid" : "SmoothGrid"), this), "txtFileOut");
  prbSpeed = named(new QProgressBar(this), "prbSpeed");
  prbSpeed->setValue(0);
  btnApply = named(new QPushButton(u8("处理(&A)"), this), "btnApply");
  btnView = named(new QPushButton(u8("图像浏览(&V)"), this), "btnView");
  btnReturn = named(new QPushButton(u8("返回(&R)"), this), "btnReturn");
  for (QPushButton* b : {btnApply, btnView, btnReturn}) b->setAutoDefault(false);

  auto* form = new QFormLayout;
  form->addRow(u8(overlay() ? "叠置网格数据(多选, 按列表顺序):" : "网格数据文件:"), lstGrids);
  form->addRow(QString(), lblGridInfo);
  form->addRow(u8(overlay() ? "叠置方式:" : "圆滑方法:"), cboMethod);
  if (overlay()) {
    form->addRow(u8("权系数(逗号分隔):"), txtWeights);
    txtWindow->hide();
    txtPasses->hide();
  } else {
    form->addRow(u8("窗口大小:"), txtWindow);
    form->addRow(u8("圆滑次数:"), txtPasses);
    txtWeights->hide();
  }
  form->addRow(u8("结果文件名:"), txtFileOut);
  auto* buttons = new QHBoxLayout;
  buttons->addStretch(1);
  buttons->addWidget(btnApply);
  buttons->addWidget(btnView);
  buttons->addWidget(btnReturn);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(form, 1);
  layout->addWidget(prbSpeed);
  layout->addLayout(buttons);
  resize(460, 460);
  methodChanged();

  connect(cboMethod, &QComboBox::currentIndexChanged, this, [this] { methodChanged(); });
  connect(lstGrids, &QListWidget::itemSelectionChanged, this, [this] { gridsChanged(); });
  connect(btnApply, &QPushButton::clicked, this, &frmGridSmoth::btnApply_Click);
  connect(btnView, &QPushButton::clicked, this, &frmGridSmoth::btnView_Click);
  connect(btnReturn, &QPushButton::clicked, this, &QDialog::reject);
}

bool frmGridSmoth::load() {
  auto grids = listFiles(gWorkPath + "Grid_Dat\\", QStringLiteral("*.grd"));
  if (!grids || grids->isEmpty()) {
    notify(this, kMsgNoGrids);
    return false;
  }
  fillList(lstGrids, *grids);
  return true;
}

std::string frmGridSmoth::resultPath() const {
  return gWorkPath + "Grid_Dat\\" + ss(nameBeforeComma(txtFileOut->text())) + ".grd";
}

void frmGridSmoth::methodChanged() {
  if (overlay()) {
    txtWeights->setEnabled(cboMethod->currentIndex() == static_cast<int>(OverlayOp::WeightedSum));
  } else {
    txtWindow->setEnabled(smoothUsesWindow(static_cast<SmoothMethod>(cboMethod->currentIndex())));
  }
}

void frmGridSmoth::gridsChanged() {
  lblGridInfo->clear();
  QListWidgetItem* it = lstGrids->currentItem();
  if (!it || !it->isSelected()) return;
  GridReadResult r = readGridHeader(gWorkPath + "Grid_Dat\\" + ss(it->text()));
  if (r.ok())
    lblGridInfo->setText(u8("%1 列 × %2 行, 网格距 %3 × %4, 有效数据 %5 个")
                             .arg(r.grid.header.nx)
                             .arg(r.grid.header.ny)
                             .arg(static_cast<double>(r.grid.header.dx))
                             .arg(static_cast<double>(r.grid.header.dy))
                             .arg(r.grid.header.validCount));
}

void frmGridSmoth::btnApply_Click() {
  std::vector<std::string> sources;
  for (int i = 0; i < lstGrids->count(); ++i)
    if (lstGrids->item(i)->isSelected())
      sources.push_back(gWorkPath + "Grid_Dat\\" + ss(lstGrids->item(i)->text()));
  if (sources.empty()) {
    notify(this, kMsgPickGrid);
    return;
  }
  if (nameBeforeComma(txtFileOut->text()).isEmpty()) {
    notify(this, kMsgGridOutName);
    return;
  }
  GuiInteraction ui(this);
  BarProgress progress(prbSpeed);
  Outcome o;
  btnApply->setEnabled(false);
  if (overlay()) {
    std::vector<double> weights;
    bool readable = true;
    for (const auto& item : filetext::splitAt(ss(txtWeights->text()), ',')) {
      if (filetext::trim(item).empty()) continue;
      double w = 0;
      readable = readable && filetext::parseDouble(item, w);
      weights.push_back(w);
    }
    if (!readable) {
      o = Outcome::failure(kMsgOverlayWeights);
    } else {
      o = runGridOverlay(sources, resultPath(), static_cast<OverlayOp>(cboMethod->currentIndex()),
                         weights, ui, progress);
    }
  } else {
    SmoothOptions opt;
    opt.method = static_cast<SmoothMethod>(cboMethod->currentIndex());
    auto window = readInt(txtWindow), passes = readInt(txtPasses);
    if (!window && smoothUsesWindow(opt.method)) {
      o = Outcome::failure(kMsgSmoothWindow);
    } else if (!passes) {
      o = Outcome::failure(kMsgSmoothPasses);
    } else {
      opt.window = window.value_or(3);
      opt.passes = *passes;
      o = runGridSmooth(sources[0], resultPath(), opt, ui, progress);
    }
  }
  prbSpeed->setValue(0);
  btnApply->setEnabled(true);
  if (!o.message.empty()) {
    notify(this, o.message);
    return;
  }
  if (!o) return;
  // The list shows the new grid.
  const QString name = nameBeforeComma(txtFileOut->text()) + ".grd";
  if (!listHoldsName(lstGrids, name)) {
    QSignalBlocker block(lstGrids);
    lstGrids->addItem(name);
  }
}

void frmGridSmoth::btnView_Click() {
  const std::string path = resultPath();
  std::error_code ec;
  if (!std::filesystem::is_regular_file(resolvePath(path), ec)) {
    notify(this, kMsgNoResult);
    return;
  }
  showGridImage(this, resolvePath(path));
}

static ToolWindowRegistrar reg{"frmGridSmoth", [](QWidget* parent, int mode) -> QWidget* {
                                 auto* w = new frmGridSmoth(parent, mode);
                                 if (!w->load()) {
                                   delete w;
                                   return nullptr;
                                 }
                                 return w;
                               }};

}  // namespace sarnoth::gui
