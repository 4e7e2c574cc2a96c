#include <gtest/gtest.h>
#include <zsff/MetaDataContainer.h>

#include <vector>

using zsff::CMarkerId;
using zsff::MetaDataContainer;
using zsff::MetaDataMarker;

TEST(MarkerTest, ZeroIdAndDuplicatesAreRefused) {
  MetaDataContainer c;
  EXPECT_FALSE(c.AddMarker(CMarkerId(0, 0), 1.0, 1.0, u"date"));
  EXPECT_TRUE(c.GetMarkers().empty());

  ASSERT_TRUE(c.AddMarker(CMarkerId(1, 0), 1.0, 2.0, u"first", u"note"));
  EXPECT_FALSE(c.AddMarker(CMarkerId(1, 0), 9.0, 9.0, u"second", u"other"));
  ASSERT_EQ(c.GetMarkers().size(), 1u);
  EXPECT_EQ(c.GetMarkers()[0], MetaDataMarker(CMarkerId(1, 0), 1.0, 2.0, u"first", u"note"));

  // Either word alone makes an id valid.
  EXPECT_TRUE(c.AddMarker(CMarkerId(0, 1), 0.0, 0.0, u"d"));
  MetaDataMarker found;
  ASSERT_TRUE(c.FindMarker(CMarkerId(0, 1), found));
  EXPECT_TRUE(found.comment().empty());
}

TEST(MarkerTest, MarkersAreOrderedByScopeThenSequence) {
  MetaDataContainer c;
  c.AddMarker(CMarkerId(5, 1), 0.0, 0.0, u"");
  c.AddMarker(CMarkerId(1, 2), 0.0, 0.0, u"");
  c.AddMarker(CMarkerId(65535, 0), 0.0, 0.0, u"");
  c.AddMarker(CMarkerId(2, 1), 0.0, 0.0, u"");

  const std::vector<CMarkerId> keys = c.GetMarkersKeys();
  const std::vector<CMarkerId> expected{CMarkerId(65535, 0), CMarkerId(2, 1), CMarkerId(5, 1),
                                        CMarkerId(1, 2)};
  EXPECT_EQ(keys, expected);
  const std::vector<MetaDataMarker> markers = c.GetMarkers();
  ASSERT_EQ(markers.size(), expected.size());
  for (std::size_t i = 0; i < markers.size(); ++i) EXPECT_EQ(markers[i].id(), expected[i]);
}

TEST(MarkerTest, SetFindAndDeleteTouchOnlyPresentMarkers) {
  MetaDataContainer c;
  c.AddMarker(CMarkerId(1, 1), 1.0, 1.0, u"date", u"comment");

  const MetaDataMarker preset(CMarkerId(9, 9), 9.0, 9.0, u"preset", u"preset");
  MetaDataMarker out = preset;
  EXPECT_FALSE(c.FindMarker(CMarkerId(2, 1), out));
  EXPECT_EQ(out, preset);

  EXPECT_FALSE(c.SetMarker(MetaDataMarker(CMarkerId(2, 1), 3.0, 4.0, u"x", u"y")));
  EXPECT_EQ(c.GetMarkers().size(), 1u);

  const MetaDataMarker changed(CMarkerId(1, 1), 3.0, 4.0, u"new date", u"new comment");
  ASSERT_TRUE(c.SetMarker(changed));
  ASSERT_TRUE(c.FindMarker(CMarkerId(1, 1), out));
  EXPECT_EQ(out, changed);

  EXPECT_FALSE(c.DeleteMarker(CMarkerId(2, 1)));
  EXPECT_TRUE(c.DeleteMarker(CMarkerId(1, 1)));
  EXPECT_FALSE(c.DeleteMarker(CMarkerId(1, 1)));
  EXPECT_TRUE(c.GetMarkersKeys().empty());
}

TEST(MarkerTest, EqualityComparesEveryFieldExactly) {
  const MetaDataMarker base(CMarkerId(1, 2), 0.5, 1.5, u"date", u"comment");
  EXPECT_EQ(base, MetaDataMarker(CMarkerId(1, 2), 0.5, 1.5, u"date", u"comment"));
  EXPECT_NE(base, MetaDataMarker(CMarkerId(1, 2), 0.5, 1.5, u"date", u"other"));
  EXPECT_NE(base, MetaDataMarker(CMarkerId(1, 2), 0.5, 1.5, u"other", u"comment"));
  EXPECT_NE(base, MetaDataMarker(CMarkerId(2, 1), 0.5, 1.5, u"date", u"comment"));
  EXPECT_NE(base, MetaDataMarker(CMarkerId(1, 2), 0.5 + 1e-12, 1.5, u"date", u"comment"));
  EXPECT_NE(base, MetaDataMarker(CMarkerId(1, 2), 0.5, 1.5 + 1e-12, u"date", u"comment"));

  MetaDataMarker cleared = base;
  cleared.clear();
  EXPECT_EQ(cleared, MetaDataMarker());
  EXPECT_FALSE(cleared.id().IsValid());
  EXPECT_EQ(cleared.relativeDate(), 0.0);
  EXPECT_TRUE(cleared.absoluteDate().empty());
}
