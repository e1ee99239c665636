// Drawing into an RGB picture: bars, pictures and short texts in a small built-in typeface.
#pragma once

#include "tools/develop.h"

#include <cstdint>
#include <string_view>

struct Colour {
    std::uint8_t red, green, blue;
};

/// A picture that is drawn on; what falls outside is left out.
class Canvas final {
  public:
    /// Pixels of a character at scale 1, gap to the next one included, and of a line of text.
    static constexpr std::uint32_t kCharacterWidth = 6;
    static constexpr std::uint32_t kLineHeight = 9;

    /// Throws std::bad_alloc.
    Canvas(std::uint32_t width, std::uint32_t height, Colour background);

    void fill(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height, Colour colour);
    void place(std::uint32_t x, std::uint32_t y, const RgbImage& picture);
    /// Digits, letters (all as capitals) and common punctuation; other characters leave a gap.
    void write(std::uint32_t x, std::uint32_t y, std::string_view text, Colour colour,
               std::uint32_t scale = 1);

    [[nodiscard]] const RgbImage& image() const { return m_image; }

  private:
    void set(std::uint32_t x, std::uint32_t y, Colour colour);

    RgbImage m_image;
};
