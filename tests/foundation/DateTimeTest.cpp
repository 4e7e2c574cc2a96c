// File times, calendar times and their text form, across the whole range of
// file times and at the edges of every field.
#include <gtest/gtest.h>
#include <zsff/DateTime.h>

#include <climits>
#include <ctime>

#include "foundation/TextConversion.h"

using zsff::SYSTEMTIME;

namespace {

constexpr long long kTicksPerSecond = 10000000;
constexpr long long kTicksPerDay = 86400 * kTicksPerSecond;
constexpr long long kUnixEpoch = 116444736000000000LL;  // 1970-01-01 as a file time

SYSTEMTIME Date(int year, int month, int day, int hour = 0, int minute = 0, int second = 0,
                int millis = 0) {
  SYSTEMTIME t{};
  t.wYear = static_cast<unsigned short>(year);
  t.wMonth = static_cast<unsigned short>(month);
  t.wDay = static_cast<unsigned short>(day);
  t.wHour = static_cast<unsigned short>(hour);
  t.wMinute = static_cast<unsigned short>(minute);
  t.wSecond = static_cast<unsigned short>(second);
  t.wMilliseconds = static_cast<unsigned short>(millis);
  return t;
}

// Every field but the day of week, which the text form doesn't carry.
void ExpectSameDate(const SYSTEMTIME& a, const SYSTEMTIME& b) {
  EXPECT_EQ(a.wYear, b.wYear);
  EXPECT_EQ(a.wMonth, b.wMonth);
  EXPECT_EQ(a.wDay, b.wDay);
  EXPECT_EQ(a.wHour, b.wHour);
  EXPECT_EQ(a.wMinute, b.wMinute);
  EXPECT_EQ(a.wSecond, b.wSecond);
  EXPECT_EQ(a.wMilliseconds, b.wMilliseconds);
}

}  // namespace

TEST(DateTimeTest, FileTimeAgreesWithTheCLibraryCalendar) {
  // gmtime_r is an independent proleptic Gregorian calendar; step through the
  // whole range of file times by an odd stride so that every month, weekday,
  // leap rule (1700, 1900 and 2100 are not leap years; 2000 is) and time of day
  // is met.
  const long long stride = 4294967291LL * 977;  // about 4.9 days, not a whole second
  int checked = 0;
  for (long long ft = 0; ft <= LLONG_MAX - stride; ft += stride) {
    SYSTEMTIME st;
    ASSERT_TRUE(zsff::FileTimeToSystemTime(ft, st));
    const long long ticksFromEpoch = ft - kUnixEpoch;
    long long seconds = ticksFromEpoch / kTicksPerSecond;
    if (ticksFromEpoch % kTicksPerSecond < 0) --seconds;  // floor, for dates before 1970
    const std::time_t t = static_cast<std::time_t>(seconds);
    std::tm tm{};
    ASSERT_NE(gmtime_r(&t, &tm), nullptr);
    ASSERT_EQ(st.wYear, tm.tm_year + 1900) << ft;
    ASSERT_EQ(st.wMonth, tm.tm_mon + 1) << ft;
    ASSERT_EQ(st.wDay, tm.tm_mday) << ft;
    ASSERT_EQ(st.wDayOfWeek, tm.tm_wday) << ft;
    ASSERT_EQ(st.wHour, tm.tm_hour) << ft;
    ASSERT_EQ(st.wMinute, tm.tm_min) << ft;
    ASSERT_EQ(st.wSecond, tm.tm_sec) << ft;
    ASSERT_EQ(st.wMilliseconds, ft % kTicksPerSecond / 10000) << ft;

    // And back, to the millisecond.
    long long back = -2;
    ASSERT_TRUE(zsff::SystemTimeToFileTime(st, back)) << ft;
    ASSERT_EQ(back, ft - ft % 10000) << ft;
    ++checked;
  }
  EXPECT_GT(checked, 2000000);
}

TEST(DateTimeTest, FileTimeRangeEnds) {
  SYSTEMTIME st;
  ASSERT_TRUE(zsff::FileTimeToSystemTime(0, st));
  ExpectSameDate(st, Date(1601, 1, 1));
  EXPECT_EQ(st.wDayOfWeek, 1);  // a Monday

  ASSERT_TRUE(zsff::FileTimeToSystemTime(LLONG_MAX, st));
  ExpectSameDate(st, Date(30828, 9, 14, 2, 48, 5, 477));
  long long ft = 0;
  ASSERT_TRUE(zsff::SystemTimeToFileTime(st, ft));
  EXPECT_EQ(ft, LLONG_MAX - LLONG_MAX % 10000);
  EXPECT_EQ(zsff::FileTimeToString(LLONG_MAX), u"30828-09-14T02:48:05.477Z");

  // Past the last file time, and before the first: refused, output untouched.
  SYSTEMTIME marker = Date(2000, 2, 3);
  marker.wDayOfWeek = 6;
  st = marker;
  EXPECT_FALSE(zsff::FileTimeToSystemTime(-1, st));
  EXPECT_FALSE(zsff::FileTimeToSystemTime(LLONG_MIN, st));
  ExpectSameDate(st, marker);
  EXPECT_EQ(st.wDayOfWeek, 6);
  EXPECT_TRUE(zsff::FileTimeToString(-1).empty());
  EXPECT_TRUE(zsff::FileTimeToString(LLONG_MIN).empty());

  ft = 42;
  EXPECT_FALSE(zsff::SystemTimeToFileTime(Date(30828, 9, 14, 2, 48, 5, 478), ft));
  EXPECT_FALSE(zsff::SystemTimeToFileTime(Date(65535, 12, 31), ft));
  EXPECT_FALSE(zsff::SystemTimeToFileTime(Date(1600, 12, 31, 23, 59, 59, 999), ft));
  EXPECT_EQ(ft, 42);
}

