// Record, channel and marker ids: their fields, their names on disk and the
// parsers that read those names back.
#include <gtest/gtest.h>
#include <zsff/ChannelId.h>
#include <zsff/MarkerId.h>
#include <zsff/RecordId.h>

#include <ctime>
#include <map>
#include <stdexcept>
#include <string>

#include "foundation/TextConversion.h"

using zsff::CChannelID;
using zsff::CMarkerId;
using zsff::CRecordId;

namespace {

std::string Utf8(const std::u16string& text) { return zsff::WideToUtf8(text); }

}  // namespace

TEST(RecordIdTest, FieldsAndSettersKeepTheirNeighbours) {
  CRecordId id(0x12345678u, 42);
  EXPECT_EQ(id.RecordBase(), 0x12345678u);
  EXPECT_EQ(id.RecordNumber(), 42);
  EXPECT_EQ(id.PartNumber(), 0);

  id.SetPartNumber(0xFFFF);
  id.SetRecordNumber(0xFFFF);  // unlike the constructor, keeps the base at any number
  EXPECT_EQ(id.RecordBase(), 0x12345678u);
  EXPECT_EQ(id.RecordNumber(), 0xFFFF);
  EXPECT_EQ(id.PartNumber(), 0xFFFF);
  id.SetRecordBase(0xFFFFFFFFu);
  id.SetRecordNumber(3);
  id.SetPartNumber(4);
  EXPECT_EQ(id.RecordId(), 0xFFFFFFFF00030004ULL);

  // From 32768 on, the constructor's number fills the base bits.
  EXPECT_EQ(CRecordId(7u, 32767).RecordBase(), 7u);
  const CRecordId spilled(7u, 32768);
  EXPECT_EQ(spilled.RecordBase(), 0xFFFFFFFFu);
  EXPECT_EQ(spilled.RecordNumber(), 32768);
  EXPECT_EQ(spilled.PartNumber(), 0);

  // Ordered by base, then number, then part, all unsigned.
  EXPECT_LT(CRecordId(1u, 9), CRecordId(2u, 1));
  EXPECT_LT(CRecordId(0x7FFFFFFFu, 1), CRecordId(0x80000000u, 1));
  CRecordId withPart(2u, 1);
  withPart.SetPartNumber(1);
  EXPECT_LT(CRecordId(2u, 1), withPart);
  EXPECT_NE(CRecordId(2u, 1), withPart);
}

TEST(RecordIdTest, RecordNamesRoundTrip) {
  for (unsigned int base : {1u, 123u, 0x7FFFFFFFu, 0x80000000u, 3000000000u, 0xFFFFFFFFu}) {
    for (unsigned short number : {0, 1, 7, 32767}) {
      const CRecordId id(base, number);
      SCOPED_TRACE(id.IdToRecordName_utf8());
      EXPECT_EQ(Utf8(id.IdToRecordName()), id.IdToRecordName_utf8());
      EXPECT_EQ(CRecordId(id.IdToRecordName()), id);
      // The base name alone reads as the first record of that base.
      EXPECT_EQ(CRecordId(id.IdToRecordNameBase()), CRecordId(base, 1));
    }
  }
  // Bases of 2^31 and more print without sign.
  EXPECT_EQ(CRecordId(3000000000u, 7).IdToRecordName_utf8(), "Record_3000000000_7");
  EXPECT_EQ(Utf8(CRecordId(3000000000u, 7).IdToRecordNameBase()), "Record_3000000000");

  // Without a base there is no base name, whatever the number.
  EXPECT_TRUE(CRecordId(0u, 5).IdToRecordNameBase().empty());
  EXPECT_EQ(CRecordId(0xABCDu, 9).GenerateMeasureName(), u"Record");
}

