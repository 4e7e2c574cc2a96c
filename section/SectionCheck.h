// The check of a whole record after a crash: each channel checked on its own
// (CChannel::CheckChannel), then the channels taken together for a length, a
// window and dates they all agree on.
//
// Internal: the section makes one for each check and works on the section's
// channels through it. The contract is stated in RecordSection.h under
// CheckRecord.
#pragma once

#include <zsff/MetaDataFileLock.h>
#include <zsff/RecordCheck.h>

#include <string>
#include <vector>

namespace zsff {

class CRecordSection;

class CSectionCheck {
 public:
  explicit CSectionCheck(CRecordSection& section) : m_Section(section) {}

  CheckRecordRet Run(const MetaDataFileLock* lock, bool timeToStop, float frontEndRate,
                     std::vector<std::string>& errors, unsigned long long& channelCount);

 private:
  CRecordSection& m_Section;
};

}  // namespace zsff
