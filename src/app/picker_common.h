// What the file pickers share: the file list of a work-area directory under a mask, and the
// rules for a name typed into a naming picker.
#pragma once

#include <QString>
#include <QStringList>
#include <initializer_list>
#include <optional>
#include <string>

class QDialog;
class QLineEdit;
class QListWidget;
class QPushButton;
class QWidget;

namespace sarnoth::gui {

// The files of `dir` (a system-spelled path, resolved case-blind) whose names match `mask`
// ("*.grd", several patterns separated by ';'), case-blind, sorted as the file list sorts them.
// Empty optional, with the reason in `error`, when the directory cannot be read.
std::optional<QStringList> listFiles(const std::string& dir, const QString& mask,
                                     QString* error = nullptr);

// A typed name as the naming modes take it: cut at the first ',' (and trimmed).
QString nameBeforeComma(const QString& typed);

// True when `name` stands in the list, case-blind as the file system compares names.
bool listHoldsName(const QListWidget* list, const QString& name);

// Fills a list widget with names.
void fillList(QListWidget* list, const QStringList& names);
// Fills it again without signals, the current name staying current when it is still listed.
void refillKeepingCurrent(QListWidget* list, const QStringList& names);

// The question for a name that exists already.
std::string existingFileQuestion(const QString& name);

// A push button under its system name that never acts as the dialog's default button.
QPushButton* pickerButton(QWidget* parent, const char* name, const char* caption);

// The pickers' layout: the list, the name box under it (when there is one), and a row of
// buttons: `left` on its own at the left (when given), `right` at the right in order.
void layOutPicker(QDialog* dialog, QListWidget* list, QLineEdit* nameBox, QPushButton* left,
                  std::initializer_list<QPushButton*> right, int width, int height);

}  // namespace sarnoth::gui
