#include <gtest/gtest.h>
#include <zsff/MetaDataValue.h>

#include <string>
#include <vector>

using zsff::MetaDataValue;

TEST(MetaDataValueTest, ConstructorsSetTheirTypeAndLeaveOtherFieldsEmpty) {
  const MetaDataValue undefined;
  EXPECT_EQ(undefined.type(), MetaDataValue::TypeUndefined);
  EXPECT_EQ(MetaDataValue(MetaDataValue::TypeDouble).type(), MetaDataValue::TypeDouble);
  EXPECT_EQ(MetaDataValue(MetaDataValue::TypeDouble).valueDouble(), 0.0);

  // A u"" literal must not slide into the bool constructor.
  const MetaDataValue text(u"abc");
  EXPECT_EQ(text.type(), MetaDataValue::TypeString);
  EXPECT_EQ(text.valueString(), u"abc");
  EXPECT_FALSE(text.valueBool());

  const MetaDataValue number(7L);
  EXPECT_EQ(number.type(), MetaDataValue::TypeLong);
  EXPECT_EQ(number.valueLong(), 7);
  EXPECT_EQ(number.valueLongLong(), 0);  // a getter never converts
  EXPECT_TRUE(number.valueString().empty());
}

TEST(MetaDataValueTest, LongValuesAreKeptToThirtyTwoBits) {
  EXPECT_EQ(MetaDataValue(0x100000005L).valueLong(), 5);
  EXPECT_EQ(MetaDataValue(2147483648L).valueLong(), -2147483648L);
  EXPECT_EQ(MetaDataValue(-1L).valueLong(), -1);

  MetaDataValue value;
  value.setValueLong(0x1FFFFFFFFL);
  EXPECT_EQ(value.valueLong(), -1);
  value.setValueVectorLong({0x100000002L, -3L, 4294967295L});
  EXPECT_EQ(value.valueVectorLong(), (std::vector<long>{2, -3, -1}));
  EXPECT_EQ(MetaDataValue(std::vector<long>{0x7FFFFFFFL, 0x80000000L}).valueVectorLong(),
            (std::vector<long>{2147483647L, -2147483648L}));
}

TEST(MetaDataValueTest, ClearSparesTheStringTheLongVectorAndTheUInt64Vector) {
  MetaDataValue value(u"old text");
  value.setValueLong(5);
  EXPECT_EQ(value.type(), MetaDataValue::TypeLong);
  EXPECT_EQ(value.valueString(), u"old text");

  value.setValueVectorLong({1, 2});
  value.setValueVectorUInt64({3});
  value.setValueVectorFloat({0.5f});
  value.setValueBool(true);
  // The float vector and the scalars are cleared; the other two vectors and the
  // string survive every setter.
  EXPECT_TRUE(value.valueVectorFloat().empty());
  EXPECT_EQ(value.valueLong(), 0);
  EXPECT_EQ(value.valueVectorLong(), (std::vector<long>{1, 2}));
  EXPECT_EQ(value.valueVectorUInt64(), (std::vector<unsigned long long>{3}));
  EXPECT_EQ(value.valueString(), u"old text");
  EXPECT_TRUE(value.valueBool());

  value.setValueDouble(2.5);
  value.setValueLongLong(9);
  EXPECT_EQ(value.valueDouble(), 0.0);
  EXPECT_FALSE(value.valueBool());
  EXPECT_EQ(value.valueLongLong(), 9);

  value.clear();
  EXPECT_EQ(value.type(), MetaDataValue::TypeUndefined);
  EXPECT_EQ(value.valueLongLong(), 0);
  EXPECT_EQ(value.valueString(), u"old text");
  EXPECT_EQ(value.valueVectorLong().size(), 2u);

  value.setValueString(u"new");
  EXPECT_EQ(value.type(), MetaDataValue::TypeString);
  EXPECT_EQ(value.valueString(), u"new");
}
