// Human forms of the numbers the tool prints.
#include "Format.h"

#include <zsff/DateTime.h>

#include <cmath>
#include <cstdarg>
#include <cstdio>

namespace zsff_tools {

std::string Printf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  va_list copy;
  va_copy(copy, args);
  const int length = std::vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  std::string text;
  if (length > 0) {
    text.resize(static_cast<std::size_t>(length) + 1);
    std::vsnprintf(&text[0], text.size(), format, args);
    text.resize(static_cast<std::size_t>(length));
  }
  va_end(args);
  return text;
}

std::string FormatBytes(double bytes) {
  static const char* const kUnits[] = {"B", "KiB", "MiB", "GiB", "TiB"};
  int unit = 0;
  while (std::fabs(bytes) >= 1024.0 && unit < 4) {
    bytes /= 1024.0;
    ++unit;
  }
  if (unit == 0) return Printf("%.0f B", bytes);
  // Three significant digits at least: "1.50 KiB", "22.1 MiB", "221.2 MiB".
  return Printf(bytes < 10.0 ? "%.2f %s" : "%.1f %s", bytes, kUnits[unit]);
}

std::string FormatRate(double bytesPerSecond) { return FormatBytes(bytesPerSecond) + "/s"; }

std::string FormatSeconds(double seconds, int decimals) {
  return Printf("%.*f", decimals, seconds);
}

std::string FormatClock(double seconds) {
  if (!(seconds >= 0.0)) seconds = 0.0;
  const long long total = static_cast<long long>(seconds + 0.5);
  const long long hours = total / 3600;
  const long long minutes = total / 60 % 60;
  const long long secs = total % 60;
  if (hours > 0) return Printf("%lld:%02lld:%02lld", hours, minutes, secs);
  return Printf("%lld:%02lld", minutes, secs);
}

std::string FormatFileTime(long long fileTime) {
  zsff::SYSTEMTIME time;
  if (fileTime <= 0 || !zsff::FileTimeToSystemTime(fileTime, time)) return "-";
  return Printf("%04u-%02u-%02u %02u:%02u:%02u.%03u", time.wYear, time.wMonth, time.wDay,
                time.wHour, time.wMinute, time.wSecond, time.wMilliseconds);
}

}  // namespace zsff_tools
