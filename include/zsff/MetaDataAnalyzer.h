// One analyzer of a measurement, as the measurement's metadata lists it.
#pragma once

#include <string>
#include <utility>
#include <zsff/Export.h>

namespace zsff {

// Four 8-bit strings; MetaDataContainer::AddAnalyzer keys them by the serial number.
class ZSFF_API MetaDataAnalyzer {
 public:
  MetaDataAnalyzer() = default;
  MetaDataAnalyzer(std::string analyzerSerialNumber, std::string analyzerShortName,
                   std::string diskSerialNumber, std::string diskName)
      : m_AnalyzerSerialNumber(std::move(analyzerSerialNumber)),
        m_AnalyzerShortName(std::move(analyzerShortName)),
        m_DiskSerialNumber(std::move(diskSerialNumber)),
        m_DiskName(std::move(diskName)) {}

  std::string AnalyzerSerialNumber() const { return m_AnalyzerSerialNumber; }
  std::string AnalyzerShortName() const { return m_AnalyzerShortName; }
  std::string DiskSerialNumber() const { return m_DiskSerialNumber; }
  std::string DiskName() const { return m_DiskName; }

  void setAnalyzerSerialNumber(const std::string& value) { m_AnalyzerSerialNumber = value; }
  void setAnalyzerShortName(const std::string& value) { m_AnalyzerShortName = value; }
  void setDiskSerialNumber(const std::string& value) { m_DiskSerialNumber = value; }
  void setDiskName(const std::string& value) { m_DiskName = value; }

 private:
  std::string m_AnalyzerSerialNumber;
  std::string m_AnalyzerShortName;
  std::string m_DiskSerialNumber;
  std::string m_DiskName;
};

}  // namespace zsff
