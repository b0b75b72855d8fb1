// frmElemsClassify "分带序列": the vertical zoning sequence of the elements selected in lstItems
// from the samples of several levels: the level field cboLevel (optOrder_0 elevation, largest on
// top; optOrder_1 level number, smallest on top), the sample length cboLength ("(无)": 1 each),
// the backgrounds typed in grdBack, and the method optMethod_0 (Grigorian's zoning index) or
// optMethod_1 (variability gradient). btnApply runs geochem/zoning and shows the report in
// rchBox; btnSave writes it as RTF.
#pragma once

#include <QDialog>
#include <array>
#include <cstdint>
#include <map>
#include <string>

#include "geochem/zoning.h"
#include "workarea/table_store.h"

class QComboBox;
class QListWidget;
class QPushButton;
class QRadioButton;
class QTableWidget;
class QTextEdit;

namespace sarnoth::gui {

class frmElemsClassify : public QDialog {
  Q_OBJECT
 public:
  explicit frmElemsClassify(QWidget* parent = nullptr);
  bool load();

  std::int16_t mode = 0;

  QListWidget* lstTbls = nullptr;
  QComboBox* cboLevel = nullptr;
  QComboBox* cboLength = nullptr;
  QListWidget* lstItems = nullptr;
  QTableWidget* grdBack = nullptr;
  std::array<QRadioButton*, 2> optOrder{};
  std::array<QRadioButton*, geochem::kZoningMethodCount> optMethod{};
  QTextEdit* rchBox = nullptr;
  QPushButton* btnApply = nullptr;
  QPushButton* btnSave = nullptr;
  QPushButton* btnReturn = nullptr;

 public slots:
  void apply();
  void save();

 private:
  void onTableChosen();
  void onItemsChosen();

  Database db_;
  std::map<std::string, QString> typed_;  // backgrounds typed, by element
};

}  // namespace sarnoth::gui
