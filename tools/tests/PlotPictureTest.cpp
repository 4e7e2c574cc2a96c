// The picture of "zsff plot", drawn from made-up (min, max) pairs: the raster
// and its text, the envelope's rows, the geometry, the time ticks, and the PNG
// and SVG files as another reader sees them.
#include <gtest/gtest.h>
#include <png.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <limits>

#include "Canvas.h"
#include "Plot.h"
#include "PlotRaster.h"
#include "PlotSvg.h"
#include "PngWriter.h"
#include "TempDir.h"

namespace zsff_tools {
namespace {

const Rgb kBlack{0, 0, 0};
const Rgb kWhite{255, 255, 255};
const Rgb kRed{255, 0, 0};
const float kNan = std::numeric_limits<float>::quiet_NaN();

int CountPixels(const Canvas& canvas, Rgb color, int x0, int y0, int x1, int y1) {
  int count = 0;
  for (int y = y0; y <= y1; ++y) {
    for (int x = x0; x <= x1; ++x) count += canvas.Pixel(x, y) == color;
  }
  return count;
}

TEST(Canvas, SpansAreInclusiveAndClippedAndTextStaysInItsBox) {
  Canvas canvas(20, 10, kWhite);
  canvas.VerticalSpan(3, 7, 2, kRed);  // either order
  for (int y = 0; y < 10; ++y) EXPECT_EQ(canvas.Pixel(3, y) == kRed, y >= 2 && y <= 7) << y;
  canvas.VerticalSpan(5, -100, 100, kRed);
  canvas.HorizontalSpan(-5, 50, 9, kRed);
  canvas.SetPixel(20, 0, kRed);
  canvas.SetPixel(-1, -1, kRed);
  EXPECT_EQ(CountPixels(canvas, kRed, 0, 0, 19, 9), 6 + 10 + 20 - 1);
  EXPECT_EQ(canvas.Pixel(100, 100), kWhite);

  Canvas empty(0, 5, kWhite);
  EXPECT_EQ(empty.Width(), 0);
  EXPECT_TRUE(empty.Bytes().empty());
  empty.VerticalSpan(0, 0, 4, kRed);  // nothing to draw on, nothing breaks

  Canvas text(40, 12, kWhite);
  const int end = text.Text(2, 1, "Ab°", kBlack);
  EXPECT_EQ(end, 2 + 3 * 6);
  EXPECT_EQ(Canvas::TextWidth("Ab°"), 17);
  EXPECT_EQ(Canvas::TextWidth(""), 0);
  EXPECT_GT(CountPixels(text, kBlack, 2, 1, 18, 8), 20);
  EXPECT_EQ(CountPixels(text, kBlack, 0, 0, 39, 11), CountPixels(text, kBlack, 2, 1, 18, 8));
  // Glyphs differ: the text isn't drawn as boxes of the unknown glyph.
  EXPECT_NE(CountPixels(text, kBlack, 2, 1, 6, 8), CountPixels(text, kBlack, 8, 1, 12, 8));

  EXPECT_EQ(Canvas::FitText("short", 100), "short");
  const std::string cut = Canvas::FitText("a rather long channel name", 60);
  EXPECT_LE(Canvas::TextWidth(cut), 60);
  EXPECT_EQ(cut.substr(cut.size() - 2), "..");
  EXPECT_EQ(cut.substr(0, 4), "a ra");
}

TEST(PlotData, PairsAreFittedToColumnsKeepingTheirExtremes) {
  const std::vector<float> four = {0, 1, -2, 3, kNan, kNan, 5, 6};
  EXPECT_EQ(FitPairsToColumns(four, 4).size(), 8u);
  std::vector<float> same = FitPairsToColumns(four, 4);
  EXPECT_EQ(same[0], 0);
  EXPECT_EQ(same[3], 3);
  EXPECT_TRUE(std::isnan(same[4]) && std::isnan(same[5]));
  EXPECT_EQ(same[7], 6);

  // Two columns: each takes the extremes of its two pairs; a NaN pair is skipped.
  const std::vector<float> merged = FitPairsToColumns(four, 2);
  EXPECT_EQ(merged, (std::vector<float>{-2, 3, 5, 6}));

  // Eight columns: each pair spans two.
  const std::vector<float> stretched = FitPairsToColumns(four, 8);
  EXPECT_EQ(stretched[2], 0);
  EXPECT_EQ(stretched[5], 3);
  EXPECT_TRUE(std::isnan(stretched[8]) && std::isnan(stretched[11]));
  EXPECT_EQ(stretched[15], 6);

  const std::vector<float> none = FitPairsToColumns({}, 3);
  ASSERT_EQ(none.size(), 6u);
  for (const float value : none) EXPECT_TRUE(std::isnan(value));
  EXPECT_TRUE(FitPairsToColumns(four, 0).empty());
}

TEST(PlotData, RangesLeaveAMarginAndRowsRunFromTopToBottom) {
  const ValueRange range = RangeOf({-1.0f, 3.0f, kNan, kNan, 0.0f, 1.0f});
  EXPECT_LT(range.Low, -1.0);
  EXPECT_GT(range.Low, -1.5);
  EXPECT_GT(range.High, 3.0);
  EXPECT_LT(range.High, 3.5);

  const ValueRange flat = RangeOf({2.5f, 2.5f, 2.5f, 2.5f});
  EXPECT_LT(flat.Low, 2.5);
  EXPECT_GT(flat.High, 2.5);
  const ValueRange zero = RangeOf({0.0f, 0.0f});
  EXPECT_LT(zero.Low, 0.0);
  EXPECT_GT(zero.High, 0.0);
  const ValueRange empty = RangeOf({kNan, kNan});
  EXPECT_EQ(empty.Low, -1.0);
  EXPECT_EQ(empty.High, 1.0);

  const ValueRange unit{0.0, 10.0};
  EXPECT_EQ(RowOf(10.0, unit, 20, 11), 20);
  EXPECT_EQ(RowOf(0.0, unit, 20, 11), 30);
  EXPECT_EQ(RowOf(5.0, unit, 20, 11), 25);
  EXPECT_EQ(RowOf(99.0, unit, 20, 11), 20);  // clamped to the strip
  EXPECT_EQ(RowOf(-99.0, unit, 20, 11), 30);
}

TEST(PlotRaster, EnvelopeColumnsCoverExactlyTheirMinToMaxRows) {
  const std::vector<float> pairs = {-1, 1, 0, 0, kNan, kNan, 0.25f, 0.9f, -0.8f, -0.3f};
  const ValueRange range{-1.0, 1.0};
  Canvas canvas(10, 30, kWhite);
  const int left = 2, top = 5, height = 21;
  DrawEnvelope(canvas, pairs, range, left, top, height, kRed);
  for (int column = 0; column < 5; ++column) {
    const float min = pairs[column * 2];
    const float max = pairs[column * 2 + 1];
    for (int y = 0; y < 30; ++y) {
      const bool inside = !std::isnan(min) && y >= RowOf(max, range, top, height) &&
                          y <= RowOf(min, range, top, height);
      EXPECT_EQ(canvas.Pixel(left + column, y) == kRed, inside)
          << "column " << column << " row " << y;
    }
  }
  EXPECT_EQ(CountPixels(canvas, kRed, 0, 0, 1, 29) + CountPixels(canvas, kRed, 7, 0, 9, 29), 0);
  EXPECT_EQ(CountPixels(canvas, kRed, 2, 0, 2, 29), height);  // -1..1 fills the strip
  EXPECT_EQ(CountPixels(canvas, kRed, 3, 0, 3, 29), 1);       // a flat pair is one row
}

PlotData TwoChannels(int pairs) {
  PlotData data;
  data.Title = "demo <1> & \"2\"";
  data.Duration = 120.0;
  data.RecordStarts = {40.0, 80.0};
  PlotChannel sine{"Sine 1 kHz", "V", {}, 0};
  PlotChannel ramp{"Ramp", "m/s²", {}, 5};
  for (int i = 0; i < pairs; ++i) {
    const float value = static_cast<float>(std::sin(i * 0.05));
    sine.Pairs.insert(sine.Pairs.end(), {value - 0.2f, value + 0.2f});
    ramp.Pairs.insert(ramp.Pairs.end(), {static_cast<float>(i), static_cast<float>(i)});
  }
  data.Channels = {sine, ramp};
  return data;
}

TEST(PlotLayout, StripsFitThePictureOrTheSizeIsRefused) {
  const PlotData data = TwoChannels(0);
  PlotLayout layout;
  std::string error;
  ASSERT_TRUE(ComputeLayout(data, 800, DefaultHeight(2), layout, error)) << error;
  EXPECT_EQ(layout.StripHeight, kDefaultStripHeight);
  EXPECT_GT(layout.PlotLeft, Canvas::TextWidth("Sine 1 kHz"));
  EXPECT_LT(layout.PlotLeft + layout.PlotWidth, 800);
  EXPECT_GT(layout.PlotWidth, 600);
  EXPECT_GT(layout.TopOfStrip(1), layout.TopOfStrip(0) + layout.StripHeight);
  EXPECT_LT(layout.AxisTop + 20, DefaultHeight(2));
  EXPECT_EQ(layout.ColumnOf(0.0, 120.0), layout.PlotLeft);
  EXPECT_EQ(layout.ColumnOf(120.0, 120.0), layout.PlotLeft + layout.PlotWidth - 1);

  EXPECT_FALSE(ComputeLayout(data, 800, 60, layout, error));
  EXPECT_NE(error.find("height of at least"), std::string::npos) << error;
  EXPECT_FALSE(ComputeLayout(data, 100, 400, layout, error));
  EXPECT_NE(error.find("width"), std::string::npos) << error;
  EXPECT_FALSE(ComputeLayout(PlotData(), 800, 400, layout, error));

  // A long name takes no more than a quarter of the width.
  PlotData longName = data;
  longName.Channels[0].Name = std::string(300, 'x');
  ASSERT_TRUE(ComputeLayout(longName, 800, 400, layout, error));
  EXPECT_GT(layout.PlotWidth, 400);
}

TEST(PlotAxis, TicksAreRoundSecondsAtReadableSpacing) {
  for (const double duration : {0.05, 1.0, 7.3, 120.0, 3600.0, 5 * 3600.0 + 17, 40 * 86400.0}) {
    const TimeTicks ticks = ChooseTimeTicks(duration, 1000, 70);
    EXPECT_GE(ticks.Step / duration * 1000, 70) << duration;
    // The next smaller round step would crowd them: not more than 5 times too sparse.
    EXPECT_LT(ticks.Step / duration * 1000, 70 * 5.01) << duration;
    if (ticks.Step >= 60) {
      EXPECT_EQ(std::fmod(ticks.Step, 60.0), 0.0) << duration;
      EXPECT_EQ(ticks.Decimals, 0);
    }
  }
  EXPECT_EQ(ChooseTimeTicks(120.0, 1000, 70).Step, 10.0);
  EXPECT_EQ(ChooseTimeTicks(2.0, 1000, 70).Decimals, 1);
  EXPECT_EQ(ChooseTimeTicks(0.05, 1000, 70).Decimals, 3);

  EXPECT_EQ(TickLabel(120.0, 0), "120");
  EXPECT_EQ(TickLabel(0.5, 1), "0.5");
  EXPECT_EQ(TickLabel(-1e-12, 2), "0.00");
  EXPECT_EQ(ValueLabel(1.0549), "1.05");
  EXPECT_EQ(ValueLabel(-2500.0), "-2.5e+03");
}

// Reads a PNG back with libpng: its size and RGB rows.
bool ReadPng(const std::string& path, int& width, int& height, std::vector<std::uint8_t>& rgb) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&image, path.c_str())) return false;
  image.format = PNG_FORMAT_RGB;
  rgb.resize(PNG_IMAGE_SIZE(image));
  if (!png_image_finish_read(&image, nullptr, rgb.data(), 0, nullptr)) return false;
  width = static_cast<int>(image.width);
  height = static_cast<int>(image.height);
  return true;
}

