// Number texts of the statistical tools' reports and lists, as the tools have always written
// them.
//
//  - singleText: the shortest text of a single-precision value, seven significant digits at
//    most, trailing zeros dropped, an exponent form ("1.5E+08", "2.5E-05") where the plain one
//    would need an exponent beyond 6 or below -5. "-1E+38" for the null.
//  - doubleText: the same with fifteen significant digits, for double-precision results such as
//    the averages the database returns. Exponent form from 1E+15 and below 1E-05.
//  - fixedText: a picture format with a fixed number of decimals and at least one digit before
//    the point ("#0.0000", "0.000"), rounded half away from zero; no "-0.0000".
// Infinite values print as "1.#INF" or "-1.#INF" and NaN as "-1.#IND", the texts the reports of
// the original tools showed; the tools check their inputs so that a report never meets them.
#pragma once

#include <string>

namespace sarnoth::geochem {

std::string singleText(float v);
std::string doubleText(double v);
std::string fixedText(double v, int decimals);

}  // namespace sarnoth::geochem
