#include "app/frmGridView.h"

#include <QHeaderView>
#include <QMenuBar>
#include <QTableView>
#include <QVBoxLayout>
#include <algorithm>
#include <cctype>
#include <limits>

#include "app/messages.h"
#include "workarea/session.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
namespace {

std::string lower(std::string s) {
  std::transform(s.begin(), s.end(), s.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return s;
}

std::string trimmed(const std::string& s) {
  std::size_t a = s.find_first_not_of(" \t\r\n");
  if (a == std::string::npos) return {};
  std::size_t b = s.find_last_not_of(" \t\r\n;");
  return s.substr(a, b - a + 1);
}

// 450 twips at the bottom, as the grid follows the window.
constexpr int kBottomMarginPx = 30;

}  // namespace

std::string dataSourceOf(const std::string& connect) {
  const std::string key = "data source=";
  std::size_t at = lower(connect).find(key);
  if (at == std::string::npos) return {};
  std::size_t start = at + key.size();
  std::size_t end = connect.find(';', start);
  return trimmed(connect.substr(start, end == std::string::npos ? std::string::npos : end - start));
}

std::string recordSourceQuery(const std::string& source) {
  std::string s = trimmed(source);
  std::string head = lower(s.substr(0, 7));
  if (head.rfind("select", 0) == 0 &&
      (s.size() == 6 || std::isspace(static_cast<unsigned char>(s[6]))))
    return s;
  if (!s.empty() && s.front() == '[' && s.back() == ']') return "Select * From " + s;
  return "Select * From " + bracket(s);
}

GridViewModel::GridViewModel(QObject* parent) : QAbstractTableModel(parent) {
  setObjectName("adoGridView");
}

void GridViewModel::open(const std::string& databasePath, const std::string& recordSource) {
  beginResetModel();
  pages_.clear();
  lru_.clear();
  cursor_ = Cursor();
  cursorRow_ = -1;
  fields_.clear();
  rows_ = 0;
  try {
    db_ = openStoreFor(databasePath);
    query_ = recordSourceQuery(recordSource);
    {
      Cursor head = db_.query("Select * From (" + query_ + ") Limit 0");
      for (int i = 0; i < head.columnCount(); ++i) {
        FieldDef f = head.columnField(i);
        f.name = head.columnName(i);
        fields_.push_back(f);
      }
    }
    rows_ = static_cast<std::int64_t>(
        valueToDouble(db_.scalar("Select Count(*) From (" + query_ + ")")));
  } catch (...) {
    endResetModel();
    throw;
  }
  endResetModel();
}

std::size_t GridViewModel::cachedRows() const {
  std::size_t n = 0;
  for (const auto& [no, p] : pages_) n += p.size();
  return n;
}

const GridViewModel::Page* GridViewModel::page(std::int64_t pageNo) const {
  auto it = pages_.find(pageNo);
  if (it != pages_.end()) {
    lru_.remove(pageNo);
    lru_.push_front(pageNo);
    return &it->second;
  }
  const std::int64_t first = pageNo * kPageRows;
  Page p;
  try {
    if (cursorRow_ != first) {
      cursor_ = db_.query("Select * From (" + query_ + ") Limit -1 Offset ?", {Value(first)});
      cursorRow_ = first;
    }
    const int columns = static_cast<int>(fields_.size());
    while (static_cast<int>(p.size()) < kPageRows && cursor_.next()) {
      std::vector<Value> row(static_cast<std::size_t>(columns));
      for (int c = 0; c < columns; ++c) row[static_cast<std::size_t>(c)] = cursor_.get(c);
      p.push_back(std::move(row));
      ++cursorRow_;
    }
  } catch (const StoreError&) {
    cursor_ = Cursor();
    cursorRow_ = -1;
  }
  if (lru_.size() >= kCachedPages) {
    pages_.erase(lru_.back());
    lru_.pop_back();
  }
  lru_.push_front(pageNo);
  return &(pages_[pageNo] = std::move(p));
}

int GridViewModel::rowCount(const QModelIndex& parent) const {
  if (parent.isValid()) return 0;
  return static_cast<int>(std::min<std::int64_t>(rows_, std::numeric_limits<int>::max()));
}

int GridViewModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(fields_.size());
}

QVariant GridViewModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || (role != Qt::DisplayRole && role != Qt::TextAlignmentRole)) return {};
  const FieldDef& f = fields_[static_cast<std::size_t>(index.column())];
  const bool numeric = f.type != JetType::Text && f.type != JetType::Memo &&
                       f.type != JetType::Date && f.type != JetType::Other;
  if (role == Qt::TextAlignmentRole)
    return QVariant::fromValue(
        Qt::Alignment((numeric ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignVCenter));
  const Page* p = page(index.row() / kPageRows);
  const std::size_t r = static_cast<std::size_t>(index.row() % kPageRows);
  if (r >= p->size()) return {};
  const Value& v = (*p)[r][static_cast<std::size_t>(index.column())];
  if (isNull(v)) return {};
  if (const double* d = std::get_if<double>(&v))
    return QString::number(*d, 'g', f.type == JetType::Single ? 7 : 15);
  if (const std::int64_t* i = std::get_if<std::int64_t>(&v)) return QString::number(*i);
  return QString::fromStdString(std::get<std::string>(v));
}

QVariant GridViewModel::headerData(int section, Qt::Orientation o, int role) const {
  if (role != Qt::DisplayRole) return {};
  if (o == Qt::Vertical) return section + 1;
  if (section < 0 || section >= static_cast<int>(fields_.size())) return {};
  return QString::fromStdString(fields_[static_cast<std::size_t>(section)].name);
}

frmGridView::frmGridView(QWidget* parent) : QDialog(parent) {
  setObjectName("frmGridView");
  setWindowTitle(QString::fromUtf8("数据浏览"));
  auto* bar = new QMenuBar(this);
  AttribOut = bar->addMenu(QString::fromUtf8("属性数据转出(&O)"));
  AttribOut->setObjectName("AttribOut");
  AttribQuery = bar->addMenu(QString::fromUtf8("数据查询(&Q)"));
  AttribQuery->setObjectName("AttribQuery");
  WorkTBLOut = bar->addMenu(QString::fromUtf8("数据表转出(&O)"));
  WorkTBLOut->setObjectName("WorkTBLOut");
  adoGridView = new GridViewModel(this);
  dgViewTable = new QTableView(this);
  dgViewTable->setObjectName("dgViewTable");
  dgViewTable->setModel(adoGridView);
  dgViewTable->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
  dgViewTable->verticalHeader()->setDefaultSectionSize(22);
  dgViewTable->horizontalHeader()->setSectionResizeMode(QHeaderView::Interactive);
  auto* layout = new QVBoxLayout(this);
  layout->setMenuBar(bar);
  layout->setContentsMargins(0, 0, 0, kBottomMarginPx);
  layout->addWidget(dgViewTable);
  resize(720, 480);
}

bool frmGridView::load() {
  try {
    adoGridView->open(dataSourceOf(gViewConnect), gViewSource);
  } catch (const StoreError& e) {
    notify(this, std::string("数据浏览错: ") + e.what());
    return false;
  }
  setWindowTitle(windowTitle() + QString::fromUtf8(" -- 记录数: ") +
                 QString::number(adoGridView->recordCount()));
  return true;
}

int frmGridView::run() {
  if (!load()) return Rejected;
  return exec();
}

}  // namespace sarnoth::gui
