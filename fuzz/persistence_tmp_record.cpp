// Feeds arbitrary bytes to the temporary record file reader as "TmpRecord.zrm".
// Beyond not crashing, a file that reads as valid must survive a write and a
// second read unchanged, and must come back whole through a metadata container.
#include <zsff/ChannelMetaData.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/TmpRecordFile.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "foundation/LocalFileAccess.h"
#include "fuzz/FuzzSupport.h"

namespace {

std::string g_Directory;
std::string g_File;
zsff::CLocalFileAccess* g_Store = nullptr;

bool SameInfo(const zsff::TAG_RECORD_INFO& a, const zsff::TAG_RECORD_INFO& b) {
  // Bitwise, so that a NaN read from the file compares equal to itself. The
  // structure has no padding, so every byte compared is a field's.
  return std::memcmp(&a, &b, sizeof a) == 0;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // The reader's diagnostics would drown the fuzzer's own output.
  if (std::freopen("/dev/null", "w", stdout) == nullptr) std::abort();
  g_Directory = zsff_fuzz::ScratchDirectory("tmprecord");
  g_Store = new zsff::CLocalFileAccess();
  g_File = g_Directory + g_Store->PathSeparator() + "TmpRecord.zrm";
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  zsff_fuzz::WriteInput(g_File, data, size);

  zsff::CTmpRecordFile reader(g_Directory, g_Store);
  if (!reader.Read()) return 0;
  const zsff::TAG_RECORD_INFO info = reader.RecordInfo();
  const auto parts = reader.Parts();
  if (info.AbsoluteDate == 0) std::abort();  // a valid file always has a start date

  // Rewrite as version 2 and read back: nothing may change.
  if (!reader.Write()) std::abort();
  zsff::CTmpRecordFile again(g_Directory, g_Store);
  if (!again.Read() || !SameInfo(again.RecordInfo(), info) || again.Parts() != parts) std::abort();

  // Through a container and back.
  zsff::MetaDataContainer container;
  zsff::CMetaDataChannelWriter(container).SamplingRate(size > 0 ? float(data[0]) : 0.0f);
  again.ToMetaDataContainer(container, size);
  zsff::CTmpRecordFile fromContainer(g_Directory, nullptr);
  fromContainer.FromMetaDataContainer(container);
  if (!SameInfo(fromContainer.RecordInfo(), info)) std::abort();
  return 0;
}
