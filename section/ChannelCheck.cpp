// The check of one channel of a record that may not have been closed: what its
// temporary record file, its part files and its metadata say together.
#include <zsff/FileAccess.h>
#include <zsff/MetaDataContainer.h>

#include <algorithm>

#include "foundation/FileNames.h"
#include "foundation/TextConversion.h"
#include "metadata/MetaDataKeys.h"
#include "section/Channel.h"

namespace zsff {

void CChannel::FillCheck(ChannelCheck_t& check, unsigned short first, unsigned short last) {
  const float rate = m_Layout.SamplingRate;
  check.FirstPart = first;
  check.LastPart = last;
  check.Duration = m_Duration != 0.0 ? m_Duration
                                     : static_cast<double>(SignalLengthSpl(false)) /
                                           static_cast<double>(rate);
  check.Size = SignalSizeInBytes();
  check.SamplingRate = rate;
  check.PartLength = m_Layout.PartLength;
  check.MaxRecordLength =
      static_cast<float>(m_Layout.MaxRecordSamples) / static_cast<float>(rate);
  m_TmpRecordFile->SetParts(first, last);
}

ChannelCheck_t CChannel::CheckChannel(const MetaDataFileLock* lock) {
  ChannelCheck_t check;
  if (!m_TmpRecordFile->Exists()) {
    // A closed channel: its metadata is already the truth. Its parts and length
    // are too, unless the record's entry never got them (no duration): a stop cut
    // short after it closed its channels leaves the entry as the start made it,
    // and only the part files on disk tell what the record holds.
    if (m_TmpRecordFile->IsValid()) {
      FillCheck(check, m_SignalParts.FirstPart, m_SignalParts.LastPart);
      if (m_Duration == 0.0 && TakePartsOnDisk(check)) TakeParts(check.FirstPart, check.LastPart);
    }
    check.Ok = true;
    return check;
  }

  check.WasRecording = true;
  m_TmpRecordFile->Load();
  RefreshFileLengths(false);
  const std::pair<unsigned short, unsigned short> parts = m_TmpRecordFile->Parts();
  FillCheck(check, parts.first, parts.second);

  MetaDataContainer metaData;
  TAG_RECORD_INFO info;
  if (!ReadChannelMetaData(metaData, info, false, 0)) return check;

  float maxLength = 0.0f;
  if (ReadKey(metaData, ChannelKeys::MaxRecordLength, maxLength) && maxLength != 0.0f) {
    check.MaxRecordLength = maxLength;
    CheckRingParts(check);
  }

  // The temporary file goes last, so that a crash before leaves all of it to be
  // done again.
  if (lock != nullptr && MendPyramid(check.LastPart) && UpdateChannelMetaData(metaData)) {
    m_TmpRecordFile->Delete();
    check.Ok = true;
  }
  return check;
}

bool CChannel::TakePartsOnDisk(ChannelCheck_t& check) {
  CAbstractFileAccess* access = m_Layout.FileAccess;
  std::vector<std::u16string> directories, files;
  if (access == nullptr ||
      !access->ListDirectory(m_Layout.Directory, directories, files,
                             names::SignalPartFilePattern()) ||
      files.empty())
    return false;
  unsigned short smallest = 65535, largest = 0;
  unsigned long long samples = 0, bytesWithPyramids = 0;
  const std::u16string separator = access->PathSeparatorW();
  for (const std::u16string& file : files) {
    const unsigned short part =
        names::ParsePartName(WideToUtf8(names::LastPathComponent(file, separator)));
    smallest = std::min(smallest, part);
    largest = std::max(largest, part);
    unsigned long long bytes = 0;
    access->FileSize(file, bytes);
    samples += bytes / m_Layout.SampleSize;
    bytesWithPyramids += bytes + (bytes >> 4) + (bytes >> 9) + (bytes >> 14) + (bytes >> 19);
  }
  check.Size = bytesWithPyramids;
  check.FirstPart = smallest;
  check.LastPart = largest;
  check.Duration = static_cast<double>(samples) / static_cast<double>(m_Layout.SamplingRate);
  return true;
}

void CChannel::CheckRingParts(ChannelCheck_t& check) {
  // A ring drops its oldest parts after the temporary file was last written: the
  // files left on disk tell which parts the record still has.
  const unsigned short first = m_TmpRecordFile->Parts().first;
  if (!TakePartsOnDisk(check)) return;
  if (check.FirstPart > first) {
    const double dropped = (check.FirstPart - first) * m_Layout.PartLength;
    TAG_RECORD_INFO info = m_TmpRecordFile->RecordInfo();
    info.AbsoluteDate += static_cast<long long>(dropped / 1e-7);
    info.RelativeDate +=
        static_cast<long long>(static_cast<double>(m_Layout.SamplingRate) * dropped) << 16;
    m_TmpRecordFile->SetRecordInfo(info);
  }
  m_TmpRecordFile->SetParts(check.FirstPart, check.LastPart);
}

}  // namespace zsff