TEST(PngWriter, WritesAPngThatReadsBackPixelForPixel) {
  zsff_test::TempDir dir;
  const PlotData data = TwoChannels(700);
  PlotLayout layout;
  std::string error;
  ASSERT_TRUE(ComputeLayout(data, 900, 300, layout, error)) << error;
  const Canvas canvas = DrawPlot(data, layout);
  const std::string path = (dir.Path() / "plot.png").string();
  {
    OutputFile out;
    ASSERT_TRUE(out.Open(path, error)) << error;
    ASSERT_TRUE(WritePng(canvas, out, error)) << error;
    ASSERT_TRUE(out.Close(error)) << error;
  }

  int width = 0, height = 0;
  std::vector<std::uint8_t> rgb;
  ASSERT_TRUE(ReadPng(path, width, height, rgb));
  EXPECT_EQ(width, 900);
  EXPECT_EQ(height, 300);
  EXPECT_EQ(rgb, canvas.Bytes());

  // Each channel shows its own colour within its own strip only.
  for (std::size_t i = 0; i < 2; ++i) {
    const Rgb color = ChannelColor(data.Channels[i].ColorIndex);
    const int top = layout.TopOfStrip(i);
    const int inStrip =
        CountPixels(canvas, color, layout.PlotLeft, top, layout.PlotLeft + layout.PlotWidth - 1,
                    top + layout.StripHeight - 1);
    EXPECT_GE(inStrip, layout.PlotWidth) << i;
    EXPECT_EQ(CountPixels(canvas, color, 0, 0, 899, 299), inStrip) << i;
  }

  OutputFile nowhere;
  EXPECT_FALSE(nowhere.Open((dir.Path() / "missing" / "plot.png").string(), error));
  EXPECT_NE(error.find("missing"), std::string::npos) << error;
  {
    OutputFile empty;
    ASSERT_TRUE(empty.Open((dir.Path() / "empty.png").string(), error)) << error;
    EXPECT_FALSE(WritePng(Canvas(0, 0, kWhite), empty, error));
  }
  EXPECT_FALSE(std::ifstream(dir.Path() / "empty.png").good());
}

