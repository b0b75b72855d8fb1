#include "electric/numbered_lines.h"

#include <cstdio>

#include "electric/sounding_file.h"
#include "workarea/file_text.h"
#include "workarea/null_value.h"

namespace sarnoth::electric {

std::vector<std::string> lineItems(const std::string& line) {
  std::string s = line;
  for (char& c : s)
    if (c == ',') c = ' ';
  return filetext::splitBlanks(filetext::trim(s));
}

std::string lineLabel(std::size_t index) { return "第" + std::to_string(index + 1) + "行: "; }

std::string fixedText(double v, int decimals) {
  if (isNullValue(v)) return NULL_TEXT;
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.*f", decimals, v);
  return buf;
}

std::string exactText(double v) {
  if (isNullValue(v)) return NULL_TEXT;
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.10g", v);
  double back = 0;
  if (filetext::parseDouble(buf, back) && back == v) return buf;
  std::snprintf(buf, sizeof buf, "%.17g", v);
  return buf;
}

NumberedLines::NumberedLines(const std::string& text, bool dropTrailingBlanks)
    : lines_(filetext::splitLines(text)) {
  if (dropTrailingBlanks)
    while (!lines_.empty() && filetext::trim(lines_.back()).empty()) lines_.pop_back();
}

bool NumberedLines::take(std::string& line, std::string& error) {
  if (next_ >= lines_.size()) {
    error = lineLabel(lines_.size()) + "数据不完整";
    return false;
  }
  line = lines_[next_++];
  return true;
}

bool NumberedLines::items(std::size_t need, std::vector<std::string>& out, std::string& error) {
  std::string line;
  if (!take(line, error)) return false;
  out = lineItems(line);
  if (out.size() < need) {
    error = lineLabel(index()) + "数据不完整";
    return false;
  }
  return true;
}

bool NumberedLines::parseNumber(const std::string& item, double& v) {
  return filetext::parseDouble(item, v);
}

const char* NumberedLines::badInputText() { return kMsgBadInput; }

}  // namespace sarnoth::electric
