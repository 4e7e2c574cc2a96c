// The answer of a record's check after a crash (CRecordSection::CheckRecord): the
// truth about the record that the end-up writes into the measurement's list.
#pragma once

#include <zsff/ChannelId.h>

#include <vector>
#include <zsff/Export.h>

namespace zsff {

struct ZSFF_API CheckRecordRet {
  bool Ok = false;               // the record could be checked
  unsigned short FirstPart = 0;  // first part holding common signal
  unsigned short LastPart = 0;   // last part holding common signal
  double Duration = 0.0;         // seconds
  unsigned long long Size = 0;   // bytes of its channels, pyramids estimated
  bool HasParts = false;         // some channel has a part length
  double PartLength = 0.0;       // seconds; that of the last channel looked at
  // Front-end samples of the first part before the signal kept, for a stop time.
  unsigned long long Offset = 0;
  long long Date = 0;  // earliest start of its channels, 100 ns ticks
  std::vector<CChannelID> FailedChannels;  // channels without any signal
};

}  // namespace zsff
