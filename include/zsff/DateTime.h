// Dates as the library stores them: file times (signed 64-bit counts of 100 ns
// since 1601-01-01, UTC), broken-down SYSTEMTIME structures, and one fixed text
// form, "2024-01-31T10:20:30.005Z". Everything is UTC; there are no time zones.
//
// Nothing here throws or keeps state. Conversions that can fail report it in
// their result as stated; the text functions give a best-effort result.
#pragma once

#include <string>
#include <zsff/Export.h>

namespace zsff {

// A broken-down UTC time. Day of week: Sunday is 0.
struct ZSFF_API SYSTEMTIME {
  unsigned short wYear;
  unsigned short wMonth;
  unsigned short wDayOfWeek;
  unsigned short wDay;
  unsigned short wHour;
  unsigned short wMinute;
  unsigned short wSecond;
  unsigned short wMilliseconds;
};

// File time to calendar time, every field filled, the day of week included;
// the 100 ns ticks below a millisecond are cut off. Every non-negative file
// time converts (the last one lies in the year 30828). A negative file time
// returns false and leaves `out` untouched.
ZSFF_API bool FileTimeToSystemTime(long long fileTime, SYSTEMTIME& out);

// Calendar time to file time; wDayOfWeek is not looked at. Returns false and
// leaves `out` untouched for an invalid field (year before 1601, month outside
// 1..12, day outside the month, hour above 23, minute or second above 59,
// milliseconds above 999) or a date beyond the last file time.
ZSFF_API bool SystemTimeToFileTime(const SYSTEMTIME& time, long long& out);

// The current UTC time, from the system clock.
ZSFF_API SYSTEMTIME GetSystemTime();
ZSFF_API long long GetSystemTimeAsFileTime();

// "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ" of the fields; the day of week isn't
// shown. A valid date gives 24 characters.
ZSFF_API std::string SystemTimeToString(const SYSTEMTIME& time);
ZSFF_API std::u16string SystemTimeToStringW(const SYSTEMTIME& time);

// Reads the text form back. Fields the text doesn't reach, and the day of
// week, are 0; each field keeps the low 16 bits of what was read. The text is
// expected to come from SystemTimeToString: nothing is validated here. The year
// is read from four digits at most, so the years beyond 9999 that file times
// reach don't read back. A null pointer reads as an empty text.
ZSFF_API SYSTEMTIME StringToSystemTime(const std::string& text);
ZSFF_API SYSTEMTIME StringToSystemTime(const char* text);
ZSFF_API SYSTEMTIME StringWToSystemTime(const std::u16string& text);
ZSFF_API SYSTEMTIME StringWToSystemTime(const char16_t* text);

// The text form of a file time; empty for a negative file time.
ZSFF_API std::u16string FileTimeToString(long long fileTime);

// The file time of a text form; -1 when the text doesn't give a valid date
// (SystemTimeToFileTime refuses it), an empty text or null pointer included.
ZSFF_API long long StringToFileTime(const std::string& text);
ZSFF_API long long StringToFileTime(const char* text);
ZSFF_API long long StringWToFileTime(const std::u16string& text);
ZSFF_API long long StringWToFileTime(const char16_t* text);

}  // namespace zsff
