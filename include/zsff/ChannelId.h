// The identity of one channel of one analyzer device, packed into one 64-bit
// value. Channel directory and metadata file names are made and parsed here.
#pragma once

#include <string>
#include <zsff/Export.h>

namespace zsff {

// Bits 63..32: DeviceSerialNumber, the analyzer device's serial number.
// Bits 31..16: AnalyzerIndex.
// Bits 15..0:  ChannelNumber, the channel on that analyzer.
//
// A plain value: no ownership, nothing virtual. Only FromFilePath throws.
class ZSFF_API CChannelID {
 public:
  CChannelID() = default;
  CChannelID(unsigned long long value) : m_Value(value) {}
  // The serial number keeps its low 32 bits.
  CChannelID(unsigned short channelNumber, unsigned short analyzerIndex,
             unsigned long deviceSerialNumber);

  unsigned long long Id() const { return m_Value; }
  unsigned short ChannelNumber() const { return static_cast<unsigned short>(m_Value); }
  unsigned short AnalyzerIndex() const { return static_cast<unsigned short>(m_Value >> 16); }
  unsigned long DeviceSerialNumber() const { return static_cast<unsigned long>(m_Value >> 32); }

  // Each replaces its own field and keeps the others. The serial number keeps
  // its low 32 bits.
  void ChannelNumber(unsigned short channelNumber);
  void AnalyzerIndex(unsigned short analyzerIndex);
  void DeviceSerialNumber(unsigned long deviceSerialNumber);

  bool operator==(const CChannelID& other) const { return m_Value == other.m_Value; }
  bool operator!=(const CChannelID& other) const { return m_Value != other.m_Value; }
  // Orders by channel number, then analyzer index, and ignores the serial
  // number: as a map key, two ids that differ only in the serial number are
  // one entry, although operator== tells them apart. Maps of a record's
  // channels rely on this.
  bool operator<(const CChannelID& other) const { return OrderKey() < other.OrderKey(); }

  // "Channel_<channel>": the channel's directory, and with ".zrm" its metadata file.
  std::u16string ToFileName() const;
  // "Channel_<channel>_<analyzer>_<serial>", all unsigned decimal: the only
  // form that FromFilePath parses back.
  std::u16string ToFilePath() const;
  // The serial number in unsigned decimal.
  std::string ToDeviceSerialNumber() const;

  // Parses the first "Channel_" of the text as
  // "Channel_<channel>_<analyzer>_<serial>" (signed 32-bit decimals, the first
  // two keeping their low 16 bits). Fewer than three numbers, such as the
  // short ToFileName form, give id 0.
  // Throws std::out_of_range when the text holds no "Channel_" at all (an
  // empty text or a null pointer included): callers that pass arbitrary
  // directory names catch it.
  static CChannelID FromFilePath(const std::u16string& path);
  static CChannelID FromFilePath(const char16_t* path);

 private:
  unsigned int OrderKey() const {
    return (static_cast<unsigned int>(ChannelNumber()) << 16) | AnalyzerIndex();
  }

  unsigned long long m_Value = 0;
};

}  // namespace zsff
