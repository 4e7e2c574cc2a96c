#include "Follower.h"

#include <zsff/AbstractRecordSection.h>
#include <zsff/ChannelId.h>
#include <zsff/ChannelMetaData.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataRecord.h>
#include <zsff/RecordId.h>
#include <zsff/RecordSignalTree.h>
#include <zsff/TmpRecordFile.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Commands.h"
#include "Format.h"
#include "Interrupts.h"
#include "OpenTree.h"
#include "Verbosity.h"
#include "WidePath.h"
#include "foundation/FileNames.h"
#include "foundation/TextConversion.h"

namespace fs = std::filesystem;

namespace zsff_tools {

namespace {

using Section = zsff::CAbstractRecordSection;

// Polls in a row whose read fails before the failure is taken as final.
constexpr int kFailuresInARow = 10;
// Seconds of signal one poll reads at most, so that the lines keep coming while
// a long stretch that is there already is read.
constexpr double kMostSecondsAPoll = 10.0;

const char* StateName(Section::ReadState_t state) {
  switch (state) {
    case Section::ReadStateLiveEnd:
      return "live end";
    case Section::ReadStateOvertaken:
      return "overtaken";
    case Section::ReadStateEnd:
      return "end";
    default:
      return "inside";
  }
}

}  // namespace

bool Follower::Expired() const {
  return m_Options.Timeout >= 0.0 &&
         std::chrono::duration<double>(Clock::now() - m_Start).count() >= m_Options.Timeout;
}

void Follower::Pause() const {
  std::this_thread::sleep_for(std::chrono::duration<double>(m_Options.Interval));
}

unsigned long long Follower::MostAPoll() const {
  return static_cast<unsigned long long>(m_Rate * kMostSecondsAPoll);
}

bool Follower::MeasurementUnfinished() const {
  const std::string base = zsff::WideToUtf8(m_Tree->RecordNameBase());
  return !base.empty() &&
         m_Place.Files->FileExists((m_Place.Path / zsff::names::HeaderFileName(base)).string());
}

bool Follower::RecordStopped() const {
  std::vector<zsff::MetaDataRecord> records;
  if (!m_Tree->GetRecordsVect(records)) return false;
  for (const zsff::MetaDataRecord& entry : records) {
    if (zsff::CRecordId(entry.RecordId()).RecordNumber() == m_RecordNumber) {
      return !entry.Recording();
    }
  }
  return false;
}

bool Follower::TryOpen(const zsff::MetaDataRecord& entry, std::string& why) {
  const zsff::CRecordId id(entry.RecordId());
  m_Handle = m_Tree->OpenRecord(id, zsff::CRecordSignalTree::TreeOpenDefault, 0);
  if (m_Handle == 0) {
    why = Printf("record %u can't be opened: %s", id.RecordNumber(),
                 Reason(0, zsff::CRecordSignalTree::LastErrorString()).c_str());
    return false;
  }
  Section& section = m_Tree->wRecord(m_Handle);
  const bool found = PickChannel(section, m_Options.Channel, m_Options.Analyzer, m_Channel);
  zsff::MetaDataContainer metaData;
  zsff::TAG_RECORD_INFO info;
  float rate = 0.0f;
  const std::string record = "record " + std::to_string(id.RecordNumber());
  if (!found) {
    why = record + " has no such channel";
  } else if (!section.ReadChannelMetaData(m_Channel, metaData, info, false) ||
             !zsff::CMetaDataChannelReader(metaData).SamplingRate(rate) || rate <= 0.0f) {
    why = record + ": the channel's metadata can't be read";
  } else if (info.AbsoluteDate == 0 && entry.Recording()) {
    // The channels come before the start, which stamps the record's date: a
    // record without it has no samples and no part length yet.
    why = record + " hasn't started";
  } else {
    why.clear();
  }
  if (!why.empty()) {
    m_Tree->CloseRecord(m_Handle, false);
    return false;
  }
  m_RecordNumber = id.RecordNumber();
  m_Rate = rate;
  m_Position = 0;
  m_Read = 0;
  m_Skipped = 0;
  std::u16string unit;
  if (m_Options.Recorded && zsff::CMetaDataChannelReader(metaData).Unit(unit)) {
    m_Unit = zsff::WideToUtf8(unit);
  } else if (!m_Options.Recorded) {
    m_Unit = "V";
  }
  std::u16string name;
  zsff::CMetaDataChannelReader(metaData).Name(name);
  if (Chatty()) {
    std::printf("following record %u (%s), channel %d \"%s\" at %g Hz%s\n", m_RecordNumber,
              zsff::WideToUtf8(section.RecordName()).c_str(), m_Channel.ChannelNumber(),
              zsff::WideToUtf8(name).c_str(), m_Rate,
                entry.Recording() ? "" : ", recorded already");
  }
  // A finished record opens on its first kept part; one still growing on its
  // first part, from where the reader counts.
  if (!entry.Recording()) {
    m_Position =
        section.SignalLengthSpl(m_Channel, true) - section.SignalLengthSpl(m_Channel, false);
  }
  return true;
}

const zsff::MetaDataRecord* Follower::NextRecord(
    const std::vector<zsff::MetaDataRecord>& records, std::string& why) const {
  if (m_Followed == 0) {
    // A finished measurement has nothing to follow; one between two records
    // has the next to wait for.
    if (records.empty()) {
      why = "no record yet";
    } else if (records.back().Recording()) {
      return &records.back();
    } else {
      why = "no record being recorded";
    }
    return nullptr;
  }
  for (const zsff::MetaDataRecord& entry : records) {
    if (zsff::CRecordId(entry.RecordId()).RecordNumber() > m_RecordNumber) return &entry;
  }
  why = Printf("no record after record %u yet", m_RecordNumber);
  return nullptr;
}

bool Follower::WaitForRecord(int& code) {
  const std::string directory = m_Options.Directory.string();
  bool told = false;
  std::string why = "no measurement there yet";
  for (;;) {
    if (Interrupted()) {
      code = Fail("interrupted while waiting for a record in " + directory, ExitInterrupted);
      return false;
    }
    if (!m_Tree) {
      m_Tree = OpenForReading(m_Options.Directory, why);
    }
    std::vector<zsff::MetaDataRecord> records;
    if (m_Tree && m_Tree->GetRecordsVect(records)) {
      const zsff::MetaDataRecord* next = NextRecord(records, why);
      if (next != nullptr && TryOpen(*next, why)) return true;
      if (next == nullptr && !MeasurementUnfinished() && !records.empty()) {
        // Its recorder has finished it: after the records followed, that is
        // the end; before any, there is nothing to follow.
        code = m_Followed != 0 ? ExitOk
                               : Fail(directory + " holds a finished measurement: nothing is "
                                                  "being recorded there (zsff read reads it)");
        return false;
      }
    }
    m_Stall.Note(why + Printf(" %zu", records.size()));
    if (m_Stall.Stalled()) {
      code = Fail(Printf("%s: nothing changed for %g s (%s): no recorder seems to be at work",
                         directory.c_str(), m_Stall.Seconds(), why.c_str()));
      return false;
    }
    if (Expired()) {
      code = Fail(Printf("gave up waiting for a record in %s after %g s: %s", directory.c_str(),
                         m_Options.Timeout, why.c_str()));
      return false;
    }
    if (!told && Chatty()) {
      std::printf("waiting for a record in %s (%s)\n", directory.c_str(), why.c_str());
      std::fflush(stdout);
    }
    told = true;
    Pause();
  }
}

void Follower::CloseRecord() {
  if (m_Tree && m_Handle != 0) m_Tree->CloseRecord(m_Handle, false);
  m_Handle = 0;
}

std::string Follower::SignOfLife() const {
  const Section& section = m_Tree->rRecord(m_Handle);
  const fs::path tmp = m_Place.Path / zsff::WideToUtf8(section.RecordName()) /
                       zsff::WideToUtf8(m_Channel.ToFilePath()) / zsff::names::TmpRecordFileName();
  unsigned long long size = 0;
  long long written = 0;
  m_Place.Files->FileSizeAndTime(StorePath(tmp), size, written);
  return Printf("%llu %llu %llu %lld", m_Position, section.SignalLengthSpl(m_Channel, true), size,
                written);
}

unsigned long long Follower::ReadArrived(std::string& error) {
  Section& section = m_Tree->wRecord(m_Handle);
  const zsff::SampleReadMode_t mode =
      m_Options.Recorded ? zsff::SampleReadRecorded : zsff::SampleReadVolt;
  const unsigned long long most = MostAPoll();
  unsigned long long got = 0;
  // The read that reaches the end of a finished record also ends the reading.
  while (got < most && section.State() != Section::SectionStopped) {
    const unsigned long long read =
        section.ReadSampleBlock(m_Channel, m_Buffer.data(), m_Buffer.size(), mode);
    if (read == 0) {
      error = zsff::WideToUtf8(section.LastErrorString());
      break;
    }
    const auto range = std::minmax_element(m_Buffer.begin(), m_Buffer.begin() + read);
    if (got == 0) {
      m_Minimum = *range.first;
      m_Maximum = *range.second;
    } else {
      m_Minimum = std::min(m_Minimum, *range.first);
      m_Maximum = std::max(m_Maximum, *range.second);
    }
    got += read;
  }
  m_Read += got;
  m_Position += got;
  return got;
}

bool Follower::JumpToOldest() {
  Section& section = m_Tree->wRecord(m_Handle);
  const unsigned long long oldest =
      section.SignalLengthSpl(m_Channel, true) - section.SignalLengthSpl(m_Channel, false);
  if (Chatty()) {
    std::printf("overtaken at %.3f s: the ring dropped the parts ahead; jumping to %.3f s\n",
                static_cast<double>(m_Position) / m_Rate, static_cast<double>(oldest) / m_Rate);
  }
  // A seek counts from the record's first sample while the record grows, and
  // from its first kept sample once it has stopped, which may have happened
  // since the last look; the read position always counts from the first kept
  // sample, so it tells which seek got there.
  auto seek = [&](unsigned long long sample) {
    return section.SetReadPosSpl(m_Channel, sample) && section.GetReadPosSpl(m_Channel) == 0;
  };
  if (!seek(oldest) && !seek(0)) return false;
  if (oldest > m_Position) m_Skipped += oldest - m_Position;
  m_Position = oldest;
  return true;
}

int Follower::Follow() {
  Section& section = m_Tree->wRecord(m_Handle);
  m_Buffer.resize(std::max<std::size_t>(1024, static_cast<std::size_t>(m_Rate / 10.0)));
  Section::ReadState_t last = Section::ReadStateNone;
  bool first = true;
  int failures = 0;  // polls in a row whose read failed
  for (;;) {
    if (Interrupted()) return Summary(OutcomeInterrupted);
    std::string error;
    const unsigned long long got = ReadArrived(error);
    if (got == 0 && !error.empty()) {
      // The recorder rewrites a channel's metadata when it stops, and a reader
      // that meets the file half written fails as if it were missing; the next
      // poll finds it whole.
      if (++failures >= kFailuresInARow) {
        return Fail(Printf("record %u: the samples can't be read: %s", m_RecordNumber,
                           error.c_str()));
      }
      Pause();
      continue;
    }
    failures = 0;
    Section::ReadState_t state = Section::ReadStateNone;
    section.EndOfReading(m_Channel, state);
    if ((got != 0 || state != last || first) && Chatty()) {
      const double liveEnd = static_cast<double>(section.SignalLengthSpl(m_Channel, true)) / m_Rate;
      std::string range;
      if (got != 0) range = Printf("  %.4g .. %.4g %s", m_Minimum, m_Maximum, m_Unit.c_str());
      std::printf("%9.3f s %10llu samples  %-9s  signal to %.3f s%s\n",
                  static_cast<double>(m_Position) / m_Rate, m_Read, StateName(state), liveEnd,
                  range.c_str());
      std::fflush(stdout);
      last = state;
      first = false;
    }
    if (state == Section::ReadStateOvertaken) {
      if (!JumpToOldest()) {
        return Fail(Printf("record %u: cannot jump to the oldest samples kept: %s", m_RecordNumber,
                           Reason(0, section.LastErrorString()).c_str()));
      }
      continue;
    }
    if (state == Section::ReadStateEnd && RecordStopped()) return Summary(OutcomeEnd);
    if (Expired()) return Summary(OutcomeTimedOut);
    m_Stall.Note(SignOfLife());
    if (m_Stall.Stalled()) {
      Summary(OutcomeStalled);
      return Fail(Printf("record %u in %s hasn't grown for %g s, and its recorder has left it "
                         "unfinished: the recorder seems gone",
                         m_RecordNumber, m_Options.Directory.string().c_str(), m_Stall.Seconds()));
    }
    // A poll that filled its share reads on at once.
    if (got < MostAPoll()) Pause();
  }
}

int Follower::Summary(Outcome_t outcome) {
  Section& section = m_Tree->wRecord(m_Handle);
  const unsigned long long total = section.SignalLengthSpl(m_Channel, true);
  const unsigned long long held = section.SignalLengthSpl(m_Channel, false);
  std::string skipped;
  if (m_Skipped != 0) {
    skipped = Printf(", %llu skipped where the ring dropped them", m_Skipped);
  }
  const char* how = outcome == OutcomeEnd ? "to its end" : "until stopped";
  std::printf(
      "followed record %u %s: %llu samples read (%.3f s)%s; the record holds %llu samples\n",
      m_RecordNumber, how, m_Read, static_cast<double>(m_Read) / m_Rate, skipped.c_str(), held);
  std::fflush(stdout);
  if (outcome == OutcomeInterrupted) return Fail("interrupted", ExitInterrupted);
  if (outcome == OutcomeTimedOut) {
    return Fail(Printf("gave up after %g s with record %u still being recorded", m_Options.Timeout,
                       m_RecordNumber));
  }
  if (outcome == OutcomeStalled) return ExitFailure;
  // Every sample from the first one read to the end went by the reader.
  if (m_Position != total) {
    return Fail(Printf("the reader ended at sample %llu of the record's %llu", m_Position, total));
  }
  ++m_Followed;
  return ExitOk;
}

int Follower::Run() {
  CatchInterrupts();
  std::string error;
  if (!FindPlace(m_Options.Directory, m_Place, error)) return Fail(error);
  std::error_code ec;
  if (fs::exists(m_Options.Directory, ec) && !fs::is_directory(m_Options.Directory, ec)) {
    return Fail(m_Options.Directory.string() + ": not a directory, so no measurement to follow");
  }
  int code = ExitOk;
  while (WaitForRecord(code)) {
    code = Follow();
    CloseRecord();
    if (code != ExitOk) return code;
  }
  if (code == ExitOk && Chatty()) {
    std::printf("the measurement is finished: %d record%s followed\n", m_Followed,
                m_Followed == 1 ? "" : "s");
  }
  return code;
}

}  // namespace zsff_tools
