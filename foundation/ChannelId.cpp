// Channel ids and the names of channel directories and files.
#include <zsff/ChannelId.h>

#include <stdexcept>

#include "foundation/FileNames.h"
#include "foundation/TextConversion.h"

namespace zsff {

CChannelID::CChannelID(unsigned short channelNumber, unsigned short analyzerIndex,
                       unsigned long deviceSerialNumber) {
  ChannelNumber(channelNumber);
  AnalyzerIndex(analyzerIndex);
  DeviceSerialNumber(deviceSerialNumber);
}

void CChannelID::ChannelNumber(unsigned short channelNumber) {
  m_Value = (m_Value & ~0xFFFFULL) | channelNumber;
}

void CChannelID::AnalyzerIndex(unsigned short analyzerIndex) {
  m_Value = (m_Value & ~0xFFFF0000ULL) | (static_cast<unsigned long long>(analyzerIndex) << 16);
}

void CChannelID::DeviceSerialNumber(unsigned long deviceSerialNumber) {
  m_Value = (m_Value & 0xFFFFFFFFULL) | ((deviceSerialNumber & 0xFFFFFFFFULL) << 32);
}

std::u16string CChannelID::ToFileName() const {
  return Utf8ToWide(names::ChannelName(ChannelNumber()));
}

std::u16string CChannelID::ToFilePath() const {
  return Utf8ToWide(names::ChannelDirectoryName(*this));
}

std::string CChannelID::ToDeviceSerialNumber() const {
  return std::to_string(DeviceSerialNumber());
}

CChannelID CChannelID::FromFilePath(const std::u16string& path) {
  CChannelID id;
  // Callers have always been told about a name without "Channel_" by this
  // exception, and catch it; it is not turned into id 0.
  if (!names::ParseChannelDirectoryName(WideToUtf8(path), id))
    throw std::out_of_range("invalid string position");
  return id;
}

CChannelID CChannelID::FromFilePath(const char16_t* path) {
  return FromFilePath(path == nullptr ? std::u16string() : std::u16string(path));
}

}  // namespace zsff
