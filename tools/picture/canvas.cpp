#include "tools/picture/canvas.h"

#include <algorithm>
#include <fmt/format.h>
#include <pango/pangocairo.h>
#include <stdexcept>

namespace {

constexpr double kFullColour = 255;
constexpr double kHalfPixel =
    0.5; // a line one pixel wide covers whole pixels when it runs through their middle

struct PangoFree {
    void operator()(PangoLayout* layout) const { g_object_unref(layout); }
    void operator()(PangoFontDescription* font) const { pango_font_description_free(font); }
    void operator()(char* text) const { g_free(text); }
};

template <class Object>
using PangoHandle = std::unique_ptr<Object, PangoFree>;

/// Makes text fit one line: valid UTF-8 without control characters.
std::string oneLine(const std::string& text) {
    const PangoHandle<char> valid(g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())));
    std::string line(valid.get());
    std::replace_if(
        line.begin(), line.end(), [](char character) { return g_ascii_iscntrl(character); }, '?');
    return line;
}

} // namespace

Canvas::Canvas(std::uint32_t width, std::uint32_t height, Colour background)
    : m_width(width), m_height(height),
      m_surface(
          cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(width), static_cast<int>(height))),
      m_context(cairo_create(m_surface.get())) {
    const cairo_status_t status = cairo_status(m_context.get());
    if (status != CAIRO_STATUS_SUCCESS)
        throw std::runtime_error(fmt::format("a picture of {} x {} pixels cannot be drawn: {}", width, height,
                                             status == CAIRO_STATUS_INVALID_SIZE
                                                 ? "it may have 32767 each way"
                                                 : cairo_status_to_string(status)));
    fill(0, 0, width, height, background);
}

void Canvas::use(Colour colour) {
    cairo_set_source_rgb(m_context.get(), colour.red / kFullColour, colour.green / kFullColour,
                         colour.blue / kFullColour);
}

void Canvas::fill(double x, double y, double width, double height, Colour colour) {
    use(colour);
    cairo_rectangle(m_context.get(), x, y, width, height);
    cairo_fill(m_context.get());
}

void Canvas::lineDown(double x, double y, double length, Colour colour, bool dashed) {
    constexpr double kDash = 4;
    use(colour);
    cairo_set_line_width(m_context.get(), 1);
    cairo_set_dash(m_context.get(), &kDash, dashed ? 1 : 0, 0);
    cairo_move_to(m_context.get(), x + kHalfPixel, y);
    cairo_rel_line_to(m_context.get(), 0, length);
    cairo_stroke(m_context.get());
}

std::uint32_t* Canvas::rowAt(std::uint32_t y) const {
    // Cairo keeps a pixel in a 32-bit word. Its rows may be longer than the picture is wide.
    unsigned char* const pixels = cairo_image_surface_get_data(m_surface.get());
    const auto stride = static_cast<std::size_t>(cairo_image_surface_get_stride(m_surface.get()));
    return static_cast<std::uint32_t*>(static_cast<void*>(pixels + y * stride));
}

void Canvas::place(std::uint32_t x, std::uint32_t y, const RgbImage& picture) {
    if (x >= m_width || y >= m_height) return;
    const std::uint32_t columns = std::min(picture.width, m_width - x);
    const std::uint32_t rows = std::min(picture.height, m_height - y);
    cairo_surface_flush(m_surface.get());
    for (std::uint32_t row = 0; row < rows; ++row) {
        const std::uint8_t* from = &picture.pixels[std::size_t{3} * row * picture.width];
        std::uint32_t* const to = rowAt(y + row) + x;
        for (std::uint32_t column = 0; column < columns; ++column, from += 3)
            to[column] = std::uint32_t{from[0]} << 16 | std::uint32_t{from[1]} << 8 | from[2];
    }
    cairo_surface_mark_dirty(m_surface.get());
}

void Canvas::write(double x, double y, const std::string& text, const TextStyle& style) {
    const PangoHandle<PangoLayout> layout(pango_cairo_create_layout(m_context.get()));
    const PangoHandle<PangoFontDescription> font(pango_font_description_from_string("Sans"));
    pango_font_description_set_absolute_size(font.get(), style.size * PANGO_SCALE);
    pango_layout_set_font_description(layout.get(), font.get());
    pango_layout_set_width(layout.get(), static_cast<int>(style.width * PANGO_SCALE));
    pango_layout_set_ellipsize(layout.get(), PANGO_ELLIPSIZE_MIDDLE);
    pango_layout_set_text(layout.get(), oneLine(text).c_str(), -1);
    use(style.colour);
    cairo_move_to(m_context.get(), x, y);
    pango_cairo_show_layout(m_context.get(), layout.get());
}

RgbImage Canvas::image() const {
    RgbImage image{m_width, m_height, std::vector<std::uint8_t>(std::size_t{3} * m_width * m_height)};
    cairo_surface_flush(m_surface.get());
    std::uint8_t* to = image.pixels.data();
    for (std::uint32_t row = 0; row < m_height; ++row) {
        const std::uint32_t* const from = rowAt(row);
        for (std::uint32_t column = 0; column < m_width; ++column, to += 3) {
            to[0] = static_cast<std::uint8_t>(from[column] >> 16);
            to[1] = static_cast<std::uint8_t>(from[column] >> 8);
            to[2] = static_cast<std::uint8_t>(from[column]);
        }
    }
    return image;
}
