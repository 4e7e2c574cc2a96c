// Channel ids and the names of channel directories and files.
#include <zsff/ChannelId.h>
#include <zsff/TextConversion.h>

#include <stdexcept>

#include "foundation/NameScan.h"

namespace zsff {

CChannelID::CChannelID(unsigned short channelNumber, unsigned short analyzerIndex,
                       unsigned long deviceSerialNumber) {
  SetChannelNumber(channelNumber);
  SetAnalyzerIndex(analyzerIndex);
  SetDeviceSerialNumber(deviceSerialNumber);
}

void CChannelID::SetChannelNumber(unsigned short channelNumber) {
  m_Value = (m_Value & ~0xFFFFULL) | channelNumber;
}

void CChannelID::SetAnalyzerIndex(unsigned short analyzerIndex) {
  m_Value = (m_Value & ~0xFFFF0000ULL) | (static_cast<unsigned long long>(analyzerIndex) << 16);
}

void CChannelID::SetDeviceSerialNumber(unsigned long deviceSerialNumber) {
  m_Value = (m_Value & 0xFFFFFFFFULL) | ((deviceSerialNumber & 0xFFFFFFFFULL) << 32);
}

std::u16string CChannelID::ToFileName() const {
  return Utf8ToWide("Channel_" + std::to_string(ChannelNumber()));
}

std::u16string CChannelID::ToFilePath() const {
  return Utf8ToWide("Channel_" + std::to_string(ChannelNumber()) + "_" +
                    std::to_string(AnalyzerIndex()) + "_" + ToDeviceSerialNumber());
}

std::string CChannelID::ToDeviceSerialNumber() const {
  return std::to_string(DeviceSerialNumber());
}

CChannelID CChannelID::FromFilePath(const std::u16string& path) {
  const std::string text = WideToUtf8(path);
  const std::string::size_type start = text.find("Channel_");
  // Callers have always been told about a name without "Channel_" by this
  // exception, and catch it; it is not turned into id 0.
  if (start == std::string::npos) throw std::out_of_range("invalid string position");

  const char* p = text.c_str() + start + 8;
  int channel = 0;
  int analyzer = 0;
  int serial = 0;
  if (!detail::ScanSigned32(p, channel) || !detail::ScanLiteral(p, "_") ||
      !detail::ScanSigned32(p, analyzer) || !detail::ScanLiteral(p, "_") ||
      !detail::ScanSigned32(p, serial)) {
    return CChannelID();
  }
  return CChannelID(static_cast<unsigned short>(channel), static_cast<unsigned short>(analyzer),
                    static_cast<unsigned int>(serial));
}

CChannelID CChannelID::FromFilePath(const char16_t* path) {
  return FromFilePath(path == nullptr ? std::u16string() : std::u16string(path));
}

}  // namespace zsff
