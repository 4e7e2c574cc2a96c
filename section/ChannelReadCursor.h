// Where reading stands in one kind of a channel's part files: the part being
// read, the place in it, and whether that part is known not to be readable.
//
// CChannel keeps one for the raw samples and one for the pyramid files. The part
// reader moves the first and the pyramid view the second; a look at whether the
// part at hand is readable marks both, which is why the channel holds them and
// the two pieces borrow them.
#pragma once

namespace zsff {

struct ChannelReadCursor {
  unsigned short Part = 0;
  unsigned long long InPart = 0;  // samples
  // Part isn't readable: raw reads give filler samples, pyramid requests blanks.
  bool PartMissing = false;
};

}  // namespace zsff
