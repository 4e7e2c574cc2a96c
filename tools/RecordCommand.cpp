// zsff record: the library's main job as a host does it. A new measurement, its
// metadata and the host's ".zff" header; then for each record AddChannel (the
// first record; later ones take the channels of the one before), ArmRecord,
// StartRecord, WriteSampleBlock per channel and block, StopRecord; at the end the
// header goes, which marks the measurement as finished. A run that dies on the
// way leaves the header, and the library's end-up repairs the measurement.
#include <zsff/zsff.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "Arguments.h"
#include "Commands.h"
#include "DemoMeasurement.h"
#include "DirectorySize.h"
#include "Format.h"
#include "HostHeader.h"
#include "Place.h"
#include "Interrupts.h"
#include "OpenTree.h"
#include "Progress.h"
#include "Verbosity.h"
#include "WidePath.h"
#include "foundation/FileNames.h"
#include "foundation/TextConversion.h"

namespace fs = std::filesystem;

namespace zsff_tools {

namespace {

// 100 ms of signal: small enough for a smooth progress bar and real-time pacing,
// large enough that the per-call cost of the library doesn't show.
constexpr std::size_t kBlockSamples = 5120;

// Adds the time of its scope to a total.
class LibraryTimer {
 public:
  explicit LibraryTimer(std::chrono::steady_clock::duration& total)
      : m_Total(total), m_Start(std::chrono::steady_clock::now()) {}
  ~LibraryTimer() { m_Total += std::chrono::steady_clock::now() - m_Start; }

 private:
  std::chrono::steady_clock::duration& m_Total;
  std::chrono::steady_clock::time_point m_Start;
};

// What the tree tells its host when a record stops: its parts and size.
class StopListener : public zsff::CRecordSignalTree::CAbstractChangeStateCallBack {
 public:
  struct Stop {
    unsigned short FirstPart = 0;
    unsigned short LastPart = 0;
    long long FileSize = 0;
  };

  void OnChangeState(const zsff::CRecordId&, int, zsff::CRecordSignalTree::ChangeAction_t action,
                     const zsff::CRecordSignalTree::CChangeActionParam_t* param) override {
    if (action != zsff::CRecordSignalTree::ChangeRecordStopped || param == nullptr) return;
    m_Stops.push_back({param->FirstPart, param->LastPart, param->FileSize});
  }
  const std::vector<Stop>& Stops() const { return m_Stops; }

 private:
  std::vector<Stop> m_Stops;
};

struct Options {
  fs::path Directory;
  double Seconds = 120.0;
  int Records = 3;
  bool RealTime = false;
};

zsff::MetaDataContainer MeasurementMetaData(const Options& options, const std::u16string& baseName,
                                            std::size_t channelCount) {
  zsff::MetaDataContainer metaData;
  zsff::CMetaDataMeasurementWriter writer(metaData);
  writer.ProjectName(u"zsff demo");
  writer.MeasurementName(zsff::Utf8ToWide(options.Directory.filename().string()));
  if (const char* user = std::getenv("USER"); user != nullptr && *user != '\0') {
    writer.UserName(zsff::Utf8ToWide(user));
  }
  writer.Comment(u"Synthetic signals written by zsff record");
  writer.TavroxVersion("zsff " ZSFF_VERSION_STRING);
  writer.SignalFileName(baseName);
  writer.NumberOfChannels(static_cast<long>(channelCount));
  writer.SamplingFrontEnd(static_cast<float>(kDemoSamplingRate));
  writer.Sampling1(static_cast<float>(kDemoSamplingRate));
  writer.Mode(options.RealTime ? "Real time" : "As fast as the disk allows");
  writer.AddAnalyzer(std::to_string(kDemoDeviceSerial), "DEMO-8", "", "");
  writer.AddMeasProperty("Generator", u"Generator", u"zsff record");
  writer.AddMeasProperty("RequestedSeconds", u"Requested seconds",
                         zsff::Utf8ToWide(Printf("%g", options.Seconds)));
  return metaData;
}

class Recorder {
 public:
  explicit Recorder(const Options& options)
      : m_Options(options),
        m_Channels(MakeDemoChannels(kBlockSamples)),
        m_Blocks(m_Channels.size(), nullptr) {}

