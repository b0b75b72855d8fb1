// frmGridView "数据浏览": the table viewer. On opening it connects to gViewConnect (the Jet
// connection text whose "Data Source=" names the database) and shows the record source
// gViewSource (a table name or a query); the caption gets " -- 记录数: " and the record count.
//
// The grid reads through GridViewModel, which counts the rows once and then fetches only the
// pages of rows on screen, so a table of a million rows opens and scrolls at once.
#pragma once

#include <QAbstractTableModel>
#include <QDialog>
#include <QString>
#include <list>
#include <map>
#include <string>
#include <vector>

#include "workarea/table_store.h"

class QTableView;
class QMenu;

namespace sarnoth::gui {

// The database path of a connection text: what follows "Data Source=" up to ';'.
std::string dataSourceOf(const std::string& connect);
// A record source as a query: a table name becomes "Select * From [name]".
std::string recordSourceQuery(const std::string& source);

class GridViewModel : public QAbstractTableModel {
  Q_OBJECT
 public:
  static constexpr int kPageRows = 256;
  static constexpr std::size_t kCachedPages = 64;

  explicit GridViewModel(QObject* parent = nullptr);
  // Opens the source; throws StoreError with the engine's text.
  void open(const std::string& databasePath, const std::string& recordSource);

  std::int64_t recordCount() const { return rows_; }
  // Rows held in memory now (at most kCachedPages pages).
  std::size_t cachedRows() const;

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
  QVariant headerData(int section, Qt::Orientation o, int role = Qt::DisplayRole) const override;

 private:
  using Page = std::vector<std::vector<Value>>;
  const Page* page(std::int64_t pageNo) const;

  mutable Database db_;
  std::string query_;
  std::int64_t rows_ = 0;
  std::vector<FieldDef> fields_;
  mutable std::map<std::int64_t, Page> pages_;
  mutable std::list<std::int64_t> lru_;  // most recent first
  // A cursor left at the end of the last page read, so that reading on costs one page.
  mutable Cursor cursor_;
  mutable std::int64_t cursorRow_ = -1;
};

class frmGridView : public QDialog {
  Q_OBJECT
 public:
  explicit frmGridView(QWidget* parent = nullptr);
  // The on-opening work over gViewConnect and gViewSource. False (after a message) when the
  // source cannot be opened.
  bool load();
  int run();

  QTableView* dgViewTable = nullptr;
  GridViewModel* adoGridView = nullptr;
  QMenu* AttribOut = nullptr;
  QMenu* AttribQuery = nullptr;
  QMenu* WorkTBLOut = nullptr;
};

}  // namespace sarnoth::gui
