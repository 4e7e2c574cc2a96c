// The measurement's markers: a metadata file of their own (".zmrk") beside the
// measurement file, written whole, locally and on the remote store.
#include <zsff/DateTime.h>
#include <zsff/MetaDataFileReader.h>
#include <zsff/MetaDataFileWriter.h>
#include <zsff/RecordSignalTree.h>

#include <cmath>
#include <set>

#include "foundation/FileNames.h"
#include "tree/TreePaths.h"
#include "tree/TreeRecords.h"

namespace zsff {

namespace {

// The JSON writer stops at a NaN or an infinity and leaves a file cut short,
// which would lose every marker of the measurement at the next read.
bool AllFinite(const MetaDataContainer& markers) {
  for (const MetaDataMarker& marker : markers.GetMarkers())
    if (!std::isfinite(marker.relativeDate()) || !std::isfinite(marker.relativeDateFromRun()))
      return false;
  return true;
}

}  // namespace

bool CRecordSignalTree::AddMarker(double& recordLength, double duration, double position,
                                  const std::u16string& name) {
  long long date = 0;
  if (!rRecord(m_Records->LastHandle()).RecordLengthAndAbsoluteDate(recordLength, date)) {
    recordLength = 0.0;
    return false;
  }
  if (position < 0.0) position = recordLength;
  if (!std::isfinite(position) || !std::isfinite(position + duration)) return false;
  ++m_MarkerCounter;
  const CMarkerId id(static_cast<unsigned short>(m_MarkerCounter),
                     static_cast<unsigned short>(m_RecordCounter));
  m_Markers.AddMarker(id, position, position + duration, FileTimeToString(date), name);
  return WriteMarkers(m_Markers);
}

bool CRecordSignalTree::ReadMarkers(MetaDataContainer& markers) const {
  const std::u16string fileName = names::MarkersFileName(m_Records->RecordNameBase());
  if (!m_RemoteFileAccess) {
    if (!m_FileAccess->FileExists(tree::JoinPath(m_FullRecordPath, fileName, *m_FileAccess)))
      return false;
    return CMetaDataFileReader(m_FileAccess.get()).Load(markers, fileName, m_FullRecordPath);
  }
  // The local copy isn't looked at: the store's file is the one every host sees.
  const std::u16string directory = m_FullRemoteRecordPath.empty()
                                       ? m_RecordBase.IdToRecordNameBase()
                                       : m_FullRemoteRecordPath;
  std::set<unsigned short> analyzers;
  if (!m_RemoteFileAccess->ListAnalyzers(analyzers)) return false;
  for (unsigned short analyzer : analyzers) {
    m_RemoteFileAccess->SelectAnalyzer(analyzer);
    if (CMetaDataFileReader(m_RemoteFileAccess.get()).Load(markers, fileName, directory))
      return true;
  }
  return false;
}

bool CRecordSignalTree::WriteMarkers(const MetaDataContainer& markers) {
  if (!AllFinite(markers)) return false;
  const std::u16string fileName = names::MarkersFileName(RecordNameBase());
  const bool saved = CMetaDataFileWriter(m_FileAccess.get()).Save(markers, fileName, m_FullRecordPath);
  const bool local = m_FileAccess->FileExists(m_FullRecordPath);
  if (!saved || !m_RemoteFileAccess) return saved;
  if (m_FullRemoteRecordPath.empty()) InitFullRemoteRecordPath();
  if (local)
    return m_RemoteFileAccess->UploadFile(m_FullRecordPath, fileName, m_FullRemoteRecordPath,
                                          tree::kMeasurementStore);
  return CMetaDataFileWriter(m_RemoteFileAccess.get()).Save(markers, fileName,
                                                             m_FullRemoteRecordPath);
}

}  // namespace zsff
