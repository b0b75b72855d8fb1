// Small helpers shared by the readers of the work area's text and binary files: whole-file
// reading through the path resolver, line splitting that accepts CR LF and LF, and item parsing
// as stream input reads numbers (blanks around an item allowed, other trailing text not).
#pragma once

#include <string>
#include <vector>

namespace sarnoth::filetext {

// The file's bytes; false when it cannot be opened or read.
bool readWholeFile(const std::string& path, std::string& bytes);
// Writes the bytes, replacing the file; false when it cannot be written.
bool writeWholeFile(const std::string& path, const std::string& bytes);
// Lines without their CR LF or LF; a final line break makes no empty last line.
std::vector<std::string> splitLines(const std::string& text);
// Blanks, tabs and line breaks removed at both ends.
std::string trim(const std::string& s);
bool parseDouble(const std::string& item, double& v);
bool parseFloat(const std::string& item, float& v);
bool parseInt(const std::string& item, long long& v);
// Items separated by one or more blanks or tabs.
std::vector<std::string> splitBlanks(const std::string& line);
// Items between each occurrence of `sep`, empty ones kept.
std::vector<std::string> splitAt(const std::string& line, char sep);

}  // namespace sarnoth::filetext
