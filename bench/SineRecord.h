// The record the reading benchmarks read back: 10 minutes of a slow sine at
// 51200 Hz in 64 s parts on each channel given, written once through a section
// as a host records it (with the pyramid) into a scratch directory of its own,
// and then opened for reading. Sections are made as the tree makes them, with the
// tests' stand-in for the tree, so that the record is stopped and complete.
#pragma once

#include <zsff/MetaDataContainer.h>
#include <zsff/RecordSection.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <memory>
#include <vector>

#include "bench/PlainWriteBaseline.h"
#include "foundation/LocalFileAccess.h"
#include "tests/section/RecordSectionProbe.h"

namespace zsff_bench {

class SineRecord {
 public:
  static constexpr float kRate = 51200.0f;
  static constexpr double kSeconds = 600.0;
  static constexpr unsigned long long kSamples = static_cast<unsigned long long>(kSeconds * kRate);

  // Each channel with its metadata, to which the rate is added.
  explicit SineRecord(std::map<zsff::CChannelID, zsff::MetaDataContainer> channels) {
    m_Store = std::make_shared<zsff::CLocalFileAccess>();
    m_Tree = std::make_unique<zsff_test::FakeTree>(m_Store, m_Scratch.Wide());
    Write(std::move(channels));
    m_Section = zsff_test::RecordSectionProbe::Open(m_Tree->Owner(), m_Scratch.Wide(), kRecord,
                                                    zsff::CAbstractRecordSection::OpenRead,
                                                    m_Store.get(), false, LastPart());
  }
  ~SineRecord() { m_Section.reset(); }
  SineRecord(const SineRecord&) = delete;
  SineRecord& operator=(const SineRecord&) = delete;

  zsff::CRecordSection& Section() { return *m_Section; }
  const Scratch& Files() const { return m_Scratch; }
  static unsigned short LastPart() {
    return static_cast<unsigned short>(std::ceil(kSeconds / 64.0) - 1);
  }

 private:
  // Blocks of a multiple of 32 samples, as hosts deliver them.
  static constexpr unsigned long long kBlock = 65536;
  inline static const zsff::CRecordId kRecord{1000, 1};

  void Write(std::map<zsff::CChannelID, zsff::MetaDataContainer> channels) {
    auto writer = zsff_test::RecordSectionProbe::Open(m_Tree->Owner(), m_Scratch.Wide(), kRecord,
                                                      zsff::CAbstractRecordSection::OpenCreate,
                                                      m_Store.get());
    std::map<zsff::CChannelID, zsff::TAG_RECORD_INFO> infos;
    for (auto& [id, metaData] : channels) {
      metaData.AddMetadata("SamplingRate", kRate);
      if (!writer->AddChannel(id, metaData)) std::abort();
      infos[id].AbsoluteDate = 132000000000000000LL;
    }
    if (!writer->ArmRecord(0.0, zsff::PartLengthShort, false) || !writer->StartRecord(infos)) {
      std::abort();
    }
    std::vector<float> block(kBlock);
    for (unsigned long long done = 0; done < kSamples; done += kBlock) {
      const unsigned long long count = std::min(kBlock, kSamples - done);
      for (unsigned long long i = 0; i < count; ++i) {
        block[i] = static_cast<float>(std::sin(static_cast<double>(done + i) * 0.001));
      }
      for (const auto& channel : channels) {
        if (!writer->WriteSampleBlock(channel.first, block.data(), count, true)) std::abort();
      }
    }
    if (!writer->StopRecord()) std::abort();
  }

  Scratch m_Scratch;
  std::shared_ptr<zsff::CLocalFileAccess> m_Store;
  std::unique_ptr<zsff_test::FakeTree> m_Tree;
  std::unique_ptr<zsff::CRecordSection> m_Section;
};

}  // namespace zsff_bench
