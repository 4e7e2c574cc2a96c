#include "PlotRaster.h"

#include <cmath>

namespace zsff_tools {

namespace {

const Rgb kWhite{255, 255, 255};
const Rgb kInk{32, 36, 44};
const Rgb kMutedInk{110, 116, 128};
const Rgb kStripBackground{246, 247, 250};
const Rgb kFrame{190, 195, 204};
const Rgb kGrid{205, 209, 216};
const Rgb kZeroLine{170, 175, 185};
const Rgb kRecordBoundary{120, 126, 138};

void DrawTimeGrid(Canvas& canvas, const PlotData& data, const PlotLayout& layout,
                  const TimeTicks& ticks, int top, int bottom) {
  for (double t = ticks.Step; t < data.Duration; t += ticks.Step) {
    canvas.DottedVerticalSpan(layout.ColumnOf(t, data.Duration), top, bottom, 3, kGrid);
  }
  for (const double start : data.RecordStarts) {
    canvas.DottedVerticalSpan(layout.ColumnOf(start, data.Duration), top, bottom, 2,
                              kRecordBoundary);
  }
}

void DrawStrip(Canvas& canvas, const PlotData& data, const PlotLayout& layout,
               const TimeTicks& ticks, std::size_t index) {
  const PlotChannel& channel = data.Channels[index];
  const int top = layout.TopOfStrip(index);
  const int bottom = top + layout.StripHeight - 1;
  canvas.FillRect(layout.PlotLeft, top, layout.PlotWidth, layout.StripHeight, kStripBackground);
  DrawTimeGrid(canvas, data, layout, ticks, top + 1, bottom - 1);

  const std::vector<float> columns = FitPairsToColumns(channel.Pairs, layout.PlotWidth);
  const ValueRange range = RangeOf(columns);
  if (range.Low < 0.0 && range.High > 0.0) {
    const int zero = RowOf(0.0, range, top, layout.StripHeight);
    for (int x = layout.PlotLeft; x < layout.PlotLeft + layout.PlotWidth; x += 2) {
      canvas.SetPixel(x, zero, kZeroLine);
    }
  }
  DrawEnvelope(canvas, columns, range, layout.PlotLeft, top, layout.StripHeight,
               ChannelColor(channel.ColorIndex));
  canvas.FrameRect(layout.PlotLeft - 1, top - 1, layout.PlotWidth + 2, layout.StripHeight + 2,
                   kFrame);

  // The name and unit on the left; the strip's range beside its edges.
  const int textLeft = 8;
  const int labelRight = layout.PlotLeft - 4;
  canvas.Text(textLeft, top + 2, Canvas::FitText(channel.Name, layout.NameWidth), kInk);
  canvas.Text(textLeft, top + 4 + Canvas::TextHeight(),
              Canvas::FitText(channel.Unit, layout.NameWidth), kMutedInk);
  const std::string high = ValueLabel(range.High);
  const std::string low = ValueLabel(range.Low);
  canvas.Text(labelRight - Canvas::TextWidth(high), top, high, kMutedInk);
  canvas.Text(labelRight - Canvas::TextWidth(low), bottom - Canvas::TextHeight() + 1, low,
              kMutedInk);
}

void DrawAxis(Canvas& canvas, const PlotData& data, const PlotLayout& layout,
              const TimeTicks& ticks) {
  const int top = layout.AxisTop + 1;
  const int count = static_cast<int>(std::floor(data.Duration / ticks.Step + 1e-9));
  int lastRight = -1;
  for (int i = 0; i <= count; ++i) {
    const double t = i * ticks.Step;
    const int x = layout.ColumnOf(t, data.Duration);
    canvas.VerticalSpan(x, top, top + 3, kMutedInk);
    const std::string label = TickLabel(t, ticks.Decimals);
    const int width = Canvas::TextWidth(label);
    const int left = std::min(x - width / 2, layout.Width - 2 - width);
    if (left <= lastRight + 4) continue;  // the last label may crowd the one before
    canvas.Text(left, top + 6, label, kInk);
    lastRight = left + width;
  }
  const std::string title = "time in s";
  canvas.Text(layout.PlotLeft + layout.PlotWidth - Canvas::TextWidth(title),
              top + 8 + Canvas::TextHeight(), title, kMutedInk);
}

}  // namespace

Rgb ChannelColor(std::size_t index) {
  static const Rgb kColors[] = {{31, 119, 180}, {214, 96, 20}, {44, 150, 60},  {200, 40, 48},
                                {128, 84, 170}, {140, 86, 75}, {210, 80, 160}, {23, 150, 160}};
  return kColors[index % (sizeof kColors / sizeof kColors[0])];
}

void DrawEnvelope(Canvas& canvas, const std::vector<float>& columnPairs, const ValueRange& range,
                  int left, int top, int height, Rgb color) {
  for (std::size_t column = 0; column + 1 < columnPairs.size(); column += 2) {
    const float min = columnPairs[column];
    const float max = columnPairs[column + 1];
    if (std::isnan(min) || std::isnan(max)) continue;
    canvas.VerticalSpan(left + static_cast<int>(column / 2), RowOf(max, range, top, height),
                        RowOf(min, range, top, height), color);
  }
}

Canvas DrawPlot(const PlotData& data, const PlotLayout& layout) {
  Canvas canvas(layout.Width, layout.Height, kWhite);
  canvas.Text(8, 7, data.Title, kInk);
  const TimeTicks ticks = ChooseTimeTicks(data.Duration, layout.PlotWidth, 70);
  for (std::size_t index = 0; index < data.Channels.size(); ++index) {
    DrawStrip(canvas, data, layout, ticks, index);
  }
  DrawAxis(canvas, data, layout, ticks);
  return canvas;
}

}  // namespace zsff_tools
