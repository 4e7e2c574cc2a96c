#include <gtest/gtest.h>
#include <zsff/ChannelMetaData.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataContainerJson.h>
#include <zsff/MetaDataFileReader.h>
#include <zsff/MetaDataFileWriter.h>
#include <zsff/TmpRecordFile.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "TempDir.h"
#include "foundation/LocalFileAccess.h"
#include "support/CapturedDiagnostics.h"
#include "support/ChildProcess.h"
#include "support/FaultInjectingFileAccess.h"
#include "support/FileContents.h"
#include "support/RecordInfoExpectations.h"

namespace fs = std::filesystem;
using zsff::CLocalFileAccess;
using zsff::CMetaDataChannelWriter;
using zsff::CMetaDataFileReader;
using zsff::CMetaDataFileWriter;
using zsff::CMetaDataHeaderFileReader;
using zsff::CMetaDataHeaderFileWriter;
using zsff::CTmpRecordFile;
using zsff::MetaDataContainer;
using zsff::TAG_RECORD_INFO;
using zsff_test::ExpectSameInfo;
using zsff_test::FaultInjectingFileAccess;
using zsff_test::FileText;

namespace {

void WriteText(const fs::path& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
}

double Duration(const MetaDataContainer& container) {
  double duration = -1.0;
  EXPECT_TRUE(container.FindMetadata("RecordDuration", duration));
  return duration;
}

class DeletingBeforeMove : public FaultInjectingFileAccess {
 public:
  using FaultInjectingFileAccess::FaultInjectingFileAccess;
  bool ReplaceFile(const std::u16string& from, const std::u16string& to) override {
    return zsff::CAbstractFileAccess::ReplaceFile(from, to);
  }
};

MetaDataContainer Measurement() {
  MetaDataContainer container;
  container.AddMetadata("Title", std::u16string(u"Run \u00e9"));
  container.AddMetadata("Count", 3L);
  container.AddMeasProperty("operator", u"Operator", u"Ann");
  container.AddAnalyzer("123", "A", "disk", "Disk");
  container.AddRecord(0x0000000500010000ULL, 2, 1000, 4.5, false, 1.0, 0);
  return container;
}

// A channel's metadata: 2-byte samples at 10 per second, a record length of its own.
MetaDataContainer Channel() {
  MetaDataContainer container;
  CMetaDataChannelWriter writer(container);
  writer.Format("Compact16");
  writer.SamplingRate(10.0f);
  writer.RecordLength(99.0);
  writer.StartDate(111LL);
  return container;
}

TAG_RECORD_INFO RecordingInfo() {
  TAG_RECORD_INFO info;
  info.AbsoluteDate = 133000000000000000LL;
  info.RelativeDate = 65536;
  info.CumulativeDate = 1.5;
  info.SignalOffset = 0.5f;
  info.UncompactCoeff = 0.25f;
  info.UncompactOffset = -2.0f;
  info.RecordNumber = 4;
  info.TimeStep = 2;
  return info;
}

// A recording channel: its ".zrm", its "TmpRecord.zrm" and two part files.
struct RecordingChannel {
  RecordingChannel() {
    CMetaDataFileWriter(&store).Save(Channel(), u"Channel_1.zrm", dir.Wide());
    CTmpRecordFile recorder(directory, &store);
    recorder.SetRecordInfo(RecordingInfo());
    EXPECT_TRUE(recorder.Write());
    WriteText(dir.Path() / "Part_1.zrs", std::string(100, 'a'));
    WriteText(dir.Path() / "Part_2.zrs", std::string(200, 'b'));
  }

  zsff_test::TempDir dir;
  CLocalFileAccess store;
  std::string directory = dir.Path().string();
};

}  // namespace

