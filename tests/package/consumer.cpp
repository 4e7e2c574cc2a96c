// A host built outside the tree against an installed library: it records a
// short measurement, reads it back, and says whether every sample survived.
#include <zsff/zsff.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

using Tree = zsff::CRecordSignalTree;

int Fail(const char* step, const std::u16string& reason) {
  std::string text(reason.begin(), reason.end());  // the library's texts here are ASCII
  std::fprintf(stderr, "consumer: %s failed: %s\n", step, text.c_str());
  return 1;
}

const zsff::CChannelID kChannel(1, 1, 4711);

int Record(const std::u16string& parent, const std::vector<float>& samples) {
  std::unique_ptr<Tree> tree = Tree::CreateSignalTree(parent, u"m", nullptr, false);
  if (!tree) return Fail("creating the measurement", Tree::LastErrorString());
  int handle = tree->CreateRecord(0);
  if (handle == 0) return Fail("creating the record", Tree::LastErrorString());
  zsff::CAbstractRecordSection& section = tree->wRecord(handle);
  zsff::MetaDataContainer channel;
  zsff::CMetaDataChannelWriter(channel).SamplingRate(1000.0f);
  zsff::CMetaDataChannelWriter(channel).Format("SIFloat");
  std::map<zsff::CChannelID, zsff::TAG_RECORD_INFO> infos;
  infos[kChannel].RecordNumber = 1;
  if (!section.AddChannel(kChannel, channel) ||
      !section.ArmRecord(0.0, zsff::PartLengthShort, true) || !section.StartRecord(infos) ||
      !section.WriteSampleBlock(kChannel, samples.data(), samples.size(), true) ||
      !section.StopRecord()) {
    return Fail("recording", section.LastErrorString());
  }
  if (!tree->CloseRecord(handle, false)) return Fail("closing the record", Tree::LastErrorString());
  Tree::CloseSignalTree(tree);
  return 0;
}

int ReadBack(const std::u16string& parent, const std::vector<float>& samples) {
  std::unique_ptr<Tree> tree =
      Tree::OpenSignalTree(parent, u"m", Tree::TreeOpenRead, nullptr, false, u"", false);
  if (!tree) return Fail("opening the measurement", Tree::LastErrorString());
  std::vector<zsff::MetaDataRecord> records;
  if (!tree->GetRecordsVect(records) || records.size() != 1) {
    return Fail("listing the records", Tree::LastErrorString());
  }
  int handle = tree->OpenRecord(zsff::CRecordId(records[0].RecordId()), Tree::TreeOpenRead, 0);
  if (handle == 0) return Fail("opening the record", Tree::LastErrorString());
  zsff::CAbstractRecordSection& section = tree->wRecord(handle);
  std::vector<float> read(samples.size() + 10);
  const unsigned long long count = section.ReadRawSampleBlock(kChannel, read.data(), read.size());
  if (count != samples.size() || std::memcmp(read.data(), samples.data(), count * sizeof(float))) {
    std::fprintf(stderr, "consumer: read %llu samples, not the %zu written\n", count, samples.size());
    return 1;
  }
  tree->CloseRecord(handle, false);
  Tree::CloseSignalTree(tree);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: consumer EXISTING_DIRECTORY\n");
    return 2;
  }
  if (std::strcmp(zsff::LibraryVersion(), ZSFF_VERSION_STRING) != 0) {
    std::fprintf(stderr, "consumer: headers of %s, library of %s\n", ZSFF_VERSION_STRING,
                 zsff::LibraryVersion());
    return 1;
  }
  const std::string path = argv[1];
  const std::u16string parent(path.begin(), path.end());  // an ASCII temporary path
  std::vector<float> samples(2500);
  for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<float>(i) * 0.5f - 3.0f;
  if (int failed = Record(parent, samples)) return failed;
  if (int failed = ReadBack(parent, samples)) return failed;
  std::printf("zsff %s: %zu samples recorded and read back\n", zsff::LibraryVersion(), samples.size());
  return 0;
}
