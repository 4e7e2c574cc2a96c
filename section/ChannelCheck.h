// What the check of one channel of a record that wasn't closed finds: whether it
// was recording, the parts it holds, its length and size, and the geometry it
// was recorded with. CChannel::CheckChannel answers it; CRecordSection::CheckRecord
// gathers one per channel.
#pragma once

namespace zsff {

struct ChannelCheck_t {
  bool Ok = false;            // brought into the channel's metadata (or nothing to bring)
  bool WasRecording = false;  // "TmpRecord.zrm" was there
  unsigned short FirstPart = 0;
  unsigned short LastPart = 0;
  double Duration = 0.0;            // seconds
  unsigned long long Size = 0;      // bytes, pyramids estimated
  float SamplingRate = 0.0f;
  double PartLength = 0.0;          // seconds
  double MaxRecordLength = 0.0;     // seconds; 0 without a ring
};

}  // namespace zsff
