// ReadKey and WriteKey for the keys whose values are text.
#include <zsff/MeasurementMetaData.h>

#include "metadata/MetaDataKeys.h"

namespace zsff {

// The texts are read through MetaDataReader and written through CMetaDataWriter so that
// a text key behaves the same whichever view reaches it.
bool ReadKey(const MetaDataContainer& container, MetaDataKey<AnsiText> key, std::string& out) {
  return MetaDataReader(container).GetcppStringValue(key.name, out);
}
bool ReadKey(const MetaDataContainer& container, MetaDataKey<AnsiText> key, std::u16string& out) {
  return container.FindMetadata(key.name, out);
}
void WriteKey(MetaDataContainer& container, MetaDataKey<AnsiText> key, const std::string& value) {
  CMetaDataWriter(container).SetcppStringValue(key.name, value);
}
void WriteKey(MetaDataContainer& container, MetaDataKey<AnsiText> key,
              const std::u16string& value) {
  container.AddMetadata(key.name, value);
}

}  // namespace zsff
