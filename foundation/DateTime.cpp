// Calendar arithmetic for file times, written out because the platform has no
// file-time service. Dates are proleptic Gregorian, counted in days from
// 1601-01-01 (a Monday), and the checks refuse the same inputs the original
// platform's service refused, so stored dates read back identically.
#include <zsff/DateTime.h>

#include <chrono>
#include <climits>
#include <cstdio>

#include "foundation/TextConversion.h"

namespace zsff {
namespace {

constexpr long long kTicksPerMillisecond = 10000;
constexpr long long kTicksPerSecond = 1000 * kTicksPerMillisecond;
constexpr long long kTicksPerDay = 86400 * kTicksPerSecond;
// Days from 0000-03-01 (the start of the shifted calendar below) to 1601-01-01.
constexpr long long kDaysBefore1601 = 584694;
// 1970-01-01 as a file time.
constexpr long long kUnixEpochTicks = 116444736000000000LL;

bool IsLeapYear(unsigned year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

unsigned DaysInMonth(unsigned year, unsigned month) {
  static const unsigned char kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeapYear(year) ? 29 : kDays[month - 1];
}

// The year is counted from March, so that the leap day ends it: days of a
// shifted year are then a plain function of the month. Valid for any year >= 1.
long long DaysFrom1601(unsigned year, unsigned month, unsigned day) {
  const long long y = static_cast<long long>(year) - (month <= 2 ? 1 : 0);
  const long long era = y / 400;
  const long long yearOfEra = y - era * 400;
  const long long shiftedMonth = month > 2 ? month - 3 : month + 9;
  const long long dayOfYear = (153 * shiftedMonth + 2) / 5 + day - 1;
  const long long dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + dayOfEra - kDaysBefore1601;
}

void CivilFromDays(long long days, unsigned& year, unsigned& month, unsigned& day) {
  const long long z = days + kDaysBefore1601;
  const long long era = z / 146097;
  const long long dayOfEra = z - era * 146097;
  const long long yearOfEra =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const long long dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const long long shiftedMonth = (5 * dayOfYear + 2) / 153;
  day = static_cast<unsigned>(dayOfYear - (153 * shiftedMonth + 2) / 5 + 1);
  month = static_cast<unsigned>(shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9);
  year = static_cast<unsigned>(yearOfEra + era * 400 + (month <= 2 ? 1 : 0));
}

}  // namespace

bool FileTimeToSystemTime(long long fileTime, SYSTEMTIME& out) {
  if (fileTime < 0) return false;
  const long long days = fileTime / kTicksPerDay;
  const long long millisOfDay = (fileTime % kTicksPerDay) / kTicksPerMillisecond;
  unsigned year, month, day;
  CivilFromDays(days, year, month, day);
  out.wYear = static_cast<unsigned short>(year);
  out.wMonth = static_cast<unsigned short>(month);
  out.wDayOfWeek = static_cast<unsigned short>((days + 1) % 7);  // 1601-01-01 was a Monday
  out.wDay = static_cast<unsigned short>(day);
  out.wHour = static_cast<unsigned short>(millisOfDay / 3600000);
  out.wMinute = static_cast<unsigned short>(millisOfDay / 60000 % 60);
  out.wSecond = static_cast<unsigned short>(millisOfDay / 1000 % 60);
  out.wMilliseconds = static_cast<unsigned short>(millisOfDay % 1000);
  return true;
}

bool SystemTimeToFileTime(const SYSTEMTIME& time, long long& out) {
  if (time.wYear < 1601 || time.wMonth < 1 || time.wMonth > 12 || time.wDay < 1 ||
      time.wDay > DaysInMonth(time.wYear, time.wMonth) || time.wHour > 23 || time.wMinute > 59 ||
      time.wSecond > 59 || time.wMilliseconds > 999) {
    return false;
  }
  const long long days = DaysFrom1601(time.wYear, time.wMonth, time.wDay);
  const long long ofDay =
      ((time.wHour * 60LL + time.wMinute) * 60 + time.wSecond) * kTicksPerSecond +
      time.wMilliseconds * kTicksPerMillisecond;
  // Late in the year 30828 the count no longer fits a signed 64-bit file time.
  if (days > (LLONG_MAX - ofDay) / kTicksPerDay) return false;
  out = days * kTicksPerDay + ofDay;
  return true;
}

long long GetSystemTimeAsFileTime() {
  using Ticks = std::chrono::duration<long long, std::ratio<1, 10000000>>;
  const auto sinceUnixEpoch =
      std::chrono::duration_cast<Ticks>(std::chrono::system_clock::now().time_since_epoch());
  return kUnixEpochTicks + sinceUnixEpoch.count();
}

SYSTEMTIME GetSystemTime() {
  SYSTEMTIME now{};
  FileTimeToSystemTime(GetSystemTimeAsFileTime(), now);
  return now;
}

std::string SystemTimeToString(const SYSTEMTIME& time) {
  // Room for every field at its widest, so that even nonsense fields print whole.
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02dT%02d:%02d:%02d", time.wYear, time.wMonth,
                time.wDay, time.wHour, time.wMinute, time.wSecond);
  std::string text(buffer);
  text += ".";
  std::snprintf(buffer, sizeof buffer, "%03dZ", time.wMilliseconds);
  text += buffer;
  return text;
}

std::u16string SystemTimeToStringW(const SYSTEMTIME& time) {
  return Utf8ToWide(SystemTimeToString(time));
}

SYSTEMTIME StringToSystemTime(const std::string& text) { return StringToSystemTime(text.c_str()); }

SYSTEMTIME StringToSystemTime(const char* text) {
  int fields[7] = {0, 0, 0, 0, 0, 0, 0};
  if (text != nullptr) {
    // The widths bound every number to four characters, so none can overflow.
    std::sscanf(text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", &fields[0], &fields[1], &fields[2],
                &fields[3], &fields[4], &fields[5], &fields[6]);
  }
  SYSTEMTIME time{};
  time.wYear = static_cast<unsigned short>(fields[0]);
  time.wMonth = static_cast<unsigned short>(fields[1]);
  time.wDay = static_cast<unsigned short>(fields[2]);
  time.wHour = static_cast<unsigned short>(fields[3]);
  time.wMinute = static_cast<unsigned short>(fields[4]);
  time.wSecond = static_cast<unsigned short>(fields[5]);
  time.wMilliseconds = static_cast<unsigned short>(fields[6]);
  return time;
}

SYSTEMTIME StringWToSystemTime(const std::u16string& text) {
  return StringToSystemTime(WideToUtf8(text));
}

SYSTEMTIME StringWToSystemTime(const char16_t* text) {
  return StringToSystemTime(WideToUtf8(text));
}

std::u16string FileTimeToString(long long fileTime) {
  SYSTEMTIME time;
  if (!FileTimeToSystemTime(fileTime, time)) return std::u16string();
  return SystemTimeToStringW(time);
}

long long StringToFileTime(const std::string& text) { return StringToFileTime(text.c_str()); }

long long StringToFileTime(const char* text) {
  long long fileTime;
  if (!SystemTimeToFileTime(StringToSystemTime(text), fileTime)) return -1;
  return fileTime;
}

long long StringWToFileTime(const std::u16string& text) {
  return StringToFileTime(WideToUtf8(text));
}

long long StringWToFileTime(const char16_t* text) { return StringToFileTime(WideToUtf8(text)); }

}  // namespace zsff
