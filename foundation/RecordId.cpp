// Record ids and the names of record directories and signal part files.
#include <zsff/RecordId.h>

#include <ctime>

#include "foundation/FileNames.h"
#include "foundation/TextConversion.h"

namespace zsff {
namespace {

constexpr unsigned long long kNumberMask = 0xFFFF0000ULL;
constexpr unsigned long long kPartMask = 0xFFFFULL;
constexpr unsigned long long kBaseMask = 0xFFFFFFFF00000000ULL;

// The low 32 bits of the clock's seconds: the base of a record drawn now.
unsigned int ClockBase() {
  return static_cast<unsigned int>(static_cast<unsigned long long>(std::time(nullptr)));
}

}  // namespace

unsigned long long CRecordId::s_LastBase = 0;

CRecordId::CRecordId(unsigned int base, unsigned short number) {
  // Shifted as a signed 32-bit int, as it always was: from 32768 on the sign
  // bit is set, and its extension fills the base bits.
  const int shifted = static_cast<int>(static_cast<unsigned int>(number) << 16);
  m_Value = (static_cast<unsigned long long>(base) << 32) |
            static_cast<unsigned long long>(static_cast<long long>(shifted));
}

CRecordId::CRecordId(const std::u16string& name) : m_Value(RecordNameToId(name)) {}

void CRecordId::SetRecordBase(unsigned int base) {
  m_Value = (m_Value & ~kBaseMask) | (static_cast<unsigned long long>(base) << 32);
}

void CRecordId::SetRecordNumber(unsigned short number) {
  m_Value = (m_Value & ~kNumberMask) | (static_cast<unsigned long long>(number) << 16);
}

void CRecordId::SetPartNumber(unsigned short part) { m_Value = (m_Value & ~kPartMask) | part; }

void CRecordId::SetByName(const std::u16string& name) { m_Value = RecordNameToId(name); }

void CRecordId::SetByName(const char16_t* name) { m_Value = RecordNameToId(name); }

void CRecordId::NewBase() {
  // Only the previous base is guarded against: enough for the two records a
  // host may create in one second, and the bases already on disk were drawn
  // with exactly this rule.
  m_Value = static_cast<unsigned long long>(ClockBase()) << 32;
  if (m_Value == s_LastBase) m_Value += 1ULL << 32;
  s_LastBase = m_Value;
}

std::string CRecordId::IdToRecordName_utf8() const {
  return names::RecordName(RecordBase(), RecordNumber());
}

std::u16string CRecordId::IdToRecordName() const { return Utf8ToWide(IdToRecordName_utf8()); }

std::u16string CRecordId::IdToRecordNameBase() const {
  if (RecordBase() == 0) return std::u16string();
  return Utf8ToWide(names::RecordBaseName(RecordBase()));
}

std::string CRecordId::IdToSignalPartName_utf8(bool useOwnPart, unsigned short part) const {
  return names::PartName(useOwnPart ? PartNumber() : part);
}

std::u16string CRecordId::IdToSignalPartName(bool useOwnPart, unsigned short part) const {
  return Utf8ToWide(IdToSignalPartName_utf8(useOwnPart, part));
}

std::u16string CRecordId::GenerateMeasureName() const { return u"Record"; }

std::u16string CRecordId::NewRecordBaseName() {
  return Utf8ToWide(names::RecordBaseName(static_cast<int>(ClockBase())));
}

unsigned long long CRecordId::RecordNameToId(const std::u16string& name) {
  return name.empty() ? 0 : names::ParseRecordName(WideToUtf8(name));
}

unsigned long long CRecordId::RecordNameToId(const char16_t* name) {
  return name == nullptr ? 0 : RecordNameToId(std::u16string(name));
}

unsigned short CRecordId::PartNameToPartNumber(const std::u16string& name) {
  return name.empty() ? 0 : names::ParsePartName(WideToUtf8(name));
}

unsigned short CRecordId::PartNameToPartNumber(const char16_t* name) {
  return name == nullptr ? 0 : PartNameToPartNumber(std::u16string(name));
}

}  // namespace zsff
