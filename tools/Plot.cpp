#include "Plot.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "Canvas.h"

namespace zsff_tools {

namespace {

constexpr int kTitleHeight = 22;  // the title line above the strips
constexpr int kAxisHeight = 30;   // tick marks, their labels and the axis title
constexpr int kStripGap = 6;
constexpr int kRightMargin = 12;
constexpr int kLabelPadding = 8;  // left of the names, and between names and values
// Room for a ValueLabel as wide as "-1.23e+03", which the strip's range shows
// beside the strip before the values are known.
constexpr int kValueLabelWidth = 9 * 6 - 1;

}  // namespace

int PlotLayout::ColumnOf(double seconds, double duration) const {
  if (PlotWidth <= 0) return PlotLeft;
  const double share = duration > 0.0 ? seconds / duration : 0.0;
  const double column = std::floor(share * PlotWidth);
  return PlotLeft + static_cast<int>(std::clamp(column, 0.0, static_cast<double>(PlotWidth - 1)));
}

int DefaultHeight(std::size_t channels) {
  const int strips = static_cast<int>(std::max<std::size_t>(channels, 1));
  return kTitleHeight + strips * kDefaultStripHeight + (strips - 1) * kStripGap + kAxisHeight;
}

bool ComputeLayout(const PlotData& data, int width, int height, PlotLayout& layout,
                   std::string& error) {
  if (data.Channels.empty()) {
    error = "there is no channel to draw";
    return false;
  }
  if (width < kMinimumWidth) {
    error = "a picture needs a width of at least " + std::to_string(kMinimumWidth) + " pixels";
    return false;
  }
  const int strips = static_cast<int>(data.Channels.size());
  const int stripHeight = (height - kTitleHeight - kAxisHeight - (strips - 1) * kStripGap) / strips;
  if (stripHeight < kMinimumStripHeight) {
    error = "a picture of " + std::to_string(strips) + " channels needs a height of at least " +
            std::to_string(kTitleHeight + kAxisHeight + (strips - 1) * kStripGap +
                           strips * kMinimumStripHeight) +
            " pixels";
    return false;
  }
  // Names and units share the left margin with the strip's range; a long name
  // is cut by the envelope rather than squeezing the envelope to nothing.
  int labelWidth = 0;
  for (const PlotChannel& channel : data.Channels) {
    labelWidth =
        std::max({labelWidth, Canvas::TextWidth(channel.Name), Canvas::TextWidth(channel.Unit)});
  }
  labelWidth = std::min(labelWidth, width / 4);
  layout.Width = width;
  layout.Height = height;
  layout.NameWidth = labelWidth;
  layout.PlotLeft = kLabelPadding + labelWidth + kLabelPadding + kValueLabelWidth + 4;
  layout.PlotWidth = width - layout.PlotLeft - kRightMargin;
  layout.StripTop = kTitleHeight;
  layout.StripHeight = stripHeight;
  layout.StripGap = kStripGap;
  layout.AxisTop = layout.TopOfStrip(data.Channels.size() - 1) + stripHeight;
  return true;
}

std::vector<float> FitPairsToColumns(const std::vector<float>& pairs, int columns) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const std::size_t count = std::max(columns, 0);
  std::vector<float> fitted(count * 2, nan);
  const std::size_t available = pairs.size() / 2;
  if (available == 0) return fitted;
  for (std::size_t column = 0; column < count; ++column) {
    // The pairs whose share of the time axis meets this column's share.
    const std::size_t first = column * available / count;
    std::size_t last = ((column + 1) * available + count - 1) / count;
    last = std::max(last, first + 1);
    float low = nan;
    float high = nan;
    for (std::size_t pair = first; pair < last && pair < available; ++pair) {
      const float min = pairs[pair * 2];
      const float max = pairs[pair * 2 + 1];
      if (std::isnan(min) || std::isnan(max)) continue;
      low = std::isnan(low) ? min : std::min(low, min);
      high = std::isnan(high) ? max : std::max(high, max);
    }
    fitted[column * 2] = low;
    fitted[column * 2 + 1] = high;
  }
  return fitted;
}

ValueRange RangeOf(const std::vector<float>& pairs) {
  double low = std::numeric_limits<double>::infinity();
  double high = -std::numeric_limits<double>::infinity();
  for (const float value : pairs) {
    if (!std::isfinite(value)) continue;
    low = std::min(low, static_cast<double>(value));
    high = std::max(high, static_cast<double>(value));
  }
  ValueRange range;
  if (low > high) return range;
  if (high - low <= 1e-9 * std::max(std::fabs(low), std::fabs(high))) {
    const double band = low == 0.0 ? 1.0 : std::fabs(low) * 0.1;
    low -= band;
    high += band;
  }
  const double margin = (high - low) * 0.05;
  range.Low = low - margin;
  range.High = high + margin;
  return range;
}

int RowOf(double value, const ValueRange& range, int top, int height) {
  const double span = range.High - range.Low;
  const double share = span > 0.0 ? (range.High - value) / span : 0.5;
  const double row = std::round(std::clamp(share, 0.0, 1.0) * (height - 1));
  return top + static_cast<int>(row);
}

TimeTicks ChooseTimeTicks(double duration, int columns, int minimumSpacing) {
  TimeTicks ticks;
  if (!(duration > 0.0) || columns <= 0) return ticks;
  std::vector<double> steps;
  for (double decade = 1e-6; decade < 60.0; decade *= 10.0) {
    for (const double factor : {1.0, 2.0, 5.0}) {
      if (decade * factor < 60.0) steps.push_back(decade * factor);
    }
  }
  // Past a minute, ticks fall on whole minutes and hours, then days.
  for (const double seconds : {60.0, 120.0, 300.0, 600.0, 900.0, 1200.0, 1800.0, 3600.0, 7200.0,
                               10800.0, 21600.0, 43200.0}) {
    steps.push_back(seconds);
  }
  for (double days = 1.0; days < 1e7; days *= 10.0) {
    for (const double factor : {1.0, 2.0, 5.0}) steps.push_back(86400.0 * days * factor);
  }
  ticks.Step = steps.back();
  for (const double step : steps) {
    if (step / duration * columns >= minimumSpacing) {
      ticks.Step = step;
      break;
    }
  }
  double scaled = ticks.Step;
  while (scaled < 0.999 && ticks.Decimals < 6) {
    scaled *= 10.0;
    ++ticks.Decimals;
  }
  return ticks;
}

std::string TickLabel(double seconds, int decimals) {
  char text[48];
  std::snprintf(text, sizeof text, "%.*f", decimals, seconds);
  const std::string label = text;
  // Rounding may leave a minus before a zero.
  if (label.find_first_not_of("-0.") == std::string::npos) return label.substr(label[0] == '-');
  return label;
}

std::string ValueLabel(double value) {
  char text[48];
  std::snprintf(text, sizeof text, "%.3g", value);
  return text;
}

}  // namespace zsff_tools
