// The end-up: the walk over a directory of measurements that finds those a crash
// left unfinished, by the host's ".zff" header still lying beside their metadata,
// repairs each and renames its header, so that the next walk passes it over.
#include "tree/RecordEndUp.h"

#include <mutex>

#include "foundation/FileNames.h"
#include "foundation/LocalFileAccess.h"
#include "foundation/TextConversion.h"
#include "tree/TreePaths.h"

namespace zsff {

using Tree = CRecordSignalTree;

bool CRecordEndUp::RecordEndUp(const std::u16string& directory,
                               std::shared_ptr<CAbstractFileAccess>& fileAccess, bool remote,
                               std::vector<Tree::RecordEndUp_t>& repaired,
                               std::vector<std::string>& errors) {
  std::lock_guard<CCriticalSectionWrapper> guard(Tree::m_cs);
  if (!fileAccess) {
    if (remote) {
      errors.push_back("Error no file access object");
      return false;
    }
    fileAccess = std::make_shared<CLocalFileAccess>();
  }
  CAbstractFileAccess& access = *fileAccess;
  access.SelectAnalyzer(tree::kMeasurementStore);
  std::vector<std::u16string> directories, files;
  if (!access.ListDirectory(directory, directories, files, u"*")) {
    errors.push_back("Error to access signal directory contents: " + WideToUtf8(directory));
    return false;
  }

  bool result = true;
  for (const std::u16string& path : directories)
    result = EndUpMeasurement(path, fileAccess, remote, repaired, errors) && result;
  return result;
}

bool CRecordEndUp::EndUpMeasurement(const std::u16string& path,
                                    const std::shared_ptr<CAbstractFileAccess>& fileAccess,
                                    bool remote, std::vector<Tree::RecordEndUp_t>& repaired,
                                    std::vector<std::string>& errors) {
  std::lock_guard<CCriticalSectionWrapper> guard(Tree::m_cs);
  CAbstractFileAccess& access = *fileAccess;
  const std::shared_ptr<CAbstractFileAccess> store = remote ? fileAccess : nullptr;
  const std::shared_ptr<CAbstractFileAccess> disk = remote ? nullptr : fileAccess;
  const std::u16string::size_type slash = path.find_last_of(u"/\\");
  const std::u16string parent = slash == std::u16string::npos ? u"" : path.substr(0, slash);
  const std::u16string name = tree::LastPathComponent(path);
  if (!Tree::GetSignalDirectoryInfo(parent, name, store, false, disk).Valid) return true;
  // On a store only directories named after a record are measurements; on the
  // local disk the name is the user's.
  if (remote && CRecordId(CRecordId::RecordNameToId(name)).RecordBase() == 0) return true;

  std::unique_ptr<Tree> tree =
      Tree::OpenSignalTree(parent, name, Tree::TreeOpenRead, store, remote, u"", false, disk);
  if (!tree) {
    errors.push_back("Unable to open signal record tree: " + WideToUtf8(path));
    return false;
  }
  const std::string base = WideToUtf8(tree->RecordNameBase());
  const std::u16string header =
      tree::JoinPath(path, Utf8ToWide(names::HeaderFileName(base)), access);
  if (!access.FileExists(header)) return true;

  bool result = CRecordEndUp(*tree).CheckRecords(repaired, errors, true, false);
  // A measurement that held nothing went with its header: nothing to finish.
  if (access.FileExists(header) &&
      !access.RenameFile(
          header, tree::JoinPath(path, Utf8ToWide(names::EndedUpHeaderFileName(base)), access))) {
    errors.push_back("Error, in record \"" + WideToUtf8(path) +
                     "\" unable to rename zxf header file");
    result = false;
  }
  return result;
}

}  // namespace zsff
