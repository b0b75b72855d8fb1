#include "datatools/forms/data_form_support.h"

#include <QApplication>
#include <QFileDialog>
#include <QFontDatabase>
#include <QHeaderView>
#include <QProgressBar>
#include <QTableWidget>
#include <QTextEdit>
#include <algorithm>
#include <filesystem>

#include "workarea/path_resolver.h"
#include "workarea/session.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {

BusyCursor::BusyCursor() { QApplication::setOverrideCursor(Qt::WaitCursor); }
BusyCursor::~BusyCursor() { QApplication::restoreOverrideCursor(); }

QTextEdit* reportBox(QWidget* parent, const char* objectName) {
  auto* box = named(new QTextEdit(parent), objectName);
  box->setReadOnly(true);
  box->setLineWrapMode(QTextEdit::NoWrap);
  box->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  return box;
}
namespace {

FileDialogHandler& openHandler() {
  static FileDialogHandler h;
  return h;
}

}  // namespace

BarProgress::BarProgress(QProgressBar* bar) : bar_(bar) {}

void BarProgress::setMaximum(std::int64_t max) {
  Progress::setMaximum(max);
  scale_ = 1;
  while (max / scale_ > 1000000) scale_ *= 10;
  if (bar_) bar_->setMaximum(static_cast<int>(std::max<std::int64_t>(max / scale_, 1)));
}

void BarProgress::setValue(std::int64_t value) {
  Progress::setValue(value);
  if (bar_)
    bar_->setValue(static_cast<int>(std::min<std::int64_t>(value / scale_, bar_->maximum())));
}

bool BarProgress::pump() {
  QCoreApplication::processEvents();
  return Progress::pump();
}

std::string askOpenFileName(QWidget* parent, const std::string& title, const std::string& filter,
                            FileKind kind) {
  if (openHandler()) {
    std::string path = openHandler()(title, filter, {});
    rememberDialogFolder(kind, path);
    return path;
  }
  return runFileDialog(parent, false, title, filter, {}, kind);
}

std::string askOpenFileName(QWidget* parent, const std::string& title, const std::string& filter,
                            const std::string& startDir) {
  if (openHandler()) return openHandler()(title, filter, startDir);
  return runFileDialog(parent, false, title, filter, {}, FileKind::Outside, startDir);
}

FileDialogHandler setOpenDialogHandler(FileDialogHandler handler) {
  FileDialogHandler old = std::move(openHandler());
  openHandler() = std::move(handler);
  return old;
}

bool workAreaReachable(QWidget* parent) {
  std::error_code ec;
  if (!gWorkPath.empty() && std::filesystem::is_directory(resolvePath(gWorkPath), ec)) return true;
  notify(parent, "工作区不存在: " + gWorkPath);
  return false;
}

bool openToolDatabase(QWidget* parent, Database& db) {
  try {
    db = openWorkDatabase(gWorkPath);
    return true;
  } catch (const StoreError& e) {
    notify(parent, std::string("打开数据库错: ") + e.what());
    return false;
  }
}

void fillTableWidget(QTableWidget* t, const std::vector<std::string>& header,
                     const std::vector<std::vector<std::string>>& rows) {
  t->clear();
  t->setColumnCount(static_cast<int>(header.size()));
  t->setRowCount(static_cast<int>(rows.size()));
  QStringList labels;
  for (const auto& h : header) labels << qs(h);
  t->setHorizontalHeaderLabels(labels);
  for (int r = 0; r < static_cast<int>(rows.size()); ++r) {
    const auto& row = rows[static_cast<std::size_t>(r)];
    for (int c = 0; c < static_cast<int>(row.size()) && c < t->columnCount(); ++c) {
      auto* item = new QTableWidgetItem(qs(row[static_cast<std::size_t>(c)]));
      item->setFlags(item->flags() & ~Qt::ItemIsEditable);
      t->setItem(r, c, item);
    }
  }
  t->resizeColumnsToContents();
}

}  // namespace sarnoth::gui
