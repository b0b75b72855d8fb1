// The null value of tables, grids and text files: -1E+38 held as a single-precision number
// (bit pattern FE967699). Text files write it as "-1E+38".
//
// Each tool keeps its own test for it, because the tests differ at the edges; the helpers below
// name the common ones so that a tool states which it uses.
#pragma once

#include <cstdint>
#include <cstring>

namespace sarnoth {

inline constexpr float NULL_VALUE = -1e38f;
inline constexpr double NULL_VALUE_D = static_cast<double>(NULL_VALUE);
inline constexpr const char* NULL_TEXT = "-1E+38";

// The common test: a value at most -1E+30 is null.
inline bool isNullValue(double v) { return v <= -1e30; }
// Exactly the float null, as the converters test it.
inline bool isExactNull(float v) { return v == NULL_VALUE; }
// The common test the other way round: a value above -1E+30 is data; NaN is not.
inline bool isDataValue(double v) { return v > -1e30; }
// "value > limit counts as data" for the tools that use another limit (-1E+31 … -1E+37).
inline bool isDataAbove(double v, double limit) { return v > limit; }
// "value >= limit counts as data" for the tools whose test keeps the limit itself (the azimuth
// search and median gridding, the spectral statistics: -1E+30 as a single is data there).
inline bool isDataFrom(double v, double limit) { return v >= limit; }

inline std::uint32_t floatBits(float v) {
  std::uint32_t u;
  std::memcpy(&u, &v, sizeof u);
  return u;
}

}  // namespace sarnoth
