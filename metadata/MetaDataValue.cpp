// A typed metadata value; see MetaDataValue.h for why clear() spares some fields.
#include <zsff/MetaDataValue.h>

#include <cstdint>
#include <utility>

namespace zsff {
namespace {

// TypeLong is 32 bits wide whatever the width of long: keep the low 32 bits, read
// as signed (well defined from C++20, and what every compiler does before it).
long NarrowToLong32(long value) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(static_cast<unsigned long>(value)));
}

std::vector<long> NarrowToLong32(std::vector<long> values) {
  for (long& value : values) value = NarrowToLong32(value);
  return values;
}

}  // namespace

MetaDataValue::MetaDataValue() : MetaDataValue(TypeUndefined) {}

MetaDataValue::MetaDataValue(EMetaDataType type)
    : m_Type(type),
      m_LongValue(0),
      m_LongLongValue(0),
      m_FloatValue(0.0f),
      m_DoubleValue(0.0),
      m_BoolValue(false) {}

MetaDataValue::MetaDataValue(std::u16string value) : MetaDataValue(TypeString) {
  m_StringValue = std::move(value);
}

MetaDataValue::MetaDataValue(const char16_t* value)
    : MetaDataValue(std::u16string(value != nullptr ? value : u"")) {}

MetaDataValue::MetaDataValue(long value) : MetaDataValue(TypeLong) {
  m_LongValue = NarrowToLong32(value);
}

MetaDataValue::MetaDataValue(long long value) : MetaDataValue(TypeLongLong) {
  m_LongLongValue = value;
}

MetaDataValue::MetaDataValue(float value) : MetaDataValue(TypeFloat) { m_FloatValue = value; }

MetaDataValue::MetaDataValue(double value) : MetaDataValue(TypeDouble) { m_DoubleValue = value; }

MetaDataValue::MetaDataValue(std::vector<float> value) : MetaDataValue(TypeVectorFloat) {
  m_VectorFloat = std::move(value);
}

MetaDataValue::MetaDataValue(std::vector<long> value) : MetaDataValue(TypeVectorLong) {
  m_VectorLong = NarrowToLong32(std::move(value));
}

MetaDataValue::MetaDataValue(std::vector<unsigned long long> value)
    : MetaDataValue(TypeVectorUInt64) {
  m_VectorUInt64 = std::move(value);
}

MetaDataValue::MetaDataValue(bool value) : MetaDataValue(TypeBool) { m_BoolValue = value; }

void MetaDataValue::setValueString(const std::u16string& value) {
  clear();
  m_Type = TypeString;
  m_StringValue = value;
}

void MetaDataValue::setValueLong(long value) {
  clear();
  m_Type = TypeLong;
  m_LongValue = NarrowToLong32(value);
}

void MetaDataValue::setValueLongLong(long long value) {
  clear();
  m_Type = TypeLongLong;
  m_LongLongValue = value;
}

void MetaDataValue::setValueFloat(float value) {
  clear();
  m_Type = TypeFloat;
  m_FloatValue = value;
}

void MetaDataValue::setValueDouble(double value) {
  clear();
  m_Type = TypeDouble;
  m_DoubleValue = value;
}

void MetaDataValue::setValueVectorFloat(const std::vector<float>& value) {
  clear();
  m_Type = TypeVectorFloat;
  m_VectorFloat = value;
}

void MetaDataValue::setValueVectorLong(const std::vector<long>& value) {
  clear();
  m_Type = TypeVectorLong;
  m_VectorLong = NarrowToLong32(value);
}

void MetaDataValue::setValueVectorUInt64(const std::vector<unsigned long long>& value) {
  clear();
  m_Type = TypeVectorUInt64;
  m_VectorUInt64 = value;
}

void MetaDataValue::setValueBool(bool value) {
  clear();
  m_Type = TypeBool;
  m_BoolValue = value;
}

void MetaDataValue::clear() {
  m_Type = TypeUndefined;
  m_LongValue = 0;
  m_LongLongValue = 0;
  m_FloatValue = 0.0f;
  m_DoubleValue = 0.0;
  m_BoolValue = false;
  m_VectorFloat.clear();
}

}  // namespace zsff
