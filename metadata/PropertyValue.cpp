// Measurement properties and the one place that knows the texts of their types.
#include <zsff/PropertyValue.h>

#include <utility>

namespace zsff {
namespace {

// Indexed by EPropertyType. Built at load so that every text handed out by
// stringType() lives as long as the library.
const std::string s_PropertyTypeTexts[] = {"undefined", "text",    "txtBlock",  "numeric",
                                           "dateTime",  "boolean", "enumerated"};
constexpr int s_PropertyTypeCount =
    static_cast<int>(sizeof(s_PropertyTypeTexts) / sizeof(s_PropertyTypeTexts[0]));

}  // namespace

CPropertyValue::CPropertyValue(std::string id, std::u16string title, std::u16string value,
                               EPropertyType type)
    : m_Id(std::move(id)), m_Title(std::move(title)), m_Value(std::move(value)), m_Type(type) {}

CPropertyValue::CPropertyValue(std::string id, std::u16string title, std::u16string value,
                               std::u16string defaultEnum, std::vector<std::u16string> listEnum,
                               bool constrained, EPropertyType type)
    : m_Id(std::move(id)),
      m_Title(std::move(title)),
      m_Value(std::move(value)),
      m_DefaultEnum(std::move(defaultEnum)),
      m_ListEnum(std::move(listEnum)),
      m_Constrained(constrained),
      m_Type(type) {}

const std::string& CPropertyValue::stringType() const {
  // Read the value as an integer first: a value forced outside the enumeration must
  // not index past the table.
  const int type = static_cast<int>(m_Type);
  if (type < 1 || type >= s_PropertyTypeCount) return s_PropertyTypeTexts[PropertyUndefined];
  return s_PropertyTypeTexts[type];
}

void CPropertyValue::writerType(const std::string& text) {
  m_Type = PropertyUndefined;
  for (int type = PropertyText; type < s_PropertyTypeCount; ++type) {
    if (text == s_PropertyTypeTexts[type]) {
      m_Type = static_cast<EPropertyType>(type);
      return;
    }
  }
}

}  // namespace zsff
