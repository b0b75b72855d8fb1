// The run-time half of the store's Jet dialect: the SQLite functions, aggregates and the text
// collation that the translator (jet_sql.h) emits, and the value rules they share with it.
//
// Dates. A Jet date is a serial number of days since 1899-12-30 whose fraction is the time of day;
// before that day the integer part counts back and the fraction still runs forward in magnitude
// (-1.25 is 1899-12-29 06:00). Here dates are handled as a linear day count (that instant as a
// continuous number: -0.75 for the same moment) and stored as text, "YYYY-MM-DD" at midnight and
// "YYYY-MM-DD HH:MM:SS" otherwise, years 100 to 9999 as Jet allows.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

struct sqlite3;

namespace sarnoth::jet {

// Registers every jet_* function, the aggregates and the collation JETTEXT on a connection.
void registerRuntime(sqlite3* db);

inline constexpr const char* kCollation = "JETTEXT";

// Round half to even, as Jet rounds on conversion to an integer type and in Round.
double roundHalfEven(double x);

// Reads a date or time as Jet reads it: year first (1995-12-29, 1995/12/29), month first
// (12/29/1995), day first when the first number cannot be a month (29/12/1995), month names
// (29-Dec-1995, Dec 29 1995), an optional time "h:mm[:ss] [AM|PM]", or a time alone.
// `linearDays` gets the linear day count. False when the text is no date.
bool parseDate(std::string_view text, double& linearDays);
// The stored text of a date given as a linear day count; false outside the years 100–9999.
bool dateText(double linearDays, std::string& out);
// Jet's serial number of a linear day count and back.
double serialOfLinear(double linearDays);
double linearOfSerial(double serial);

// A number as Jet prints it: 7 significant digits for a SINGLE, 15 for a DOUBLE, exponents as
// "1E+38" and "1.5E-05".
std::string numberText(double v, bool single);

// A whole text read as a number (blanks around allowed, &H hex), as Jet converts text.
bool parseNumber(std::string_view text, double& out);

// Case-blind text comparison of the collation JETTEXT (<0, 0, >0).
int compareText(std::string_view a, std::string_view b);
std::string upperText(std::string_view s);
std::string lowerText(std::string_view s);

}  // namespace sarnoth::jet
