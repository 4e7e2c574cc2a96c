#include <gtest/gtest.h>
#include <zsff/MetaDataContainer.h>

#include <vector>

using zsff::MetaDataContainer;
using zsff::MetaDataRecord;

namespace {

bool Add(MetaDataContainer& c, unsigned long long id, double duration) {
  return c.AddRecord(id, 1, static_cast<long long>(id % 1000) * 1000, duration, false, 10.0, 0);
}

std::vector<unsigned long long> Ids(const MetaDataContainer& c) {
  std::vector<unsigned long long> ids;
  for (const MetaDataRecord& r : c.GetRecordsVect()) ids.push_back(r.RecordId());
  return ids;
}

std::vector<double> RelDates(const MetaDataContainer& c) {
  std::vector<double> dates;
  for (const MetaDataRecord& r : c.GetRecordsVect()) dates.push_back(r.RelDate());
  return dates;
}

// Every field of every record, to prove that a refused operation changed nothing.
bool SameRecords(const std::vector<MetaDataRecord>& a, const std::vector<MetaDataRecord>& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (a[i].RecordId() != b[i].RecordId() || a[i].LastPartNumber() != b[i].LastPartNumber() ||
        a[i].AbsDate() != b[i].AbsDate() || a[i].RelDate() != b[i].RelDate() ||
        a[i].Duration() != b[i].Duration() || a[i].Recording() != b[i].Recording() ||
        a[i].PartLength() != b[i].PartLength() ||
        a[i].OffsetTimeToStop() != b[i].OffsetTimeToStop()) {
      return false;
    }
  }
  return true;
}

}  // namespace

TEST(RecordListTest, RecordsAddedOutOfOrderEndSortedWithRunningDates) {
  MetaDataContainer c;
  ASSERT_TRUE(Add(c, 40, 4.0));
  ASSERT_TRUE(Add(c, 10, 1.0));  // before everything
  ASSERT_TRUE(Add(c, 30, 2.5));  // in the middle
  ASSERT_TRUE(Add(c, 50, 0.5));  // at the end
  ASSERT_TRUE(Add(c, 20, 0.25));
  EXPECT_EQ(Ids(c), (std::vector<unsigned long long>{10, 20, 30, 40, 50}));
  EXPECT_EQ(RelDates(c), (std::vector<double>{0.0, 1.0, 1.25, 3.75, 7.75}));

  // Ids compare as unsigned 64-bit numbers.
  ASSERT_TRUE(Add(c, 0x8000000000000000ULL, 1.0));
  EXPECT_EQ(Ids(c).back(), 0x8000000000000000ULL);
  EXPECT_EQ(RelDates(c).back(), 8.25);
}

TEST(RecordListTest, AddingAPresentIdIsRefusedWithoutChange) {
  MetaDataContainer c;
  Add(c, 10, 1.0);
  Add(c, 20, 2.0);
  Add(c, 30, 3.0);
  const std::vector<MetaDataRecord> before = c.GetRecordsVect();
  EXPECT_FALSE(c.AddRecord(20, 9, 9, 99.0, true, 9.0, 9));
  EXPECT_FALSE(c.AddRecord(10, 9, 9, 99.0, true, 9.0, 9));
  EXPECT_TRUE(SameRecords(before, c.GetRecordsVect()));
}

TEST(RecordListTest, AddRecordStoresEveryField) {
  MetaDataContainer c;
  ASSERT_TRUE(c.AddRecord(7, 65535, -12345678901LL, 2.5, true, 0.75, -42));
  const MetaDataRecord r = c.GetRecordsVect().at(0);
  EXPECT_EQ(r.RecordId(), 7u);
  EXPECT_EQ(r.LastPartNumber(), 65535);
  EXPECT_EQ(r.AbsDate(), -12345678901LL);
  EXPECT_EQ(r.RelDate(), 0.0);
  EXPECT_EQ(r.Duration(), 2.5);
  EXPECT_TRUE(r.Recording());
  EXPECT_EQ(r.PartLength(), 0.75);
  EXPECT_EQ(r.OffsetTimeToStop(), -42);
}

TEST(RecordListTest, UpdateRewritesTheRecordAndShiftsThoseBehind) {
  MetaDataContainer c;
  Add(c, 10, 1.0);
  Add(c, 20, 2.0);
  Add(c, 30, 3.0);
  ASSERT_TRUE(c.UpdateRecord(20, 4, 555, 5.0, true, 2.0, 66));
  EXPECT_EQ(RelDates(c), (std::vector<double>{0.0, 1.0, 6.0}));
  const MetaDataRecord r = c.GetRecordsVect().at(1);
  EXPECT_EQ(r.RecordId(), 20u);
  EXPECT_EQ(r.LastPartNumber(), 4);
  EXPECT_EQ(r.AbsDate(), 555);
  EXPECT_EQ(r.Duration(), 5.0);
  EXPECT_TRUE(r.Recording());
  EXPECT_EQ(r.PartLength(), 2.0);
  EXPECT_EQ(r.OffsetTimeToStop(), 66);

  ASSERT_TRUE(c.UpdateRecord(10, 1, 0, 0.5, false, 10.0, 0));
  EXPECT_EQ(RelDates(c), (std::vector<double>{0.0, 0.5, 5.5}));

  const std::vector<MetaDataRecord> before = c.GetRecordsVect();
  EXPECT_FALSE(c.UpdateRecord(25, 1, 0, 9.0, false, 1.0, 0));
  EXPECT_TRUE(SameRecords(before, c.GetRecordsVect()));

  MetaDataContainer empty;
  EXPECT_FALSE(empty.UpdateRecord(10, 1, 0, 1.0, false, 1.0, 0));
  EXPECT_TRUE(empty.GetRecordsVect().empty());
}

TEST(RecordListTest, RemovalClosesTheGapInRelativeDates) {
  MetaDataContainer c;
  Add(c, 10, 1.0);
  Add(c, 20, 2.0);
  Add(c, 30, 3.0);
  Add(c, 40, 4.0);

  ASSERT_TRUE(c.RemoveRecord(20));
  EXPECT_EQ(Ids(c), (std::vector<unsigned long long>{10, 30, 40}));
  EXPECT_EQ(RelDates(c), (std::vector<double>{0.0, 1.0, 4.0}));

  ASSERT_TRUE(c.RemoveRecord(10));
  EXPECT_EQ(RelDates(c), (std::vector<double>{0.0, 3.0}));
  ASSERT_TRUE(c.RemoveRecord(40));
  EXPECT_EQ(Ids(c), (std::vector<unsigned long long>{30}));

  const std::vector<MetaDataRecord> before = c.GetRecordsVect();
  EXPECT_FALSE(c.RemoveRecord(20));
  EXPECT_TRUE(SameRecords(before, c.GetRecordsVect()));

  ASSERT_TRUE(c.RemoveRecord(30));
  EXPECT_FALSE(c.RemoveRecord(30));
  // The list keeps working after it ran empty.
  ASSERT_TRUE(Add(c, 5, 1.0));
  EXPECT_EQ(RelDates(c), (std::vector<double>{0.0}));
}
