#include "PostAnalysis.h"

#include <zsff/AbstractRecordSection.h>
#include <zsff/ChannelMetaData.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/PostAnalysisSettings.h>
#include <zsff/RecordInfo.h>

#include "metadata/MetaDataKeys.h"

namespace zsff_tools {

const std::vector<PostAnalysisKey>& PostAnalysisKeys() {
  namespace K = zsff::ChannelKeys;
  static const std::vector<PostAnalysisKey> keys = {
      {K::Name.name, K::NamePostAnalysis.name},
      {K::Sensitivity.name, K::SensitivityPostAnalysis.name},
      {K::Offset.name, K::OffsetPostAnalysis.name},
      {K::RangeInfo.name, K::RangeInfoPostAnalysis.name},
      {K::PhysicalQuantity.name, K::PhysicalQuantityPostAnalysis.name},
      {K::Unit.name, K::UnitPostAnalysis.name},
      {K::TransducerID.name, K::TransducerIDPostAnalysis.name},
  };
  return keys;
}

void ZoomInVolts(zsff::CRecordSignalTree& tree, const zsff::CRecordZoomer& zoomer,
                 const std::vector<zsff::CChannelID>& ids) {
  for (const zsff::CRecordZoomer::RecordInfo_t& record : zoomer.VectRecordInfo()) {
    if (record.Handle == 0) continue;
    zsff::CAbstractRecordSection& section = tree.wRecord(record.Handle);
    for (const zsff::CChannelID& id : ids) {
      zsff::MetaDataContainer metaData;
      zsff::TAG_RECORD_INFO info;
      if (!section.ReadChannelMetaData(id, metaData, info, false)) continue;
      const zsff::CMetaDataChannelReader reader(metaData);
      float sensitivity = 1.0f;
      float offset = 0.0f;
      reader.Sensitivity(sensitivity);
      reader.Offset(offset);
      // Settings of the recorded sensitivity a and the offset -b scale as the
      // volts do: by a, then less b.
      section.SetPostAnalysisSettings(id, zsff::CPostAnalysisSettings(sensitivity, -offset));
    }
  }
}

}  // namespace zsff_tools
