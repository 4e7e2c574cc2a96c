// The post-analysis coefficients of a channel.
#include <zsff/PostAnalysisSettings.h>

#include <utility>

namespace zsff {

CPostAnalysisSettings::CPostAnalysisSettings() : CPostAnalysisSettings(0.0f, UnsetOffset, 0.0f) {}

CPostAnalysisSettings::CPostAnalysisSettings(float sensitivity, float offset)
    : CPostAnalysisSettings(sensitivity, offset, 0.0f) {}

CPostAnalysisSettings::CPostAnalysisSettings(float sensitivity, float offset, float rangeInfo)
    : m_Sensitivity(sensitivity), m_Offset(offset), m_RangeInfo(rangeInfo) {}

CPostAnalysisSettings::CPostAnalysisSettings(float sensitivity, float offset, float rangeInfo,
                                             std::u16string physicalQuantity,
                                             std::map<int, MetaDataQuantity> physicalQuantityMap,
                                             std::u16string unit, std::u16string transducerID,
                                             std::u16string name)
    : m_Sensitivity(sensitivity),
      m_Offset(offset),
      m_RangeInfo(rangeInfo),
      m_PhysicalQuantity(std::move(physicalQuantity)),
      m_PhysicalQuantityMap(std::move(physicalQuantityMap)),
      m_Unit(std::move(unit)),
      m_TransducerID(std::move(transducerID)),
      m_Name(std::move(name)) {}

}  // namespace zsff
