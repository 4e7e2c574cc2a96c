// One measurement property: a titled text value, optionally chosen from a list.
#pragma once

#include <string>
#include <vector>
#include <zsff/Export.h>

namespace zsff {

// A plain value. The write... accessors hand out the field itself so that a reader
// of the file form can fill it in place.
class ZSFF_API CPropertyValue {
 public:
  enum EPropertyType {
    PropertyUndefined = 0,
    PropertyText = 1,
    PropertyTxtBlock = 2,
    PropertyNumeric = 3,
    PropertyDateTime = 4,
    PropertyBoolean = 5,
    PropertyEnumerated = 6
  };

  // Type 0, not constrained, all text empty.
  CPropertyValue() = default;
  // No enumerators, not constrained.
  CPropertyValue(std::string id, std::u16string title, std::u16string value, EPropertyType type);
  CPropertyValue(std::string id, std::u16string title, std::u16string value,
                 std::u16string defaultEnum, std::vector<std::u16string> listEnum, bool constrained,
                 EPropertyType type);

  const std::string& id() const { return m_Id; }
  const std::u16string& title() const { return m_Title; }
  const std::u16string& value() const { return m_Value; }
  const std::u16string& defaultEnum() const { return m_DefaultEnum; }
  const std::vector<std::u16string>& listValuesEnum() const { return m_ListEnum; }
  bool constrainedEnum() const { return m_Constrained; }
  EPropertyType type() const { return m_Type; }

  std::string& writeId() { return m_Id; }
  std::u16string& writeTitle() { return m_Title; }
  std::u16string& writeValue() { return m_Value; }
  std::u16string& writeDefault() { return m_DefaultEnum; }
  std::vector<std::u16string>& writeListEnum() { return m_ListEnum; }
  bool& writeConstrained() { return m_Constrained; }
  EPropertyType& writeType() { return m_Type; }

  // The text form of the type: "undefined", "text", "txtBlock", "numeric",
  // "dateTime", "boolean", "enumerated". Any value outside 1..6 (one forced in
  // through writeType()) reads as "undefined".
  const std::string& stringType() const;
  // Sets the type from its text form, compared exactly and case-sensitively.
  // Anything else, "undefined" included, sets PropertyUndefined.
  void writerType(const std::string& text);

 private:
  std::string m_Id;
  std::u16string m_Title;
  std::u16string m_Value;
  std::u16string m_DefaultEnum;
  std::vector<std::u16string> m_ListEnum;
  bool m_Constrained = false;
  EPropertyType m_Type = PropertyUndefined;
};

}  // namespace zsff
