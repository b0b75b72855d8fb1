// The one text codec of the program. Strings are UTF-8 inside; files the system reads or writes
// as text are GBK (the Chinese ANSI code page) at the boundary. Readers also accept UTF-8 files.
#pragma once

#include <string>
#include <string_view>

namespace sarnoth {

// UTF-8 → GBK bytes. Characters GBK cannot hold become '?'.
std::string utf8ToGbk(std::string_view utf8);
// The same, adding to `replaced` the number of characters that became '?'.
std::string utf8ToGbk(std::string_view utf8, std::size_t* replaced);
// GBK bytes → UTF-8. Invalid sequences become U+FFFD.
std::string gbkToUtf8(std::string_view gbk);
// True when the bytes are well-formed UTF-8 (pure ASCII counts).
bool isValidUtf8(std::string_view bytes);
// Text read from a file: UTF-8 when it is valid UTF-8 (a BOM is dropped), else GBK.
std::string decodeFileText(std::string_view bytes);
// The choice decodeFileText makes: true when `bytes` read as UTF-8 (for a reader that decodes a
// file block by block and decides on the first block that is not plain ASCII).
bool decodesAsUtf8(std::string_view bytes);

// A fixed-width text field of a binary file: the GBK bytes of `utf8`, cut on a character
// boundary so that at most `width` bytes are used, then padded with blanks to `width`.
std::string gbkFixedField(std::string_view utf8, std::size_t width, char pad = ' ');
// Reads such a field back: bytes up to the first NUL, trailing blanks removed, GBK decoded.
std::string readGbkField(std::string_view bytes);

}  // namespace sarnoth
