// The range of a channel's parts read cyclically: which parts it holds, where a
// reader extends it, and the whole parts the ring counts, before and after the
// 16-bit part numbers wrap.
#include <gtest/gtest.h>

#include "section/ChannelPartRange.h"

using zsff::ChannelPartRange;

namespace {

ChannelPartRange Range(unsigned short first, unsigned short last) {
  ChannelPartRange range;
  range.FirstPart = first;
  range.LastPart = last;
  return range;
}

TEST(ChannelPartRange, PartsAreCountedAcrossTheWrap) {
  const struct {
    unsigned short first, last;
    unsigned short part;
    bool holds, beyond;
    long wholeParts;  // the ring's count, without its minus one once wrapped
  } cases[] = {
      {3, 9, 3, true, false, 5},         {3, 9, 9, true, false, 5},
      {3, 9, 10, false, true, 5},        {3, 9, 2, false, false, 5},
      {65534, 1, 65535, true, false, 3}, {65534, 1, 0, true, false, 3},
      {65534, 1, 2, false, false, 3},    {65534, 1, 65533, false, false, 3},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.first << ".." << c.last << " part " << c.part);
    const ChannelPartRange range = Range(c.first, c.last);
    EXPECT_EQ(range.Holds(c.part), c.holds);
    EXPECT_EQ(range.Beyond(c.part), c.beyond);
    EXPECT_EQ(range.WholePartsHeld(), c.wholeParts);
    EXPECT_EQ(range.Wrapped(), c.first > c.last);
  }
  EXPECT_EQ(Range(65530, 65535).Next(), 0);
}

TEST(ChannelPartRange, OnlyTheFirstListingOfAPartIsTakenOff) {
  ChannelPartRange range;
  range.PartsToDelete = {4, 7, 4};
  range.Unlist(4);
  EXPECT_EQ(range.PartsToDelete, (std::vector<unsigned short>{7, 4}));
  EXPECT_TRUE(range.Waiting(4));
  range.Unlist(5);
  EXPECT_FALSE(range.Waiting(5));
  EXPECT_EQ(range.PartsToDelete.size(), 2u);
}

}  // namespace
