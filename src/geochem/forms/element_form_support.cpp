#include "geochem/forms/element_form_support.h"

#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
#include <QListWidget>
#include <QSignalBlocker>
#include <cmath>

#include "app/messages.h"
#include "geochem/anomaly.h"
#include "workarea/file_text.h"
#include "workarea/session.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {

bool openWithTables(QWidget* parent, Database& db, QListWidget* list) {
  std::vector<std::string> names;
  try {
    db = openWorkDatabase(gWorkPath);
    listRegisteredTables(db, names);
  } catch (const StoreError& e) {
    notify(parent, std::string("打开数据库错: ") + e.what());
    return false;
  }
  if (names.empty()) {
    notify(parent, kMsgNoWorkTables);
    db.close();
    return false;
  }
  const QSignalBlocker block(list);
  for (const std::string& n : names) list->addItem(qs(n));
  list->setCurrentRow(-1);
  return true;
}

std::vector<std::string> numericFields(QWidget* parent, Database& db, const std::string& table) {
  std::vector<std::string> out;
  if (table.empty() || !db.isOpen()) return out;
  try {
    for (const FieldDef& f : db.fields(table))
      if (f.isNumeric()) out.push_back(f.name);
  } catch (const StoreError& e) {
    notify(parent, e.what());
  }
  return out;
}

std::vector<std::string> selectedTexts(const QListWidget* list) {
  std::vector<std::string> out;
  for (int i = 0; i < list->count(); ++i)
    if (list->item(i)->isSelected()) out.push_back(ss(list->item(i)->text()));
  return out;
}

std::string currentText(const QListWidget* list) {
  return list->currentItem() ? ss(list->currentItem()->text()) : std::string();
}

std::string currentText(const QComboBox* box) {
  return box->currentIndex() >= 0 ? ss(box->currentText()) : std::string();
}

std::optional<double> readNumber(const QLineEdit* box) {
  double v = 0;
  if (!filetext::parseDouble(ss(box->text().trimmed()), v) || !std::isfinite(v))
    return std::nullopt;
  return v;
}

std::optional<int> readWhole(const QLineEdit* box, int lo, int hi) {
  const auto v = readNumber(box);
  if (!v || *v != std::floor(*v) || *v < lo || *v > hi) return std::nullopt;
  return static_cast<int>(*v);
}

}  // namespace sarnoth::gui
