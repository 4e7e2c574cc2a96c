#include "foundation/NameScan.h"

namespace zsff {
namespace detail {
namespace {

bool IsSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

bool ScanSigned32(const char*& p, int& out) {
  const char* q = p;
  while (IsSpace(*q)) ++q;
  bool negative = false;
  if (*q == '+' || *q == '-') negative = *q++ == '-';
  if (!IsDigit(*q)) return false;
  unsigned int value = 0;  // unsigned, so that long digit runs wrap instead of overflowing
  for (; IsDigit(*q); ++q) value = value * 10u + static_cast<unsigned int>(*q - '0');
  if (negative) value = 0u - value;
  out = static_cast<int>(value);
  p = q;
  return true;
}

bool ScanLiteral(const char*& p, const char* literal) {
  const char* q = p;
  for (; *literal != '\0'; ++literal, ++q) {
    if (*q != *literal) return false;
  }
  p = q;
  return true;
}

}  // namespace detail
}  // namespace zsff
