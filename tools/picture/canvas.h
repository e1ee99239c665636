// Drawing into an RGB picture: areas, lines, pictures and text in any script.
#pragma once

#include "tools/picture/rgb_image.h"

#include <cairo.h>
#include <cstdint>
#include <memory>
#include <string>

struct Colour {
    std::uint8_t red, green, blue;
};

/// The look of one line of text.
struct TextStyle {
    double size; // height of the font in pixels
    Colour colour;
    double width; // pixels; a longer text is shortened in its middle
};

/// A picture to draw on. Coordinates are pixels from the top left corner. Parts outside the picture are not
/// drawn. Not thread-safe.
class Canvas final {
  public:
    /// Height of a line of text, as a multiple of the height of its font.
    static constexpr double kLineHeight = 1.4;

    /// Throws std::runtime_error for a picture with a side above 32767 pixels, or without memory for it.
    Canvas(std::uint32_t width, std::uint32_t height, Colour background);

    void fill(double x, double y, double width, double height, Colour colour);
    /// Draws a line one pixel wide from (x, y) downwards, solid or dashed.
    void lineDown(double x, double y, double length, Colour colour, bool dashed);
    void place(std::uint32_t x, std::uint32_t y, const RgbImage& picture);
    /// Writes one line of text with its top left corner at (x, y). Control characters and bytes that are not
    /// UTF-8 appear as replacement characters.
    void write(double x, double y, const std::string& text, const TextStyle& style);

    [[nodiscard]] RgbImage image() const;

  private:
    struct Closer {
        void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
        void operator()(cairo_t* context) const { cairo_destroy(context); }
    };

    [[nodiscard]] std::uint32_t* rowAt(std::uint32_t y) const;
    void use(Colour colour);

    std::uint32_t m_width;
    std::uint32_t m_height;
    std::unique_ptr<cairo_surface_t, Closer> m_surface;
    std::unique_ptr<cairo_t, Closer> m_context;
};
