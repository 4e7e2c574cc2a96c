// Zooms over a measurement on the memory store after the input changed one of
// its files: overwritten, cut, deleted or grown. Whatever the damage, the zoomer
// answers within the points asked for, or fails, and never reads or writes past
// a buffer. The measurement is recorded once; each input's change is undone.
#include <zsff/ChannelMetaData.h>
#include <zsff/MemoryFileAccess.h>
#include <zsff/RecordSignalTree.h>
#include <zsff/RecordZoomer.h>

#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "foundation/TextConversion.h"
#include "fuzz/FuzzSupport.h"

namespace {

using zsff::CRecordSignalTree;

std::shared_ptr<zsff::CMemoryFileAccess> g_Store;
std::u16string g_Local;
std::vector<std::u16string> g_Files;
std::map<std::u16string, std::string> g_Pristine;
const zsff::CChannelID kChannels[] = {zsff::CChannelID(1, 0, 4711), zsff::CChannelID(2, 0, 4711)};

std::string Get(const std::u16string& path) {
  unsigned long long size = 0;
  unsigned int handle = 0, read = 0;
  if (!g_Store->FileSize(path, size) || !g_Store->OpenFile(path, zsff::FileModeRead, handle))
    std::abort();
  std::string bytes(size, '\0');
  if (size > 0 && !g_Store->ReadFile(handle, bytes.data(), static_cast<unsigned int>(size), read))
    std::abort();
  g_Store->CloseFile(handle, false);
  return bytes;
}

void Put(const std::u16string& path, const std::string& bytes) {
  zsff_fuzz::PutFile(*g_Store, path, bytes.data(), bytes.size());
}

void Collect(const std::u16string& directory) {
  std::vector<std::u16string> directories, files;
  if (!g_Store->ListDirectory(directory, directories, files, u"*")) return;
  for (const std::u16string& file : files) g_Files.push_back(file);
  for (const std::u16string& child : directories) Collect(child);
}

// Two records of two channels of 64 samples a second, in parts of 64 s: 150 s,
// then 200 s in a ring of 128 s.
void Record() {
  auto tree = CRecordSignalTree::CreateSignalTree(g_Local, u"m", g_Store, true);
  if (!tree || !tree->SetRecordBase(71)) std::abort();
  const char* formats[] = {"SIFloat", "Compact16"};
  for (double ring : {0.0, 128.0}) {
    int handle = tree->CreateRecord(0);
    if (handle == 0) std::abort();
    zsff::CAbstractRecordSection& section = tree->wRecord(handle);
    std::map<zsff::CChannelID, zsff::TAG_RECORD_INFO> infos;
    for (int channel = 0; channel < 2; ++channel) {
      zsff::MetaDataContainer metaData;
      zsff::CMetaDataChannelWriter writer(metaData);
      writer.SamplingRate(64.0f);
      writer.Format(formats[channel]);
      if (section.ChannelCount() < 2 && !section.AddChannel(kChannels[channel], metaData))
        std::abort();
      infos[kChannels[channel]].AbsoluteDate = 133000000000000000LL;
    }
    if (!section.ArmRecord(ring, zsff::PartLengthShort, ring == 0.0) || !section.StartRecord(infos))
      std::abort();
    std::vector<float> floats(64 * 10);
    std::vector<short> shorts(64 * 10);
    for (int block = 0; block < (ring == 0.0 ? 15 : 20); ++block) {
      for (std::size_t i = 0; i < floats.size(); ++i)
        shorts[i] = static_cast<short>(floats[i] = static_cast<float>((block * 640 + i) % 3001));
      if (!section.WriteSampleBlock(kChannels[0], floats.data(), floats.size(), true) ||
          !section.WriteSampleBlock(kChannels[1], shorts.data(), shorts.size(), true))
        std::abort();
    }
    if (!section.StopRecord() || !tree->CloseRecord(handle, true)) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  zsff_fuzz::QuietDiagnostics();
  g_Local = zsff::Utf8ToWide(zsff_fuzz::ScratchDirectory("zoom"));
  g_Store = std::make_shared<zsff::CMemoryFileAccess>();
  Record();
  Collect(u"/");
  for (const std::u16string& file : g_Files) g_Pristine[file] = Get(file);
  return 0;
}

// Four bytes say what happens to which file: the file, the change (overwrite,
// cut, delete, grow), and where; the rest is the bytes written. The last two of
// them, when there are, steer the zoom.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 4 || g_Files.empty()) return 0;
  const std::u16string& file = g_Files[data[0] % g_Files.size()];
  const std::string& pristine = g_Pristine[file];
  const size_t at = std::min<size_t>(data[2] | data[3] << 8, pristine.size());
  const std::string payload(reinterpret_cast<const char*>(data) + 4, size - 4);
  switch (data[1] % 4) {
    case 0: {
      std::string changed = pristine;
      changed.replace(at, std::min(payload.size(), changed.size() - at), payload);
      Put(file, changed);
      break;
    }
    case 1:
      Put(file, pristine.substr(0, at));
      break;
    case 2:
      g_Store->DeleteFile(file);
      break;
    default:
      Put(file, pristine + payload);
  }

  const std::shared_ptr<zsff::CAbstractFileAccess> store = g_Store;
  auto tree = CRecordSignalTree::OpenSignalTree(g_Local, u"m", CRecordSignalTree::TreeOpenRead,
                                                store, true, u"", (data[1] & 4) != 0);
  if (tree) {
    const zsff::CChannelID& channel = kChannels[(data[1] >> 3) & 1];
    const unsigned long long points = size > 5 ? data[size - 1] + 1 : 50;
    const float stop = size > 5 ? data[size - 2] * 2.0f : 300.0f;
    zsff::CRecordZoomer zoomer;
    std::vector<float> view;
    if (zoomer.Init(tree.get(), channel) &&
        zoomer.GetCompressedSignal(channel, 0.0f, stop, points, (data[1] & 16) != 0, 1, view) &&
        view.size() > 2 * points)
      std::abort();
    zoomer.Clean(true);
    CRecordSignalTree::CloseSignalTree(tree);
  }
  Put(file, pristine);
  return 0;
}