  int Run();

 private:
  int CreateMeasurement();
  // Records one record; ExitOk, ExitFailure (with the message printed) or
  // ExitInterrupted (stopped cleanly).
  int RecordOne(int index, const RecordPlan& plan, ProgressBar& progress);
  void PrintSummary(double seconds) const;

  const Options& m_Options;
  std::vector<DemoChannel> m_Channels;
  std::vector<RecordPlan> m_Plan;
  std::unique_ptr<zsff::CRecordSignalTree> m_Tree;
  StopListener m_Listener;
  // The measurement's record list as the recording left it: the lengths kept,
  // which a ring's time to stop makes shorter than the lengths recorded.
  std::vector<zsff::MetaDataRecord> m_Records;
  fs::path m_HeaderPath;
  std::string m_BaseName;
  unsigned long long m_TotalSamples = 0;
  unsigned long long m_SamplesDone = 0;  // per channel, over every record
  unsigned long long m_BytesDone = 0;
  std::size_t m_BytesPerFrame = 0;    // one sample of every channel
  std::vector<const void*> m_Blocks;  // this block of each channel, in its stored format
  std::chrono::steady_clock::duration m_LibraryTime{};  // spent in the library's calls
};

int Recorder::CreateMeasurement() {
  std::u16string parent, name;
  std::string pathError;
  Place place;
  if (!FindPlace(m_Options.Directory, place, pathError) ||
      !ToWideParentAndName(place.Path, parent, name, pathError))
    return Fail(pathError);
  const std::shared_ptr<zsff::CAbstractFileAccess> noRemoteStore;
  const std::string directory = m_Options.Directory.string();
  errno = 0;
  m_Tree = zsff::CRecordSignalTree::CreateSignalTree(parent, name, noRemoteStore, false,
                                                     place.TreeDisk);
  if (!m_Tree) {
    const int error = errno;
    return Fail("cannot create the measurement " + directory + ": " +
                Reason(error, zsff::CRecordSignalTree::LastErrorString()));
  }
  m_Tree->SetChangeStateCallBack(&m_Listener);

  // The base names every file of the measurement; drawing it now lets the
  // metadata and the header exist before the first record.
  zsff::CRecordId base;
  base.NewBase();
  if (!m_Tree->SetRecordBase(static_cast<long>(base.RecordBase()))) {
    return Fail("the measurement base " + std::to_string(base.RecordBase()) + " is in use");
  }
  const std::u16string baseName = m_Tree->RecordNameBase();
  m_BaseName = zsff::WideToUtf8(baseName);

  {
    // Released before the first record: the tree takes the same lock for each
    // notice, and would wait for us.
    errno = 0;
    const std::unique_ptr<zsff::MetaDataFileLock> lock =
        m_Tree->CreateMetaDataLock(zsff::MetaDataFileLock::LockWait);
    if (!lock) {
      const int error = errno;
      return Fail("cannot lock the measurement " + directory + ": " +
                  Reason(error, zsff::CRecordSignalTree::LastErrorString()));
    }
    errno = 0;
    if (!m_Tree->SaveMetaDataMeasurement(
            lock.get(), MeasurementMetaData(m_Options, baseName, m_Channels.size()), true)) {
      const int error = errno;
      return Fail("cannot write the measurement file in " + directory + ": " +
                  Reason(error, zsff::CRecordSignalTree::LastErrorString()));
    }
  }

  m_HeaderPath = m_Options.Directory / zsff::names::HeaderFileName(m_BaseName);
  errno = 0;
  if (!WriteHostHeader(m_HeaderPath, "zsff record")) {
    const int error = errno;
    return Fail("cannot write " + m_HeaderPath.string() + ": " + Reason(error));
  }
  return ExitOk;
}

int Recorder::RecordOne(int index, const RecordPlan& plan, ProgressBar& progress) {
  // An error line must not run on from the progress bar.
  auto fail = [&progress](const std::string& message) {
    progress.Clear();
    return Fail(message);
  };
  const auto setupStart = std::chrono::steady_clock::now();
  errno = 0;
  int handle = m_Tree->CreateRecord(0);
  if (handle == 0) {
    const int error = errno;
    return fail("cannot create record " + std::to_string(index + 1) + " in " +
                m_Options.Directory.string() + ": " +
                Reason(error, zsff::CRecordSignalTree::LastErrorString()));
  }
  zsff::CAbstractRecordSection& section = m_Tree->wRecord(handle);
  const std::string what = "record " + std::to_string(index + 1);
  // Each step that can fail zeroes errno first, so that the reason is its own.
  auto sectionFailure = [&](const std::string& step) {
    const int error = errno;
    return m_Options.Directory.string() + ", " + what + ": " + step + ": " +
           Reason(error, section.LastErrorString());
  };

  // A record after the first starts with the channels of the one before.
  if (section.ChannelCount() != m_Channels.size()) {
    for (const DemoChannel& channel : m_Channels) {
      if (section.IsValidChannel(channel.Id())) continue;
      errno = 0;
      if (!section.AddChannel(channel.Id(), channel.MetaData())) {
        const std::string message =
            sectionFailure("cannot add channel " + std::to_string(channel.Id().ChannelNumber()));
        m_Tree->CloseRecord(handle, true);
        return fail(message);
      }
    }
  }

  const bool ring = plan.RingSeconds > 0.0;
  errno = 0;
  if (!section.ArmRecord(plan.RingSeconds, ring ? zsff::PartLengthAuto : zsff::PartLengthShort,
                         !ring)) {
    const std::string message = sectionFailure("cannot arm");
    m_Tree->CloseRecord(handle, true);
    return fail(message);
  }

  std::map<zsff::CChannelID, zsff::TAG_RECORD_INFO> infos;
  for (const DemoChannel& channel : m_Channels) {
    zsff::TAG_RECORD_INFO info;  // a start date of 0: the library stamps the current time
    info.RelativeDate = static_cast<long long>(m_SamplesDone) << 16;
    info.CumulativeDate = static_cast<double>(m_SamplesDone) / kDemoSamplingRate;
    info.RecordNumber = static_cast<unsigned short>(index + 1);
    info.UncompactCoeff = static_cast<float>(channel.Coefficient());
    infos[channel.Id()] = info;
  }
  errno = 0;
  if (!section.StartRecord(infos)) {
    const std::string message = sectionFailure("cannot start");
    m_Tree->CloseRecord(handle, true);
    return fail(message);
  }

  m_LibraryTime += std::chrono::steady_clock::now() - setupStart;

  const std::string label = Printf("record %d/%zu", index + 1, m_Plan.size());
  const auto start = std::chrono::steady_clock::now();
  unsigned long long done = 0;
  int result = ExitOk;
  while (done < plan.Samples && result == ExitOk) {
    if (Interrupted()) {
      result = ExitInterrupted;
      break;
    }
    const std::size_t count =
        static_cast<std::size_t>(std::min<unsigned long long>(kBlockSamples, plan.Samples - done));
    // Generated first, so that the library's share of the time can be told.
    for (std::size_t c = 0; c < m_Channels.size(); ++c)
      m_Blocks[c] = m_Channels[c].NextBlock(count);
    {
      const LibraryTimer timer(m_LibraryTime);
      errno = 0;
      for (std::size_t c = 0; c < m_Channels.size() && result == ExitOk; ++c) {
        if (!section.WriteSampleBlock(m_Channels[c].Id(), m_Blocks[c], count, true)) {
          result = ExitFailure;
        }
      }
    }
    if (result != ExitOk) {
      fail(sectionFailure("cannot write a block at " +
                          Printf("%.1f s", static_cast<double>(done) / kDemoSamplingRate)));
      break;
    }
    done += count;
    m_SamplesDone += count;
    m_BytesDone += count * m_BytesPerFrame;
    progress.Update(m_SamplesDone, label, m_BytesDone);
    if (m_Options.RealTime) {
      std::this_thread::sleep_until(
          start + std::chrono::duration<double>(static_cast<double>(done) / kDemoSamplingRate));
    }
  }

  // Stopped also after a failed block, so that what reached the disk is a proper
  // record. StopRecord gives false only when the metadata lock can't be had; it
  // may be called again.
  bool stopped;
  std::string stopFailure;
  {
    const LibraryTimer timer(m_LibraryTime);
    errno = 0;
    stopped = section.StopRecord();
    for (int attempt = 0; !stopped && attempt < 3; ++attempt) {
      std::this_thread::sleep_for(std::chrono::milliseconds(200));
      stopped = section.StopRecord();
    }
    if (!stopped) stopFailure = sectionFailure("cannot stop");
    m_Tree->CloseRecord(handle, true);
  }
  if (!stopped && result == ExitOk) {
    return fail(stopFailure);
  }
  return result;
}

int Recorder::Run() {
  m_Plan = PlanRecords(m_Options.Seconds, m_Options.Records, kDemoSamplingRate);
  for (const RecordPlan& plan : m_Plan) {
    if (plan.Samples == 0) {
      return Fail(Printf("%g s of signal is too short for %d records", m_Options.Seconds,
                         m_Options.Records),
                  ExitUsage);
    }
    m_TotalSamples += plan.Samples;
  }
  for (const DemoChannel& channel : m_Channels) m_BytesPerFrame += channel.SampleSize();

  std::string error;
  if (!MakeDirectories(m_Options.Directory.parent_path(), error)) return Fail(error);
  // Before the header is written: a signal from then on must find the records
  // stopped and the header gone.
  CatchInterrupts();
  if (const int result = CreateMeasurement(); result != ExitOk) return result;

  const auto start = std::chrono::steady_clock::now();
  int result = ExitOk;
  {
    ProgressBar progress(m_TotalSamples, Chatty());
    for (std::size_t i = 0; i < m_Plan.size() && result == ExitOk; ++i) {
      result = RecordOne(static_cast<int>(i), m_Plan[i], progress);
    }
  }
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  m_Tree->GetRecordsVect(m_Records);
  zsff::CRecordSignalTree::CloseSignalTree(m_Tree);

  // Every record that began was stopped: the measurement is finished, even when
  // interrupted. After a failure the header stays, for the end-up to find.
  if (result == ExitOk || result == ExitInterrupted) RemoveFile(m_HeaderPath);
  if (result == ExitFailure) return result;
  if (Chatty()) PrintSummary(seconds);
  if (result == ExitInterrupted) {
    return Fail(Printf("interrupted after %.1f s of signal; the records were stopped cleanly",
                       static_cast<double>(m_SamplesDone) / kDemoSamplingRate),
                ExitInterrupted);
  }
  return ExitOk;
}

void Recorder::PrintSummary(double seconds) const {
  const double signalSeconds = static_cast<double>(m_SamplesDone) / kDemoSamplingRate;
  std::printf("Recorded %s (%s)\n", m_Options.Directory.string().c_str(), m_BaseName.c_str());
  std::map<zsff::SampleFormat_t, int> formats;
  for (const DemoChannel& channel : m_Channels) ++formats[channel.Format()];
  static const char* const kFormatNames[] = {"SIFloat", "SIDouble", "Compact16", "Raw32"};
  std::string formatText;
  for (const auto& entry : formats) {
    formatText +=
        Printf("%s%s x%d", formatText.empty() ? "" : ", ", kFormatNames[entry.first], entry.second);
  }
  std::printf("  %zu channels at %g Hz: %s\n", m_Channels.size(), kDemoSamplingRate,
              formatText.c_str());

  const std::vector<StopListener::Stop>& stops = m_Listener.Stops();
  double keptSeconds = 0.0;
  for (std::size_t i = 0; i < stops.size() && i < m_Plan.size(); ++i) {
    const StopListener::Stop& stop = stops[i];
    double kept = 0.0;
    for (const zsff::MetaDataRecord& entry : m_Records) {
      if (zsff::CRecordId(entry.RecordId()).RecordNumber() == i + 1) kept += entry.Duration();
    }
    keptSeconds += kept;
    std::string kind = m_Plan[i].RingSeconds > 0.0 ? Printf("ring of %.1f s", m_Plan[i].RingSeconds)
                                                   : std::string("parts of 64 s");
    std::printf("  record %zu  %9.3f s  %s, parts %u-%u, %s of signal files\n", i + 1, kept,
                kind.c_str(), stop.FirstPart, stop.LastPart,
                FormatBytes(static_cast<double>(stop.FileSize)).c_str());
  }
  const double rate = seconds > 0.0 ? static_cast<double>(m_BytesDone) / seconds : 0.0;
  std::printf("  %.1f s of signal written, %.1f s kept; %s of samples in %.2f s: %s (%.1fx real time)\n",
              signalSeconds, keptSeconds, FormatBytes(static_cast<double>(m_BytesDone)).c_str(),
              seconds, FormatRate(rate).c_str(), seconds > 0.0 ? signalSeconds / seconds : 0.0);
  const double library = std::chrono::duration<double>(m_LibraryTime).count();
  if (library > 0.0) {
    std::printf("  of which %.2f s in the library's calls: %s written by the library\n", library,
                FormatRate(static_cast<double>(m_BytesDone) / library).c_str());
  }
  std::printf("  %s on disk with pyramids and metadata\n",
              FormatBytes(static_cast<double>(BytesUnder(m_Options.Directory))).c_str());
}

}  // namespace

int RunRecord(const std::vector<std::string>& args) {
  const Command& command = *FindCommand("record");
  Arguments arguments;
  std::string error;
  if (!arguments.Parse(
          args, {{"seconds", true}, {"records", true}, {"realtime", false}},
          error)) {
    return UsageError(command, error);
  }
  if (arguments.Positional().size() != 1) {
    return UsageError(command, arguments.Positional().empty() ? "where to? give a new directory"
                                                              : "one directory at a time");
  }
  Options options;
  long long records = options.Records;
  if (!arguments.GetDouble("seconds", 0.001, 1e7, options.Seconds, error) ||
      !arguments.GetInteger("records", 1, 1000, records, error)) {
    return UsageError(command, error);
  }
  options.Records = static_cast<int>(records);
  options.RealTime = arguments.Has("realtime");

  const std::string& given = arguments.Positional().front();
  fs::path directory;
  if (IsCephAddress(given)) {
    directory = NormalCephAddress(given);
  } else {
    std::error_code ec;
    directory = fs::absolute(fs::path(given), ec).lexically_normal();
    if (ec) return Fail(given + ": " + ec.message());
    if (!directory.has_filename()) directory = directory.parent_path();
  }
  Place place;
  if (!FindPlace(directory, place, error)) return Fail(error);
  if (place.Path.filename().empty() || place.Path == place.Path.root_path()) {
    return Fail(given + ": not a directory a measurement can go in");
  }
  std::vector<std::string> directories, files;
  if (ListNames(directory, &directories, &files) && !(directories.empty() && files.empty())) {
    return Fail(directory.string() + " already exists and isn't empty: give a new directory");
  }
  options.Directory = directory;
  return Recorder(options).Run();
}

}  // namespace zsff_tools
