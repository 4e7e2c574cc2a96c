// Erasing a channel's parts: marking them in its metadata, and removing their
// files when the record opens next.
#include <zsff/ChannelMetaData.h>
#include <zsff/MetaDataContainer.h>

#include <algorithm>

#include "section/Channel.h"

namespace zsff {

namespace {

void ListOnce(std::vector<unsigned short>& list, unsigned short part) {
  if (std::find(list.begin(), list.end(), part) == list.end()) list.push_back(part);
}

}  // namespace

bool CChannel::ErasePartRange(const MetaDataFileLock* lock, unsigned short first,
                              unsigned short last) {
  if (lock == nullptr) return false;
  const bool recorded = m_TmpRecordFile->Exists();
  if (m_Layout.MaxRecordSamples != 0 && recorded) return true;

  // The parts a recording still writes into: this channel's own, or the newest
  // that the recording section has told through its temporary record file.
  std::vector<unsigned short> writing;
  unsigned short signalPart = 0, pyramidPart = 0;
  if (m_Writer.PartsBeingWritten(signalPart, pyramidPart)) {
    writing = {signalPart, pyramidPart};
  } else if (m_Recording && recorded && m_TmpRecordFile->Read()) {
    writing = {m_TmpRecordFile->Parts().second};
  }

  std::vector<unsigned short> marked;
  for (unsigned short part = first;; ++part) {
    if (m_SignalParts.Holds(part) &&
        std::find(writing.begin(), writing.end(), part) == writing.end()) {
      marked.push_back(part);
    }
    if (part == last) break;
  }
  if (marked.empty()) return true;

  // The metadata first: a mark that can't be written is no mark at all.
  std::vector<unsigned short> waiting = m_SignalParts.PartsToDelete;
  for (unsigned short part : marked) ListOnce(waiting, part);
  MetaDataContainer metaData;
  TAG_RECORD_INFO info;
  if (!ReadChannelMetaData(metaData, info, false, 0)) return false;
  CMetaDataChannelWriter(metaData).PartsToDelete(waiting);
  if (!UpdateChannelMetaData(metaData)) return false;

  m_SignalParts.PartsToDelete = waiting;
  m_PyramidParts.PartsToDelete = waiting;
  if (m_SignalParts.Waiting(m_SignalRead.Part)) {
    CloseReader();
    m_SignalRead.PartMissing = true;
  }
  if (m_SignalParts.Waiting(m_PyramidRead.Part)) m_PyramidRead.PartMissing = true;
  return true;
}

bool CChannel::ApplyPartsToDelete() {
  const ChannelPartRange marked = m_SignalParts;
  std::vector<unsigned short> notDeleted;
  DeleteParts(notDeleted);
  m_PyramidParts.PartsToDelete = notDeleted;
  // The readers may already stand on a part whose files have just gone.
  if (marked.Waiting(m_SignalRead.Part)) {
    CloseReader();
    m_SignalRead.PartMissing = true;
  }
  if (marked.Waiting(m_PyramidRead.Part)) m_PyramidRead.PartMissing = true;
  MetaDataContainer metaData;
  TAG_RECORD_INFO info;
  if (!ReadChannelMetaData(metaData, info, false, 0)) return false;
  CMetaDataChannelWriter(metaData).PartsToDelete(notDeleted);
  return UpdateChannelMetaData(metaData) && notDeleted.empty();
}

}  // namespace zsff
