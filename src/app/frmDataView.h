// frmDataView "分析数据浏览": one grid mfxGrid that the opener fills with an analysis result.
#pragma once

#include <QDialog>
#include <QStringList>
#include <vector>

class QTableWidget;

namespace sarnoth::gui {

class frmDataView : public QDialog {
  Q_OBJECT
 public:
  explicit frmDataView(QWidget* parent = nullptr);

  // Fills the grid: a header row and the rows of text cells.
  void setData(const QStringList& header, const std::vector<QStringList>& rows);

  QTableWidget* mfxGrid = nullptr;
};

}  // namespace sarnoth::gui
