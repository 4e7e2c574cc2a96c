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

bool IsHighSurrogate(unsigned int unit) { return unit >= 0xD800u && unit <= 0xDBFFu; }
bool IsLowSurrogate(unsigned int unit) { return unit >= 0xDC00u && unit <= 0xDFFFu; }

// One character of strict UTF-8 at `pos`: no overlong form, no encoded
// surrogate, nothing above U+10FFFF. False for anything else.
bool DecodeStrict(const std::string& text, std::size_t& pos, unsigned int& character) {
  const unsigned char lead = static_cast<unsigned char>(text[pos]);
  std::size_t trailing;
  unsigned int least;
  if (lead < 0x80u) {
    character = lead;
    ++pos;
    return true;
  } else if (lead >= 0xC2u && lead <= 0xDFu) {
    trailing = 1;
    least = 0x80u;
    character = lead & 0x1Fu;
  } else if (lead >= 0xE0u && lead <= 0xEFu) {
    trailing = 2;
    least = 0x800u;
    character = lead & 0x0Fu;
  } else if (lead >= 0xF0u && lead <= 0xF4u) {
    trailing = 3;
    least = 0x10000u;
    character = lead & 0x07u;
  } else {
    return false;
  }
  if (text.size() - pos <= trailing) return false;
  for (std::size_t i = 1; i <= trailing; ++i) {
    const unsigned char byte = static_cast<unsigned char>(text[pos + i]);
    if (!IsContinuation(byte)) return false;
    character = (character << 6) | (byte & 0x3Fu);
  }
  if (character < least || character > 0x10FFFFu || IsHighSurrogate(character) ||
      IsLowSurrogate(character)) {
    return false;
  }
  pos += trailing + 1;
  return true;
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

bool PathToWide(const std::string& path, std::u16string& out) {
  std::u16string wide;
  wide.reserve(path.size());
  for (std::size_t pos = 0; pos < path.size();) {
    unsigned int character;
    if (!DecodeStrict(path, pos, character)) return false;
    if (character < 0x10000u) {
      wide += static_cast<char16_t>(character);
    } else {
      character -= 0x10000u;
      wide += static_cast<char16_t>(0xD800u | (character >> 10));
      wide += static_cast<char16_t>(0xDC00u | (character & 0x3FFu));
    }
  }
  out.swap(wide);
  return true;
}

bool WideToPath(const std::u16string& path, std::string& out) {
  std::string utf8;
  utf8.reserve(path.size());
  for (std::size_t i = 0; i < path.size(); ++i) {
    const unsigned int unit = path[i];
    if (IsLowSurrogate(unit)) return false;
    if (!IsHighSurrogate(unit)) {
      AppendUtf8(utf8, unit);
      continue;
    }
    if (i + 1 == path.size() || !IsLowSurrogate(path[i + 1])) return false;
    const unsigned int character = 0x10000u + (((unit & 0x3FFu) << 10) | (path[++i] & 0x3FFu));
    utf8 += static_cast<char>(0xF0u | (character >> 18));
    utf8 += static_cast<char>(0x80u | ((character >> 12) & 0x3Fu));
    utf8 += static_cast<char>(0x80u | ((character >> 6) & 0x3Fu));
    utf8 += static_cast<char>(0x80u | (character & 0x3Fu));
  }
  out.swap(utf8);
  return true;
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
