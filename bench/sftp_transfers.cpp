// What moving a measurement costs next to the system's own tools on the same
// files in the same run: CopyRecords against `cp -r`, UploadRecords over SFTP
// against OpenSSH's `scp -r`, DownloadRecords against OpenSSH's `sftp` with
// "get -r", the server being an sshd on 127.0.0.1 started here. The measurement
// has 4 records of 8 channels at 51200 Hz in parts of 64 s; its size is
// ZSFF_BENCH_MIB MiB (256 by default: the 1 GiB of a full run takes minutes per
// round on a shared machine). Everything stays in the page cache, so the
// comparison is of the work on the way, not of the disk. The ratios of the
// library's throughput to the tool's are printed at the end.
#include <benchmark/benchmark.h>
#include <zsff/MeasurementMetaData.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/RecordSignalTree.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "bench/PlainWriteBaseline.h"
#include "tests/sftp/SshServer.h"

namespace {

namespace fs = std::filesystem;
using Tree = zsff::CRecordSignalTree;

constexpr int kChannels = 8;
constexpr int kRecords = 4;
constexpr double kRate = 51200.0;
constexpr unsigned long long kBlock = 4096;
const std::shared_ptr<zsff::CAbstractFileAccess> kNoStore;

std::u16string Wide(const fs::path& path) {
  const std::string text = path.string();
  return std::u16string(text.begin(), text.end());  // the scratch paths are ASCII
}

// The measurement "m" in the scratch directory, and the server with the same
// measurement uploaded under "store".
class Setting {
 public:
  Setting() : m_Server((fs::create_directories(m_Scratch.Dir() / "ssh"), m_Scratch.Dir() / "ssh")) {
    Record();
    if (!m_Server.Start()) {
      std::fprintf(stderr, "sshd didn't start: %s\n", m_Server.Log().c_str());
      std::abort();
    }
    m_Store = m_Server.Store();
    if (!m_Store || !Upload(m_Store)) std::abort();
    fs::rename(m_Server.Root() / Base(), m_Server.Root() / "kept");
  }

  fs::path Measurement() const { return m_Scratch.Dir() / "m"; }
  fs::path Target() const { return m_Scratch.Dir() / "target"; }
  const zsff_test::SshServer& Server() const { return m_Server; }
  std::string Base() const { return "Record_" + std::to_string(kBase); }
  unsigned long long Bytes() const { return m_Bytes; }
  // The uploaded measurement in place for a download.
  void OfferKept() { fs::rename(m_Server.Root() / "kept", m_Server.Root() / Base()); }
  void KeepOffered() { fs::rename(m_Server.Root() / Base(), m_Server.Root() / "kept"); }

  bool Upload(const std::shared_ptr<zsff::CSftpFileAccess>& store) const {
    auto tree = Tree::OpenSignalTree(Wide(m_Scratch.Dir()), u"m", Tree::TreeOpenRead, store, true,
                                     u"", false);
    return tree && tree->UploadRecords(0);
  }
  std::shared_ptr<zsff::CSftpFileAccess> Store() const { return m_Store; }
  // OpenSSH's tools with the server's key and the user's.
  std::string Ssh(const char* tool) const {
    return std::string(tool) + " -q -i " + m_Server.Path("user_key") + " -o UserKnownHostsFile=" +
           m_Server.Path("known_hosts") + " -o BatchMode=yes -P " +
           std::to_string(m_Server.Location().Port) + " ";
  }
  std::string Login() const { return m_Server.Location().User + "@127.0.0.1:"; }

 private:
  static constexpr long kBase = 4242;

  void Record() {
    const char* mib = std::getenv("ZSFF_BENCH_MIB");
    const double bytes = (mib ? std::atof(mib) : 256.0) * 1024 * 1024;
    const unsigned long long blocks =
        static_cast<unsigned long long>(bytes / (kRecords * kChannels * kBlock * sizeof(float)));
    std::vector<float> block(kBlock);
    for (unsigned long long i = 0; i < kBlock; ++i) block[i] = static_cast<float>(std::sin(0.01 * i));
    auto tree = Tree::CreateSignalTree(Wide(m_Scratch.Dir()), u"m", kNoStore, false);
    if (!tree || !tree->SetRecordBase(kBase)) std::abort();
    std::vector<zsff::CChannelID> ids;
    for (int channel = 0; channel < kChannels; ++channel)
      ids.emplace_back(static_cast<unsigned short>(channel + 1), 0, 4711);
    for (int record = 0; record < kRecords; ++record) {
      int handle = tree->CreateRecord(0);
      zsff::CAbstractRecordSection& section = tree->wRecord(handle);
      std::map<zsff::CChannelID, zsff::TAG_RECORD_INFO> infos;
      for (const zsff::CChannelID& id : ids) {
        zsff::MetaDataContainer metaData;
        metaData.AddMetadata("SamplingRate", static_cast<float>(kRate));
        metaData.AddMetadata("DataFormat", std::u16string(u"SIFloat"));
        if (record == 0 && !section.AddChannel(id, metaData)) std::abort();
        infos[id] = zsff::TAG_RECORD_INFO();
      }
      if (!section.ArmRecord(0.0, zsff::PartLengthShort, true) || !section.StartRecord(infos))
        std::abort();
      for (unsigned long long i = 0; i < blocks; ++i)
        for (const zsff::CChannelID& id : ids)
          if (!section.WriteSampleBlock(id, block.data(), kBlock, true)) std::abort();
      if (!section.StopRecord()) std::abort();
      tree->CloseRecord(handle, true);
    }
    // The names a host gives its measurement, which the check of a download reads.
    zsff::MetaDataContainer metaData;
    if (!tree->LoadMetaDataMeasurement(metaData)) std::abort();
    zsff::CMetaDataMeasurementWriter writer(metaData);
    writer.ProjectName(u"Bench");
    writer.MeasurementName(u"m");
    writer.SignalFileName(tree->RecordNameBase() + u".zff");
    auto lock = tree->CreateMetaDataLock(zsff::MetaDataFileLock::LockWait);
    if (!lock || !tree->SaveMetaDataMeasurement(lock.get(), metaData, true)) std::abort();
    for (const auto& entry : fs::recursive_directory_iterator(Measurement()))
      if (entry.is_regular_file()) m_Bytes += entry.file_size();
  }

