// The path and pattern rules of the local store, on plain strings.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "foundation/PathRules.h"

using namespace zsff;

TEST(LocalFileAccessPathRules, TreeDeleteGuardCountsWideCharacters) {
  EXPECT_FALSE(IsDeletableTree(""));
  EXPECT_FALSE(IsDeletableTree("/usr"));
  EXPECT_TRUE(IsDeletableTree("/home"));
  // Four characters in UTF-16 however many bytes they take in UTF-8.
  EXPECT_FALSE(IsDeletableTree("/\xc3\xa4\xc3\xb6\xc3\xbc"));
  EXPECT_TRUE(IsDeletableTree("/\xc3\xa4\xc3\xb6\xc3\xbcx"));
  // A character beyond 16 bits takes two units.
  EXPECT_FALSE(IsDeletableTree("/a\xf0\x9f\x98\x80"));
  EXPECT_TRUE(IsDeletableTree("/ab\xf0\x9f\x98\x80"));
  EXPECT_EQ(WideLength("/ab\xf0\x9f\x98\x80"), 5u);
}

TEST(LocalFileAccessPathRules, AbsolutePathsAreNormalisedAndStripped) {
  std::string full = "untouched";
  ASSERT_TRUE(MakeAbsoluteStrippedPath("/a/./b/../c///", full));
  EXPECT_EQ(full, "/a/c");
  ASSERT_TRUE(MakeAbsolutePath("rel/x", full));
  char cwd[4096];
  ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
  EXPECT_EQ(full, (std::filesystem::path(cwd) / "rel/x").lexically_normal().string());

  // The root strips to nothing, which is no path; so do empty and NUL-carrying ones.
  full = "untouched";
  EXPECT_FALSE(MakeAbsoluteStrippedPath("///", full));
  EXPECT_FALSE(MakeAbsolutePath("", full));
  EXPECT_FALSE(MakeAbsolutePath(std::string("/a\0b", 4), full));
  EXPECT_FALSE(MakeAbsolutePath("/" + std::string(5000, 'x'), full));
  EXPECT_EQ(full, "untouched");

  EXPECT_EQ(JoinPath("/m", "Record_1"), "/m/Record_1");
  EXPECT_EQ(JoinPath("/m/", "Record_1"), "/m/Record_1");
}

TEST(LocalFileAccessPathRules, PatternsMatchLikeTheStoreAlwaysHas) {
  EXPECT_TRUE(MatchesListPattern(u"*", u"anything.at.all", true));
  EXPECT_TRUE(MatchesListPattern(u"*.*", u"noDot", true));
  EXPECT_TRUE(MatchesListPattern(u"*.zsfh", u"m.zsfh", true));
  EXPECT_FALSE(MatchesListPattern(u"*.zsfh", u"m.zsfhx", true));
  EXPECT_FALSE(MatchesListPattern(u"*.zsfh", u"m.zsf", true));
  EXPECT_TRUE(MatchesListPattern(u"Part_?.zrs", u"Part_7.zrs", true));
  EXPECT_FALSE(MatchesListPattern(u"Part_?.zrs", u"Part_17.zrs", true));
  EXPECT_TRUE(MatchesListPattern(u"*_*_*", u"a_b_c", true));
  EXPECT_FALSE(MatchesListPattern(u"", u"a", true));

  // The five-character rule looks at the last four characters of files only,
  // and passes names under five characters untested.
  EXPECT_TRUE(MatchesListPattern(u"*.z?s", u".zrs", true));
  EXPECT_FALSE(MatchesListPattern(u"*.z?s", u"a.zrs", true));
  EXPECT_TRUE(MatchesListPattern(u"*.z?s", u"a.zrs", false));
  EXPECT_TRUE(MatchesListPattern(u"*.z*S", u"a.zXS", false));
  EXPECT_FALSE(MatchesListPattern(u"*.z*S", u"a.zXS", true));
  EXPECT_TRUE(MatchesListPattern(u"*.z*S", u"a.z*S", true));
}
