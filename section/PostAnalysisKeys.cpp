#include "section/PostAnalysisKeys.h"

#include <zsff/MetaDataContainer.h>
#include <zsff/PostAnalysisSettings.h>

#include <string>

#include "metadata/MetaDataKeys.h"

namespace zsff {

namespace {

template <typename T>
bool Put(MetaDataContainer& metaData, MetaDataKey<T> recorded, MetaDataKey<T> postAnalysis,
         const T& value, const T& unset) {
  if (value == unset) return false;
  T earlier{};
  if (ReadKey(metaData, postAnalysis, earlier)) {
    if (earlier == value) return false;
  } else {
    // Without an earlier setting a value equal to the recorded one says nothing new.
    T original{};
    if (ReadKey(metaData, recorded, original) && original == value) return false;
  }
  WriteKey(metaData, postAnalysis, value);
  return true;
}

std::u16string RecordedIfNone(const MetaDataContainer& metaData, MetaDataKey<std::u16string> key,
                              std::u16string value) {
  if (value != u"none" && value != u"None") return value;
  value.clear();
  ReadKey(metaData, key, value);
  return value;
}

}  // namespace

bool PutPostAnalysisSettings(const CPostAnalysisSettings& settings, MetaDataContainer& metaData) {
  namespace K = ChannelKeys;
  const std::u16string noText;
  bool changed = false;
  changed |=
      Put(metaData, K::Sensitivity, K::SensitivityPostAnalysis, settings.Sensitivity(), 0.0f);
  changed |= Put(metaData, K::Offset, K::OffsetPostAnalysis, settings.Offset(),
                 CPostAnalysisSettings::UnsetOffset);
  changed |= Put(metaData, K::RangeInfo, K::RangeInfoPostAnalysis, settings.RangeInfo(), 0.0f);
  changed |=
      Put(metaData, K::PhysicalQuantity, K::PhysicalQuantityPostAnalysis,
          RecordedIfNone(metaData, K::PhysicalQuantity, settings.PhysicalQuantity()), noText);
  changed |= Put(metaData, K::Unit, K::UnitPostAnalysis, settings.Unit(), noText);
  changed |= Put(metaData, K::TransducerID, K::TransducerIDPostAnalysis,
                 RecordedIfNone(metaData, K::TransducerID, settings.TransducerID()), noText);
  changed |= Put(metaData, K::Name, K::NamePostAnalysis, settings.Name(), noText);
  return changed;
}

}  // namespace zsff
