// The text forms of the enumerations that channel metadata stores as text. Each
// enumeration's spellings are listed once, in EnumTexts.cpp; the channel views and
// anything else that meets these texts go through here.
#pragma once

#include <zsff/SignalTypes.h>

#include <string>

namespace zsff {

// Reading compares the whole text exactly, case included. A text that is not in the
// list gives 0, the same as a key that is missing: old files are read without error.
// Writing gives the one current spelling of a value; a value that has none is written
// as the text of 0, so that what is written always reads back as something valid.

SampleFormat_t SampleFormatFromText(const std::string& text);
const char* SampleFormatText(SampleFormat_t format);

SignalType_t SignalTypeFromText(const std::string& text);
const char* SignalTypeText(SignalType_t type);

// Coupling 0 to 9. Older files spell five of them differently ("AC_Flt" for "AC-FLT",
// ...); those spellings are still read but never written. Out of range writes "AC".
long CouplingFromText(const std::string& text);
const char* CouplingText(long coupling);

// External synchronisation mode 0 to 7. Out of range writes "Trigger".
long ExtSyncModeFromText(const std::string& text);
const char* ExtSyncModeText(long mode);

}  // namespace zsff