TEST(DateTimeTest, InvalidFieldsAreRefused) {
  long long ft = 42;
  EXPECT_TRUE(zsff::SystemTimeToFileTime(Date(2000, 2, 29), ft));
  EXPECT_EQ(ft, kUnixEpoch + (365LL * 30 + 7 + 59) * kTicksPerDay);
  EXPECT_TRUE(zsff::SystemTimeToFileTime(Date(1999, 12, 31, 23, 59, 59, 999), ft));

  // The day of week is not looked at.
  SYSTEMTIME odd = Date(2024, 1, 31);
  odd.wDayOfWeek = 65535;
  EXPECT_TRUE(zsff::SystemTimeToFileTime(odd, ft));
  SYSTEMTIME st;
  ASSERT_TRUE(zsff::FileTimeToSystemTime(ft, st));
  EXPECT_EQ(st.wDayOfWeek, 3);  // a Wednesday

  ft = 42;
  for (const SYSTEMTIME& bad :
       {Date(2024, 0, 1), Date(2024, 13, 1), Date(2024, 1, 0), Date(2024, 1, 32), Date(2023, 2, 29),
        Date(1900, 2, 29), Date(2024, 4, 31), Date(2024, 1, 1, 24), Date(2024, 1, 1, 0, 60),
        Date(2024, 1, 1, 0, 0, 60), Date(2024, 1, 1, 0, 0, 0, 1000), Date(0, 1, 1), SYSTEMTIME{}}) {
    EXPECT_FALSE(zsff::SystemTimeToFileTime(bad, ft)) << zsff::SystemTimeToString(bad);
  }
  EXPECT_EQ(ft, 42);
}

TEST(DateTimeTest, TextFormRoundTrips) {
  const SYSTEMTIME date = Date(2024, 1, 31, 10, 20, 30, 5);
  EXPECT_EQ(zsff::SystemTimeToString(date), "2024-01-31T10:20:30.005Z");
  EXPECT_EQ(zsff::SystemTimeToStringW(date), u"2024-01-31T10:20:30.005Z");
  ExpectSameDate(zsff::StringToSystemTime(zsff::SystemTimeToString(date)), date);
  ExpectSameDate(zsff::StringWToSystemTime(zsff::SystemTimeToStringW(date)), date);
  EXPECT_EQ(zsff::StringToSystemTime("2024-01-31T10:20:30.005Z").wDayOfWeek, 0);

  // File time -> text -> file time keeps every millisecond, up to the last
  // year that four digits hold.
  const long long lastOfYear9999 = 2650467743999990000LL + 9999;
  for (long long ft : {0LL, kUnixEpoch + 1234, 133515648305000000LL, lastOfYear9999}) {
    const long long ms = ft - ft % 10000;
    const std::u16string text = zsff::FileTimeToString(ft);
    EXPECT_EQ(text.size(), 24u);
    EXPECT_EQ(zsff::StringWToFileTime(text), ms);
    EXPECT_EQ(zsff::StringToFileTime(zsff::WideToUtf8(text)), ms);
  }
  EXPECT_EQ(zsff::StringToFileTime("1601-01-01T00:00:00.000Z"), 0);

  // Text that stops early leaves the fields it doesn't reach at 0.
  SYSTEMTIME partial = zsff::StringToSystemTime("2024-01-31");
  ExpectSameDate(partial, Date(2024, 1, 31));
  EXPECT_EQ(zsff::StringToFileTime("2024-01-31"),
            zsff::StringToFileTime("2024-01-31T00:00:00.000Z"));

  // Impossible or unreadable dates give -1; nothing is read from a null pointer.
  for (const char* bad : {"2024-13-01T00:00:00.000Z", "2023-02-29T00:00:00.000Z",
                          "1600-12-31T23:59:59.999Z", "yesterday", ""}) {
    EXPECT_EQ(zsff::StringToFileTime(std::string(bad)), -1) << bad;
  }
  EXPECT_EQ(zsff::StringToFileTime(static_cast<const char*>(nullptr)), -1);
  EXPECT_EQ(zsff::StringWToFileTime(static_cast<const char16_t*>(nullptr)), -1);
  ExpectSameDate(zsff::StringToSystemTime(static_cast<const char*>(nullptr)), SYSTEMTIME{});
  ExpectSameDate(zsff::StringWToSystemTime(std::u16string()), SYSTEMTIME{});

  // Nonsense fields print whole rather than being cut.
  const SYSTEMTIME wide = Date(65535, 65535, 65535, 65535, 65535, 65535, 65535);
  EXPECT_EQ(zsff::SystemTimeToString(wide), "65535-65535-65535T65535:65535:65535.65535Z");
}

TEST(DateTimeTest, CurrentTimeFollowsTheSystemClock) {
  const std::time_t before = std::time(nullptr);
  const long long now = zsff::GetSystemTimeAsFileTime();
  const std::time_t after = std::time(nullptr);
  const long long seconds = (now - kUnixEpoch) / kTicksPerSecond;
  EXPECT_GE(seconds, static_cast<long long>(before));
  EXPECT_LE(seconds, static_cast<long long>(after) + 1);

  const SYSTEMTIME st = zsff::GetSystemTime();
  long long ft = 0;
  ASSERT_TRUE(zsff::SystemTimeToFileTime(st, ft));
  EXPECT_GE(ft / kTicksPerSecond, now / kTicksPerSecond);
}
