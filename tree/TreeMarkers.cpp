// The measurement's markers (see TreeMarkers.h).
#include "tree/TreeMarkers.h"

#include <zsff/DateTime.h>
#include <zsff/MetaDataFileReader.h>
#include <zsff/MetaDataFileWriter.h>

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

bool CTreeMarkers::AddMarker(double& recordLength, double duration, double position,
                             const std::u16string& name) {
  long long date = 0;
  if (!m_Tree.m_Records->LastSection().RecordLengthAndAbsoluteDate(recordLength, date)) {
    recordLength = 0.0;
    return false;
  }
  if (position < 0.0) position = recordLength;
  if (!std::isfinite(position) || !std::isfinite(position + duration)) return false;
  ++m_Counter;
  const CMarkerId id(static_cast<unsigned short>(m_Counter),
                     static_cast<unsigned short>(m_Tree.m_RecordCounter));
  m_Added.AddMarker(id, position, position + duration, FileTimeToString(date), name);
  return WriteMarkers(m_Added);
}

bool CTreeMarkers::ReadMarkers(MetaDataContainer& markers) const {
  const std::u16string fileName = names::MarkersFileName(m_Tree.m_Records->RecordNameBase());
  CAbstractFileAccess* remote = m_Tree.m_RemoteFileAccess.get();
  if (remote == nullptr) {
    CAbstractFileAccess& local = *m_Tree.m_FileAccess;
    const std::u16string& directory = m_Tree.m_FullRecordPath;
    if (!local.FileExists(tree::JoinPath(directory, fileName, local))) return false;
    CMetaDataFileReader reader(&local);
    if (reader.Load(markers, fileName, directory)) return true;
    CRecordSignalTree::SetLastError(reader.LastError());
    return false;
  }
  // The local copy isn't looked at: the store's file is the one every host sees.
  const std::u16string directory = m_Tree.m_FullRemoteRecordPath.empty()
                                       ? m_Tree.m_RecordBase.IdToRecordNameBase()
                                       : m_Tree.m_FullRemoteRecordPath;
  std::set<unsigned short> analyzers;
  if (!remote->ListAnalyzers(analyzers)) return false;
  for (unsigned short analyzer : analyzers) {
    remote->SelectAnalyzer(analyzer);
    if (CMetaDataFileReader(remote).Load(markers, fileName, directory)) return true;
  }
  return false;
}

bool CTreeMarkers::WriteMarkers(const MetaDataContainer& markers) {
  if (!AllFinite(markers)) return false;
  const std::u16string fileName = names::MarkersFileName(m_Tree.RecordNameBase());
  CAbstractFileAccess& local = *m_Tree.m_FileAccess;
  const std::u16string& directory = m_Tree.m_FullRecordPath;
  const bool saved = CMetaDataFileWriter(&local).Save(markers, fileName, directory);
  const bool localDirectory = local.FileExists(directory);
  CAbstractFileAccess* remote = m_Tree.m_RemoteFileAccess.get();
  if (!saved || remote == nullptr) return saved;
  if (m_Tree.m_FullRemoteRecordPath.empty()) m_Tree.InitFullRemoteRecordPath();
  if (localDirectory)
    return remote->UploadFile(directory, fileName, m_Tree.m_FullRemoteRecordPath,
                              tree::kMeasurementStore);
  return CMetaDataFileWriter(remote).Save(markers, fileName, m_Tree.m_FullRemoteRecordPath);
}

}  // namespace zsff
