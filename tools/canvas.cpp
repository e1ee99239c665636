#include "tools/canvas.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace {

constexpr std::uint32_t kGlyphWidth = 5;

/// A character in 7 rows of 5 pixels, the leftmost in the highest bit.
struct Glyph {
    char character;
    std::array<std::uint8_t, 7> rows;
};

constexpr std::array kGlyphs{
    Glyph{'0', {0b01110, 0b10001, 0b10011, 0b10101, 0b11001, 0b10001, 0b01110}},
    Glyph{'1', {0b00100, 0b01100, 0b00100, 0b00100, 0b00100, 0b00100, 0b01110}},
    Glyph{'2', {0b01110, 0b10001, 0b00001, 0b00010, 0b00100, 0b01000, 0b11111}},
    Glyph{'3', {0b11111, 0b00010, 0b00100, 0b00010, 0b00001, 0b10001, 0b01110}},
    Glyph{'4', {0b00010, 0b00110, 0b01010, 0b10010, 0b11111, 0b00010, 0b00010}},
    Glyph{'5', {0b11111, 0b10000, 0b11110, 0b00001, 0b00001, 0b10001, 0b01110}},
    Glyph{'6', {0b00110, 0b01000, 0b10000, 0b11110, 0b10001, 0b10001, 0b01110}},
    Glyph{'7', {0b11111, 0b00001, 0b00010, 0b00100, 0b01000, 0b01000, 0b01000}},
    Glyph{'8', {0b01110, 0b10001, 0b10001, 0b01110, 0b10001, 0b10001, 0b01110}},
    Glyph{'9', {0b01110, 0b10001, 0b10001, 0b01111, 0b00001, 0b00010, 0b01100}},
    Glyph{'A', {0b01110, 0b10001, 0b10001, 0b11111, 0b10001, 0b10001, 0b10001}},
    Glyph{'B', {0b11110, 0b10001, 0b10001, 0b11110, 0b10001, 0b10001, 0b11110}},
    Glyph{'C', {0b01110, 0b10001, 0b10000, 0b10000, 0b10000, 0b10001, 0b01110}},
    Glyph{'D', {0b11110, 0b10001, 0b10001, 0b10001, 0b10001, 0b10001, 0b11110}},
    Glyph{'E', {0b11111, 0b10000, 0b10000, 0b11110, 0b10000, 0b10000, 0b11111}},
    Glyph{'F', {0b11111, 0b10000, 0b10000, 0b11110, 0b10000, 0b10000, 0b10000}},
    Glyph{'G', {0b01110, 0b10001, 0b10000, 0b10111, 0b10001, 0b10001, 0b01111}},
    Glyph{'H', {0b10001, 0b10001, 0b10001, 0b11111, 0b10001, 0b10001, 0b10001}},
    Glyph{'I', {0b01110, 0b00100, 0b00100, 0b00100, 0b00100, 0b00100, 0b01110}},
    Glyph{'J', {0b00111, 0b00010, 0b00010, 0b00010, 0b00010, 0b10010, 0b01100}},
    Glyph{'K', {0b10001, 0b10010, 0b10100, 0b11000, 0b10100, 0b10010, 0b10001}},
    Glyph{'L', {0b10000, 0b10000, 0b10000, 0b10000, 0b10000, 0b10000, 0b11111}},
    Glyph{'M', {0b10001, 0b11011, 0b10101, 0b10101, 0b10001, 0b10001, 0b10001}},
    Glyph{'N', {0b10001, 0b11001, 0b10101, 0b10011, 0b10001, 0b10001, 0b10001}},
    Glyph{'O', {0b01110, 0b10001, 0b10001, 0b10001, 0b10001, 0b10001, 0b01110}},
    Glyph{'P', {0b11110, 0b10001, 0b10001, 0b11110, 0b10000, 0b10000, 0b10000}},
    Glyph{'Q', {0b01110, 0b10001, 0b10001, 0b10001, 0b10101, 0b10010, 0b01101}},
    Glyph{'R', {0b11110, 0b10001, 0b10001, 0b11110, 0b10100, 0b10010, 0b10001}},
    Glyph{'S', {0b01111, 0b10000, 0b10000, 0b01110, 0b00001, 0b00001, 0b11110}},
    Glyph{'T', {0b11111, 0b00100, 0b00100, 0b00100, 0b00100, 0b00100, 0b00100}},
    Glyph{'U', {0b10001, 0b10001, 0b10001, 0b10001, 0b10001, 0b10001, 0b01110}},
    Glyph{'V', {0b10001, 0b10001, 0b10001, 0b10001, 0b10001, 0b01010, 0b00100}},
    Glyph{'W', {0b10001, 0b10001, 0b10001, 0b10101, 0b10101, 0b10101, 0b01010}},
    Glyph{'X', {0b10001, 0b10001, 0b01010, 0b00100, 0b01010, 0b10001, 0b10001}},
    Glyph{'Y', {0b10001, 0b10001, 0b01010, 0b00100, 0b00100, 0b00100, 0b00100}},
    Glyph{'Z', {0b11111, 0b00001, 0b00010, 0b00100, 0b01000, 0b10000, 0b11111}},
    Glyph{':', {0b00000, 0b00100, 0b00100, 0b00000, 0b00100, 0b00100, 0b00000}},
    Glyph{';', {0b00000, 0b00100, 0b00100, 0b00000, 0b00100, 0b00100, 0b01000}},
    Glyph{'.', {0b00000, 0b00000, 0b00000, 0b00000, 0b00000, 0b01100, 0b01100}},
    Glyph{',', {0b00000, 0b00000, 0b00000, 0b00000, 0b01100, 0b00100, 0b01000}},
    Glyph{'-', {0b00000, 0b00000, 0b00000, 0b11111, 0b00000, 0b00000, 0b00000}},
    Glyph{'_', {0b00000, 0b00000, 0b00000, 0b00000, 0b00000, 0b00000, 0b11111}},
    Glyph{'/', {0b00001, 0b00010, 0b00010, 0b00100, 0b01000, 0b01000, 0b10000}},
    Glyph{'(', {0b00010, 0b00100, 0b01000, 0b01000, 0b01000, 0b00100, 0b00010}},
    Glyph{')', {0b01000, 0b00100, 0b00010, 0b00010, 0b00010, 0b00100, 0b01000}},
};

