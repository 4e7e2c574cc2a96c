// The check of a whole record after a crash (see SectionCheck.h).
#include "section/SectionCheck.h"

#include <zsff/ChannelMetaData.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/RecordSection.h>

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "foundation/TextConversion.h"
#include "metadata/MetaDataKeys.h"
#include "section/Channel.h"

namespace zsff {

namespace {

struct CheckedChannel {
  ChannelCheck_t Check;
  TAG_RECORD_INFO Info;
};

// The span of the record that every channel of a stop-time recording holds, in
// front-end samples.
struct CommonWindow {
  bool Found = false;
  long long Date = 0;
  long long RelativeDate = 0;
  unsigned short LargestFirstPart = 0;
  unsigned short SmallestLastPart = 65535;
  long long LargestStart = 0;
  long long SmallestEnd = std::numeric_limits<long long>::max();
  double PartLength = 0.0;
  double MaxRecordLength = 0.0;
};

CommonWindow FindCommonWindow(const std::map<CChannelID, CheckedChannel>& channels,
                              float frontEndRate) {
  CommonWindow window;
  for (const auto& entry : channels) {
    const ChannelCheck_t& check = entry.second.Check;
    if (!check.WasRecording || check.Duration == 0.0) continue;
    if (!window.Found || check.FirstPart > window.LargestFirstPart) {
      window.Date = entry.second.Info.AbsoluteDate;
      window.RelativeDate = entry.second.Info.RelativeDate;
      window.LargestFirstPart = check.FirstPart;
    }
    window.SmallestLastPart = std::min(window.SmallestLastPart, check.LastPart);
    const long long start =
        static_cast<long long>(check.FirstPart * check.PartLength * frontEndRate);
    const long long end = start + static_cast<long long>(frontEndRate * check.Duration);
    window.LargestStart = std::max(window.LargestStart, start);
    window.SmallestEnd = std::min(window.SmallestEnd, end);
    window.PartLength = check.PartLength;
    window.MaxRecordLength = check.MaxRecordLength;
    window.Found = true;
  }
  return window;
}

// Channels of one record start together, or whole parts apart when a ring
// dropped more parts of one than of another.
bool Synchronized(const std::map<CChannelID, CheckedChannel>& channels, bool hasParts,
                  double partLength) {
  const TAG_RECORD_INFO* previous = nullptr;
  const long long partTicks = static_cast<long long>(partLength / 1e-7);
  for (const auto& entry : channels) {
    const TAG_RECORD_INFO& info = entry.second.Info;
    // A channel that a crash stopped before its temporary file was written
    // holds no signal and has no date to agree with.
    if (info.AbsoluteDate == 0) continue;
    if (previous != nullptr && (info.AbsoluteDate != previous->AbsoluteDate ||
                                info.RelativeDate != previous->RelativeDate)) {
      if (!hasParts || partTicks == 0 ||
          std::llabs(info.AbsoluteDate - previous->AbsoluteDate) % partTicks != 0)
        return false;
    }
    previous = &info;
  }
  return true;
}

}  // namespace

CheckRecordRet CSectionCheck::Run(const MetaDataFileLock* lock, bool timeToStop, float frontEndRate,
                                  std::vector<std::string>& errors,
                                  unsigned long long& channelCount) {
  CheckRecordRet result;
  std::map<CChannelID, CheckedChannel> channels;
  unsigned short largestTimeStep = 0;
  for (const auto& entry : m_Section.m_Channels) {
    if (!entry.second) continue;
    CChannel& channel = *entry.second;
    CheckedChannel checked{ChannelCheck_t(), channel.TmpRecordFile().RecordInfo()};
    if (checked.Info.AbsoluteDate != 0) {
      checked.Check = channel.CheckChannel(lock);
      if (!checked.Check.Ok) {
        errors.push_back("Error: unable to check channel (clean the temporary file).");
        return result;
      }
      // A ring's start moved past the parts it dropped.
      checked.Info = channel.TmpRecordFile().RecordInfo();
    } else {
      // Never started: an empty channel, unless its metadata says otherwise.
      MetaDataContainer metaData;
      TAG_RECORD_INFO info;
      const bool loaded = channel.ReadChannelMetaData(metaData, info, true, 0);
      long long startDate = 0;
      double duration = 0.0;
      ReadKey(metaData, ChannelKeys::RecordStartDate, startDate);
      const bool hasDuration = ReadKey(metaData, ChannelKeys::RecordDuration, duration);
      if (!loaded || startDate != 0 || !hasDuration || duration != 0.0) {
        errors.push_back("Error: unable to open signal file on channel: " +
                         WideToUtf8(entry.first.ToFilePath()));
        return result;
      }
      checked.Check.Ok = true;
    }
    largestTimeStep = std::max(largestTimeStep, checked.Info.TimeStep);
    channels[entry.first] = checked;
  }

  const CommonWindow window =
      timeToStop ? FindCommonWindow(channels, frontEndRate) : CommonWindow();
  double longest = 0.0;
  // The part the window starts in, and that part's start date: a window that
  // begins a whole part or more after the first part on disk leaves those parts out.
  unsigned short windowFirstPart = window.LargestFirstPart;
  long long windowDate = window.Date;
  if (window.Found) {
    const float length =
        static_cast<float>(window.SmallestEnd - window.LargestStart) / frontEndRate;
    if (length <= 0.0f) {
      errors.push_back("Error: no signal available in time to stop (clean the temporary file).");
      return result;
    }
    longest =
        window.MaxRecordLength > 0.0 ? std::min<double>(length, window.MaxRecordLength) : length;
    const long long step = largestTimeStep != 0 ? largestTimeStep : 1;
    const long long perPart = static_cast<long long>(frontEndRate * window.PartLength);
    long long offset = window.SmallestEnd - static_cast<long long>(frontEndRate * longest);
    offset = offset / step * step;
    if (perPart > 0 && offset > 0) {
      const long long part = offset / perPart;
      if (part > windowFirstPart) {
        windowDate += static_cast<long long>((part - windowFirstPart) * window.PartLength / 1e-7);
        windowFirstPart = static_cast<unsigned short>(part);
      }
      offset %= perPart;
    }
    result.Offset = offset > 0 ? static_cast<unsigned long long>(offset) : 0;
  } else if (timeToStop && m_Section.m_OffsetTimeToStop > 0) {
    // No channel was recording: the stop left the window where its entry says.
    result.Offset = static_cast<unsigned long long>(m_Section.m_OffsetTimeToStop);
  }

  double shortest = 1e40;
  channelCount = 0;
  unsigned short smallestFirst = 65535, largestLast = 0;
  for (const auto& entry : channels) {
    const ChannelCheck_t& check = entry.second.Check;
    if (check.PartLength != 0.0) {
      result.HasParts = true;
      result.PartLength = check.PartLength;
    }
    smallestFirst = std::min(smallestFirst, check.FirstPart);
    largestLast = std::max(largestLast, check.LastPart);
    if (check.Duration != 0.0) {
      shortest = std::min(shortest, check.Duration);
      ++channelCount;
      if (!window.Found) longest = std::max(longest, check.Duration);
    } else {
      result.FailedChannels.push_back(entry.first);
    }
  }
  if (result.FailedChannels.size() == channels.size()) shortest = 0.0;

  if (channels.size() > 1 && !Synchronized(channels, result.HasParts, result.PartLength)) {
    errors.push_back("Error: synchronization error in chained mode.");
    return result;
  }

  // A longest within a part of the shortest is the same signal cut at a
  // different block: every channel gets the shortest.
  if ((timeToStop || result.HasParts) && shortest != 0.0 && longest - shortest > 0.0 &&
      longest - shortest < result.PartLength)
    longest = shortest;
  for (const auto& entry : channels) {
    CChannel& channel = *m_Section.FindChannel(entry.first);
    MetaDataContainer metaData;
    TAG_RECORD_INFO info;
    channel.ReadChannelMetaData(metaData, info, true, 0);
    CMetaDataChannelWriter writer(metaData);
    if (timeToStop || result.HasParts) {
      writer.RecordLength(longest);
      if (window.Found) {
        // The offset, a count of samples, moves the date as if it were seconds:
        // files written so far carry that date, and readers expect it.
        writer.StartDate(windowDate -
                         static_cast<long long>(static_cast<double>(result.Offset) / -1e-7));
        const long long relative = (static_cast<long long>(static_cast<float>(result.Offset) *
                                                           entry.second.Check.SamplingRate)
                                    << 16) +
                                   window.RelativeDate;
        writer.RelativeDate(relative);
        writer.RelativeDateEnd(
            relative + (static_cast<long long>(entry.second.Check.SamplingRate * longest) << 16));
        result.FirstPart = windowFirstPart;
        result.LastPart = window.SmallestLastPart;
      } else {
        result.FirstPart = smallestFirst;
        result.LastPart = largestLast;
      }
    } else {
      writer.RecordLength(shortest);
    }
    if (lock != nullptr) channel.UpdateChannelMetaData(metaData);
    const long long date = entry.second.Info.AbsoluteDate;
    if (date != 0 && (result.Date == 0 || date < result.Date)) result.Date = date;
    result.Size += channel.SignalSizeInBytes();
  }

  result.Duration = result.HasParts ? longest : (!timeToStop ? shortest : 0.0);
  result.Ok = true;
  return result;
}

}  // namespace zsff
