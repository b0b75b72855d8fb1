// What the element analysis windows share (distribution test, neighbourhood analysis,
// superposition, normalisation, zoning): opening the store with its registered tables, the
// numeric fields of a table, number boxes read strictly, and the hourglass of a run.
#pragma once

#include <QString>
#include <optional>
#include <string>
#include <vector>

#include "datatools/forms/data_form_support.h"
#include "workarea/table_store.h"

class QComboBox;
class QLineEdit;
class QListWidget;
class QWidget;

namespace sarnoth::gui {

inline constexpr const char* kMsgChooseTableFirst = "请选择数据表。";

// Opens gWorkPath's store into `db` and lists the registered tables into `list`, selecting none.
// False, after the message, when the store cannot be opened or holds no registered table
// ("工作区中无数据表，请从数据库中检索或从外部表数据导入。"): the window is not to be shown.
bool openWithTables(QWidget* parent, Database& db, QListWidget* list);

// The fields of type Integer, Long, Single or Double of a table, in field order; empty (after the
// message) when the table cannot be read.
std::vector<std::string> numericFields(QWidget* parent, Database& db, const std::string& table);

// The texts of a list's selected items, in list order; of its current item for a combo box.
std::vector<std::string> selectedTexts(const QListWidget* list);
std::string currentText(const QListWidget* list);
std::string currentText(const QComboBox* box);

// A box holding one finite number; nullopt for anything else.
std::optional<double> readNumber(const QLineEdit* box);
// A whole number within [lo, hi].
std::optional<int> readWhole(const QLineEdit* box, int lo, int hi);

}  // namespace sarnoth::gui
