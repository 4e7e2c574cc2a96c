// The start information of a recording, compared field by field so that a failure
// names the field that differs.
#pragma once

#include <gtest/gtest.h>
#include <zsff/TmpRecordFile.h>

namespace zsff_test {

inline void ExpectSameInfo(const zsff::TAG_RECORD_INFO& actual,
                           const zsff::TAG_RECORD_INFO& expected) {
  EXPECT_EQ(actual.AbsoluteDate, expected.AbsoluteDate);
  EXPECT_EQ(actual.RelativeDate, expected.RelativeDate);
  EXPECT_EQ(actual.CumulativeDate, expected.CumulativeDate);
  EXPECT_EQ(actual.SignalOffset, expected.SignalOffset);
  EXPECT_EQ(actual.UncompactCoeff, expected.UncompactCoeff);
  EXPECT_EQ(actual.UncompactOffset, expected.UncompactOffset);
  EXPECT_EQ(actual.RecordNumber, expected.RecordNumber);
  EXPECT_EQ(actual.TimeStep, expected.TimeStep);
}

}  // namespace zsff_test