TEST(MetaDataFiles, SavedContainerLoadsBack) {
  zsff_test::TempDir dir;
  CLocalFileAccess store;

  // With a directory and the caller's store, and with a whole path and a store of
  // the class's own.
  ASSERT_TRUE(CMetaDataFileWriter(&store).Save(Measurement(), u"Meas.zsfh", dir.Wide()));
  ASSERT_TRUE(CMetaDataFileWriter().Save(Measurement(), dir.Wide("Copy.zsfh"), u""));
  EXPECT_EQ(FileText(dir.Path() / "Meas.zsfh"), FileText(dir.Path() / "Copy.zsfh"));
  EXPECT_EQ(zsff::MetaDataContainerJson().ToJSONString(Measurement()),
            FileText(dir.Path() / "Meas.zsfh"));

  MetaDataContainer out;
  CMetaDataFileReader reader;
  ASSERT_TRUE(reader.Load(out, u"Meas.zsfh", dir.Wide()));
  EXPECT_EQ(u"", reader.LastError());
  std::u16string title;
  ASSERT_TRUE(out.FindMetadata("Title", title));
  EXPECT_EQ(u"Run \u00e9", title);
  EXPECT_EQ(1u, out.GetMeasPropertiesKeys().count("operator"));
  EXPECT_EQ(1u, out.GetAnalyzerVect().size());
  ASSERT_EQ(1u, out.GetRecordsVect().size());
  EXPECT_EQ(4.5, out.GetRecordsVect()[0].Duration());

  // A shorter container replaces a longer file entirely.
  MetaDataContainer small;
  small.AddMetadata("Only", 1L);
  ASSERT_TRUE(CMetaDataFileWriter(&store).Save(small, u"Meas.zsfh", dir.Wide()));
  MetaDataContainer reread;
  ASSERT_TRUE(CMetaDataFileReader(&store).Load(reread, dir.Wide("Meas.zsfh"), u""));
  EXPECT_EQ(std::set<std::string>{"Only"}, reread.GetMetadataKeys());
  EXPECT_TRUE(reread.GetRecordsVect().empty());
}

TEST(MetaDataFiles, LoadFailuresNameTheFile) {
  zsff_test::CapturedDiagnostics diagnostics;
  zsff_test::TempDir dir;
  CLocalFileAccess store;
  CMetaDataFileReader reader(&store);
  MetaDataContainer out;
  out.AddMetadata("Kept", 1L);
  const std::u16string prefix = u"CMetaDataFileReader::Load(" + dir.Wide("Meas.zsfh") + u")";

  EXPECT_FALSE(reader.Load(out, u"", dir.Wide()));
  EXPECT_EQ(u"", reader.LastError());

  for (const bool empty : {false, true}) {
    if (empty) WriteText(dir.Path() / "Meas.zsfh", "");
    EXPECT_FALSE(reader.Load(out, u"Meas.zsfh", dir.Wide()));
    EXPECT_EQ(prefix + u" Cannot open file or file empty", reader.LastError());
    EXPECT_EQ(u"", reader.LastError()) << "the message is moved out";
  }

  WriteText(dir.Path() / "Meas.zsfh", "{\"A\": 1}");
  EXPECT_FALSE(reader.Load(out, u"Meas.zsfh", dir.Wide()));
  EXPECT_EQ(prefix + u" Error: MetaDataContainerJson::FromJSONString version not found",
            reader.LastError());
  EXPECT_EQ(std::set<std::string>{"Kept"}, out.GetMetadataKeys());

  // A read that comes short, and an open that fails.
  auto faulty = std::make_shared<FaultInjectingFileAccess>(store);
  CMetaDataFileReader faultyReader(faulty.get());
  WriteText(dir.Path() / "Meas.zsfh", "{\"Version\": 1, \"A\": 1}");
  faulty->FailAt(FaultInjectingFileAccess::Read, 1);
  EXPECT_FALSE(faultyReader.Load(out, u"Meas.zsfh", dir.Wide()));
  EXPECT_EQ(prefix + u" Cannot read file", faultyReader.LastError());
  faulty->FailAt(FaultInjectingFileAccess::Open, 1);
  EXPECT_FALSE(faultyReader.Load(out, u"Meas.zsfh", dir.Wide()));
  EXPECT_EQ(prefix + u" Cannot open file", faultyReader.LastError());
  EXPECT_EQ(faulty->Calls(FaultInjectingFileAccess::Open) - 1,
            faulty->Calls(FaultInjectingFileAccess::Close))
      << "every file that opened was closed";

  EXPECT_TRUE(faultyReader.Load(out, u"Meas.zsfh", dir.Wide()));
  EXPECT_EQ(std::set<std::string>{"A"}, out.GetMetadataKeys());
}

