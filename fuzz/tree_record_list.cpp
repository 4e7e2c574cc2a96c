// Feeds arbitrary bytes to the tree as a measurement file, and lists and opens
// its records as a host would, with the sections of a record merged and not.
// Whatever the file says, the list is what the file holds (merged, never longer),
// and opening an entry whose directory isn't there fails or opens nothing.
#include <zsff/MetaDataRecord.h>
#include <zsff/RecordSignalTree.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "foundation/TextConversion.h"
#include "fuzz/FuzzSupport.h"

namespace {

std::string g_Directory;

// The list of the file through a tree that merges sections or not; false when
// the tree doesn't open or the file doesn't list.
bool List(bool merge, std::vector<zsff::MetaDataRecord>& records) {
  const std::shared_ptr<zsff::CAbstractFileAccess> noStore;
  auto tree = zsff::CRecordSignalTree::OpenSignalTree(zsff::Utf8ToWide(g_Directory), u"m",
                                                      zsff::CRecordSignalTree::TreeOpenRead,
                                                      noStore, false, u"", merge);
  if (!tree) std::abort();  // the directory is there
  if (!tree->GetRecordsVect(records)) {
    if (zsff::CRecordSignalTree::LastErrorString().empty()) std::abort();
    return false;
  }
  // A few entries are opened: the directories are missing, which a section
  // must take in its stride.
  for (std::size_t i = 0; i < records.size() && i < 3; ++i) {
    int handle = tree->OpenRecord(zsff::CRecordId(records[i].RecordId()),
                                  zsff::CRecordSignalTree::TreeOpenRead, 0);
    if (handle != 0) {
      if (tree->rRecord(handle).ChannelCount() != 0) std::abort();
      tree->CloseRecord(handle, false);
    }
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  zsff_fuzz::QuietDiagnostics();
  g_Directory = zsff_fuzz::ScratchDirectory("recordlist");
  std::filesystem::create_directory(g_Directory + "/m");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  zsff_fuzz::WriteInput(g_Directory + "/m/Record_7.zsfh", data, size);
  std::vector<zsff::MetaDataRecord> plain, merged;
  const bool listed = List(false, plain);
  if (List(true, merged) != listed || merged.size() > plain.size()) std::abort();
  return 0;
}
