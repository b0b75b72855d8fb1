// FrmBP "BP神经网络预测模型": a three-layer back-propagation network trained on a model table
// (cboMTbl, inputs lstMItems, output cboPItem) and predicting the output for a second table
// (cboPTbl), whose results land in the new field named after the output with "_B".
//
// btnIni fills the four grids of starting weights and thresholds; Command1 trains (the error
// curve in Picture15 grows as it runs, lblErr shows round 1, every 100th and the last; btnStop
// cancels and nothing is written), simulates, predicts and writes back, and with chkFile the
// parameter file (*.par). chkErr with txtLim flags predictions near poorly fitted learning
// patterns (geochem/bp_network.h says how). Picture16 shows the network's layers.
#pragma once

#include <QDialog>
#include <QWidget>
#include <cstdint>

#include "geochem/bp_network.h"
#include "workarea/table_store.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QTableWidget;

namespace sarnoth::gui {

class ChartView;

// The network scheme: II, JJ and KK nodes in three columns, every connection drawn.
class NetworkScheme : public QWidget {
  Q_OBJECT
 public:
  explicit NetworkScheme(QWidget* parent = nullptr);
  void setSizes(int ii, int jj, int kk);

 protected:
  void paintEvent(QPaintEvent*) override;

 private:
  int ii_ = 3, jj_ = 15, kk_ = 1;
};

class FrmBP : public QDialog {
  Q_OBJECT
 public:
  explicit FrmBP(QWidget* parent = nullptr);
  bool load();

  std::int16_t mode = 0;

  QComboBox* cboMTbl = nullptr;
  QListWidget* lstMItems = nullptr;
  QComboBox* cboPItem = nullptr;
  QComboBox* cboPTbl = nullptr;
  QCheckBox* chkSel = nullptr;
  QCheckBox* chkFile = nullptr;
  QLineEdit* txtPar = nullptr;
  QCheckBox* chkErr = nullptr;
  QLineEdit* txtLim = nullptr;
  QLineEdit* txtJJ = nullptr;
  QLineEdit* txtKK = nullptr;
  QLineEdit* txtMNum = nullptr;
  QLineEdit* txtPNum = nullptr;
  QLineEdit* txtLN = nullptr;
  QLineEdit* txtL1 = nullptr;
  QLineEdit* txtL2 = nullptr;
  QPushButton* btnIni = nullptr;
  QPushButton* Command1 = nullptr;
  QPushButton* Command2 = nullptr;
  QPushButton* btnStop = nullptr;
  QPushButton* btnView = nullptr;
  QLabel* lblNote = nullptr;
  QLabel* lblErr = nullptr;
  NetworkScheme* Picture16 = nullptr;
  ChartView* Picture15 = nullptr;
  QTableWidget* grdV = nullptr;  // 中间层初始权系数Vji(JJ*II)
  QTableWidget* grdW = nullptr;  // 输出层权系数Wkj(KK*JJ)
  QTableWidget* grdR = nullptr;  // 阈值Rj(JJ)
  QTableWidget* grdQ = nullptr;  // 输出层阈值Qk(KK)

  const geochem::BpWeights& weights() const { return weights_; }
  const geochem::BpResult& lastResult() const { return result_; }
  // The seed of the next btnIni; each press takes the next one.
  std::uint32_t seed = 20121;

 public slots:
  void btnIni_Click();
  void Command1_Click();

 private:
  void modelTableChosen();
  void predictionTableChosen();
  void showWeights();
  geochem::BpJob collectJob() const;

  Database db_;
  geochem::BpWeights weights_;
  geochem::BpResult result_;
  bool stop_ = false;
};

}  // namespace sarnoth::gui