TEST(PlotSvg, OnePathPerChannelWithTheRasterRowsAndEscapedText) {
  const PlotData data = TwoChannels(50);
  PlotLayout layout;
  std::string error;
  ASSERT_TRUE(ComputeLayout(data, 600, 300, layout, error)) << error;
  const std::string svg = PlotToSvg(data, layout);
  EXPECT_EQ(svg.rfind("<?xml", 0), 0u);
  EXPECT_NE(svg.find("width=\"600\" height=\"300\""), std::string::npos);
  EXPECT_NE(svg.find("demo &lt;1&gt; &amp; &quot;2&quot;"), std::string::npos);
  EXPECT_NE(svg.find(">m/s²</text>"), std::string::npos);
  EXPECT_EQ(svg.find("demo <1>"), std::string::npos);
  EXPECT_EQ(svg.substr(svg.size() - 7), "</svg>\n");

  // Each envelope path: its colour and its drawing. (std::regex recurses per
  // character and overflows the stack on paths this long.)
  const std::string opening = "<path class=\"envelope\" stroke=\"";
  std::vector<std::pair<std::string, std::string>> paths;
  for (std::size_t at = svg.find(opening); at != std::string::npos;
       at = svg.find(opening, at + 1)) {
    const std::size_t color = at + opening.size();
    const std::size_t d = svg.find("d=\"", color) + 3;
    paths.emplace_back(svg.substr(color, 7), svg.substr(d, svg.find('"', d) - d));
  }
  ASSERT_EQ(paths.size(), 2u);
  EXPECT_NE(paths[0].first, paths[1].first);

  // The strokes of the ramp cover the rows the raster fills, column by column.
  const Canvas canvas = DrawPlot(data, layout);
  const std::string& d = paths[1].second;
  int strokes = 0;
  for (std::size_t at = d.find('M'); at != std::string::npos; at = d.find('M', at + 1)) {
    int x = 0, from = 0, to = 0;
    ASSERT_EQ(std::sscanf(d.c_str() + at, "M%d.5 %dV%d", &x, &from, &to), 3) << d.substr(at, 20);
    ++strokes;
    ASSERT_LT(from, to);
    for (int y = from; y < to; ++y) EXPECT_EQ(canvas.Pixel(x, y), ChannelColor(5)) << x << "," << y;
    EXPECT_NE(canvas.Pixel(x, from - 1), ChannelColor(5));
    EXPECT_NE(canvas.Pixel(x, to), ChannelColor(5));
  }
  EXPECT_EQ(strokes, layout.PlotWidth);

  EXPECT_EQ(EscapeXml("a<b>&'\""), "a&lt;b&gt;&amp;&apos;&quot;");
}

}  // namespace
}  // namespace zsff_tools
