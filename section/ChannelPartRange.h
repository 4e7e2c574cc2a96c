// The parts a channel's record runs over, kept once for the signal files and
// once for the pyramid files: the part numbers from the oldest to the newest
// still on disk, the signal dropped ahead of them, and the parts whose files are
// waiting for deletion.
//
// Part numbers are 16-bit and wrap from 65535 to 0, so FirstPart may lie above
// LastPart; every test of a part against the range reads it cyclically. A plain
// value: CChannel owns both ranges, its pieces borrow them.
#pragma once

#include <algorithm>
#include <vector>

namespace zsff {

struct ChannelPartRange {
  // Samples of the first part that lie before the retained signal. Read only in
  // the signal files' range.
  unsigned long long OffsetTimeToStop = 0;
  // Seconds of signal dropped so far by the ring or, for a record opened for
  // reading, the first part times the part length.
  double TimeOffset = 0.0;
  unsigned short FirstPart = 0;  // oldest part that exists
  unsigned short LastPart = 0;   // newest part that exists
  // Parts whose files are to go, or could not be deleted yet and are retried.
  std::vector<unsigned short> PartsToDelete;

  // Whether `part` lies from FirstPart to LastPart, across a wrap of the numbers.
  bool Holds(unsigned short part) const {
    return FirstPart <= LastPart ? part >= FirstPart && part <= LastPart
                                 : part >= FirstPart || part <= LastPart;
  }
  // The numbers have wrapped: the parts run from FirstPart through 65535 and on
  // from 0 to LastPart.
  bool Wrapped() const { return FirstPart > LastPart; }
  // Whether `part` lies past LastPart in a range that hasn't wrapped: a reader
  // that reaches it extends the range.
  bool Beyond(unsigned short part) const { return LastPart >= FirstPart && part > LastPart; }
  // The part a recording opens after the newest.
  unsigned short Next() const { return static_cast<unsigned short>(LastPart + 1); }

  bool Waiting(unsigned short part) const {
    return std::find(PartsToDelete.begin(), PartsToDelete.end(), part) != PartsToDelete.end();
  }
  // Takes the first listing of `part` off the list.
  void Unlist(unsigned short part) {
    auto waiting = std::find(PartsToDelete.begin(), PartsToDelete.end(), part);
    if (waiting != PartsToDelete.end()) PartsToDelete.erase(waiting);
  }

  // Whole parts the ring counts as held besides the one being written, for a
  // range of more than one part: those between the first and the last. Once the
  // numbers have wrapped the formula lacks that minus one; files written by
  // earlier versions were dropped the same way.
  long WholePartsHeld() const {
    return LastPart > FirstPart ? static_cast<long>(LastPart) - FirstPart - 1
                                : static_cast<long>(LastPart) - FirstPart + 65536;
  }
};

}  // namespace zsff
