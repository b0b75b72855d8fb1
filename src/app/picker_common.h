// What the file pickers share: the file list of a work-area directory under a mask, and the
// rules for a name typed into a naming picker.
#pragma once

#include <QString>
#include <QStringList>
#include <optional>
#include <string>

class QListWidget;

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

// The question for a name that exists already.
std::string existingFileQuestion(const QString& name);

}  // namespace sarnoth::gui