TEST(MetaDataFiles, SaveFailures) {
  zsff_test::TempDir dir;
  CLocalFileAccess store;
  auto faulty = std::make_shared<FaultInjectingFileAccess>(store);
  CMetaDataFileWriter writer(faulty.get());

  EXPECT_FALSE(writer.Save(Measurement(), u"", dir.Wide()));
  EXPECT_EQ(u"", writer.LastError());
  EXPECT_TRUE(fs::is_empty(dir.Path())) << "nothing is created without a name";

  faulty->FailAt(FaultInjectingFileAccess::Open, 1);
  EXPECT_FALSE(writer.Save(Measurement(), u"Meas.zsfh", dir.Wide()));
  EXPECT_EQ(u"CMetaDataFileWriter::Save(" + dir.Wide("Meas.zsfh") + u") Error in OpenFile(" +
                dir.Wide("Meas.zsfh.new") + u")",
            writer.LastError());

  // A full disk leaves the file as it was and nothing beside it.
  faulty->SetFreeSpace(10);
  EXPECT_FALSE(writer.Save(Measurement(), u"Meas.zsfh", dir.Wide()));
  EXPECT_EQ(u"CMetaDataFileWriter::Save(" + dir.Wide("Meas.zsfh") + u") Error in WriteFile",
            writer.LastError());
  EXPECT_TRUE(fs::is_empty(dir.Path()));
  EXPECT_EQ(faulty->Calls(FaultInjectingFileAccess::Open) - 1,
            faulty->Calls(FaultInjectingFileAccess::Close));

  // The header writer fails the same way but records nothing.
  faulty->SetFreeSpace(10);
  CMetaDataHeaderFileWriter headerWriter(nullptr, faulty.get());
  EXPECT_FALSE(headerWriter.Save(Channel(), u"Channel_1.zrm", dir.Wide()));
  EXPECT_EQ(u"", headerWriter.LastError());
  EXPECT_FALSE(headerWriter.Save(Channel(), u"", dir.Wide()));
}

TEST(MetaDataFiles, SaveCutShortReadsAsTheOldOrTheNewContainer) {
  zsff_test::TempDir dir;
  CLocalFileAccess store;
  auto faulty = std::make_shared<FaultInjectingFileAccess>(store);
  MetaDataContainer old = Measurement();
  old.AddMetadata("Duration", 1.0);
  MetaDataContainer next = Measurement();
  next.AddMetadata("Duration", 2.0);
  // A store that can't replace a file in one step, which deletes it first.
  auto noReplacingMove = std::make_shared<DeletingBeforeMove>(store);
  // Cut short writing beside the file, or moving it over the file (in one step,
  // or in two): each reads back whole, as it was or as it was to be.
  const struct {
    FaultInjectingFileAccess* store;
    FaultInjectingFileAccess::Operation op;
    double version;
  } cases[] = {{faulty.get(), FaultInjectingFileAccess::Write, 1},
               {faulty.get(), FaultInjectingFileAccess::Rename, 1},
               {noReplacingMove.get(), FaultInjectingFileAccess::Delete, 1},
               {noReplacingMove.get(), FaultInjectingFileAccess::Rename, 2}};
  for (const auto& c : cases) {
    c.store->Reset();
    fs::remove(dir.Path() / "Meas.zsfh.new");
    ASSERT_TRUE(CMetaDataFileWriter(&store).Save(old, u"Meas.zsfh", dir.Wide()));
    c.store->FailAt(c.op, 1);
    EXPECT_FALSE(CMetaDataFileWriter(c.store).Save(next, u"Meas.zsfh", dir.Wide()));
    MetaDataContainer loaded;
    ASSERT_TRUE(CMetaDataFileReader(&store).Load(loaded, u"Meas.zsfh", dir.Wide())) << c.op;
    double version = 0.0;
    loaded.FindMetadata("Duration", version);
    EXPECT_EQ(version, c.version) << c.op;
  }
}

