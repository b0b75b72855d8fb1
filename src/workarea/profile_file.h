// Reader of Windows private-profile files ("[Section]" headers, "key=value" lines), as the
// settings file dmxsysset.log and the work area's geomaps.inf are written.
//
// Section and key names match case-blind; blanks around keys and values are dropped; a value in
// matching quotes loses them; lines starting with ';' are comments. A value is cut to the
// caller's buffer: a buffer of n characters returns at most n - 1 characters, as the system's
// readers do. Files are GBK or UTF-8 text. A missing or unreadable file reads as empty.
#pragma once

#include <map>
#include <optional>
#include <string>

namespace sarnoth {

class ProfileFile {
 public:
  ProfileFile() = default;
  static ProfileFile load(const std::string& path);
  static ProfileFile parse(const std::string& text);

  bool loaded() const { return loaded_; }
  std::optional<std::string> value(const std::string& section, const std::string& key) const;

 private:
  // Keyed by upper-cased section and key; the first occurrence wins.
  std::map<std::string, std::map<std::string, std::string>> sections_;
  bool loaded_ = false;
};

// GetPrivateProfileString: the value, or `def` when the key is absent, cut to bufferSize - 1
// characters.
std::string getProfileString(const std::string& path, const std::string& section,
                             const std::string& key, const std::string& def,
                             std::size_t bufferSize);
// GetPrivateProfileInt: the value's leading integer, `def` when the key is absent, 0 when the
// value does not start with a number.
int getProfileInt(const std::string& path, const std::string& section, const std::string& key,
                  int def);

// Cuts UTF-8 text to at most `maxChars` characters.
std::string cutToChars(const std::string& utf8, std::size_t maxChars);

}  // namespace sarnoth
