#include "app/frmDataView.h"

#include <QTableWidget>
#include <QVBoxLayout>

namespace sarnoth::gui {

frmDataView::frmDataView(QWidget* parent) : QDialog(parent) {
  setObjectName("frmDataView");
  setWindowTitle(QString::fromUtf8("分析数据浏览"));
  mfxGrid = new QTableWidget(this);
  mfxGrid->setObjectName("mfxGrid");
  mfxGrid->setEditTriggers(QAbstractItemView::NoEditTriggers);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(mfxGrid);
  resize(640, 420);
}

void frmDataView::setData(const QStringList& header, const std::vector<QStringList>& rows) {
  int columns = static_cast<int>(header.size());
  for (const auto& r : rows) columns = std::max(columns, static_cast<int>(r.size()));
  mfxGrid->clear();
  mfxGrid->setColumnCount(columns);
  mfxGrid->setRowCount(static_cast<int>(rows.size()));
  mfxGrid->setHorizontalHeaderLabels(header);
  for (int r = 0; r < static_cast<int>(rows.size()); ++r)
    for (int c = 0; c < static_cast<int>(rows[static_cast<std::size_t>(r)].size()); ++c)
      mfxGrid->setItem(r, c, new QTableWidgetItem(rows[static_cast<std::size_t>(r)][c]));
}

}  // namespace sarnoth::gui