TEST(RecordIdTest, RecordNameParserOnGoodAndBadNames) {
  EXPECT_EQ(CRecordId(std::u16string(u"Record_123")), CRecordId(123u, 1));
  EXPECT_EQ(CRecordId(std::u16string(u"Record_123_7")), CRecordId(123u, 7));
  // The first "Record_" of a path wins, and text behind the number is ignored.
  EXPECT_EQ(CRecordId::RecordNameToId(u"/data/Meas/Record_5_2/Record_9_9"),
            CRecordId(5u, 2).RecordId());
  EXPECT_EQ(CRecordId::RecordNameToId(u"Record_5_2.zrs"), CRecordId(5u, 2).RecordId());
  EXPECT_EQ(CRecordId::RecordNameToId(u"Record_5_x"), CRecordId(5u, 1).RecordId());
  EXPECT_EQ(CRecordId::RecordNameToId(u"Record_5_"), CRecordId(5u, 1).RecordId());

  // Numbers outside 0..65535 spill into the base instead of being refused.
  EXPECT_EQ(CRecordId::RecordNameToId(u"Record_4_65536"), CRecordId(5u, 0).RecordId());
  EXPECT_EQ(CRecordId::RecordNameToId(u"Record_5_-1"), 0xFFFFFFFFFFFF0000ULL);
  // Signed 32-bit fields wrap, so an unsigned base reads back whole.
  EXPECT_EQ(CRecordId::RecordNameToId(u"Record_-1_3"), CRecordId(0xFFFFFFFFu, 3).RecordId());

  for (const char16_t* bad : {u"", u"Record_", u"Record_abc", u"Record__5", u"record_1_2",
                              u"Recor_1_2", u"Channel_1_2_3"}) {
    EXPECT_EQ(CRecordId::RecordNameToId(bad), 0u) << Utf8(bad);
    CRecordId id(9u, 9);
    id.SetByName(std::u16string(bad));
    EXPECT_EQ(id.RecordId(), 0u) << Utf8(bad);
  }
  const char16_t* none = nullptr;
  EXPECT_EQ(CRecordId::RecordNameToId(none), 0u);
  CRecordId id(9u, 9);
  id.SetByName(none);
  EXPECT_EQ(id.RecordId(), 0u);
}

TEST(RecordIdTest, PartNamesAndTheirParser) {
  CRecordId id(5u, 2);
  id.SetPartNumber(12);
  EXPECT_EQ(Utf8(id.IdToSignalPartName(true, 99)), "Part_12");
  EXPECT_EQ(id.IdToSignalPartName_utf8(false, 99), "Part_99");

  for (unsigned short part : {0, 1, 12, 65535}) {
    const std::u16string name = id.IdToSignalPartName(false, part);
    EXPECT_EQ(CRecordId::PartNameToPartNumber(name), part);
    EXPECT_EQ(CRecordId::PartNameToPartNumber(name + u".zrs"), part);
  }
  // The extension isn't checked, and the first "Part_" of a path wins.
  EXPECT_EQ(CRecordId::PartNameToPartNumber(u"Part_12.zpr3"), 12);
  EXPECT_EQ(CRecordId::PartNameToPartNumber(u"Record_1_1/Part_7.zrs/Part_8.zrs"), 7);
  EXPECT_EQ(CRecordId::PartNameToPartNumber(u"Part_65537.zrs"), 1);  // low 16 bits

  const char16_t* none = nullptr;
  EXPECT_EQ(CRecordId::PartNameToPartNumber(none), 0);
  for (const char16_t* bad : {u"", u"Part_", u"Part_x.zrs", u"part_3.zrs", u"Record_1_2"}) {
    EXPECT_EQ(CRecordId::PartNameToPartNumber(bad), 0) << Utf8(bad);
  }
}

TEST(RecordIdTest, NewBaseGuardsExactlyOneStepBack) {
  // The three draws must fall into one clock second; retry on the rare run
  // that straddles a second boundary.
  for (int attempt = 0; attempt < 50; ++attempt) {
    const std::time_t before = std::time(nullptr);
    CRecordId first, second, third;
    first.NewBase();
    second.NewBase();
    const unsigned long long lastAfterSecond = CRecordId::s_LastBase;
    third.NewBase();
    const std::u16string baseName = CRecordId::NewRecordBaseName();
    const unsigned long long lastAfterName = CRecordId::s_LastBase;
    if (std::time(nullptr) != before) continue;

    const unsigned int now = static_cast<unsigned int>(before);
    EXPECT_EQ(first, CRecordId(static_cast<unsigned long long>(now) << 32));
    EXPECT_EQ(second.RecordBase(), now + 1u);
    EXPECT_EQ(second.RecordNumber(), 0);
    EXPECT_EQ(lastAfterSecond, second.RecordId());
    EXPECT_EQ(third, first);  // the guard only remembers the bumped base
    // The base name is the clock's, printed signed, and leaves the guard alone.
    EXPECT_EQ(Utf8(baseName), "Record_" + std::to_string(static_cast<int>(now)));
    EXPECT_EQ(lastAfterName, third.RecordId());
    return;
  }
  FAIL() << "the clock never held still for three draws";
}

