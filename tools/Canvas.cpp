#include "Canvas.h"

#include <algorithm>

#include "PixelFont.h"
#include "foundation/TextConversion.h"

namespace zsff_tools {

Canvas::Canvas(int width, int height, Rgb background)
    : m_Width(width > 0 && height > 0 ? width : 0),
      m_Height(width > 0 && height > 0 ? height : 0),
      m_Background(background) {
  m_Bytes.resize(static_cast<std::size_t>(m_Width) * static_cast<std::size_t>(m_Height) * 3);
  for (std::size_t i = 0; i < m_Bytes.size(); i += 3) {
    m_Bytes[i] = background.R;
    m_Bytes[i + 1] = background.G;
    m_Bytes[i + 2] = background.B;
  }
}

Rgb Canvas::Pixel(int x, int y) const {
  if (x < 0 || y < 0 || x >= m_Width || y >= m_Height) return m_Background;
  const std::size_t at = (static_cast<std::size_t>(y) * m_Width + x) * 3;
  return {m_Bytes[at], m_Bytes[at + 1], m_Bytes[at + 2]};
}

void Canvas::SetPixel(int x, int y, Rgb color) {
  if (x < 0 || y < 0 || x >= m_Width || y >= m_Height) return;
  const std::size_t at = (static_cast<std::size_t>(y) * m_Width + x) * 3;
  m_Bytes[at] = color.R;
  m_Bytes[at + 1] = color.G;
  m_Bytes[at + 2] = color.B;
}

void Canvas::VerticalSpan(int x, int y0, int y1, Rgb color) {
  if (y1 < y0) std::swap(y0, y1);
  for (int y = std::max(y0, 0); y <= std::min(y1, m_Height - 1); ++y) SetPixel(x, y, color);
}

void Canvas::HorizontalSpan(int x0, int x1, int y, Rgb color) {
  if (x1 < x0) std::swap(x0, x1);
  for (int x = std::max(x0, 0); x <= std::min(x1, m_Width - 1); ++x) SetPixel(x, y, color);
}

void Canvas::DottedVerticalSpan(int x, int y0, int y1, int period, Rgb color) {
  if (y1 < y0) std::swap(y0, y1);
  for (int y = y0; y <= y1; y += std::max(period, 1)) SetPixel(x, y, color);
}

void Canvas::FillRect(int x, int y, int width, int height, Rgb color) {
  for (int row = y; row < y + height; ++row) HorizontalSpan(x, x + width - 1, row, color);
}

void Canvas::FrameRect(int x, int y, int width, int height, Rgb color) {
  if (width <= 0 || height <= 0) return;
  HorizontalSpan(x, x + width - 1, y, color);
  HorizontalSpan(x, x + width - 1, y + height - 1, color);
  VerticalSpan(x, y, y + height - 1, color);
  VerticalSpan(x + width - 1, y, y + height - 1, color);
}

int Canvas::Text(int x, int y, const std::string& text, Rgb color) {
  for (const char16_t unit : zsff::Utf8ToWide(text)) {
    const std::uint8_t* columns = Glyph(unit);
    for (int column = 0; column < kGlyphColumns; ++column) {
      for (int row = 0; row < kGlyphRows; ++row) {
        if ((columns[column] >> row) & 1) SetPixel(x + column, y + row, color);
      }
    }
    x += kGlyphAdvance;
  }
  return x;
}

int Canvas::TextWidth(const std::string& text) {
  const int glyphs = static_cast<int>(zsff::Utf8ToWide(text).size());
  return glyphs == 0 ? 0 : glyphs * kGlyphAdvance - 1;
}

int Canvas::TextHeight() { return kGlyphRows; }

std::string Canvas::FitText(const std::string& text, int width) {
  if (TextWidth(text) <= width) return text;
  std::u16string units = zsff::Utf8ToWide(text);
  const int fitting = std::max((width + 1) / kGlyphAdvance - 2, 0);
  units.resize(std::min(units.size(), static_cast<std::size_t>(fitting)));
  return zsff::WideToUtf8(units) + "..";
}

}  // namespace zsff_tools
