// The library's own UTF-8 codec. It is deliberately narrower and more forgiving
// than a strict one (see TextConversion.h): names already on disk were made and
// read with exactly these rules.
#include "foundation/TextConversion.h"

#include <cstddef>
#include <sstream>

namespace zsff {
namespace {

// Returned by DecodeOne for a sequence that is dropped. No 16-bit code unit
// can take this value.
constexpr unsigned int kInvalid = 0xFAFAFAFAu;

bool IsContinuation(unsigned char byte) { return (byte & 0xC0u) == 0x80u; }

// Decodes the sequence at `pos`. On success `pos` moves past the sequence.
// A malformed sequence moves `pos` past its first byte only and gives
// kInvalid. A lead byte whose sequence would run past the end leaves `pos`
// where it was and sets `truncated`.
unsigned int DecodeOne(const std::string& text, std::size_t& pos, bool& truncated) {
  const unsigned char lead = static_cast<unsigned char>(text[pos]);
  if (lead < 0x80u) {
    ++pos;
    return lead;
  }
  std::size_t trailing;
  unsigned int value;
  if (lead >= 0xC0u && lead <= 0xDFu) {
    trailing = 1;
    value = lead & 0x1Fu;
  } else if (lead >= 0xE0u && lead <= 0xEFu) {
    trailing = 2;
    value = lead & 0x0Fu;
  } else {  // a continuation byte in lead position, or a 4-byte and longer lead
    ++pos;
    return kInvalid;
  }
  if (text.size() - pos <= trailing) {
    truncated = true;
    return kInvalid;
  }
  for (std::size_t i = 1; i <= trailing; ++i) {
    const unsigned char byte = static_cast<unsigned char>(text[pos + i]);
    if (!IsContinuation(byte)) {
      ++pos;
      return kInvalid;
    }
    value = (value << 6) | (byte & 0x3Fu);
  }
  pos += trailing + 1;
  return value;
}

void AppendUtf8(std::string& out, unsigned int unit) {
  if (unit < 0x80u) {
    out += static_cast<char>(unit);
  } else if (unit < 0x800u) {
    out += static_cast<char>(0xC0u | (unit >> 6));
    out += static_cast<char>(0x80u | (unit & 0x3Fu));
  } else {
    out += static_cast<char>(0xE0u | (unit >> 12));
    out += static_cast<char>(0x80u | ((unit >> 6) & 0x3Fu));
    out += static_cast<char>(0x80u | (unit & 0x3Fu));
  }
}

template <typename T>
std::string StreamToString(const T& value) {
  std::ostringstream stream;
  stream << value;
  return stream.str();
}

}  // namespace

std::u16string Utf8ToWide(const std::string& text) {
  std::u16string out;
  out.reserve(text.size());
  std::size_t pos = 0;
  while (pos < text.size()) {
    bool truncated = false;
    const unsigned int unit = DecodeOne(text, pos, truncated);
    if (truncated) break;
    if (unit != kInvalid) out += static_cast<char16_t>(unit);
  }
  return out;
}

std::u16string Utf8ToWide(const char* text) {
  return text == nullptr ? std::u16string() : Utf8ToWide(std::string(text));
}

std::string WideToUtf8(const std::u16string& text) {
  std::string out;
  out.reserve(text.size());
  for (const char16_t unit : text) AppendUtf8(out, unit);
  return out;
}

std::string WideToUtf8(const char16_t* text) {
  return text == nullptr ? std::string() : WideToUtf8(std::u16string(text));
}

std::u16string AnsiToWide(const std::string& text) { return Utf8ToWide(text); }
std::u16string AnsiToWide(const char* text) { return Utf8ToWide(text); }
std::string WideToAnsi(const std::u16string& text) { return WideToUtf8(text); }
std::string WideToAnsi(const char16_t* text) { return WideToUtf8(text); }
std::string Utf8ToAnsi(const std::string& text) { return WideToAnsi(Utf8ToWide(text)); }
std::string Utf8ToAnsi(const char* text) { return WideToAnsi(Utf8ToWide(text)); }

std::string IntToString(int value) { return StreamToString(value); }
std::string FloatToString(float value) { return StreamToString(value); }
std::string UInt64ToString(unsigned long long value) { return StreamToString(value); }

}  // namespace zsff