TEST(MetaDataFiles, AReaderInAnotherProcessMeetsEverySaveWhole) {
  zsff_test::TempDir dir;
  CLocalFileAccess store;
  // Saves of different lengths, each telling the length it should have.
  const auto save = [&](long n) {
    MetaDataContainer container = Measurement();
    container.AddMetadata("Count", n);
    container.AddMetadata("Title", std::u16string(static_cast<std::size_t>(n % 7) * 900, u'x'));
    return CMetaDataFileWriter(&store).Save(container, u"Meas.zsfh", dir.Wide());
  };
  ASSERT_TRUE(save(0));

  zsff_test::Signal saving, stop;
  zsff_test::Reaper writer{fork()};
  ASSERT_GE(writer.Pid, 0);
  if (writer.Pid == 0) {
    saving.KeepSendingEnd();
    stop.KeepReceivingEnd();
    bool ok = save(1) && saving.Send();
    for (long n = 2; ok && !stop.Pending(); ++n) ok = save(n);
    _exit(ok ? 0 : 1);
  }
  saving.KeepReceivingEnd();
  stop.KeepSendingEnd();
  ASSERT_TRUE(saving.Receive());
  for (int read = 0; read < 300; ++read) {
    MetaDataContainer loaded;
    ASSERT_TRUE(CMetaDataFileReader(&store).Load(loaded, u"Meas.zsfh", dir.Wide())) << read;
    long n = -1;
    std::u16string title;
    ASSERT_TRUE(loaded.FindMetadata("Count", n) && loaded.FindMetadata("Title", title));
    ASSERT_EQ(title.size(), static_cast<std::size_t>(n % 7) * 900) << read;
  }
  stop.Send();
  const int status = writer.Wait();
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

TEST(MetaDataFiles, HeaderReaderWithoutTmpFileEnsuresADuration) {
  zsff_test::TempDir dir;
  CLocalFileAccess store;
  MetaDataContainer noDuration;
  noDuration.AddMetadata("SamplingRate", 10.0f);
  ASSERT_TRUE(CMetaDataFileWriter(&store).Save(noDuration, u"Channel_1.zrm", dir.Wide()));
  ASSERT_TRUE(CMetaDataFileWriter(&store).Save(Channel(), u"Channel_2.zrm", dir.Wide()));

  // The caller names the file without its extension.
  CMetaDataHeaderFileReader reader(nullptr, &store);
  MetaDataContainer out;
  ASSERT_TRUE(reader.Load(out, u"Channel_1", dir.Wide()));
  EXPECT_EQ(zsff::MetaDataValue::TypeDouble, out.GetMetadataType("RecordDuration"));
  EXPECT_EQ(0.0, Duration(out));

  TAG_RECORD_INFO info;
  info.RecordNumber = 77;
  ASSERT_TRUE(reader.Load(out, u"Channel_2", dir.Wide(), info, 0));
  EXPECT_EQ(99.0, Duration(out));
  EXPECT_EQ(77, info.RecordNumber) << "without a temporary record file info is untouched";

  EXPECT_FALSE(reader.Load(out, u"Channel_3", dir.Wide(), info, 0));
  EXPECT_FALSE(reader.Load(out, u"", dir.Wide()));
}

TEST(MetaDataFiles, HeaderReaderMergesTmpFileAndPartSizes) {
  RecordingChannel channel;
  CTmpRecordFile tmp(channel.directory, &channel.store);
  CMetaDataHeaderFileReader reader(&tmp, &channel.store);

  // 300 bytes of 2-byte samples at 10 per second.
  MetaDataContainer out;
  TAG_RECORD_INFO info;
  ASSERT_TRUE(reader.Load(out, u"Channel_1", channel.dir.Wide(), info, 0));
  EXPECT_EQ(15.0, Duration(out));
  long long startDate = 0;
  ASSERT_TRUE(out.FindMetadata("RecordStartDate", startDate));
  EXPECT_EQ(RecordingInfo().AbsoluteDate, startDate);
  ExpectSameInfo(info, RecordingInfo());
  EXPECT_EQ(300u, tmp.PreviousFileSize());

  // Nothing grew: the ".zrm" keeps its own record fields, info is filled all the same.
  MetaDataContainer unchanged;
  TAG_RECORD_INFO again;
  ASSERT_TRUE(reader.Load(unchanged, u"Channel_1", channel.dir.Wide(), again, 0));
  EXPECT_EQ(99.0, Duration(unchanged));
  ExpectSameInfo(again, RecordingInfo());

  // The part files grew.
  WriteText(channel.dir.Path() / "Part_3.zrs", std::string(100, 'c'));
  MetaDataContainer grown;
  ASSERT_TRUE(reader.Load(grown, u"Channel_1", channel.dir.Wide()));
  EXPECT_EQ(20.0, Duration(grown));

  // A size given by the caller is taken as it is.
  ASSERT_TRUE(reader.Load(grown, u"Channel_1", channel.dir.Wide(), info, 1000));
  EXPECT_EQ(50.0, Duration(grown));
}

TEST(MetaDataFiles, HeaderReaderOfAFinishedRecordFillsTmpFromTheFile) {
  zsff_test::TempDir dir;
  CLocalFileAccess store;
  MetaDataContainer finished = Channel();
  CMetaDataChannelWriter writer(finished);
  writer.CumulativeDate(2.5);
  writer.RecordNumber(9);
  writer.TimeStep(3);
  ASSERT_TRUE(CMetaDataFileWriter(&store).Save(finished, u"Channel_1.zrm", dir.Wide()));

  CTmpRecordFile tmp(dir.Path().string(), &store);
  CMetaDataHeaderFileReader reader(&tmp, &store);
  MetaDataContainer out;
  TAG_RECORD_INFO info;
  ASSERT_TRUE(reader.Load(out, u"Channel_1", dir.Wide(), info, 0));
  EXPECT_EQ(99.0, Duration(out));
  EXPECT_TRUE(tmp.IsValid());
  EXPECT_EQ(111, info.AbsoluteDate);
  EXPECT_EQ(2.5, info.CumulativeDate);
  EXPECT_EQ(9, info.RecordNumber);
  EXPECT_EQ(3, info.TimeStep);
  EXPECT_FALSE(tmp.Exists()) << "reading never creates the temporary record file";
}

TEST(MetaDataFiles, HeaderWriterSavesTheTmpFileFields) {
  RecordingChannel channel;
  CTmpRecordFile tmp(channel.directory, &channel.store);
  tmp.SetPreviousFileSize(400);
  CMetaDataHeaderFileWriter writer(&tmp, &channel.store);

  const MetaDataContainer in = Channel();
  ASSERT_TRUE(writer.Save(in, u"Channel_1.zrm", channel.dir.Wide()));
  EXPECT_EQ(99.0, Duration(in)) << "the caller's container stays as it was";

  MetaDataContainer saved;
  ASSERT_TRUE(
      CMetaDataFileReader(&channel.store).Load(saved, u"Channel_1.zrm", channel.dir.Wide()));
  EXPECT_EQ(20.0, Duration(saved));
  long long startDate = 0;
  ASSERT_TRUE(saved.FindMetadata("RecordStartDate", startDate));
  EXPECT_EQ(RecordingInfo().AbsoluteDate, startDate);

  // Once the record is finished the container is saved as it is.
  ASSERT_TRUE(tmp.Delete());
  ASSERT_TRUE(writer.Save(in, u"Channel_1.zrm", channel.dir.Wide()));
  ASSERT_TRUE(
      CMetaDataFileReader(&channel.store).Load(saved, u"Channel_1.zrm", channel.dir.Wide()));
  EXPECT_EQ(99.0, Duration(saved));
}
