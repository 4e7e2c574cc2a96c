// The identity of a record, or of one signal part of a record, packed into one
// 64-bit value so that it compares, copies, stores in metadata as a number and
// serves as a map key. Every record directory and part file name is made from
// this value, and parsed back into it, by the operations below.
#pragma once

#include <string>
#include <zsff/Export.h>

namespace zsff {

// Bits 63..32: RecordBase, the low 32 bits of the clock's seconds when the base
//              was drawn; 0 means the id has no base.
// Bits 31..16: RecordNumber, the record inside the base, the first being 1.
// Bits 15..0:  PartNumber, the signal part inside the record; 0 in an id that
//              names a whole record.
//
// A plain value: no ownership, nothing virtual, nothing throws. Only s_LastBase
// is shared, and it is not guarded: draw bases from one thread.
class ZSFF_API CRecordId {
 public:
  CRecordId() = default;
  CRecordId(unsigned long long value) : m_Value(value) {}
  // Part 0. The number is shifted as a signed 32-bit quantity before the base
  // is or-ed in, so a number of 32768 or more sets every base bit: the base is
  // lost. Names written by older versions depend on this, so it stays; the
  // setters don't share it.
  CRecordId(unsigned int base, unsigned short number);
  // The value RecordNameToId gives for the name (0 when it doesn't parse).
  explicit CRecordId(const std::u16string& name);

  unsigned long long RecordId() const { return m_Value; }
  unsigned int RecordBase() const { return static_cast<unsigned int>(m_Value >> 32); }
  unsigned short RecordNumber() const { return static_cast<unsigned short>(m_Value >> 16); }
  unsigned short PartNumber() const { return static_cast<unsigned short>(m_Value); }

  // Each replaces its own field and keeps the others, at any value.
  void SetRecordBase(unsigned int base);
  void SetRecordNumber(unsigned short number);
  void SetPartNumber(unsigned short part);

  // Replaces the whole value by RecordNameToId(name); a name that doesn't
  // parse leaves 0. A null pointer counts as an empty name.
  void SetByName(const std::u16string& name);
  void SetByName(const char16_t* name);

  bool operator==(const CRecordId& other) const { return m_Value == other.m_Value; }
  bool operator!=(const CRecordId& other) const { return m_Value != other.m_Value; }
  // Whole value, unsigned: by base, then number, then part.
  bool operator<(const CRecordId& other) const { return m_Value < other.m_Value; }

  // Replaces the whole value by a fresh base from the clock, number and part 0.
  // A second call within the same second gets the base one second later; the
  // guard remembers only the last base handed out, so a third call in that
  // second gets the first call's base again.
  void NewBase();

  // "Record_<base>_<number>", unsigned decimal.
  std::u16string IdToRecordName() const;
  std::string IdToRecordName_utf8() const;
  // "Record_<base>", or empty when the base is 0, whatever the number.
  std::u16string IdToRecordNameBase() const;
  // "Part_<n>" without extension: n is the id's own part number when
  // useOwnPart is true, else the part argument.
  std::u16string IdToSignalPartName(bool useOwnPart, unsigned short part) const;
  std::string IdToSignalPartName_utf8(bool useOwnPart, unsigned short part) const;
  // Always "Record", whatever the id holds.
  std::u16string GenerateMeasureName() const;

  // "Record_" and the low 32 bits of the current time in seconds, printed as a
  // signed 32-bit number. Leaves s_LastBase alone: two calls within one second
  // give the same name.
  static std::u16string NewRecordBaseName();

  // Parses the first "Record_" of the text (anything before it, such as the
  // rest of a path, is skipped) as "Record_<base>_<number>", both read as
  // signed 32-bit decimals. Base and number: base in 63..32, number in 31..16,
  // a negative number or one above 65535 spilling into the base bits. Base
  // alone: that base with number 1. No "Record_", no digits, empty or null: 0.
  // Text behind the number is ignored.
  static unsigned long long RecordNameToId(const std::u16string& name);
  static unsigned long long RecordNameToId(const char16_t* name);
  // Parses the first "Part_" of the text as a signed decimal and returns its
  // low 16 bits; the extension after it isn't checked. No "Part_", no digits,
  // empty or null: 0.
  static unsigned short PartNameToPartNumber(const std::u16string& name);
  static unsigned short PartNameToPartNumber(const char16_t* name);

  // The last value NewBase handed out; 0 until the first call.
  static unsigned long long s_LastBase;

 private:
  unsigned long long m_Value = 0;
};

}  // namespace zsff
