// Reading metadata files: a file as it stands, and a channel's ".zrm" completed
// from the temporary record file while the channel records.
#include <zsff/DateTime.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataContainerJson.h>
#include <zsff/MetaDataFileReader.h>
#include <zsff/TmpRecordFile.h>

#include <climits>
#include <string>
#include <utility>
#include <vector>

#include "foundation/FileNames.h"
#include "foundation/TextConversion.h"
#include "metadata/MetaDataKeys.h"
#include "persistence/MetaDataFileCache.h"
#include "persistence/MetaDataFileSupport.h"

namespace zsff {

using metadata_file::JoinPath;
using metadata_file::StoreInUse;

CMetaDataFileReader::CMetaDataFileReader(CAbstractFileAccess* access, CMetaDataFileCache* cache)
    : m_FileAccess(access), m_Cache(cache) {}

CMetaDataFileReader::~CMetaDataFileReader() = default;

std::u16string CMetaDataFileReader::LastError() const {
  return std::exchange(m_LastError, std::u16string());
}

namespace {

// Loads the JSON text of the file `path`; false with the reason in `error`. With
// a cache (may be null), a file whose size and time haven't moved isn't parsed again.
bool LoadFile(CAbstractFileAccess& store, const std::u16string& path, MetaDataContainer& out,
              std::u16string& error, CMetaDataFileCache* cache) {
  const std::u16string prefix = u"CMetaDataFileReader::Load(" + path + u")";
  unsigned long long size = 0;
  long long lastWrite = 0;
  const long long lookedAt = cache != nullptr ? GetSystemTimeAsFileTime() : 0;
  const bool found = cache != nullptr ? store.FileSizeAndTime(path, size, lastWrite)
                                      : store.FileSize(path, size);
  if (!found || size == 0) {
    error = prefix + u" Cannot open file or file empty";
    return false;
  }
  if (cache != nullptr && cache->Holds(path, size, lastWrite)) {
    cache->CopyTo(out);
    return true;
  }
  unsigned int handle = 0;
  if (!store.OpenFile(path, FileModeRead, handle)) {
    error = prefix + u" Cannot open file";
    return false;
  }
  // A save moves a new file over this one at any moment: the size that counts is
  // the size of the file opened, not of whatever the path named a moment before.
  if (!store.SeekFile(handle, 0, 2) || !store.TellFile(handle, size) ||
      !store.SeekFile(handle, 0, 0) || size == 0) {
    error = prefix + u" Cannot open file or file empty";
    store.CloseFile(handle, false);
    return false;
  }

  // One read must take the whole file; a metadata file beyond what one read can
  // carry is as unreadable as a short one.
  std::string text;
  unsigned int bytesRead = 0;
  bool read = size <= UINT_MAX;
  if (read) {
    text.assign(static_cast<size_t>(size), '\0');
    read = store.ReadFile(handle, text.data(), static_cast<unsigned int>(size), bytesRead) &&
           bytesRead == size;
  }
  if (!read) {
    error = prefix + u" Cannot read file";
    store.CloseFile(handle, false);
    return false;
  }

  // The parse is kept only when it holds the file alone: a text that names no
  // physical quantity leaves the caller's in `out`.
  const bool keep = cache != nullptr && out.PhysicalQuantityMap().empty();
  MetaDataContainerJson json;
  const bool loaded = json.FromJSONString(text, out);
  if (!loaded) error = prefix + u" Error: " + Utf8ToWide(json.LastError());
  store.CloseFile(handle, false);
  if (keep && loaded) {
    cache->Keep(path, size, lastWrite, lookedAt, out);
  } else if (cache != nullptr) {
    cache->Forget();
  }
  return loaded;
}

}  // namespace

bool CMetaDataFileReader::Load(MetaDataContainer& out, const std::u16string& name,
                               const std::u16string& directory) const {
  if (name.empty()) return false;
  StoreInUse store(m_FileAccess);
  const std::u16string path = JoinPath(*store, directory, name);
  if (LoadFile(*store, path, out, m_LastError, m_Cache)) return true;
  // A save cut short while rewriting the file left its whole copy beside it; a
  // copy is read once, never kept, as the next save removes it.
  if (m_Cache != nullptr) m_Cache->Forget();
  const std::u16string copy = names::SavingCopyName(path);
  std::u16string ignored;
  if (store->FileExists(copy) && LoadFile(*store, copy, out, ignored, nullptr)) {
    m_LastError.clear();
    return true;
  }
  return false;
}

CMetaDataHeaderFileReader::CMetaDataHeaderFileReader(CTmpRecordFile* tmp,
                                                     CAbstractFileAccess* access,
                                                     CMetaDataFileCache* cache)
    : CMetaDataFileReader(access, cache), m_TmpRecordFile(tmp) {}

bool CMetaDataHeaderFileReader::Load(MetaDataContainer& out, const std::u16string& name,
                                     const std::u16string& directory) const {
  TAG_RECORD_INFO info;
  return Load(out, name, directory, info, 0);
}

bool CMetaDataHeaderFileReader::Load(MetaDataContainer& out, const std::u16string& name,
                                     const std::u16string& directory, TAG_RECORD_INFO& info,
                                     unsigned long long signalFilesSize) const {
  if (name.empty()) return false;
  CTmpRecordFile* const tmp = m_TmpRecordFile;

  // A recording channel's length is what its part files hold so far.
  if (signalFilesSize == 0 && tmp != nullptr && tmp->Exists()) {
    StoreInUse store(m_FileAccess);
    std::vector<std::u16string> directories;
    std::vector<std::u16string> files;
    store->ListDirectory(directory, directories, files, names::SignalPartFilePattern());
    for (const std::u16string& file : files) {
      unsigned long long size = 0;
      store->FileSize(file, size);
      signalFilesSize += size;
    }
  }

  if (!CMetaDataFileReader::Load(out, names::ChannelMetaDataFileName(name), directory))
    return false;

  if (tmp == nullptr) {
    double duration = 0.0;
    if (!ReadKey(out, ChannelKeys::RecordDuration, duration))
      WriteKey(out, ChannelKeys::RecordDuration, 0.0);
    return true;
  }

  // While the record is being written the ".zrm" record fields are stale by
  // design; the temporary file and the size override them, but only when
  // something changed since the last merge, so a reader polling an idle record
  // keeps what it has.
  const bool recording = tmp->Exists();
  if (recording && (!tmp->IsValid() || tmp->PreviousFileSize() != signalFilesSize)) {
    tmp->SetPreviousFileSize(signalFilesSize);
    tmp->ToMetaDataContainerPreviousFileSize(out);
  }
  // A finished record has no temporary file: its record information comes from
  // the ".zrm" file instead.
  if (!recording && !tmp->IsValid()) tmp->FromMetaDataContainer(out);
  if (!tmp->IsValid()) tmp->Read();
  info = tmp->RecordInfo();
  return true;
}

}  // namespace zsff
