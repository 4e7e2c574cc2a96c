// A small recorded measurement, damaged in each of the ways files get damaged,
// then looked at by the library and by the tool. Whatever the damage, each gives
// a clear error or reads what is intact: nothing crashes, hangs or reads a sample
// that wasn't recorded there, a failure always has a text, and looking changes no
// file. The sanitizer build runs the same table.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "TempDir.h"
#include "crash/Workload.h"
#include "damage/Damage.h"
#include "damage/LibraryRun.h"
#include "damage/ToolRun.h"
#include "foundation/TextConversion.h"
#include "support/FileContents.h"

namespace fs = std::filesystem;
using namespace zsff_test;

namespace {

// Blocks of 8 s: a record of 80 s, then one of 160 s in a ring of 128 s.
const WorkloadPlan kPlan{8.0, {{0.0, 10}, {128.0, 20}}};
// Far more samples than any channel holds.
constexpr unsigned long long kReadLimit = 1000000;
const char* const kLiveRecord = "Record_5201_2/Channel_1_0_4711/TmpRecord.zrm";

struct DamageCase {
  const char* File;  // relative to the measurement directory
  Damage_t Damage;
  // A text that a failure of the library or the tool must name, when there is one.
  const char* Named;
  // The channel's record looks as if still recording.
  bool Live = false;
  const char* Measurement = "m";
};

const DamageCase kCases[] = {
    {"", DamageNone, nullptr},
    // Metadata: the measurement's, its markers', and a channel's of each record.
    {"Record_5201.zsfh", DamageTruncateEveryTenth, "Record_5201.zsfh"},
    {"Record_5201.zmrk", DamageTruncateEveryTenth, "Record_5201.zmrk"},
    {"Record_5201_1/Channel_2_0_4711/Channel_2.zrm", DamageTruncateEveryTenth, "Channel_2.zrm"},
    {"Record_5201_2/Channel_3_0_4711/Channel_3.zrm", DamageTruncateEveryTenth, "Channel_3.zrm"},
    {"Record_5201.zsfh", DamageRandomBytes, "Record_5201.zsfh"},
    {"Record_5201.zsfh", DamageBrackets, "Record_5201.zsfh"},
    {"Record_5201.zsfh", DamageHugeNumbers, "Record_5201.zsfh"},
    {"Record_5201.zsfh", DamageWrongTypes, "Record_5201.zsfh"},
    {"Record_5201.zsfh", DamageDelete, "zsfh"},
    {"Record_5201.zmrk", DamageRandomBytes, "Record_5201.zmrk"},
    {"Record_5201.zmrk", DamageBrackets, "Record_5201.zmrk"},
    {"Record_5201.zmrk", DamageHugeNumbers, "Record_5201.zmrk"},
    {"Record_5201.zmrk", DamageWrongTypes, "Record_5201.zmrk"},
    {"Record_5201_2/Channel_3_0_4711/Channel_3.zrm", DamageRandomBytes, "Channel_3.zrm"},
    {"Record_5201_2/Channel_3_0_4711/Channel_3.zrm", DamageBrackets, "Channel_3.zrm"},
    {"Record_5201_2/Channel_3_0_4711/Channel_3.zrm", DamageHugeNumbers, "Channel_3.zrm"},
    {"Record_5201_2/Channel_3_0_4711/Channel_3.zrm", DamageWrongTypes, "Channel_3.zrm"},
    {"Record_5201_2/Channel_3_0_4711/Channel_3.zrm", DamageDelete, "Channel_3.zrm"},
    {"Record_5201.zxf", DamageRandomBytes, nullptr},
    // Part files: in the middle of a record and at its end, of a 2- and an 8-byte format.
    {"Record_5201_1/Channel_2_0_4711/Part_0.zrs", DamageTruncateOdd, "Part_0"},
    {"Record_5201_1/Channel_2_0_4711/Part_0.zrs", DamageDelete, "Part_0"},
    {"Record_5201_1/Channel_2_0_4711/Part_0.zrs", DamageExtend, "Part_0"},
    {"Record_5201_2/Channel_3_0_4711/Part_2.zrs", DamageTruncateOdd, "Part_2"},
    {"Record_5201_2/Channel_3_0_4711/Part_2.zrs", DamageDelete, "Part_2"},
    {"Record_5201_2/Channel_3_0_4711/Part_2.zrs", DamageExtend, "Part_2"},
    // Pyramid levels.
    {"Record_5201_1/Channel_1_0_4711/Part_0_1.zpr", DamageTruncateOdd, "Part_0_1"},
    {"Record_5201_1/Channel_1_0_4711/Part_0_1.zpr", DamageDelete, "Part_0_1"},
    {"Record_5201_1/Channel_1_0_4711/Part_0_1.zpr", DamageRandomBytes, "Part_0_1"},
    {"Record_5201_2/Channel_2_0_4711/Part_1_2.zpr", DamageTruncateOdd, "Part_1_2"},
    {"Record_5201_2/Channel_2_0_4711/Part_1_2.zpr", DamageDelete, "Part_1_2"},
    {"Record_5201_2/Channel_2_0_4711/Part_1_2.zpr", DamageRandomBytes, "Part_1_2"},
    // A temporary record file left behind by a recorder that died.
    {kLiveRecord, DamageLeftBehind, "TmpRecord.zrm", true},
    {kLiveRecord, DamageEmpty, "TmpRecord.zrm", true},
    {kLiveRecord, DamageRandomBytes, "TmpRecord.zrm", true},
    {"Metadata.lock", DamageLeaveLock, "Metadata.lock"},
    {"Record_5201_1", DamageDelete, "Record_5201_1"},
    {"Record_5201_2/Channel_4_0_4711", DamageDelete, "Channel_4"},
    {"", DamageNone, nullptr, false, "a measurement \xC3\xBC \xE6\xB8\xAC\xE5\xAE\x9A"},
};

// Every directory and file below `root`, files with their bytes.
std::map<std::string, std::string> Snapshot(const fs::path& root) {
  std::map<std::string, std::string> entries;
  for (const auto& entry : fs::recursive_directory_iterator(root))
    entries[fs::relative(entry.path(), root).string()] =
        entry.is_regular_file() ? "file " + FileText(entry.path()) : "directory";
  return entries;
}

const char* const kDamageNames[] = {
    "cut at", "cut to an odd size", "deleted", "extended", "random bytes", "nested brackets",
    "huge numbers", "wrong types", "emptied", "left behind by a writer", "left behind",
    "intact"};

// Records the measurement in `parent` once for all cases, finished as a host
// finishes it and marked in each record; keeps `earlier`, a channel's temporary
// record file from the middle of the ring record.
void Record(const fs::path& parent, std::string& earlier) {
  ASSERT_TRUE(RecordWorkload(parent, kPlan, [](zsff::CRecordSignalTree&) {},
                             [&](std::size_t record, int channel) {
                               if (record == 1 && channel == 3 && earlier.empty())
                                 earlier = FileText(parent / "m" / kLiveRecord);
                               return true;
                             }));
  const fs::path m = parent / "m";
  fs::rename(m / "Record_5201.zff", m / "Record_5201.zxf");
  for (const char* record : {"1", "2"}) {
    const ToolOutcome marked = RunTool(
        ZSFF_TOOL, {"mark", m.string(), "--at", "3", "--record", record, "marked"}, parent, 30);
    ASSERT_EQ(marked.Status, 0) << marked.Errors;
  }
}

// Runs the tool's commands that look at `measurement`, all of them or, with
// `only` above 0, the `only`-th alone; each must end by itself with success or
// one error line. Gives what the failures said.
std::string RunCommands(const fs::path& measurement, const fs::path& scratch, std::size_t only) {
  const std::string path = measurement.string();
  const std::vector<std::vector<std::string>> commands = {
      {"info", path},
      {"read", path},
      {"read", "--record", "2", path},
      {"zoom", path},
      {"plot", "--out", (scratch / "plot.png").string(), path},
      {"follow", "--stall", "0.2", "--timeout", "10", path}};
  std::string said;
  for (std::size_t i = 0; i < commands.size(); ++i) {
    if (only != 0 && i + 1 != only) continue;
    const ToolOutcome tool = RunTool(ZSFF_TOOL, commands[i], scratch, 30);
    const std::string& command = commands[i][0];
    EXPECT_TRUE(tool.Exited) << command << (tool.TimedOut ? " hung" : " crashed");
    EXPECT_TRUE(tool.Status == 0 || tool.Status == 1) << command << ": " << tool.Errors;
    if (tool.Status == 0) continue;
    EXPECT_NE(tool.Errors, "") << command;
    // follow refuses a finished measurement whatever its damage.
    if (command != "follow") said += "zsff " + command + ": " + tool.Errors;
  }
  return said;
}

TEST(DamagedMeasurement, GivesAClearErrorOrReadsWhatIsIntact) {
  TempDir scratch;
  std::string earlier;
  Record(scratch.Path(), earlier);
  ASSERT_FALSE(earlier.empty());
  const fs::path recorded = scratch.Path() / "m";
  unsigned int cases = 0;
  for (const DamageCase& row : kCases) {
    const unsigned long long size =
        row.Damage == DamageTruncateEveryTenth ? fs::file_size(recorded / row.File) : 0;
    for (unsigned long long cut = 0; cut == 0 || cut < size; cut += 10) {
      const std::string label = std::string(row.Measurement) + "/" + row.File + " " +
                                kDamageNames[row.Damage] +
                                (size > 0 ? " " + std::to_string(cut) : "");
      SCOPED_TRACE(label);
      ++cases;
      const fs::path parent = scratch.Path() / "case";
      const fs::path measurement = parent / row.Measurement;
      fs::remove_all(parent);
      fs::create_directories(parent);
      fs::copy(recorded, measurement, fs::copy_options::recursive);
      ApplyDamage(row.Damage, measurement / row.File, cut, cases, earlier);
      const auto before = Snapshot(measurement);

      const std::u16string name = zsff::Utf8ToWide(row.Measurement);
      const LibraryOutcome library = RunLibrary(parent, name, kReadLimit, row.Live);
      std::string said;
      for (const std::string& failure : library.Failures) said += failure + "\n";
      EXPECT_EQ(library.Silent, "") << "failed without a word";
      EXPECT_EQ(library.Wrong, "");

      // A sweep of cuts runs one command at each cut, each in turn.
      said += RunCommands(measurement, scratch.Path(), size > 0 ? 1 + (cut / 10) % 6 : 0);
      if (row.Named != nullptr && !said.empty()) {
        EXPECT_NE(said.find(row.Named), std::string::npos) << "the errors don't name the file:\n"
                                                           << said;
      }
      EXPECT_EQ(Snapshot(measurement), before) << "looking changed the measurement";
    }
  }
  std::printf("damaged measurements: %u cases\n", cases);
}

}  // namespace