const Glyph* findGlyph(char character) {
    const int capital = std::toupper(static_cast<unsigned char>(character));
    const auto* const found = std::find_if(
        kGlyphs.begin(), kGlyphs.end(), [capital](const Glyph& glyph) { return glyph.character == capital; });
    return found == kGlyphs.end() ? nullptr : found;
}

} // namespace

Canvas::Canvas(std::uint32_t width, std::uint32_t height, Colour background)
    : m_image{width, height, std::vector<std::uint8_t>(std::size_t{3} * width * height)} {
    fill(0, 0, width, height, background);
}

void Canvas::set(std::uint32_t x, std::uint32_t y, Colour colour) {
    if (x >= m_image.width || y >= m_image.height) return;
    std::uint8_t* const pixel = &m_image.pixels[3 * (std::size_t{y} * m_image.width + x)];
    pixel[0] = colour.red;
    pixel[1] = colour.green;
    pixel[2] = colour.blue;
}

void Canvas::fill(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height,
                  Colour colour) {
    for (std::uint32_t row = 0; row < height; ++row)
        for (std::uint32_t column = 0; column < width; ++column)
            set(x + column, y + row, colour);
}

void Canvas::place(std::uint32_t x, std::uint32_t y, const RgbImage& picture) {
    for (std::uint32_t row = 0; row < picture.height; ++row)
        for (std::uint32_t column = 0; column < picture.width; ++column) {
            const std::uint8_t* const pixel =
                &picture.pixels[3 * (std::size_t{row} * picture.width + column)];
            set(x + column, y + row, {pixel[0], pixel[1], pixel[2]});
        }
}

void Canvas::write(std::uint32_t x, std::uint32_t y, std::string_view text, Colour colour,
                   std::uint32_t scale) {
    for (const char character : text) {
        const Glyph* const glyph = findGlyph(character);
        for (std::uint32_t row = 0; glyph != nullptr && row < glyph->rows.size(); ++row)
            for (std::uint32_t column = 0; column < kGlyphWidth; ++column)
                if ((glyph->rows[row] >> (kGlyphWidth - 1 - column) & 1) != 0)
                    fill(x + column * scale, y + row * scale, scale, scale, colour);
        x += kCharacterWidth * scale;
    }
}
