// A small RGB raster to draw pictures on: pixels, straight lines, filled
// rectangles and vertical spans, and text in the 5x7 pixel font. Everything
// drawn outside the raster is clipped, so callers needn't check bounds.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zsff_tools {

struct Rgb {
  std::uint8_t R = 0;
  std::uint8_t G = 0;
  std::uint8_t B = 0;
  bool operator==(const Rgb& other) const { return R == other.R && G == other.G && B == other.B; }
  bool operator!=(const Rgb& other) const { return !(*this == other); }
};

class Canvas {
 public:
  // A raster of `width` x `height` pixels filled with `background`; a size not
  // above 0 gives an empty raster.
  Canvas(int width, int height, Rgb background);

  int Width() const { return m_Width; }
  int Height() const { return m_Height; }
  // The pixel at (x, y), row 0 at the top; the background colour outside.
  Rgb Pixel(int x, int y) const;
  // Rows of 3 bytes per pixel, top row first, as image files store them.
  const std::vector<std::uint8_t>& Bytes() const { return m_Bytes; }

  void SetPixel(int x, int y, Rgb color);
  // Rows y0 to y1 of column x, both included, in either order.
  void VerticalSpan(int x, int y0, int y1, Rgb color);
  // Columns x0 to x1 of row y, both included, in either order.
  void HorizontalSpan(int x0, int x1, int y, Rgb color);
  // Every `period`-th pixel of a vertical span, for grid lines that stay light.
  void DottedVerticalSpan(int x, int y0, int y1, int period, Rgb color);
  void FillRect(int x, int y, int width, int height, Rgb color);
  void FrameRect(int x, int y, int width, int height, Rgb color);

  // `text` (UTF-8) with its top-left corner at (x, y); returns the x after it.
  int Text(int x, int y, const std::string& text, Rgb color);
  // The width `text` takes, in pixels, without the blank after its last glyph.
  static int TextWidth(const std::string& text);
  static int TextHeight();
  // `text` cut so that it takes at most `width` pixels, ".." marking the cut.
  static std::string FitText(const std::string& text, int width);

 private:
  int m_Width = 0;
  int m_Height = 0;
  Rgb m_Background;
  std::vector<std::uint8_t> m_Bytes;
};

}  // namespace zsff_tools
