#include "PlotSvg.h"

#include <cmath>

#include "Format.h"
#include "PlotRaster.h"

namespace zsff_tools {

namespace {

std::string Hex(Rgb color) { return Printf("#%02x%02x%02x", color.R, color.G, color.B); }

std::string TextElement(int x, int y, const char* anchor, const char* fill,
                        const std::string& text) {
  return Printf("<text x=\"%d\" y=\"%d\" text-anchor=\"%s\" fill=\"%s\">", x, y, anchor, fill) +
         EscapeXml(text) + "</text>\n";
}

// Vertical strokes at pixel centres, from the top edge of the max's row to the
// bottom edge of the min's row.
std::string EnvelopePath(const std::vector<float>& columns, const ValueRange& range, int left,
                         int top, int height) {
  std::string path;
  for (std::size_t column = 0; column + 1 < columns.size(); column += 2) {
    if (std::isnan(columns[column]) || std::isnan(columns[column + 1])) continue;
    const int high = RowOf(columns[column + 1], range, top, height);
    const int low = RowOf(columns[column], range, top, height);
    path += Printf("M%d.5 %dV%d", left + static_cast<int>(column / 2), high, low + 1);
  }
  return path;
}

std::string Strip(const PlotData& data, const PlotLayout& layout, const TimeTicks& ticks,
                  std::size_t index) {
  const PlotChannel& channel = data.Channels[index];
  const int top = layout.TopOfStrip(index);
  const int height = layout.StripHeight;
  std::string svg = Printf(
      "<g>\n<rect x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\" fill=\"#f6f7fa\" "
      "stroke=\"#bec3cc\"/>\n",
      layout.PlotLeft, top, layout.PlotWidth, height);
  std::string grid;
  for (double t = ticks.Step; t < data.Duration; t += ticks.Step) {
    grid += Printf("M%d.5 %dV%d", layout.ColumnOf(t, data.Duration), top, top + height);
  }
  if (!grid.empty()) {
    svg += "<path stroke=\"#cdd1d8\" stroke-dasharray=\"1 2\" d=\"" + grid + "\"/>\n";
  }
  std::string boundaries;
  for (const double start : data.RecordStarts) {
    boundaries += Printf("M%d.5 %dV%d", layout.ColumnOf(start, data.Duration), top, top + height);
  }
  if (!boundaries.empty()) {
    svg += "<path stroke=\"#7a7e8a\" stroke-dasharray=\"2 2\" d=\"" + boundaries + "\"/>\n";
  }

  const std::vector<float> columns = FitPairsToColumns(channel.Pairs, layout.PlotWidth);
  const ValueRange range = RangeOf(columns);
  if (range.Low < 0.0 && range.High > 0.0) {
    const int zero = RowOf(0.0, range, top, height);
    svg += Printf("<path stroke=\"#aaafb9\" stroke-dasharray=\"1 1\" d=\"M%d %d.5H%d\"/>\n",
                  layout.PlotLeft, zero, layout.PlotLeft + layout.PlotWidth);
  }
  svg += "<path class=\"envelope\" stroke=\"" + Hex(ChannelColor(channel.ColorIndex)) + "\" d=\"" +
         EnvelopePath(columns, range, layout.PlotLeft, top, height) + "\"/>\n";

  const int labelRight = layout.PlotLeft - 4;
  svg += TextElement(8, top + 10, "start", "#20242c", channel.Name);
  svg += TextElement(8, top + 24, "start", "#6e7480", channel.Unit);
  svg += TextElement(labelRight, top + 9, "end", "#6e7480", ValueLabel(range.High));
  svg += TextElement(labelRight, top + height - 1, "end", "#6e7480", ValueLabel(range.Low));
  return svg + "</g>\n";
}

std::string Axis(const PlotData& data, const PlotLayout& layout, const TimeTicks& ticks) {
  const int top = layout.AxisTop + 1;
  const int count = static_cast<int>(std::floor(data.Duration / ticks.Step + 1e-9));
  std::string marks;
  std::string labels;
  for (int i = 0; i <= count; ++i) {
    const double t = i * ticks.Step;
    const int x = layout.ColumnOf(t, data.Duration);
    marks += Printf("M%d.5 %dV%d", x, top, top + 4);
    labels += TextElement(x, top + 15, "middle", "#20242c", TickLabel(t, ticks.Decimals));
  }
  return "<path stroke=\"#6e7480\" d=\"" + marks + "\"/>\n" + labels +
         TextElement(layout.PlotLeft + layout.PlotWidth, top + 27, "end", "#6e7480", "time in s");
}

}  // namespace

std::string EscapeXml(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '\'':
        escaped += "&apos;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

std::string PlotToSvg(const PlotData& data, const PlotLayout& layout) {
  std::string svg = Printf(
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\" "
      "viewBox=\"0 0 %d %d\" font-family=\"sans-serif\" font-size=\"11\" fill=\"none\" "
      "shape-rendering=\"crispEdges\">\n"
      "<rect width=\"100%%\" height=\"100%%\" fill=\"#ffffff\"/>\n",
      layout.Width, layout.Height, layout.Width, layout.Height);
  svg += TextElement(8, 15, "start", "#20242c", data.Title);
  const TimeTicks ticks = ChooseTimeTicks(data.Duration, layout.PlotWidth, 70);
  for (std::size_t index = 0; index < data.Channels.size(); ++index) {
    svg += Strip(data, layout, ticks, index);
  }
  return svg + Axis(data, layout, ticks) + "</svg>\n";
}

}  // namespace zsff_tools
