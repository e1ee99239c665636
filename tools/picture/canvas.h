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

/// How one line of text looks.
struct TextStyle {
    double size; // height of the font in pixels
    Colour colour;
    double width; // pixels; a longer text is shortened in its middle
};

/// A picture that is drawn on. Coordinates are pixels from the top left corner. What falls outside is not
/// drawn. For one thread at a time.
class Canvas final {
  public:
    /// Pixels of a line of text for each pixel of its font's height.
    static constexpr double kLineHeight = 1.4;

    /// Throws std::runtime_error for a picture larger than 32767 pixels in one direction or than the memory.
    Canvas(std::uint32_t width, std::uint32_t height, Colour background);

    void fill(double x, double y, double width, double height, Colour colour);
    /// A line one pixel wide down from (x, y), solid or dashed.
    void lineDown(double x, double y, double length, Colour colour, bool dashed);
    void place(std::uint32_t x, std::uint32_t y, const RgbImage& picture);
    /// One line of text with its top left corner at (x, y). Control characters and bytes that are not UTF-8
    /// show as replacement characters.
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
