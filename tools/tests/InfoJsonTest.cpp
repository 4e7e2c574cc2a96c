// The listing's JSON as a script meets it: valid whatever the values, with
// the numbers that a double can't hold exactly given as text.
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <limits>

#include "InfoJson.h"

namespace zsff_tools {
namespace {

TEST(InfoJson, StaysValidWithLargeIdsAndValuesThatArentFinite) {
  MeasurementSummary m;
  m.MetaData.AddMetadata("Start", 0x7ffffffffffffff1LL);
  m.MetaData.AddMetadata("Gain", std::numeric_limits<double>::infinity());
  RecordSummary record;
  record.Id = zsff::CRecordId(0xfedcba9876540001ULL);
  record.AbsDate = 133000000000000001LL;
  ChannelSummary channel;
  channel.SamplingRate = std::numeric_limits<double>::quiet_NaN();
  channel.Duration = 2.5;
  record.Channels.push_back(channel);
  m.Records.push_back(record);

  rapidjson::Document json;
  json.Parse(MeasurementToJson(m).c_str());
  ASSERT_FALSE(json.HasParseError()) << MeasurementToJson(m);
  EXPECT_STREQ(json["keys"]["Start"].GetString(), "9223372036854775793");
  EXPECT_TRUE(json["keys"]["Gain"].IsNull());
  const rapidjson::Value& r = json["records"][0];
  EXPECT_STREQ(r["id"].GetString(), "18364758544493051905");
  EXPECT_STREQ(r["absDate"].GetString(), "133000000000000001");
  EXPECT_TRUE(r["channels"][0]["samplingRate"].IsNull());
  EXPECT_EQ(r["channels"][0]["duration"].GetDouble(), 2.5);
}

}  // namespace
}  // namespace zsff_tools
