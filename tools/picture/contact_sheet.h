// A contact sheet: captioned thumbnails in rows under a heading.
#pragma once

#include "tools/picture/canvas.h"
#include "tools/picture/rgb_image.h"

#include <cstdint>
#include <string>

/// The number of thumbnails on a sheet, and the size of the largest.
struct SheetFormat {
    std::uint32_t count; // 1 or more
    std::uint32_t thumbWidth;
    std::uint32_t thumbHeight;
};

/// The places of thumbnails on a sheet, in pixels. Text grows with the thumbnails.
class SheetLayout final {
  public:
    explicit SheetLayout(const SheetFormat& format);

    [[nodiscard]] std::uint32_t x(std::uint32_t index) const;
    [[nodiscard]] std::uint32_t y(std::uint32_t index) const;
    [[nodiscard]] std::uint32_t width() const;
    [[nodiscard]] std::uint32_t height() const;
    [[nodiscard]] std::uint32_t gap() const { return m_gap; }
    [[nodiscard]] std::uint32_t columnWidth() const { return m_columnWidth; }
    [[nodiscard]] double captionSize() const { return m_captionSize; }
    [[nodiscard]] double headingSize() const;

  private:
    std::uint32_t m_columns;
    std::uint32_t m_rows;
    std::uint32_t m_columnWidth;
    double m_captionSize;
    std::uint32_t m_gap;
    std::uint32_t m_rowHeight; // caption and gap included
};

/// A sheet that is filled thumbnail by thumbnail, row after row from the top left.
class ContactSheet final {
  public:
    /// Throws std::runtime_error when the sheet would be too large.
    ContactSheet(const SheetFormat& format, const std::string& heading);

    /// Adds a thumbnail. `problem` marks the caption of a frame that is not in order.
    void add(const RgbImage& thumbnail, const std::string& caption, bool problem);
    /// Adds a dark area for a frame that cannot be shown.
    void addMissing(const std::string& caption);

    [[nodiscard]] RgbImage image() const { return m_canvas.image(); }

  private:
    void addCaption(const std::string& caption, Colour colour);

    SheetFormat m_format;
    SheetLayout m_layout;
    Canvas m_canvas;
    std::uint32_t m_next = 0;
};
