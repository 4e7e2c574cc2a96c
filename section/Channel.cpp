// A channel's construction, its metadata and the lengths it reports; the rest is
// handed to its part writer, part reader and pyramid view.
#include "section/Channel.h"

#include <zsff/ChannelMetaData.h>
#include <zsff/FileAccess.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataFileReader.h>
#include <zsff/MetaDataFileWriter.h>
#include <zsff/SignalFile.h>

#include <stdexcept>
#include <utility>

#include "foundation/FileNames.h"
#include "foundation/TextConversion.h"
#include "metadata/MetaDataKeys.h"
#include "signal/CompressedSignalFileWriter.h"

namespace zsff {

CChannel::CChannel(ChannelLayout layout, CAbstractRecordSection::OpenMode_t openMode)
    : m_Layout(std::move(layout)),
      m_OpenMode(openMode),
      m_TmpRecordFile(
          std::make_unique<CTmpRecordFile>(m_Layout.DirectoryUtf8, m_Layout.FileAccess)),
      m_Reader(m_Layout, m_SignalParts, m_PyramidParts, m_SignalRead, m_PyramidRead, m_LastError),
      m_PyramidView(m_Layout, m_SignalParts, m_PyramidParts, m_PyramidRead, m_SignalRead, m_Reader,
                    m_LastError),
      m_Writer(m_Layout, m_SignalParts, m_PyramidParts, m_LastError) {
  m_Layout.TmpRecordFile = m_TmpRecordFile.get();
  const unsigned short first = m_Layout.RecordId.PartNumber();
  for (ChannelPartRange* range : {&m_SignalParts, &m_PyramidParts}) {
    range->FirstPart = first;
    range->LastPart = first;
  }
  m_SignalRead.Part = first;
  m_PyramidRead.Part = first;
}

CChannel::CChannel(const CChannelID& id, const std::u16string& directory,
                   const std::u16string& fileName, const MetaDataContainer& metaData,
                   const CRecordId& recordId, CAbstractRecordSection::OpenMode_t openMode,
                   CAbstractFileAccess* access)
    : CChannel(ChannelLayout(id, directory, fileName, recordId, access), openMode) {
  float rate = 0.0f;
  if (!ReadKey(metaData, ChannelKeys::SamplingRate, rate)) {
    m_LastError = u"CRecordSection::AddChannel invalide channel metadata";
    throw std::runtime_error("channel metadata without SamplingRate");
  }
  m_Layout.SamplingRate = rate;
  m_Layout.TakeSampleDescription(metaData);

  // The file on disk says how the pyramid was built, for readers of any version.
  MetaDataContainer saved(metaData);
  WriteKey(saved, ChannelKeys::CompressionFactor,
           static_cast<long>(CCompressedSignalFileWriter::kCompressionFactor));
  CMetaDataHeaderFileWriter writer(m_TmpRecordFile.get(), m_Layout.FileAccess);
  if (!writer.Save(saved, names::ChannelMetaDataFileName(m_Layout.FileName), m_Layout.Directory)) {
    m_LastError = u"CRecordSection::AddChannel() Error: " + writer.LastError();
    throw std::runtime_error("channel metadata file not saved");
  }
  m_Writer.Begin(m_Layout.RecordId.PartNumber());
}

CChannel::CChannel(const CChannelID& id, const std::u16string& directory,
                   const std::u16string& fileName, const CRecordId& recordId,
                   unsigned short lastPart, CAbstractRecordSection::OpenMode_t openMode,
                   double duration, long long offsetTimeToStop, CAbstractFileAccess* access)
    : CChannel(ChannelLayout(id, directory, fileName, recordId, access), openMode) {
  OpenExisting(true, lastPart, duration, offsetTimeToStop);
}

CChannel::CChannel(const CChannelID& id, const std::u16string& directory,
                   const std::u16string& fileName, const CRecordId& recordId,
                   CAbstractRecordSection::OpenMode_t openMode, CAbstractFileAccess* access)
    : CChannel(ChannelLayout(id, directory, fileName, recordId, access), openMode) {
  OpenExisting(false, 0, 0.0, 0);
}

CChannel::~CChannel() {
  // A part that couldn't be deleted during the recording gets a last chance.
  std::vector<unsigned short> notDeleted;
  DeleteParts(notDeleted);
  // The members then go in reverse order: writers, readers, temporary record file.
}

void CChannel::OpenExisting(bool finished, unsigned short lastPart, double duration,
                            long long offsetTimeToStop) {
  MetaDataContainer metaData;
  TAG_RECORD_INFO info;
  if (!ReadChannelMetaData(metaData, info, false, 0)) return;
  m_TmpRecordFile->SetRecordInfo(info);
  m_Layout.TakeGeometry(metaData);

  if (finished) {
    const unsigned long long timeStep = info.TimeStep != 0 ? info.TimeStep : 1;
    m_SignalParts.OffsetTimeToStop = static_cast<unsigned long long>(offsetTimeToStop) / timeStep;
    m_SignalParts.LastPart = lastPart;
    m_SignalParts.TimeOffset = 0.0;
    m_PyramidParts = m_SignalParts;
    m_Duration = duration;
    m_Layout.RecordDuration = duration;
    if (duration == 0.0) CMetaDataChannelReader(metaData).RecordLength(m_Layout.RecordDuration);
    m_Recording = false;
  } else {
    m_Recording = true;
    if (m_TmpRecordFile->Exists()) {
      m_SignalParts.LastPart = m_TmpRecordFile->Parts().second;
      m_PyramidParts = m_SignalParts;
    }
    // Only the signal files' range: the pyramid's copy is taken before.
    m_SignalParts.TimeOffset = m_SignalParts.FirstPart * m_Layout.PartLength;
  }

  const unsigned short part = m_Layout.RecordId.PartNumber();
  m_Reader.Begin(part);
  CSignalFileReader& reader = m_Reader.File();
  if (m_OpenMode == CAbstractRecordSection::OpenRead) m_Reader.ApplyScaling(metaData);

  m_SignalParts.PartsToDelete = CMetaDataChannelReader(metaData).PartsToDelete();

  const bool exists = reader.SignalFileExists();
  if (finished) {
    m_SignalRead.PartMissing = !exists;
  } else {
    m_SignalRead.PartMissing = m_Layout.PartLength > 0.0 && !exists && m_TmpRecordFile->Exists();
  }

  m_Layout.TakeSampleDescription(metaData);
  m_Layout.Describe(reader);
  if (m_OpenMode == CAbstractRecordSection::OpenRead) reader.UpdateSignalLength();

  if (finished) {
    reader.UpdateSignalLength();
    m_Layout.SignalLengthCache = SignalLengthSpl(false);
  }

  m_PyramidView.Begin(part);
  // Writers come described, so they are made once the samples are known.
  if (m_OpenMode != CAbstractRecordSection::OpenRead) m_Writer.Begin(part);
}

// --- Recording --------------------------------------------------------------------------

void CChannel::ForgetRecord(MetaDataContainer& metaData) {
  WriteKey(metaData, ChannelKeys::RecordStartDate, 0LL);
  WriteKey(metaData, ChannelKeys::RecordDuration, 0.0);
}

bool CChannel::ArmChannel(double maxLength, double partLength) {
  m_Layout.PartLength = partLength;

  // Readers of the record learn its geometry from here alone: a record armed
  // without it would read as one part long, so a failure stops the arming.
  MetaDataContainer metaData;
  CMetaDataHeaderFileReader reader(m_TmpRecordFile.get(), m_Layout.FileAccess);
  if (!reader.Load(metaData, m_Layout.FileName, m_Layout.Directory)) {
    m_LastError = u"CRecordSection::ArmRecord unable to read channel metadata: " + reader.LastError();
    return false;
  }
  WriteKey(metaData, ChannelKeys::PartLength, static_cast<float>(partLength));
  WriteKey(metaData, ChannelKeys::MaxRecordLength, static_cast<float>(maxLength));
  ForgetRecord(metaData);
  CMetaDataHeaderFileWriter writer(m_TmpRecordFile.get(), m_Layout.FileAccess);
  if (!writer.Save(metaData, names::ChannelMetaDataFileName(m_Layout.FileName),
                   m_Layout.Directory)) {
    m_LastError = u"CRecordSection::ArmRecord unable to write channel metadata: " + writer.LastError();
    return false;
  }
  return m_Writer.Arm(maxLength);
}

bool CChannel::CloseChannel(const MetaDataFileLock* lock) {
  // A part whose close failed may lack what was counted on a store where closing
  // completes the transfer, and the metadata below is merged from the temporary
  // record file as written here: either failure leaves the record to the end-up,
  // or to a second stop.
  if (!m_Writer.Close()) return false;
  if (!m_TmpRecordFile->Write()) {
    m_LastError = u"CChannel::CloseChannel unable to save record information: " +
                  Utf8ToWide(m_TmpRecordFile->Path());
    return false;
  }

  // The header reader merges the temporary record file into what it loads, so the
  // container comes back with the dates and the length of the retained signal.
  MetaDataContainer metaData;
  TAG_RECORD_INFO info;
  bool told = false;
  if (ReadChannelMetaData(metaData, info, false, SignalLengthSpl(false) * m_Layout.SampleSize)) {
    double duration = 0.0;
    if (!ReadKey(metaData, ChannelKeys::RecordDuration, duration)) {
      duration = m_Duration != 0.0 ? m_Duration
                                   : static_cast<double>(RecordedSamples()) /
                                         static_cast<double>(m_Layout.SamplingRate);
      WriteKey(metaData, ChannelKeys::RecordDuration, duration);
    }
    told = lock == nullptr || UpdateChannelMetaData(metaData);
  }
  // Without its metadata loaded the ".zrm" is left as it stands rather than
  // overwritten by a near-empty container.

  std::vector<unsigned short> notDeleted;
  DeleteParts(notDeleted);
  // The temporary record file is all that tells the record's length while the
  // metadata doesn't: it stays for the end-up when the metadata couldn't be told.
  if (!told) return false;
  m_TmpRecordFile->Delete();
  return true;
}

void CChannel::TakeParts(unsigned short first, unsigned short last) {
  m_Layout.RecordId.SetPartNumber(first);
  for (ChannelPartRange* range : {&m_SignalParts, &m_PyramidParts}) {
    range->FirstPart = first;
    range->LastPart = last;
  }
}

// --- Metadata -----------------------------------------------------------------------

bool CChannel::ReadChannelMetaData(MetaDataContainer& out, TAG_RECORD_INFO& info, bool mustBeOpen,
                                   unsigned long long dataSize) {
  return m_Layout.LoadMetaData(out, info, dataSize, !mustBeOpen || m_Reader.HasReader(),
                               m_LastError);
}

bool CChannel::UpdateRecordInfo() {
  if (m_OpenMode != CAbstractRecordSection::OpenRead) return true;
  MetaDataContainer metaData;
  TAG_RECORD_INFO info;
  if (!ReadChannelMetaData(metaData, info, true, 0)) return false;
  m_TmpRecordFile->SetRecordInfo(info);
  m_Layout.TakeGeometry(metaData);
  return true;
}

bool CChannel::UpdateChannelMetaData(const MetaDataContainer& metaData) {
  if (!m_Reader.HasReader() && !m_Writer.HasWriter()) {
    m_LastError = u"CChannel::UpdateChannelMetaData invalid state";
    return false;
  }
  CAbstractFileAccess* access = m_Layout.FileAccess;
  if (access != nullptr) access->SelectAnalyzer(m_Layout.ChannelId.AnalyzerIndex());
  CMetaDataHeaderFileWriter writer(m_TmpRecordFile.get(), access);
  if (!writer.Save(metaData, names::ChannelMetaDataFileName(m_Layout.FileName),
                   m_Layout.Directory)) {
    m_LastError = u"CChannel::UpdateChannelMetaData() Error: " + writer.LastError();
    return false;
  }
  return true;
}

// --- Reading and requests -------------------------------------------------------------

bool CChannel::SetReadPosition(double seconds) {
  if (!m_TmpRecordFile->IsValid()) UpdateRecordInfo();
  return m_Reader.SetReadPosition(seconds, m_SkipFirstPartNumber);
}

bool CChannel::SetReadPositionSpl(unsigned long long sample) {
  if (!m_TmpRecordFile->IsValid()) UpdateRecordInfo();
  return m_Reader.SetReadPositionSpl(sample, m_SkipFirstPartNumber);
}

bool CChannel::RequestCompressedSignal(float start, float stop, unsigned long long points,
                                       bool absolute) {
  // A record still being written has grown since the last look.
  RefreshFileLengths(false);
  return m_PyramidView.Request(start, stop, points, absolute, m_Duration);
}

// --- Lengths --------------------------------------------------------------------------

void CChannel::RefreshFileLengths(bool mayLag) {
  if (!m_Reader.UpdateSignalLength() && !mayLag) {
    m_LastError = u"CChannel::UpdateSignalLength unable to get signal length in SignalFileReader";
  }
  if (!m_Writer.UpdateSignalLength()) {
    m_LastError = u"CChannel::UpdateSignalLength unable to get signal length in SignalFileWriter";
  }
}

void CChannel::UpdateSignalLength(bool refreshParts, bool tmpFilePresent) {
  // While a part-wise record grows, the reader's part may not exist yet.
  RefreshFileLengths(tmpFilePresent && m_Layout.PartLength != 0.0);
  if (m_Layout.PartLength == 0.0 || (!m_Recording && m_SignalParts.LastPart != 0) ||
      !refreshParts || !tmpFilePresent) {
    return;
  }

  // The recording section tells its parts only through the temporary record file.
  m_TmpRecordFile->Read();
  const std::pair<unsigned short, unsigned short> parts = m_TmpRecordFile->Parts();
  if (m_Layout.MaxRecordSamples != 0) {
    const unsigned short dropped =
        static_cast<unsigned short>(parts.first - m_SignalParts.FirstPart);
    m_SignalParts.TimeOffset += dropped * m_Layout.PartLength;
    m_SignalParts.FirstPart = parts.first;
    m_Layout.RecordId.SetPartNumber(parts.first);
  }
  m_SignalParts.LastPart = parts.second;
  m_PyramidParts.LastPart = parts.second;
  m_PyramidParts.TimeOffset = m_SignalParts.TimeOffset;
  m_PyramidParts.FirstPart = m_SignalParts.FirstPart;
}

unsigned long long CChannel::SignalLengthSpl(bool fromPartZero) {
  return m_Layout.SignalLengthSpl(m_SignalParts, fromPartZero);
}

unsigned long long CChannel::SignalSizeInBytes() {
  if (m_Layout.PartLength == 0.0) {
    return m_OpenMode == CAbstractRecordSection::OpenCreate ? m_Writer.SignalFileSize()
                                                            : m_Reader.SignalFileSize();
  }
  RefreshFileLengths(false);
  return m_Layout.EstimatedBytes(m_SignalParts);
}

}  // namespace zsff