TEST(ChannelIdTest, FieldsOrderingAndEquality) {
  CChannelID id(3, 2, 4000000000ul);
  EXPECT_EQ(id.ChannelNumber(), 3);
  EXPECT_EQ(id.AnalyzerIndex(), 2);
  EXPECT_EQ(id.DeviceSerialNumber(), 4000000000ul);
  EXPECT_EQ(id.Id(), (4000000000ULL << 32) | (2u << 16) | 3u);
  EXPECT_EQ(id.ToDeviceSerialNumber(), "4000000000");

  id.ChannelNumber(0xFFFF);
  id.AnalyzerIndex(0xFFFF);
  id.DeviceSerialNumber(0x1FFFFFFFFul);  // only 32 bits are kept
  EXPECT_EQ(id.Id(), 0xFFFFFFFFFFFFFFFFULL);
  id.DeviceSerialNumber(1);
  EXPECT_EQ(id.ChannelNumber(), 0xFFFF);
  EXPECT_EQ(id.AnalyzerIndex(), 0xFFFF);
  EXPECT_EQ(id.DeviceSerialNumber(), 1ul);

  // Channel first, then analyzer; the serial number takes no part.
  EXPECT_LT(CChannelID(1, 9, 0), CChannelID(2, 0, 0));
  EXPECT_LT(CChannelID(1, 0, 9), CChannelID(1, 1, 0));
  EXPECT_FALSE(CChannelID(1, 1, 5) < CChannelID(1, 1, 6));
  EXPECT_FALSE(CChannelID(1, 1, 6) < CChannelID(1, 1, 5));
  EXPECT_FALSE(CChannelID(1, 1, 5) == CChannelID(1, 1, 6));

  std::map<CChannelID, int> channels;
  channels[CChannelID(1, 1, 5)] = 1;
  channels[CChannelID(1, 1, 6)] = 2;
  channels[CChannelID(2, 1, 5)] = 3;
  ASSERT_EQ(channels.size(), 2u);
  EXPECT_EQ(channels.begin()->first.DeviceSerialNumber(), 5ul);  // the first key stays
  EXPECT_EQ(channels.begin()->second, 2);
}

TEST(ChannelIdTest, FilePathRoundTripsAndParserRejects) {
  for (const CChannelID& id :
       {CChannelID(0, 0, 0), CChannelID(1, 2, 3), CChannelID(65535, 65535, 0xFFFFFFFFul),
        CChannelID(12, 0, 2147483648ul)}) {
    SCOPED_TRACE(Utf8(id.ToFilePath()));
    EXPECT_EQ(CChannelID::FromFilePath(id.ToFilePath()), id);
    EXPECT_EQ(CChannelID::FromFilePath(u"/m/Record_1_1/" + id.ToFilePath() + u".zrm"), id);
    // The short form names the directory, but doesn't parse back.
    EXPECT_EQ(Utf8(id.ToFileName()), "Channel_" + std::to_string(id.ChannelNumber()));
    EXPECT_EQ(CChannelID::FromFilePath(id.ToFileName()).Id(), 0u);
  }
  EXPECT_EQ(Utf8(CChannelID(7, 1, 4000000000ul).ToFilePath()), "Channel_7_1_4000000000");
  EXPECT_EQ(CChannelID::FromFilePath(u"Channel_65537_2_3"), CChannelID(1, 2, 3));
  EXPECT_EQ(CChannelID::FromFilePath(u"Channel_1_2_x").Id(), 0u);
  EXPECT_EQ(CChannelID::FromFilePath(u"Channel_").Id(), 0u);

  // No "Channel_" at all is the caller's to catch.
  EXPECT_THROW(CChannelID::FromFilePath(u"Record_1_1"), std::out_of_range);
  EXPECT_THROW(CChannelID::FromFilePath(std::u16string()), std::out_of_range);
  EXPECT_THROW(CChannelID::FromFilePath(static_cast<const char16_t*>(nullptr)), std::out_of_range);
  try {
    CChannelID::FromFilePath(u"channel_1_2_3");
    ADD_FAILURE() << "no exception";
  } catch (const std::out_of_range& e) {
    EXPECT_STREQ(e.what(), "invalid string position");
  }
}

TEST(MarkerIdTest, OrdersByScopeThenSequence) {
  EXPECT_FALSE(CMarkerId().IsValid());
  EXPECT_TRUE(CMarkerId(0, 1).IsValid());
  EXPECT_TRUE(CMarkerId(1, 0).IsValid());

  const CMarkerId id(0x1234, 0xABCD);
  EXPECT_EQ(id.Sequence(), 0x1234);
  EXPECT_EQ(id.Scope(), 0xABCD);
  EXPECT_EQ(id.Key(), 0xABCD1234u);

  std::map<CMarkerId, int> markers;
  markers[CMarkerId(9, 1)] = 0;
  markers[CMarkerId(1, 2)] = 0;
  markers[CMarkerId(0xFFFF, 0)] = 0;
  markers[CMarkerId(2, 1)] = 0;
  std::vector<unsigned int> order;
  for (const auto& entry : markers) order.push_back(entry.first.Key());
  EXPECT_EQ(order, (std::vector<unsigned int>{0x0000FFFFu, 0x00010002u, 0x00010009u, 0x00020001u}));

  CMarkerId changed = id;
  changed.SetScope(1);
  changed.SetSequence(2);
  EXPECT_EQ(changed, CMarkerId(2, 1));
  EXPECT_NE(changed, id);
}
