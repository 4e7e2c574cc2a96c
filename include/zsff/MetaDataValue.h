// One typed metadata value. Every metadata set of the library (a channel, a
// measurement, its markers) is a map of these under 8-bit keys, see MetaDataContainer.
#pragma once

#include <string>
#include <vector>
#include <zsff/Export.h>

namespace zsff {

// Not a union: all fields exist side by side and the type says which one counts.
// A getter never looks at the type and never converts; it returns its own field as
// it stands (zero, empty, or whatever clear() left behind). Conversions between
// kinds live in MetaDataContainer::FindMetadata alone.
class ZSFF_API MetaDataValue {
 public:
  enum EMetaDataType {
    TypeUndefined = 0,
    TypeString = 1,        // wide string
    TypeLong = 2,          // 32-bit signed integer
    TypeLongLong = 3,      // 64-bit signed integer
    TypeFloat = 4,         // 32-bit float
    TypeDouble = 5,        // 64-bit float
    TypeVectorFloat = 6,   // vector of 32-bit floats
    TypeVectorLong = 7,    // vector of 32-bit signed integers
    TypeVectorUInt64 = 8,  // vector of unsigned 64-bit integers
    TypeBool = 9
  };

  // Type 0, every field zero or empty.
  MetaDataValue();
  // The given type, every field zero or empty.
  explicit MetaDataValue(EMetaDataType type);
  // One per kind; each sets the matching type.
  explicit MetaDataValue(std::u16string value);
  // Keeps a u"..." literal from binding to the bool constructor.
  explicit MetaDataValue(const char16_t* value);
  // TypeLong is a 32-bit value: a long outside that range keeps its low 32 bits,
  // read as signed. The file form and every reader rely on type 2 fitting 32 bits.
  explicit MetaDataValue(long value);
  explicit MetaDataValue(long long value);
  explicit MetaDataValue(float value);
  explicit MetaDataValue(double value);
  explicit MetaDataValue(std::vector<float> value);
  // Each element keeps its low 32 bits, as for a single long.
  explicit MetaDataValue(std::vector<long> value);
  explicit MetaDataValue(std::vector<unsigned long long> value);
  explicit MetaDataValue(bool value);

  EMetaDataType type() const { return m_Type; }

  std::u16string valueString() const { return m_StringValue; }
  long valueLong() const { return m_LongValue; }
  long long valueLongLong() const { return m_LongLongValue; }
  float valueFloat() const { return m_FloatValue; }
  double valueDouble() const { return m_DoubleValue; }
  const std::vector<float>& valueVectorFloat() const { return m_VectorFloat; }
  const std::vector<long>& valueVectorLong() const { return m_VectorLong; }
  const std::vector<unsigned long long>& valueVectorUInt64() const { return m_VectorUInt64; }
  bool valueBool() const { return m_BoolValue; }

  // Each setter calls clear(), sets the matching type and stores the value.
  void setValueString(const std::u16string& value);
  void setValueLong(long value);  // narrowed to 32 bits, see the constructor
  void setValueLongLong(long long value);
  void setValueFloat(float value);
  void setValueDouble(double value);
  void setValueVectorFloat(const std::vector<float>& value);
  void setValueVectorLong(const std::vector<long>& value);  // each element narrowed
  void setValueVectorUInt64(const std::vector<unsigned long long>& value);
  void setValueBool(bool value);

  // Type 0, the four scalar numbers 0, the bool false, the float vector empty.
  // The string, the long vector and the unsigned 64-bit vector are deliberately
  // left as they were: a value set as a string and then as a long still answers
  // valueString() with the old text, and readers of old data depend on that.
  void clear();

 private:
  EMetaDataType m_Type;
  std::u16string m_StringValue;
  long m_LongValue;
  long long m_LongLongValue;
  float m_FloatValue;
  double m_DoubleValue;
  std::vector<float> m_VectorFloat;
  std::vector<long> m_VectorLong;
  std::vector<unsigned long long> m_VectorUInt64;
  bool m_BoolValue;
};

}  // namespace zsff