  zsff_bench::Scratch m_Scratch;
  zsff_test::SshServer m_Server;
  std::shared_ptr<zsff::CSftpFileAccess> m_Store;
  unsigned long long m_Bytes = 0;
};

Setting& TheSetting() {
  static Setting setting;
  return setting;
}

void Run(const std::string& command) {
  if (std::system(command.c_str()) != 0) {
    std::fprintf(stderr, "failed: %s\n", command.c_str());
    std::abort();
  }
}

// Times `body` once a round, removing `leftover` after each.
template <typename Body>
void Rounds(benchmark::State& state, const fs::path& leftover, Body body) {
  Setting& setting = TheSetting();
  for (auto _ : state) {
    body(setting);
    state.PauseTiming();
    fs::remove_all(leftover);
    state.ResumeTiming();
  }
  state.SetBytesProcessed(static_cast<long long>(state.iterations() * setting.Bytes()));
}

void BM_CopyRecords(benchmark::State& state) {
  Setting& setting = TheSetting();
  auto tree = Tree::OpenSignalTree(Wide(setting.Measurement().parent_path()), u"m",
                                   Tree::TreeOpenRead, kNoStore, false, u"", false);
  Rounds(state, setting.Target(), [&](Setting& s) {
    if (!tree->CopyRecords(Wide(s.Measurement()), Wide(s.Target()), true)) std::abort();
  });
}

void BM_CpR(benchmark::State& state) {
  Rounds(state, TheSetting().Target(), [](Setting& s) {
    Run("cp -r " + s.Measurement().string() + " " + s.Target().string());
  });
}

void BM_UploadRecords(benchmark::State& state) {
  Rounds(state, TheSetting().Server().Root() / TheSetting().Base(),
         [](Setting& s) { if (!s.Upload(s.Store())) std::abort(); });
}

void BM_ScpUpload(benchmark::State& state) {
  Rounds(state, TheSetting().Server().Root() / "scp", [](Setting& s) {
    Run(s.Ssh("scp") + "-r " + s.Measurement().string() + " " + s.Login() +
        (s.Server().Root() / "scp").string());
  });
}

void BM_DownloadRecords(benchmark::State& state) {
  Setting& setting = TheSetting();
  setting.OfferKept();
  const fs::path local = setting.Target() / setting.Base();
  Rounds(state, setting.Target(), [&](Setting& s) {
    fs::create_directories(local);
    auto tree = Tree::OpenSignalTree(Wide(s.Target()), Wide(s.Base()), Tree::TreeOpenRead,
                                     s.Store(), true, Wide(s.Base()), false);
    std::vector<std::u16string> messages;
    std::set<unsigned int> codes;
    if (!tree || !tree->DownloadRecords(messages, codes, false, 0)) {
      for (const std::u16string& message : messages)
        std::fprintf(stderr, "%s\n", std::string(message.begin(), message.end()).c_str());
      std::abort();
    }
  });
  setting.KeepOffered();
}

void BM_SftpDownload(benchmark::State& state) {
  Setting& setting = TheSetting();
  const fs::path batch = setting.Server().Path("batch");
  std::ofstream(batch) << "get -r " << (setting.Server().Root() / "kept").string() << " "
                       << setting.Target().string() << "\n";
  Rounds(state, setting.Target(), [&](Setting& s) {
    Run(s.Ssh("sftp") + "-b " + batch.string() + " " + s.Login().substr(0, s.Login().size() - 1) +
        " >/dev/null");
  });
}

BENCHMARK(BM_CopyRecords)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(BM_CpR)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(BM_UploadRecords)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(BM_ScpUpload)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(BM_DownloadRecords)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(BM_SftpDownload)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

// The console report, then each pair's ratio: the tool's time over the
// library's, that is the library's throughput as a share of the tool's.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs)
      if (run.run_type == Run::RT_Iteration && run.iterations > 0)
        m_Times[run.run_name.function_name] = run.GetAdjustedRealTime();
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    Ratio("CopyRecords / cp -r", "BM_CopyRecords", "BM_CpR");
    Ratio("UploadRecords / scp -r", "BM_UploadRecords", "BM_ScpUpload");
    Ratio("DownloadRecords / sftp get -r", "BM_DownloadRecords", "BM_SftpDownload");
  }

 private:
  void Ratio(const char* label, const std::string& library, const std::string& tool) {
    if (m_Times.count(library) && m_Times.count(tool) && m_Times[library] > 0.0)
      std::printf("%s: %.2f of the tool's throughput\n", label, m_Times[tool] / m_Times[library]);
  }
  std::map<std::string, double> m_Times;
};

}  // namespace

int main(int argc, char** argv) {
  RatioReporter reporter;
  return zsff_bench::RunBenchmarks(argc, argv, reporter);
}
