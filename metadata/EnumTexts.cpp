// Every text spelling of the enumerations kept as text in channel metadata. The first
// entry of a value is the spelling written; any later entry of the same value is an
// older spelling, accepted on reading only.
#include "metadata/EnumTexts.h"

#include <cstddef>

namespace zsff {
namespace {

struct Spelling {
  long value;
  const char* text;
};

constexpr Spelling kSampleFormats[] = {
    {SIFloat, "SIFloat"}, {SIDouble, "SIDouble"}, {Compact16, "Compact16"}, {Raw32, "Raw32"}};

constexpr Spelling kSignalTypes[] = {{Dynamic, "Dynamic"},
                                     {Parametric, "Parametric"},
                                     {Torsional, "Torsional"},
                                     {Trigger, "Trigger"},
                                     {TriggerAnalog, "TriggerAnalog"}};

constexpr Spelling kCouplings[] = {{0, "AC"},
                                   {1, "DC"},
                                   {2, "ICP"},
                                   {3, "AC-FLT"},
                                   {4, "DC-FLT"},
                                   {5, "ICP-CHECK"},
                                   {6, "GND"},
                                   {7, "ICP-TEDS"},
                                   {8, "TEDS-CHECK"},
                                   {9, "DC-CAN2"},
                                   // Spellings of older files.
                                   {3, "AC_Flt"},
                                   {4, "DC_Flt"},
                                   {5, "Check_ICP"},
                                   {7, "ICP_TEDS"},
                                   {8, "Check_TEDS"}};

constexpr Spelling kExtSyncModes[] = {{0, "Trigger"},       {1, "Tach"},
                                      {2, "Torsional"},     {3, "Torsional+Tach"},
                                      {4, "Sampling"},      {5, "Sampling+Torsional"},
                                      {6, "Sampling+Tach"}, {7, "Sampling+Tach+Torsional"}};

// TextOf falls back on the first entry, which must therefore be the value 0.
static_assert(kSampleFormats[0].value == 0 && kSignalTypes[0].value == 0 &&
                  kCouplings[0].value == 0 && kExtSyncModes[0].value == 0,
              "the first spelling of each list is the one of value 0");

template <std::size_t N>
long ValueOf(const Spelling (&list)[N], const std::string& text) {
  for (const Spelling& spelling : list) {
    if (text == spelling.text) return spelling.value;
  }
  return 0;
}

template <std::size_t N>
const char* TextOf(const Spelling (&list)[N], long value) {
  for (const Spelling& spelling : list) {
    if (spelling.value == value) return spelling.text;
  }
  return list[0].text;
}

}  // namespace

SampleFormat_t SampleFormatFromText(const std::string& text) {
  return static_cast<SampleFormat_t>(ValueOf(kSampleFormats, text));
}
const char* SampleFormatText(SampleFormat_t format) { return TextOf(kSampleFormats, format); }

SignalType_t SignalTypeFromText(const std::string& text) {
  return static_cast<SignalType_t>(ValueOf(kSignalTypes, text));
}
const char* SignalTypeText(SignalType_t type) { return TextOf(kSignalTypes, type); }

long CouplingFromText(const std::string& text) { return ValueOf(kCouplings, text); }
const char* CouplingText(long coupling) { return TextOf(kCouplings, coupling); }

long ExtSyncModeFromText(const std::string& text) { return ValueOf(kExtSyncModes, text); }
const char* ExtSyncModeText(long mode) { return TextOf(kExtSyncModes, mode); }

}  // namespace zsff
