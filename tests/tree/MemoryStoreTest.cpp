// A measurement recorded onto the memory store and read back through the tree,
// as a host that keeps its analyzer's disk in memory would.
#include <zsff/MemoryFileAccess.h>

#include <string>
#include <vector>

#include "TempDir.h"
#include "tree/SurgeryTestSupport.h"

using namespace zsff;
using namespace zsff_test;

TEST(MemoryStore, RecordsOntoTheStoreAndReadsBack) {
  TempDir local;
  auto memory = std::make_shared<CMemoryFileAccess>();
  const std::shared_ptr<CAbstractFileAccess> store = memory;
  {
    auto tree = Tree::CreateSignalTree(local.Wide(), u"m", store, true);
    ASSERT_TRUE(tree && tree->SetRecordBase(71));
    for (unsigned long long samples : {10000ULL, 5000ULL}) {
      int handle = tree->CreateRecord(0);
      ASSERT_NE(handle, 0) << N(Tree::LastErrorString());
      StartTwoChannels(tree->wRecord(handle));
      WriteRamp(tree->wRecord(handle), 0, samples);
      ASSERT_TRUE(tree->wRecord(handle).StopRecord());
      ASSERT_TRUE(tree->CloseRecord(handle, true));
    }
  }
  EXPECT_TRUE(memory->FileExists(u"/Record_71/Record_71_2"));

  auto reader = Tree::OpenSignalTree(local.Wide(), u"m", Tree::TreeOpenRead, store, true, u"", false);
  std::vector<CRecordId> records;
  ASSERT_TRUE(reader && reader->ListRecords(records, false));
  ASSERT_EQ(records.size(), 2u);
  for (std::size_t record = 0; record < records.size(); ++record) {
    int read = reader->OpenRecord(records[record], Tree::TreeOpenRead, 0);
    ASSERT_NE(read, 0) << N(Tree::LastErrorString());
    const std::vector<float> samples = ReadAll(reader->wRecord(read), kRight);
    ASSERT_EQ(samples.size(), record == 0 ? 10000u : 5000u);
    for (std::size_t i = 0; i < samples.size(); ++i) ASSERT_EQ(samples[i], static_cast<float>(i));
    EXPECT_TRUE(reader->CloseRecord(read, false));
  }
}
