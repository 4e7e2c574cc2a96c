// What the tests of min/max views share: record 1000_1 written in a directory of
// its own through a section that a stand-in tree owns, opened again for reading,
// and a view requested and fetched in recorded units.
#pragma once

#include <gtest/gtest.h>
#include <zsff/RecordSection.h>

#include <algorithm>
#include <initializer_list>
#include <map>
#include <memory>
#include <vector>

#include "TempDir.h"
#include "foundation/LocalFileAccess.h"
#include "section/RecordSectionProbe.h"

namespace zsff_test {

class ViewTest : public ::testing::Test {
 protected:
  // A section that makes the record.
  std::unique_ptr<zsff::CRecordSection> OpenForWriting() {
    return RecordSectionProbe::Open(tree.Owner(), dir.Wide(), kRecord,
                                    zsff::CAbstractRecordSection::OpenCreate, store.get());
  }
  // The finished record, its parts ending at part 2.
  std::unique_ptr<zsff::CRecordSection> OpenForReading() {
    return RecordSectionProbe::Open(tree.Owner(), dir.Wide(), kRecord,
                                    zsff::CAbstractRecordSection::OpenRead, store.get(), false, 2);
  }
  // Starts an armed section on `channels`, all at one date.
  static bool Start(zsff::CRecordSection& writer,
                    std::initializer_list<zsff::CChannelID> channels) {
    zsff::TAG_RECORD_INFO info;
    info.AbsoluteDate = 132000000000000000LL;
    std::map<zsff::CChannelID, zsff::TAG_RECORD_INFO> infos;
    for (const zsff::CChannelID& id : channels) infos[id] = info;
    return writer.StartRecord(infos);
  }

  const zsff::CRecordId kRecord{1000, 1};
  TempDir dir;
  std::shared_ptr<zsff::CLocalFileAccess> store = std::make_shared<zsff::CLocalFileAccess>();
  FakeTree tree{store, dir.Wide()};
};

// Requests and fetches a view in recorded units; empty when either step fails.
inline std::vector<float> View(zsff::CRecordSection& section, const zsff::CChannelID& id,
                               float start, float stop, unsigned long long points) {
  if (!section.RequestCompressedSignal(id, start, stop, points, false)) return {};
  const zsff::CompressedSignalInfo_t info = section.GetCompressedSignalInfo(id);
  std::vector<float> view(std::max(info.Size, 2 * points));
  if (section.GetCompressedSignal(id, view.data(), zsff::SampleReadRecorded) !=
      zsff::CompressReady) {
    return {};
  }
  view.resize(section.GetCompressedSignalInfo(id).Size);
  return view;
}

}  // namespace zsff_test
