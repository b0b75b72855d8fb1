#include "workarea/grid_text.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>

namespace sarnoth {

namespace {

constexpr std::size_t kReadBuffer = 1 << 20;
constexpr std::size_t kWriteBuffer = 4 << 20;
// No number item is longer than this; a longer run of characters is not a number.
constexpr std::size_t kMaxNumberItem = 128;
// Text items and lines longer than these are not what any grid format holds: the read fails
// rather than take a binary file into memory.
constexpr std::size_t kMaxTextItem = 4096;
constexpr std::size_t kMaxLine = 1 << 16;

bool isBlank(char c) { return c == ' ' || c == '\t'; }
bool isBreak(char c) { return c == '\r' || c == '\n'; }

}  // namespace

// ------------------------------------------------------------------------------- ItemReader

ItemReader::~ItemReader() {
  if (file_) std::fclose(file_);
}

bool ItemReader::open(const std::string& path) {
  if (file_) std::fclose(file_);
  file_ = std::fopen(path.c_str(), "rb");
  if (!file_) return false;
  std::error_code ec;
  auto sz = std::filesystem::file_size(path, ec);
  size_ = ec ? 0 : static_cast<std::int64_t>(sz);
  buf_.assign(kReadBuffer, 0);
  pos_ = end_ = 0;
  consumed_ = 0;
  eof_ = false;
  fill(3);
  if (end_ >= 3 && std::memcmp(buf_.data(), "\xEF\xBB\xBF", 3) == 0) pos_ = 3;
  return true;
}

std::int64_t ItemReader::remaining() const {
  std::int64_t left = size_ - (consumed_ + static_cast<std::int64_t>(pos_));
  return left > 0 ? left : 0;
}

bool ItemReader::fill(std::size_t want) {
  if (end_ - pos_ >= want) return true;
  if (eof_ || !file_) return end_ > pos_;
  if (pos_ > 0) {
    std::memmove(buf_.data(), buf_.data() + pos_, end_ - pos_);
    consumed_ += static_cast<std::int64_t>(pos_);
    end_ -= pos_;
    pos_ = 0;
  }
  while (end_ < buf_.size() && end_ - pos_ < want) {
    std::size_t got = std::fread(buf_.data() + end_, 1, buf_.size() - end_, file_);
    if (got == 0) {
      eof_ = true;
      break;
    }
    end_ += got;
  }
  return end_ > pos_;
}

void ItemReader::skipBlanks() {
  while (fill(1) && isBlank(buf_[pos_])) ++pos_;
}

void ItemReader::skipLineBreaks() {
  while (fill(1) && (isBlank(buf_[pos_]) || isBreak(buf_[pos_]))) ++pos_;
}

bool ItemReader::numberToken(std::string_view& tok) {
  skipLineBreaks();
  if (!fill(kMaxNumberItem + 1)) return false;
  std::size_t i = pos_;
  while (i < end_ && !isBlank(buf_[i]) && !isBreak(buf_[i]) && buf_[i] != ',') ++i;
  if (i - pos_ > kMaxNumberItem) return false;
  tok = std::string_view(buf_.data() + pos_, i - pos_);
  if (!tok.empty() && tok.front() == '+') tok.remove_prefix(1);
  return true;
}

void ItemReader::endItem(std::string_view tok) {
  pos_ = static_cast<std::size_t>(tok.data() + tok.size() - buf_.data());
  skipBlanks();
  if (fill(1) && buf_[pos_] == ',') ++pos_;
}

bool ItemReader::readDouble(double& out) {
  std::string_view tok;
  if (!numberToken(tok)) return false;
  if (tok.empty()) {
    out = 0;  // an empty item between commas
  } else {
    auto r = std::from_chars(tok.data(), tok.data() + tok.size(), out);
    if (r.ec == std::errc::result_out_of_range) {
      out = tok.front() == '-' ? -HUGE_VAL : HUGE_VAL;
    } else if (r.ec != std::errc() || r.ptr != tok.data() + tok.size()) {
      return false;
    }
  }
  endItem(tok);
  return true;
}

bool ItemReader::readFloat(float& out) {
  std::string_view tok;
  if (!numberToken(tok)) return false;
  if (tok.empty()) {
    out = 0;
  } else {
    const char* e = tok.data() + tok.size();
    auto r = std::from_chars(tok.data(), e, out);
    if (r.ec == std::errc::result_out_of_range) {
      // Beyond the single range stream input fails too; a value that merely underflows is 0.
      double d = 0;
      auto rd = std::from_chars(tok.data(), e, d);
      if (rd.ec != std::errc() || rd.ptr != e || std::abs(d) > 1) return false;
      out = static_cast<float>(d);
    } else if (r.ec != std::errc() || r.ptr != e) {
      return false;
    }
  }
  endItem(tok);
  return true;
}

bool ItemReader::readText(std::string& out) {
  out.clear();
  skipLineBreaks();
  if (!fill(1)) return false;
  if (buf_[pos_] == '"') {
    ++pos_;
    while (fill(1) && buf_[pos_] != '"' && !isBreak(buf_[pos_])) {
      if (out.size() >= kMaxTextItem) return false;
      out.push_back(buf_[pos_++]);
    }
    if (fill(1) && buf_[pos_] == '"') ++pos_;
  } else {
    while (fill(1) && buf_[pos_] != ',' && !isBreak(buf_[pos_])) {
      if (out.size() >= kMaxTextItem) return false;
      out.push_back(buf_[pos_++]);
    }
    while (!out.empty() && isBlank(out.back())) out.pop_back();
  }
  skipBlanks();
  if (fill(1) && buf_[pos_] == ',') ++pos_;
  return true;
}

int ItemReader::peek() {
  skipLineBreaks();
  return fill(1) ? static_cast<unsigned char>(buf_[pos_]) : -1;
}

std::string ItemReader::peekWord() {
  skipLineBreaks();
  fill(kMaxNumberItem + 1);
  std::size_t i = pos_;
  while (i < end_ && i - pos_ <= kMaxNumberItem && !isBlank(buf_[i]) && !isBreak(buf_[i]) &&
         buf_[i] != ',')
    ++i;
  return std::string(buf_.data() + pos_, i - pos_);
}

bool ItemReader::readLine(std::string& out) {
  out.clear();
  if (!fill(1)) return false;
  while (fill(1) && buf_[pos_] != '\n') {
    if (out.size() >= kMaxLine) return false;
    out.push_back(buf_[pos_++]);
  }
  if (fill(1)) ++pos_;  // the LF
  if (!out.empty() && out.back() == '\r') out.pop_back();
  return true;
}

// ------------------------------------------------------------------------------- TextWriter

TextWriter::~TextWriter() {
  if (file_) discard();
}

bool TextWriter::open(const std::string& path) {
  if (file_) discard();
  path_ = path;
  file_ = std::fopen(path.c_str(), "wb");
  if (!file_) return false;
  buf_.assign(kWriteBuffer, 0);
  used_ = 0;
  failed_ = false;
  return true;
}

void TextWriter::flush() {
  if (!file_ || used_ == 0) return;
  if (std::fwrite(buf_.data(), 1, used_, file_) != used_) failed_ = true;
  used_ = 0;
}

bool TextWriter::close() {
  if (!file_) return false;
  flush();
  if (std::fclose(file_) != 0) failed_ = true;
  file_ = nullptr;
  if (failed_) {
    std::error_code ec;
    std::filesystem::remove(path_, ec);
  }
  return !failed_;
}

void TextWriter::discard() {
  if (file_) std::fclose(file_);
  file_ = nullptr;
  std::error_code ec;
  std::filesystem::remove(path_, ec);
}

TextWriter& TextWriter::text(std::string_view s) {
  if (s.size() > buf_.size()) {
    flush();
    if (file_ && std::fwrite(s.data(), 1, s.size(), file_) != s.size()) failed_ = true;
    return *this;
  }
  reserve(s.size());
  std::memcpy(buf_.data() + used_, s.data(), s.size());
  used_ += s.size();
  return *this;
}

TextWriter& TextWriter::ch(char c) {
  reserve(1);
  buf_[used_++] = c;
  return *this;
}

TextWriter& TextWriter::num(float v) {
  reserve(32);
  used_ = static_cast<std::size_t>(formatFloat(buf_.data() + used_, v) - buf_.data());
  return *this;
}

TextWriter& TextWriter::integer(long long v) {
  reserve(24);
  auto r = std::to_chars(buf_.data() + used_, buf_.data() + used_ + 24, v);
  used_ = static_cast<std::size_t>(r.ptr - buf_.data());
  return *this;
}

char* formatFloat(char* out, float v) {
  auto r = std::to_chars(out, out + 32, v);
  for (char* p = out; p < r.ptr; ++p)
    if (*p == 'e') {
      *p = 'E';
      break;
    }
  return r.ptr;
}

}  // namespace sarnoth
