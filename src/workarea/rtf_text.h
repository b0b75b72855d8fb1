// Rich-text files (RTF 1.x) for the text reports the tools save: plain paragraphs in one
// monospaced font, as the reports are laid out in columns of blanks.
//
// Writing: a document in the Chinese code page (\ansicpg936) with the font table's one fixed-pitch
// font (\fmodern\fprq1, "NSimSun" 新宋体, GB2312 character set 134) at 10 points. Every line of
// the text becomes a paragraph ended by \par; ASCII passes as it is, with \ { } escaped and tabs
// as \tab; every other character is a \uN escape (N the signed UTF-16 unit, surrogate pairs as
// two) with '?' as the one fallback byte (\uc1). Word processors and the rich-text controls of
// both platforms read it; blanks are kept, so the columns stand.
//
// Reading: the text of an RTF document with \par and \line as line ends, \tab, \uN with the \ucN
// fallback skipped, \'hh bytes decoded in the document's code page (936, the default, or 1252
// for \ansicpg1252; others as 936), the escapes \\ \{ \}, and the destinations that hold no body
// text skipped (font, colour and style tables, info, pictures, headers, footers and every \*
// group). Not an RTF document (no "{\rtf" at the start), unbalanced groups or a truncated escape
// give no text.
#pragma once

#include <optional>
#include <string>

namespace sarnoth {

// The RTF document of a UTF-8 text.
std::string textToRtf(const std::string& utf8);

// The UTF-8 text of an RTF document; nullopt when it is not one.
std::optional<std::string> rtfToText(const std::string& rtf);

// Writes textToRtf(utf8) to `path`; false when the file cannot be written.
bool writeRtfFile(const std::string& path, const std::string& utf8);

}  // namespace sarnoth
