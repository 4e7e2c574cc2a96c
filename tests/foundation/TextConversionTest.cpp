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

TEST(TextConversionTest, PathsConvertWholeOrNotAtAll) {
  // What the text codec drops, a path keeps: a character beyond 16 bits is one
  // 4-byte sequence on disk and a surrogate pair in memory.
  const struct {
    std::string utf8;
    std::u16string wide;
  } kept[] = {
      {"", u""},
      {"x\xF0\x9F\x9A\x97y", u"x\U0001F697y"},
      {"\xF4\x8F\xBF\xBF\xEF\xBF\xBF\xC2\x80", u"\U0010FFFF\uFFFF\u0080"},
  };
  for (const auto& row : kept) {
    std::u16string wide;
    std::string utf8;
    EXPECT_TRUE(zsff::PathToWide(row.utf8, wide));
    EXPECT_EQ(wide, row.wide);
    EXPECT_TRUE(zsff::WideToPath(row.wide, utf8));
    EXPECT_EQ(utf8, row.utf8);
  }

  // Bytes that aren't UTF-8 have no wide path, a lone surrogate half no UTF-8
  // path: refused, and the output stays as it was.
  const char* const notUtf8[] = {"victim\xFF",      "ab\xC3",       "\x80",
                                 "\xC1\x81",        "\xE0\x80\x80", "\xED\xA0\xBD\xED\xB8\x80",
                                 "\xF4\x90\x80\x80"};
  for (const char* bytes : notUtf8) {
    std::u16string wide = u"before";
    EXPECT_FALSE(zsff::PathToWide(bytes, wide)) << bytes;
    EXPECT_EQ(wide, u"before");
  }
  for (const std::u16string& lone : {std::u16string(1, u'\xD83D'), std::u16string(u"a\xDE00"),
                                     std::u16string(u"\xD83D\xD83D\xDE00")}) {
    std::string utf8 = "before";
    EXPECT_FALSE(zsff::WideToPath(lone, utf8));
    EXPECT_EQ(utf8, "before");
  }
}
