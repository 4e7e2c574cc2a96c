// Cutting a record after it was made: splitting it into two sections, erasing
// parts, taking a section out, emptying it while keeping its channels.
//
// Internal: the section makes one for each operation and works on its channels,
// its id and its state through it; RemoveRecordSection makes a section of its
// own. The contracts are stated in RecordSection.h under the same names.
#pragma once

#include <zsff/ChannelId.h>
#include <zsff/MetaDataFileLock.h>
#include <zsff/RecordId.h>

#include <string>
#include <utility>

namespace zsff {

class CAbstractFileAccess;
class CRecordSection;

class CSectionSurgery {
 public:
  explicit CSectionSurgery(CRecordSection& section) : m_Section(section) {}

  std::pair<CRecordId, CRecordId> Split(unsigned short partCount);
  bool EraseParts(const CChannelID& id, unsigned short firstPart, unsigned short lastPart);
  void SkipFirstPartNumber(bool skip);
  bool CleanRecord();
  static bool RemoveRecordSection(const MetaDataFileLock* lock,
                                  const std::u16string& measurementPath, const CRecordId& id,
                                  unsigned short lastPart, CAbstractFileAccess* access,
                                  std::u16string& error);

 private:
  // Marks the parts of every channel for erasing (CChannel::ErasePartRange);
  // false, with the channel's text as the section's last error, when a channel's
  // metadata can't be read or written.
  bool ErasePartsOfAllChannels(const MetaDataFileLock* lock, unsigned short first,
                               unsigned short last);

  CRecordSection& m_Section;
};

}  // namespace zsff
