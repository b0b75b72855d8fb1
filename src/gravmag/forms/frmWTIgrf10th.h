// frmWTIgrf10th "地磁要素计算": the geomagnetic elements of the reference field for one point typed
// in (Option_SinglePoint) or for every point of a scatter file in Prof_Dat\ (Option_MultiPoint),
// written to a result scatter file in Prof_Dat\; and, as a third mode (Option_Reduce), the
// reduction of total-field data by the reference field of each point's date and position: a
// table of the work area (ΔT = T − F as a new table) or a grid in degrees (a new grid).
// cboModel chooses the generation: the 10th (1900–2010), which the window's notes name, or the
// 14th (1900–2030). The work is gravmag/geomag_elements'.
#pragma once

#include <QDialog>
#include <string>

#include "gravmag/igrf_model.h"
#include "workarea/table_store.h"

class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;

namespace sarnoth::gui {

class frmWTIgrf10th : public QDialog {
  Q_OBJECT
 public:
  explicit frmWTIgrf10th(QWidget* parent = nullptr);
  // Opens the store for the reduction mode; the window opens without one as well.
  bool load();

  std::int16_t mode = 0;

  QLineEdit* Text_Date = nullptr;
  QLineEdit* Text_Heigh = nullptr;
  QLineEdit* Text_LongDegree = nullptr;
  QLineEdit* Text_LongMinute = nullptr;
  QLineEdit* Text_LatiDegree = nullptr;
  QLineEdit* Text_LatiMinute = nullptr;
  QLineEdit* Text_InclinationDegree = nullptr;
  QLineEdit* Text_InclinationMinute = nullptr;
  QLineEdit* Text_DeclinationDegree = nullptr;
  QLineEdit* Text_DeclinationMinute = nullptr;
  QLineEdit* Text_TotalIntensity = nullptr;
  QLineEdit* Text_NorthComponent = nullptr;
  QLineEdit* Text_EastComponent = nullptr;
  QLineEdit* Text_VerticalComponent = nullptr;
  QLineEdit* Text_HorizontalIntensity = nullptr;
  QRadioButton* Option_SinglePoint = nullptr;
  QRadioButton* Option_MultiPoint = nullptr;
  QRadioButton* Option_Reduce = nullptr;
  QComboBox* cboModel = nullptr;
  QLineEdit* Text_FileSave = nullptr;
  QPushButton* Cmd_FileSave = nullptr;
  QPushButton* Cmd_OK = nullptr;
  QPushButton* Cmd_Exit = nullptr;
  QLabel* lblNotes = nullptr;
  // The reduction frame.
  QGroupBox* fraReduce = nullptr;
  QRadioButton* optReduceTable = nullptr;
  QRadioButton* optReduceGrid = nullptr;
  QComboBox* cboTable = nullptr;
  QComboBox* cboLon = nullptr;
  QComboBox* cboLat = nullptr;
  QComboBox* cboT = nullptr;
  QComboBox* cboDate = nullptr;  // first item: the date of Text_Date for every point
  QComboBox* cboGrid = nullptr;
  QLineEdit* txtNewName = nullptr;

  // The input file of the multi-point mode, as picked (under Prof_Dat\).
  const std::string& inputFile() const { return inputFile_; }
  gravmag::IgrfGeneration generation() const;

 public slots:
  void Cmd_OK_Click();
  void Cmd_FileSave_Click();

 protected:
  void done(int r) override;

 private:
  void modeChosen();
  void tableChosen();
  void runSingle(const std::string& resultPath);
  void runMulti(const std::string& resultPath);
  void runReduce();
  std::vector<QLineEdit*> inputBoxes() const;
  std::vector<QLineEdit*> resultBoxes() const;

  Database db_;
  std::string inputFile_;
};

}  // namespace sarnoth::gui
