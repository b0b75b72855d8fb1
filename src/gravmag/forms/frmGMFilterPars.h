// The dialog in which the closed components of the gravity and magnetics menu (the filter
// component and the low-latitude reduction) ask for their parameters: one labelled box per
// parameter (txtPar_0, txtPar_1, …), btnSure and btnCancel. The workbench installs it as the
// components' dialog (closed::installComponentParamDialog) when the GUI library loads.
#pragma once

#include <QDialog>
#include <vector>

#include "gravmag/filter_methods.h"

class QLineEdit;
class QPushButton;

namespace sarnoth::gui {

class frmGMFilterPars : public QDialog {
  Q_OBJECT
 public:
  frmGMFilterPars(QWidget* parent, const std::string& title, const gravmag::FilterParams& params);

  // The values as edited; valid after the dialog was accepted.
  const gravmag::FilterParams& params() const { return params_; }

  std::vector<QLineEdit*> txtPar;
  QPushButton* btnSure = nullptr;
  QPushButton* btnCancel = nullptr;

 private:
  void accept() override;
  gravmag::FilterParams params_;
};

// Shows the dialog; false when it was cancelled.
bool askComponentParams(QWidget* parent, const std::string& title, gravmag::FilterParams& params);

}  // namespace sarnoth::gui
