#include "app/picker_common.h"

#include <QDialog>
#include <QDir>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRegularExpression>
#include <QSignalBlocker>
#include <QVBoxLayout>
#include <algorithm>

#include "workarea/path_resolver.h"

namespace sarnoth::gui {

std::optional<QStringList> listFiles(const std::string& dir, const QString& mask, QString* error) {
  QDir d(QString::fromStdString(resolvePath(dir)));
  if (!d.exists()) {
    if (error) *error = QString::fromUtf8("路径不存在: ") + QString::fromStdString(dir);
    return std::nullopt;
  }
  QStringList patterns = mask.split(';', Qt::SkipEmptyParts);
  for (QString& p : patterns) p = p.trimmed();
  if (patterns.isEmpty()) patterns << "*";
  std::vector<QRegularExpression> res;
  for (const QString& p : patterns)
    res.emplace_back(QRegularExpression::wildcardToRegularExpression(p),
                     QRegularExpression::CaseInsensitiveOption);
  QStringList names;
  for (const QString& name : d.entryList(QDir::Files | QDir::Hidden | QDir::System)) {
    for (const auto& re : res)
      if (re.match(name).hasMatch()) {
        names << name;
        break;
      }
  }
  std::sort(names.begin(), names.end(), [](const QString& a, const QString& b) {
    return QString::compare(a, b, Qt::CaseInsensitive) < 0;
  });
  return names;
}

QString nameBeforeComma(const QString& typed) {
  qsizetype comma = typed.indexOf(',');
  return (comma >= 0 ? typed.left(comma) : typed).trimmed();
}

bool listHoldsName(const QListWidget* list, const QString& name) {
  for (int i = 0; i < list->count(); ++i)
    if (QString::compare(list->item(i)->text(), name, Qt::CaseInsensitive) == 0) return true;
  return false;
}

void fillList(QListWidget* list, const QStringList& names) {
  list->clear();
  list->addItems(names);
}

void refillKeepingCurrent(QListWidget* list, const QStringList& names) {
  const QString current = list->currentItem() ? list->currentItem()->text() : QString();
  const QSignalBlocker block(list);
  fillList(list, names);
  if (!current.isEmpty())
    for (int i = 0; i < list->count(); ++i)
      if (list->item(i)->text() == current) list->setCurrentRow(i);
}

std::string existingFileQuestion(const QString& name) {
  return "数据文件 " + name.toStdString() + " 已经存在, 要覆盖吗?";
}

QPushButton* pickerButton(QWidget* parent, const char* name, const char* caption) {
  auto* b = new QPushButton(QString::fromUtf8(caption), parent);
  b->setObjectName(name);
  b->setAutoDefault(false);
  return b;
}

void layOutPicker(QDialog* dialog, QListWidget* list, QLineEdit* nameBox, QPushButton* left,
                  std::initializer_list<QPushButton*> right, int width, int height) {
  auto* buttons = new QHBoxLayout;
  if (left) buttons->addWidget(left);
  buttons->addStretch(1);
  for (QPushButton* b : right) buttons->addWidget(b);
  auto* layout = new QVBoxLayout(dialog);
  layout->addWidget(list, 1);
  if (nameBox) layout->addWidget(nameBox);
  layout->addLayout(buttons);
  dialog->resize(width, height);
}

}  // namespace sarnoth::gui
