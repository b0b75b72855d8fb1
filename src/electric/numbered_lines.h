// The line reader and number texts shared by the electrical tools' text files (soundings, 2-D
// sections): items split at commas and blanks as stream input reads them, complaints that name
// the line ("第n行: …"), and numbers written back fixed or exactly.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace sarnoth::electric {

// Items separated by commas and/or blanks.
std::vector<std::string> lineItems(const std::string& line);
// "第n行: " for the line at `index` (from 0).
std::string lineLabel(std::size_t index);
// `decimals` places; the null value as its text.
std::string fixedText(double v, int decimals);
// The shortest of %.10g and %.17g that reads back to the same double; the null value as its text.
std::string exactText(double v);

// A reader over a file's lines that names the line in each complaint.
class NumberedLines {
 public:
  // With `dropTrailingBlanks` the blank lines at the end are not lines of the file.
  explicit NumberedLines(const std::string& text, bool dropTrailingBlanks = false);
  bool more() const { return next_ < lines_.size(); }
  // The line last taken (from 0).
  std::size_t index() const { return next_ == 0 ? 0 : next_ - 1; }
  // The next line, or false with "数据不完整" naming where the file ended.
  bool take(std::string& line, std::string& error);
  // The items of the next line, at least `need` of them ("数据不完整" otherwise).
  bool items(std::size_t need, std::vector<std::string>& out, std::string& error);
  // `need` numbers and up to `optional` more from the next line, each checked by `accept`
  // (kMsgBadInput otherwise). With `pad` a missing optional number is `padding`, so that `out`
  // always holds need + optional values.
  template <class Accept>
  bool numbers(std::size_t need, std::size_t optional, std::vector<double>& out, std::string& error,
               Accept&& accept, bool pad = false, double padding = 0) {
    std::vector<std::string> it;
    if (!items(need, it, error)) return false;
    out.clear();
    if (pad) out.assign(need + optional, padding);
    for (std::size_t i = 0; i < it.size() && i < need + optional; ++i) {
      double v = 0;
      if (!parseNumber(it[i], v) || !accept(v)) {
        error = lineLabel(index()) + badInputText();
        return false;
      }
      if (pad)
        out[i] = v;
      else
        out.push_back(v);
    }
    return true;
  }

 private:
  static bool parseNumber(const std::string& item, double& v);
  static const char* badInputText();
  std::vector<std::string> lines_;
  std::size_t next_ = 0;
};

}  // namespace sarnoth::electric
