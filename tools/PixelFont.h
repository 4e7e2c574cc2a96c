// A 5x7 pixel font for the labels of raster pictures: printable ASCII and the
// few signs units use (°, µ, ², ³, Ω). Each glyph is five columns of eight rows,
// bit 0 the top row; row 7 holds descenders.
#pragma once

#include <cstdint>

namespace zsff_tools {

constexpr int kGlyphColumns = 5;
constexpr int kGlyphRows = 8;
// A glyph's advance: its columns and one blank column.
constexpr int kGlyphAdvance = kGlyphColumns + 1;

// The columns of the glyph of `codePoint`; an unknown one gets a hollow box.
const std::uint8_t* Glyph(char16_t codePoint);

}  // namespace zsff_tools
