// Numbers as the tool prints them for people: sizes, rates, durations and
// dates. Scripts get the raw numbers from --json instead.
#pragma once

#include <string>

namespace zsff_tools {

// "0 B", "512 B", "1.5 KiB", "221.2 MiB", "3.01 GiB".
std::string FormatBytes(double bytes);
// FormatBytes per second, "95.8 MiB/s".
std::string FormatRate(double bytesPerSecond);
// Seconds with a fixed number of decimals: "72.000".
std::string FormatSeconds(double seconds, int decimals);
// A span of time for people: "0:07", "2:05", "1:02:05".
std::string FormatClock(double seconds);
// A file time (100 ns ticks since 1601, UTC) as "2024-01-31 10:20:30.005";
// "-" for 0 or a negative time.
std::string FormatFileTime(long long fileTime);
// printf into a std::string.
std::string Printf(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace zsff_tools
