// Editing: the one tree at a time that may change a finished measurement, marked
// by the key "Editing" of the metadata file so that other processes see it.
#include <zsff/MeasurementMetaData.h>
#include <zsff/RecordSignalTree.h>

#include "tree/MeasurementFile.h"

namespace zsff {

bool CRecordSignalTree::StartEditing() {
  if (m_Editing) return true;
  std::unique_ptr<MetaDataFileLock> lock =
      m_MeasurementFile->LockOrSay(u"CRecordSignalTree::StartEditing()");
  if (!lock) return false;
  MetaDataContainer metaData;
  if (LoadMetaDataMeasurement(metaData)) {
    bool editing = false;
    if (MetaDataMeasurementReader(metaData).Editing(editing) && editing) {
      // The mark has no owner: a program that ended while editing leaves it too.
      SetLastError(u"CRecordSignalTree::StartEditing() the measurement is being edited elsewhere, "
                   u"or was left marked by a program that ended while editing: " +
                   m_MeasurementFile->LocalPath());
    } else {
      CMetaDataMeasurementWriter(metaData).Editing(true);
      if (SaveMetaDataMeasurement(lock.get(), metaData, true)) m_Editing = true;
    }
  }
  return true;
}

bool CRecordSignalTree::StopEditing() {
  if (!m_MeasurementFile->Exists(SearchLocal)) return true;
  std::unique_ptr<MetaDataFileLock> lock =
      m_MeasurementFile->LockOrSay(u"CRecordSignalTree::StopEditing()");
  if (!lock) return false;
  MetaDataContainer metaData;
  std::u16string name;
  if (LoadMetaDataMeasurement(metaData) && MetaDataMeasurementReader(metaData).MeasurementName(name)) {
    CMetaDataMeasurementWriter(metaData).Editing(false);
    if (SaveMetaDataMeasurement(lock.get(), metaData, true)) m_Editing = false;
  }
  return true;
}

}  // namespace zsff
