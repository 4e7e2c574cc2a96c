// A metadata value handed to a visitor in the C++ type it is stored as, so that
// the listing's tables and its JSON go through one switch over the types and
// cannot disagree on a value.
#pragma once

#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataValue.h>

#include <string>
#include <vector>

namespace zsff_tools {

template <typename T, typename Visit>
auto VisitAs(const zsff::MetaDataContainer& metaData, const std::string& key, Visit& visit) {
  T value{};
  metaData.FindMetadata(key, value);
  return visit(value);
}

// Hands the value under `key` to `visit` in the C++ type it is stored as (floats
// widened to double), or calls visit() when the key holds nothing known. The
// tables and the JSON both go through here so they cannot disagree on a value.
template <typename Visit>
auto VisitValue(const zsff::MetaDataContainer& metaData, const std::string& key, Visit visit) {
  switch (metaData.GetMetadataType(key)) {
    case zsff::MetaDataValue::TypeString:
      return VisitAs<std::u16string>(metaData, key, visit);
    case zsff::MetaDataValue::TypeLong:
      return VisitAs<long>(metaData, key, visit);
    case zsff::MetaDataValue::TypeLongLong:
      return VisitAs<long long>(metaData, key, visit);
    case zsff::MetaDataValue::TypeFloat:
    case zsff::MetaDataValue::TypeDouble:
      return VisitAs<double>(metaData, key, visit);
    case zsff::MetaDataValue::TypeVectorFloat:
      return VisitAs<std::vector<float>>(metaData, key, visit);
    case zsff::MetaDataValue::TypeVectorLong:
      return VisitAs<std::vector<long>>(metaData, key, visit);
    case zsff::MetaDataValue::TypeVectorUInt64:
      return VisitAs<std::vector<unsigned long long>>(metaData, key, visit);
    case zsff::MetaDataValue::TypeBool:
      return VisitAs<bool>(metaData, key, visit);
    default:
      return visit();
  }
}

}  // namespace zsff_tools
