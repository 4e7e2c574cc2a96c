// A device as a record section lists it: its index, identity and channels.
#pragma once

#include <set>
#include <string>
#include <zsff/Export.h>

namespace zsff {

class ZSFF_API CAnalyzerInfo {
 public:
  // Index 0, all empty.
  CAnalyzerInfo() = default;
  // The channel list starts with the one channel given.
  CAnalyzerInfo(unsigned short index, unsigned short channel, std::u16string deviceSN,
                std::u16string diskSN, std::u16string diskName);
  virtual ~CAnalyzerInfo() = default;
  CAnalyzerInfo(const CAnalyzerInfo&) = default;
  CAnalyzerInfo& operator=(const CAnalyzerInfo&) = default;
  CAnalyzerInfo(CAnalyzerInfo&&) = default;
  CAnalyzerInfo& operator=(CAnalyzerInfo&&) = default;

  unsigned short Index() const { return m_Index; }
  std::u16string DeviceSN() const { return m_DeviceSN; }
  std::u16string DiskSN() const { return m_DiskSN; }
  std::u16string DiskName() const { return m_DiskName; }
  // A copy of the channel numbers, ascending, each once.
  std::set<unsigned short> ChannelList() const { return m_Channels; }

  // Adding a channel already listed changes nothing.
  void AddChannel(unsigned short channel) { m_Channels.insert(channel); }

 private:
  unsigned short m_Index = 0;
  std::u16string m_DeviceSN;
  std::u16string m_DiskSN;
  std::u16string m_DiskName;
  std::set<unsigned short> m_Channels;
};

}  // namespace zsff
