// The coefficients that post-analysis puts over a channel's stored scaling.
#pragma once

#include <zsff/MetaDataQuantity.h>

#include <map>
#include <string>
#include <zsff/Export.h>

namespace zsff {

// Unset values are a Sensitivity of 0, an Offset of 1e38 (not 0, which is a valid
// offset, and not a NaN, which does not survive every file form), a RangeInfo of 0
// and empty texts; post-analysis leaves the channel's own value where a field is unset.
class ZSFF_API CPostAnalysisSettings {
 public:
  // The float 1e38, bit pattern 0x7E967699: the metadata's "offset not set".
  static constexpr float UnsetOffset = 1e38f;

  CPostAnalysisSettings();
  CPostAnalysisSettings(float sensitivity, float offset);
  CPostAnalysisSettings(float sensitivity, float offset, float rangeInfo);
  CPostAnalysisSettings(float sensitivity, float offset, float rangeInfo,
                        std::u16string physicalQuantity,
                        std::map<int, MetaDataQuantity> physicalQuantityMap, std::u16string unit,
                        std::u16string transducerID, std::u16string name);
  virtual ~CPostAnalysisSettings() = default;
  CPostAnalysisSettings(const CPostAnalysisSettings&) = default;
  CPostAnalysisSettings& operator=(const CPostAnalysisSettings&) = default;
  CPostAnalysisSettings(CPostAnalysisSettings&&) = default;
  CPostAnalysisSettings& operator=(CPostAnalysisSettings&&) = default;

  float Sensitivity() const { return m_Sensitivity; }
  float Offset() const { return m_Offset; }
  float RangeInfo() const { return m_RangeInfo; }
  std::u16string PhysicalQuantity() const { return m_PhysicalQuantity; }
  const std::map<int, MetaDataQuantity>& PhysicalQuantityMap() const {
    return m_PhysicalQuantityMap;
  }
  std::u16string Unit() const { return m_Unit; }
  std::u16string TransducerID() const { return m_TransducerID; }
  std::u16string Name() const { return m_Name; }

 private:
  float m_Sensitivity;
  float m_Offset;
  float m_RangeInfo;
  std::u16string m_PhysicalQuantity;
  std::map<int, MetaDataQuantity> m_PhysicalQuantityMap;
  std::u16string m_Unit;
  std::u16string m_TransducerID;
  std::u16string m_Name;
};

}  // namespace zsff
