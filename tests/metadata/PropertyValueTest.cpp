#include <gtest/gtest.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/PropertyValue.h>

#include <set>
#include <string>
#include <utility>
#include <vector>

using zsff::CPropertyValue;
using zsff::MetaDataContainer;

TEST(PropertyValueTest, TypeTextsRoundTripAndUnknownTextsGiveUndefined) {
  const std::vector<std::string> texts{"undefined", "text",    "txtBlock",  "numeric",
                                       "dateTime",  "boolean", "enumerated"};
  CPropertyValue property;
  EXPECT_EQ(property.stringType(), "undefined");
  for (int type = 0; type < static_cast<int>(texts.size()); ++type) {
    property.writeType() = static_cast<CPropertyValue::EPropertyType>(type);
    EXPECT_EQ(property.stringType(), texts[type]);
    property.writerType(texts[type]);
    EXPECT_EQ(property.type(), type) << texts[type];
  }

  for (const char* unknown : {"TEXT", "Text", "text ", "", "undefined", "enumerate"}) {
    property.writeType() = CPropertyValue::PropertyNumeric;
    property.writerType(unknown);
    EXPECT_EQ(property.type(), CPropertyValue::PropertyUndefined) << unknown;
  }

  property.writeType() = static_cast<CPropertyValue::EPropertyType>(7);
  EXPECT_EQ(property.stringType(), "undefined");
}

TEST(PropertyValueTest, ContainerKeepsOnePropertyPerKey) {
  MetaDataContainer c;
  std::vector<CPropertyValue> out{CPropertyValue()};
  EXPECT_FALSE(c.GetMeasureProperties(out));
  EXPECT_TRUE(out.empty());

  c.AddMeasProperty("b", u"Title B", u"old");
  c.AddMeasProperty("b", u"Title B", u"new");
  c.AddProperties({CPropertyValue("a", u"Title A", u"1", CPropertyValue::PropertyNumeric),
                   CPropertyValue("c", u"Title C", u"first", CPropertyValue::PropertyTxtBlock),
                   CPropertyValue("c", u"Title C", u"second", u"x", {u"x", u"y"}, true,
                                  CPropertyValue::PropertyEnumerated)});
  EXPECT_EQ(c.GetMeasPropertiesKeys(), (std::set<std::string>{"a", "b", "c"}));

  std::pair<std::u16string, std::u16string> found{u"t", u"v"};
  EXPECT_FALSE(c.FindMeasProperty("absent", found));
  EXPECT_EQ(found.first, u"t");
  ASSERT_TRUE(c.FindMeasProperty("b", found));
  EXPECT_EQ(found.first, u"Title B");
  EXPECT_EQ(found.second, u"new");

  ASSERT_TRUE(c.GetMeasureProperties(out));
  ASSERT_EQ(out.size(), 3u);
  EXPECT_EQ(out[0].id(), "a");
  EXPECT_EQ(out[1].type(), CPropertyValue::PropertyText);  // what AddMeasProperty gives
  EXPECT_EQ(out[1].id(), "b");
  EXPECT_EQ(out[2].value(), u"second");  // the later element with the same id wins
  EXPECT_EQ(out[2].listValuesEnum().size(), 2u);
  EXPECT_TRUE(out[2].constrainedEnum());

  // AddProperties adds to what is there rather than replacing the map.
  c.AddProperties({CPropertyValue("d", u"D", u"", CPropertyValue::PropertyBoolean)});
  EXPECT_EQ(c.GetMeasPropertiesKeys().size(), 4u);
}
