#include <gtest/gtest.h>
#include <zsff/MetaDataContainer.h>

#include <cmath>
#include <limits>
#include <set>
#include <string>
#include <vector>

using zsff::MetaDataContainer;
using zsff::MetaDataValue;

namespace {

// One key per stored type, named by the type's number.
MetaDataContainer OneOfEachType() {
  MetaDataContainer c;
  c.AddMetadata("1", std::u16string(u"text"));
  c.AddMetadata("2", -1L);
  c.AddMetadata("3", -5000000000LL);
  c.AddMetadata("4", 0.1f);
  c.AddMetadata("5", 0.1);
  c.AddMetadata("6", std::vector<float>{-1.7f, 2.9f});
  c.AddMetadata("7", std::vector<long>{-1L, 3L});
  c.AddMetadata("8", std::vector<unsigned long long>{18446744073709551615ULL});
  c.AddMetadata("9", true);
  return c;
}

// The stored types whose keys a lookup of kind T accepts. A failed lookup must
// leave the sentinel in place.
template <typename T>
std::set<int> AcceptedTypes(const MetaDataContainer& c, const T& sentinel) {
  std::set<int> accepted;
  for (int type = 1; type <= 9; ++type) {
    T out = sentinel;
    if (c.FindMetadata(std::to_string(type), out)) {
      accepted.insert(type);
    } else {
      EXPECT_EQ(out, sentinel) << "type " << type;
    }
  }
  T out = sentinel;
  EXPECT_FALSE(c.FindMetadata("absent", out));
  EXPECT_EQ(out, sentinel);
  return accepted;
}

}  // namespace

TEST(FindMetadataConversionTest, EachKindAcceptsExactlyItsStoredTypes) {
  const MetaDataContainer c = OneOfEachType();
  EXPECT_EQ(AcceptedTypes(c, std::u16string(u"x")), (std::set<int>{1}));
  EXPECT_EQ(AcceptedTypes(c, 42L), (std::set<int>{2}));
  EXPECT_EQ(AcceptedTypes(c, 42LL), (std::set<int>{2, 3}));
  EXPECT_EQ(AcceptedTypes(c, 42.0f), (std::set<int>{4, 5}));
  EXPECT_EQ(AcceptedTypes(c, 42.0), (std::set<int>{4, 5}));
  EXPECT_EQ(AcceptedTypes(c, std::vector<float>{42.0f}), (std::set<int>{6}));
  EXPECT_EQ(AcceptedTypes(c, std::vector<long>{42}), (std::set<int>{6, 7}));
  EXPECT_EQ(AcceptedTypes(c, std::vector<unsigned long long>{42}), (std::set<int>{6, 7, 8}));
  EXPECT_EQ(AcceptedTypes(c, false), (std::set<int>{9}));
}

TEST(FindMetadataConversionTest, WideningsKeepSignAndValue) {
  const MetaDataContainer c = OneOfEachType();

  long long wide = 0;
  ASSERT_TRUE(c.FindMetadata("2", wide));
  EXPECT_EQ(wide, -1);
  ASSERT_TRUE(c.FindMetadata("3", wide));
  EXPECT_EQ(wide, -5000000000LL);

  float narrow = 0;
  ASSERT_TRUE(c.FindMetadata("5", narrow));
  EXPECT_EQ(narrow, 0.1f);
  double widened = 0;
  ASSERT_TRUE(c.FindMetadata("4", widened));
  EXPECT_EQ(widened, static_cast<double>(0.1f));
  EXPECT_NE(widened, 0.1);

  std::vector<long> longs{99, 98, 97};
  ASSERT_TRUE(c.FindMetadata("6", longs));
  EXPECT_EQ(longs, (std::vector<long>{-1, 2}));  // truncated toward zero, old content gone

  std::vector<unsigned long long> unsigneds{99};
  ASSERT_TRUE(c.FindMetadata("7", unsigneds));
  EXPECT_EQ(unsigneds, (std::vector<unsigned long long>{18446744073709551615ULL, 3}));
  ASSERT_TRUE(c.FindMetadata("6", unsigneds));
  EXPECT_EQ(unsigneds, (std::vector<unsigned long long>{18446744073709551615ULL, 2}));
}

TEST(FindMetadataConversionTest, FloatsBeyondThirtyTwoBitsTruncateWithoutFault) {
  MetaDataContainer c;
  const float nan = std::numeric_limits<float>::quiet_NaN();
  c.AddMetadata("v", std::vector<float>{nan, 1e20f, -1e20f, -2147483648.0f, 2147483520.0f});
  std::vector<long> longs;
  ASSERT_TRUE(c.FindMetadata("v", longs));
  const long min32 = -2147483648L;
  EXPECT_EQ(longs, (std::vector<long>{min32, min32, min32, min32, 2147483520L}));

  c.AddMetadata("d", 1e300);
  float narrowed = 0;
  ASSERT_TRUE(c.FindMetadata("d", narrowed));
  EXPECT_TRUE(std::isinf(narrowed));
}

TEST(FindMetadataConversionTest, AddingUnderAnExistingKeyReplacesTheWholeEntry) {
  MetaDataContainer c;
  c.AddMetadata("Track", 1L);
  c.AddMetadata("Track", 1.5f);
  EXPECT_EQ(c.GetMetadataKeys(), (std::set<std::string>{"Track"}));
  EXPECT_EQ(c.GetMetadataType("Track"), MetaDataValue::TypeFloat);
  long track = 7;
  EXPECT_FALSE(c.FindMetadata("Track", track));
  EXPECT_EQ(track, 7);

  // A text replaced by a number is gone for lookups, even though the value object
  // would still remember it.
  c.AddMetadata("Name", u"abc");
  c.AddMetadata("Name", 3L);
  std::u16string name = u"preset";
  EXPECT_FALSE(c.FindMetadata("Name", name));
  EXPECT_EQ(name, u"preset");

  EXPECT_EQ(c.GetMetadataType("absent"), MetaDataValue::TypeUndefined);
}

TEST(FindMetadataConversionTest, KeysAreOrderedByUnsignedBytes) {
  MetaDataContainer c;
  for (const char* key : {"b", "\xC3\xA9", "A", "a", "B"}) c.AddMetadata(key, true);
  const std::set<std::string> keys = c.GetMetadataKeys();
  EXPECT_EQ(std::vector<std::string>(keys.begin(), keys.end()),
            (std::vector<std::string>{"A", "B", "a", "b", "\xC3\xA9"}));
}
