// The picture "zsff plot" draws, apart from how it is stored: one strip per
// channel, stacked, each with the channel's (min, max) envelope over the whole
// measurement, and a time axis in seconds below. This file holds the data of
// the picture and its geometry; PlotRaster and PlotSvg draw it.
#pragma once

#include <string>
#include <vector>

namespace zsff_tools {

struct PlotChannel {
  std::string Name;  // UTF-8
  std::string Unit;
  // (min, max) pairs, min first, spread evenly over the measurement; a NaN pair
  // is a stretch not recorded and is left blank.
  std::vector<float> Pairs;
  // Which of the envelope colours: the channel's place in the measurement, so
  // that a channel keeps its colour in a picture of fewer channels.
  std::size_t ColorIndex = 0;
};

struct PlotData {
  std::string Title;
  double Duration = 0.0;             // seconds the pairs cover, from 0
  std::vector<double> RecordStarts;  // seconds at which the second and later records begin
  std::vector<PlotChannel> Channels;
};

// The values a strip shows, from Low at its bottom row to High at its top row.
struct ValueRange {
  double Low = -1.0;
  double High = 1.0;
};

// Where the parts of a picture go, in pixels from the top-left corner.
struct PlotLayout {
  int Width = 0;
  int Height = 0;
  int NameWidth = 0;  // room for the channels' names and units, left of their ranges
  int PlotLeft = 0;   // the first column of the envelopes
  int PlotWidth = 0;  // columns of the envelopes: one (min, max) pair each
  int StripTop = 0;   // top row of the first strip
  int StripHeight = 0;
  int StripGap = 0;
  int AxisTop = 0;  // first row below the last strip

  int TopOfStrip(std::size_t index) const {
    return StripTop + static_cast<int>(index) * (StripHeight + StripGap);
  }
  // The column of a time in seconds, for a measurement of `duration` seconds.
  int ColumnOf(double seconds, double duration) const;
};

// The strip height a picture gets when the caller names no height.
constexpr int kDefaultStripHeight = 110;
constexpr int kMinimumStripHeight = 24;
constexpr int kMinimumWidth = 200;

// The picture's height for `channels` strips of kDefaultStripHeight.
int DefaultHeight(std::size_t channels);

// The layout of a picture of `width` x `height` pixels for the channels of
// `data` (only their names and units are looked at, so the layout can be made
// before the pairs are fetched). False with `error` set when the picture is too
// narrow or too low to give each channel a strip of kMinimumStripHeight rows.
bool ComputeLayout(const PlotData& data, int width, int height, PlotLayout& layout,
                   std::string& error);

// `columns` (min, max) pairs from `pairs`, which may hold more or fewer: each
// column takes the extremes of the pairs that fall on it, NaN where none was
// recorded.
std::vector<float> FitPairsToColumns(const std::vector<float>& pairs, int columns);

// The smallest and largest recorded values, widened by a margin so the envelope
// doesn't touch the strip's edges; a flat signal gets a band around its value.
// Without any recorded value: -1 to 1.
ValueRange RangeOf(const std::vector<float>& pairs);

// The row of `value` in a strip from `top`, `height` rows high, clamped to it.
int RowOf(double value, const ValueRange& range, int top, int height);

// A tick every Step seconds from 0, with Decimals digits after the point in
// their labels.
struct TimeTicks {
  double Step = 1.0;
  int Decimals = 0;
};

// Ticks for `duration` seconds over `columns` pixels, at least
// `minimumSpacing` pixels apart: 1, 2 or 5 times a power of ten, and whole
// minutes and hours once the step reaches a minute.
TimeTicks ChooseTimeTicks(double duration, int columns, int minimumSpacing);

// A tick's label: "0", "2.5", "120".
std::string TickLabel(double seconds, int decimals);
// A value at the edge of a strip, in 3 significant digits: "1.05", "-2.5e+03".
std::string ValueLabel(double value);

}  // namespace zsff_tools
