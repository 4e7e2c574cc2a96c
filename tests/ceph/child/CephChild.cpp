// Another client of the test cluster, which the CephFS store's tests start with
// fork and exec: a process that forks after libcephfs is in use gets children
// that hang. It works in the measurement "m" at ROOT of the file system:
//
//   ceph_test_child record CONF ROOT BLOCKS
//     records a ramp of BLOCKS blocks of 1024 samples on two channels, writing a
//     byte to stdout after each block and waiting for one on stdin before the
//     next; then stops the record.
//   ceph_test_child record-through CONF ROOT BLOCKS
//     the same with the client's write cache off.
//   ceph_test_child update CONF ROOT UPDATES
//     adds 1 to the measurement's "Counter" UPDATES times, each a load and a save
//     under the metadata lock.
//
// The exit code is 0, or names the step that failed.
#include <unistd.h>
#include <zsff/CephFileAccess.h>
#include <zsff/ChannelMetaData.h>
#include <zsff/MeasurementMetaData.h>
#include <zsff/MetaDataFileLock.h>
#include <zsff/RecordSignalTree.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

using namespace zsff;
using Tree = CRecordSignalTree;

namespace {

constexpr unsigned long long kBlock = 1024;
const CChannelID kChannels[] = {CChannelID(1, 0, 4711), CChannelID(2, 0, 4711)};

int Record(const std::shared_ptr<CAbstractFileAccess>& store, unsigned long long blocks) {
  auto tree = Tree::CreateSignalTree(u"", u"m", nullptr, false, store);
  if (!tree || !tree->SetRecordBase(81)) return 10;
  // Named as a host names it: an end-up reports a measurement by these names.
  MetaDataContainer measurement;
  CMetaDataMeasurementWriter names(measurement);
  names.ProjectName(u"Fleet");
  names.MeasurementName(u"m");
  names.SignalFileName(u"Record_81.zff");
  auto lock = tree->CreateMetaDataLock(MetaDataFileLock::LockWait);
  if (!lock || !tree->SaveMetaDataMeasurement(lock.get(), measurement, false)) return 10;
  lock.reset();
  int handle = tree->CreateRecord(0);
  if (handle == 0) return 11;
  CAbstractRecordSection& section = tree->wRecord(handle);
  std::map<CChannelID, TAG_RECORD_INFO> infos;
  for (const CChannelID& id : kChannels) {
    MetaDataContainer metaData;
    CMetaDataChannelWriter writer(metaData);
    writer.SamplingRate(64.0f);
    writer.Format("SIFloat");
    if (!section.AddChannel(id, metaData)) return 12;
    infos[id].AbsoluteDate = 133000000000000000LL;
  }
  if (!section.ArmRecord(0.0, PartLengthShort, true) || !section.StartRecord(infos)) return 13;
  std::vector<float> block(kBlock);
  for (unsigned long long at = 0; at < blocks; ++at) {
    for (unsigned long long i = 0; i < kBlock; ++i) block[i] = static_cast<float>(at * kBlock + i);
    for (const CChannelID& id : kChannels)
      if (!section.WriteSampleBlock(id, block.data(), kBlock, true)) return 14;
    char byte = 1;
    if (write(STDOUT_FILENO, &byte, 1) != 1 || read(STDIN_FILENO, &byte, 1) != 1) return 15;
  }
  if (!section.StopRecord() || !tree->CloseRecord(handle, true)) return 16;
  return 0;
}

int Update(const std::shared_ptr<CAbstractFileAccess>& store, unsigned long long updates) {
  auto tree = Tree::OpenSignalTree(u"", u"m", Tree::TreeOpenEdit, nullptr, false, u"", false, store);
  if (!tree) return 20;
  for (unsigned long long update = 0; update < updates;) {
    std::unique_ptr<MetaDataFileLock> lock = tree->CreateMetaDataLock(MetaDataFileLock::LockWait);
    if (!lock) continue;  // the other process held it the whole time: try again
    MetaDataContainer metaData;
    long long counter = 0;
    if (!tree->LoadMetaDataMeasurement(metaData) || !metaData.FindMetadata("Counter", counter))
      return 21;
    metaData.AddMetadata("Counter", counter + 1);
    if (!tree->SaveMetaDataMeasurement(lock.get(), metaData, false)) return 22;
    ++update;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fprintf(stderr, "usage: %s record|update CONF ROOT COUNT\n", argv[0]);
    return 2;
  }
  CephLocation location;
  location.ConfigPath = argv[2];
  location.Path = argv[3];
  const std::string mode = argv[1];
  CephOptions options;
  options.CacheWrites = mode != "record-through";
  auto store = std::make_shared<CCephFileAccess>(location, options);
  if (!store->Mount()) {
    std::fprintf(stderr, "%s\n", store->LastErrorText().c_str());
    return 3;
  }
  const unsigned long long count = std::strtoull(argv[4], nullptr, 10);
  if (mode == "record" || mode == "record-through") return Record(store, count);
  if (mode == "update") return Update(store, count);
  return 2;
}
