// A device as a record section lists it.
#include <zsff/AnalyzerInfo.h>

#include <utility>

namespace zsff {

CAnalyzerInfo::CAnalyzerInfo(unsigned short index, unsigned short channel, std::u16string deviceSN,
                             std::u16string diskSN, std::u16string diskName)
    : m_Index(index),
      m_DeviceSN(std::move(deviceSN)),
      m_DiskSN(std::move(diskSN)),
      m_DiskName(std::move(diskName)),
      m_Channels{channel} {}

}  // namespace zsff
