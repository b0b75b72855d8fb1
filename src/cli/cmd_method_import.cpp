#include "cli/cmd_method_import.h"

#include <iostream>

#include "datatools/method_import.h"

namespace sarnoth::cli {
namespace {

class ClashAnswers : public Interaction {
 public:
  explicit ClashAnswers(const Args& a)
      : answer_(a.has("rename")                      ? Answer::No
                : a.has("yes") || a.has("overwrite") ? Answer::Yes
                                                     : Answer::Cancel) {}
  Answer ask(const std::string&, const std::string& text, Buttons, Icon) override {
    std::cerr << text << "\n";
    return answer_;
  }
  void inform(const std::string&, const std::string& text, Icon) override {
    std::cerr << text << "\n";
    last = text;
  }
  std::string last;

 private:
  Answer answer_;
};

}  // namespace

int runMethodImport(Args& a) {
  const std::string file = a.pos(1), entryName = a.get("entry");
  const MethodImportEntry* e = findMethodImport(entryName);
  if (file.empty() || !e)
    return failWith("usage: sarnoth-cli import method FILE --entry mnu… [--rename NEW] [--yes]");
  const std::string work = workPath(a);
  if (work.empty()) return failWith("请运行主程序设置当前工作区.");
  ClashAnswers ui(a);
  const std::string rename = a.get("rename");
  RenameAsker ask = [&](const RenameRequest& r) {
    return r.by == RenameBy::Picker ? rename + r.extension : rename;
  };
  std::string target;
  switch (importMethodFile(*e, file, work, ui, ask, &target)) {
    case MethodImportResult::Imported:
      std::cout << target << "\n";
      return 0;
    case MethodImportResult::Refused:
      return 1;
    case MethodImportResult::Cancelled:
      std::cerr << "未导入\n";
      return 3;
  }
  return 1;
}

}  // namespace sarnoth::cli
