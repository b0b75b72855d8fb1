// frmSelectTbl "数据表": picks a table name, or deletes a data project or a work area of the
// system.
//
//   100       the names of a comma-separated text handed over in `itemsText`
//   200, 400  the tables of the opener's open database
//   300       DMXManag.mdb, table DMXDataBase, field "BASENAME": deletes a data project
//   500       DMXManag.mdb, table DMXWorkBase, field "WORKNAME": deletes a work area
//
// The picking modes answer through gPickedFile ("" on cancel). The deleting modes remove the
// project's or work area's directory tree and its row, then name what was deleted.
#pragma once

#include <QDialog>
#include <QString>
#include <string>

class QListWidget;
class QPushButton;

namespace sarnoth {
class Database;
}

namespace sarnoth::gui {

class frmSelectTbl : public QDialog {
  Q_OBJECT
 public:
  explicit frmSelectTbl(QWidget* parent = nullptr);

  int mode = 100;
  QString itemsText;             // mode 100
  Database* database = nullptr;  // modes 200 and 400

  // The on-opening work. False when the window closed itself.
  bool load();
  int run();

  QListWidget* lstTbls = nullptr;
  QPushButton* btnSure = nullptr;
  QPushButton* btnCancel = nullptr;

 public slots:
  void btnSure_Click();
  void btnCancel_Click();
  void reject() override;

 private:
  bool deleting() const { return mode == 300 || mode == 500; }
  // The picking modes open with the first name selected, ready for the button or Enter.
  void selectFirst();
  void deleteSelected();
};

}  // namespace sarnoth::gui
