// Conversions between the library's two kinds of text: 8-bit strings holding
// UTF-8 (paths given to the file store, metadata keys, JSON) and wide strings
// of 16-bit code units (names at the host interface).
//
// The decoder and encoder are the library's own, not the C library's, because
// names written by earlier versions must read back exactly as those versions
// read them: invalid bytes vanish instead of turning into replacement
// characters, and surrogate halves travel as separate 3-byte sequences.
//
// Nothing here throws (but for out of memory) or reports: every function gives
// a best-effort string. A null pointer reads as an empty string.
#pragma once

#include <string>

namespace zsff {

// Decodes sequences of one to three bytes; a 3-byte sequence may carry a lone
// surrogate half. Overlong forms are not refused. Dropped without substitute:
// a continuation byte in lead position, any byte from 0xF0 up (so a 4-byte
// sequence vanishes byte by byte), and a lead byte whose continuation bytes are
// missing (decoding goes on at the byte after the lead). When the input ends
// before the bytes a lead byte announces, decoding stops there and the text
// before that lead byte is the result.
std::u16string Utf8ToWide(const std::string& text);
std::u16string Utf8ToWide(const char* text);

// Encodes every code unit by itself into one to three bytes. A surrogate pair
// is not combined: each half becomes its own 3-byte sequence, which
// Utf8ToWide turns back into the same pair.
std::string WideToUtf8(const std::u16string& text);
std::string WideToUtf8(const char16_t* text);

// Paths follow a stricter rule than texts: a path has to name on disk exactly
// what it names in memory, so nothing is dropped on the way. A character
// beyond 16 bits is a surrogate pair in the wide path and one 4-byte sequence
// in the UTF-8 path, both ways. What has no counterpart on the other side, bytes
// that aren't UTF-8 (a name made under another encoding) or a lone surrogate
// half, makes the conversion fail and leaves `out` untouched, so that the
// caller refuses the path instead of reaching another one.
bool PathToWide(const std::string& path, std::u16string& out);
bool WideToPath(const std::u16string& path, std::string& out);

// The system's 8-bit code page is UTF-8 on this platform, so these are the
// conversions above. Utf8ToAnsi decodes and encodes again, which drops the
// bytes that Utf8ToWide drops.
std::u16string AnsiToWide(const std::string& text);
std::u16string AnsiToWide(const char* text);
std::string WideToAnsi(const std::u16string& text);
std::string WideToAnsi(const char16_t* text);
std::string Utf8ToAnsi(const std::string& text);
std::string Utf8ToAnsi(const char* text);

// Numbers as a default std::ostringstream writes them (a float with six
// significant digits, such as "0.1" or "1e+10").
std::string IntToString(int value);
std::string FloatToString(float value);
std::string UInt64ToString(unsigned long long value);

}  // namespace zsff
