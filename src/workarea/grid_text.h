// Text input and output for the grid exchange formats.
//
// ItemReader reads a text file the way the system's stream input does: numbers end at a blank,
// a comma or a line end, one comma after an item is its separator, empty lines are skipped, so a
// value list may be comma- or blank-separated and broken over lines at will. Text items end at a
// comma or a line end. The file is read through a fixed buffer, never whole.
//
// TextWriter collects text in a large buffer and writes numbers with the shortest text of a
// single-precision value (std::to_chars, exponent in upper case as the system prints it:
// "-1E+38", "1.70141E+38"). Lines end in CR LF, as the system's text files do.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace sarnoth {

class ItemReader {
 public:
  ItemReader() = default;
  ~ItemReader();
  ItemReader(const ItemReader&) = delete;
  ItemReader& operator=(const ItemReader&) = delete;

  bool open(const std::string& path);
  bool isOpen() const { return file_ != nullptr; }
  // Size of the file in bytes, and the bytes not yet consumed.
  std::int64_t size() const { return size_; }
  std::int64_t remaining() const;

  // A text item: up to a comma or the line end, blanks trimmed; a quoted item keeps its blanks.
  bool readText(std::string& out);
  // A number item. False at the end of the file or when the item is not a number; an empty item
  // between two commas reads as 0, as stream input gives it.
  bool readFloat(float& out);
  bool readDouble(double& out);
  // The next character after blanks and line breaks, not consumed; -1 at the end of the file.
  int peek();
  // The rest of the current line (without CR LF), or the next line when at a line start.
  bool readLine(std::string& out);
  // The next word (up to a blank, comma or line break) after blanks and line breaks, not
  // consumed; empty at the end of the file.
  std::string peekWord();

 private:
  bool fill(std::size_t want);
  void skipBlanks();      // blanks and tabs
  void skipLineBreaks();  // blanks, tabs, CR and LF
  // The next number item in the buffer (a leading '+' dropped), not yet consumed.
  bool numberToken(std::string_view& tok);
  // Consumes the item and its separator.
  void endItem(std::string_view tok);

  std::FILE* file_ = nullptr;
  std::vector<char> buf_;
  std::size_t pos_ = 0, end_ = 0;
  std::int64_t consumed_ = 0;  // bytes before buf_[0]
  std::int64_t size_ = 0;
  bool eof_ = false;
};

class TextWriter {
 public:
  TextWriter() = default;
  ~TextWriter();
  TextWriter(const TextWriter&) = delete;
  TextWriter& operator=(const TextWriter&) = delete;

  bool open(const std::string& path);
  // Flushes and closes; false when any write failed. The file is removed on failure.
  bool close();
  // Closes and removes the file (a failed conversion leaves nothing behind).
  void discard();

  TextWriter& text(std::string_view s);
  TextWriter& ch(char c);
  TextWriter& num(float v);
  TextWriter& integer(long long v);
  TextWriter& eol() { return text("\r\n"); }

 private:
  void reserve(std::size_t n) {
    if (used_ + n > buf_.size()) flush();
  }
  void flush();

  std::FILE* file_ = nullptr;
  std::string path_;
  std::vector<char> buf_;
  std::size_t used_ = 0;
  bool failed_ = false;
};

// The shortest text of a single-precision value, exponent in upper case. `out` holds 32 bytes.
// (scatter_file.h's floatText gives the same text as a string.)
char* formatFloat(char* out, float v);

}  // namespace sarnoth
