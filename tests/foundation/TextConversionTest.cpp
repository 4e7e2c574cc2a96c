// The library's UTF-8 codec: what it keeps, what it drops and where it stops.
#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "foundation/TextConversion.h"

using zsff::Utf8ToWide;
using zsff::WideToUtf8;

TEST(TextConversionTest, EveryCodeUnitRoundTrips) {
  // All 65536 code units, the NUL and both surrogate halves included, each
  // encoded by itself in one, two or three bytes by its value.
  std::u16string all;
  std::size_t expectedBytes = 0;
  for (unsigned int unit = 0; unit <= 0xFFFF; ++unit) {
    all += static_cast<char16_t>(unit);
    expectedBytes += unit < 0x80 ? 1 : unit < 0x800 ? 2 : 3;
  }
  const std::string utf8 = WideToUtf8(all);
  EXPECT_EQ(utf8.size(), expectedBytes);
  EXPECT_EQ(Utf8ToWide(utf8), all);
  EXPECT_EQ(zsff::AnsiToWide(zsff::WideToAnsi(all)), all);

  EXPECT_EQ(WideToUtf8(u"A\u00E9\u20AC"), "A\xC3\xA9\xE2\x82\xAC");
  EXPECT_EQ(Utf8ToWide("A\xC3\xA9\xE2\x82\xAC"), u"A\u00E9\u20AC");

  // A surrogate pair stays two code units, written as two 3-byte sequences.
  const std::u16string smiley = u"x\U0001F600y";
  ASSERT_EQ(smiley.size(), 4u);
  EXPECT_EQ(WideToUtf8(smiley), "x\xED\xA0\xBD\xED\xB8\x80y");
  EXPECT_EQ(Utf8ToWide(WideToUtf8(smiley)), smiley);
}

TEST(TextConversionTest, MalformedBytesAreDroppedAndDecodingGoesOn) {
  // A 4-byte sequence vanishes byte by byte: its lead byte is refused, and so
  // is each continuation byte standing in lead position.
  EXPECT_EQ(Utf8ToWide("a\xF0\x9F\x98\x80"
                       "b"),
            u"ab");
  EXPECT_EQ(Utf8ToWide("\xFF\xFE\xF8"
                       "c"),
            u"c");
  EXPECT_EQ(Utf8ToWide("\x80\xBF"
                       "d"),
            u"d");

  // A lead byte without its continuation bytes is dropped alone; what follows
  // it decodes on its own.
  EXPECT_EQ(Utf8ToWide("\xC3"
                       "Ab"),
            u"Ab");
  EXPECT_EQ(Utf8ToWide("\xC3\xC3\xA9"), u"\u00E9");
  EXPECT_EQ(Utf8ToWide("\xE2\x82"
                       "Abc"),
            u"Abc");
  EXPECT_EQ(Utf8ToWide("\xE2"
                       "A\x82\xAC"
                       "b"),
            u"Ab");

  // Overlong forms are not refused.
  EXPECT_EQ(Utf8ToWide("\xC1\x81"), u"A");
  EXPECT_EQ(Utf8ToWide(std::string("\xC0\x80", 2)), std::u16string(1, u'\0'));

  EXPECT_EQ(zsff::Utf8ToAnsi("a\xFF"
                             "b\xE2\x82\xAC"),
            "ab\xE2\x82\xAC");
}

TEST(TextConversionTest, TruncatedSequenceEndsTheText) {
  EXPECT_EQ(Utf8ToWide("ab\xC3"), u"ab");
  EXPECT_EQ(Utf8ToWide("ab\xE2\x82"), u"ab");
  EXPECT_EQ(Utf8ToWide("ab\xE2"), u"ab");
  // The sequence runs past the end before its bytes are looked at, so even a
  // plain byte behind the lead is lost.
  EXPECT_EQ(Utf8ToWide("ab\xE2"
                       "c"),
            u"ab");
  // Dropped bytes before the end don't stop anything.
  EXPECT_EQ(Utf8ToWide("\xFF"
                       "ab\xC3\xA9"),
            u"ab\u00E9");
}

TEST(TextConversionTest, EmptyAndNullGiveEmpty) {
  const char* none = nullptr;
  const char16_t* wideNone = nullptr;
  EXPECT_TRUE(Utf8ToWide(std::string()).empty());
  EXPECT_TRUE(Utf8ToWide(none).empty());
  EXPECT_TRUE(WideToUtf8(std::u16string()).empty());
  EXPECT_TRUE(WideToUtf8(wideNone).empty());
  EXPECT_TRUE(zsff::AnsiToWide(none).empty());
  EXPECT_TRUE(zsff::WideToAnsi(wideNone).empty());
  EXPECT_TRUE(zsff::Utf8ToAnsi(none).empty());
  EXPECT_EQ(Utf8ToWide("\xE9t\xC3\xA9"), u"t\u00E9");  // from a pointer, like a string
}

TEST(TextConversionTest, NumbersAsAStreamWritesThem) {
  EXPECT_EQ(zsff::IntToString(INT_MIN), "-2147483648");
  EXPECT_EQ(zsff::IntToString(0), "0");
  EXPECT_EQ(zsff::UInt64ToString(ULLONG_MAX), "18446744073709551615");
  EXPECT_EQ(zsff::FloatToString(0.1f), "0.1");
  EXPECT_EQ(zsff::FloatToString(1234567.0f), "1.23457e+06");
  EXPECT_EQ(zsff::FloatToString(-2.5f), "-2.5");
}
