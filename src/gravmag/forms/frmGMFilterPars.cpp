#include "gravmag/forms/frmGMFilterPars.h"

#include <QApplication>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>
#include <cmath>

#include "app/messages.h"
#include "closed/gm_filter_com.h"
#include "workarea/file_text.h"

namespace sarnoth::gui {

frmGMFilterPars::frmGMFilterPars(QWidget* parent, const std::string& title,
                                 const gravmag::FilterParams& params)
    : QDialog(parent), params_(params) {
  setObjectName("frmGMFilterPars");
  setWindowTitle(qs(title));
  auto* grid = new QGridLayout;
  for (std::size_t i = 0; i < params_.size(); ++i) {
    auto* box = new QLineEdit(QString::number(params_[i].value, 'g', 7), this);
    box->setObjectName(QString("txtPar_%1").arg(i));
    txtPar.push_back(box);
    grid->addWidget(new QLabel(qs(params_[i].label), this), static_cast<int>(i), 0);
    grid->addWidget(box, static_cast<int>(i), 1);
  }
  btnSure = new QPushButton(QString::fromUtf8("确定(&S)"), this);
  btnSure->setObjectName("btnSure");
  btnCancel = new QPushButton(QString::fromUtf8("取消(&C)"), this);
  btnCancel->setObjectName("btnCancel");
  connect(btnSure, &QPushButton::clicked, this, &frmGMFilterPars::accept);
  connect(btnCancel, &QPushButton::clicked, this, &QDialog::reject);
  auto* buttons = new QHBoxLayout;
  buttons->addStretch(1);
  buttons->addWidget(btnSure);
  buttons->addWidget(btnCancel);
  auto* main = new QVBoxLayout(this);
  main->addLayout(grid);
  main->addLayout(buttons);
}

void frmGMFilterPars::accept() {
  for (std::size_t i = 0; i < params_.size(); ++i) {
    float v = 0;
    if (!filetext::parseFloat(ss(txtPar[i]->text()), v) || !std::isfinite(v)) {
      notify(this, params_[i].label + ": 请输入数值.");
      txtPar[i]->setFocus();
      return;
    }
    params_[i].value = v;
  }
  QDialog::accept();
}

bool askComponentParams(QWidget* parent, const std::string& title, gravmag::FilterParams& params) {
  frmGMFilterPars dialog(parent, title, params);
  if (dialog.exec() != QDialog::Accepted) return false;
  params = dialog.params();
  return true;
}

namespace {

// The components ask through this window wherever the workbench runs them.
const bool installed = [] {
  closed::installComponentParamDialog([](const std::string& title, gravmag::FilterParams& params) {
    return askComponentParams(QApplication::activeWindow(), title, params);
  });
  return true;
}();

}  // namespace

}  // namespace sarnoth::gui
