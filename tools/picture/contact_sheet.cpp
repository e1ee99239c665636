#include "tools/picture/contact_sheet.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr Colour kBackground{24, 24, 24};
constexpr Colour kMissing{64, 24, 24};
constexpr Colour kText{220, 220, 220};
constexpr Colour kProblem{255, 110, 90};

constexpr std::uint32_t kSmallestColumn = 190; // holds a caption in the smallest font
constexpr double kSmallestFont = 11;
constexpr double kFontOfColumn = 1.0 / 22; // of a column's width
constexpr double kHeadingOfCaption = 1.4;

std::uint32_t textHeight(double fontSize) {
    return static_cast<std::uint32_t>(std::ceil(fontSize * Canvas::kLineHeight));
}

} // namespace

SheetLayout::SheetLayout(const SheetFormat& format)
    : m_columns(static_cast<std::uint32_t>(std::ceil(std::sqrt(static_cast<double>(format.count))))),
      m_rows((format.count + m_columns - 1) / m_columns),
      m_columnWidth(std::max(format.thumbWidth, kSmallestColumn)),
      m_captionSize(std::max(kSmallestFont, m_columnWidth * kFontOfColumn)),
      m_gap(textHeight(m_captionSize) / 2),
      m_rowHeight(format.thumbHeight + textHeight(m_captionSize) + m_gap) {}

double SheetLayout::headingSize() const {
    return m_captionSize * kHeadingOfCaption;
}

std::uint32_t SheetLayout::x(std::uint32_t index) const {
    return m_gap + index % m_columns * (m_columnWidth + m_gap);
}

std::uint32_t SheetLayout::y(std::uint32_t index) const {
    return 2 * m_gap + textHeight(headingSize()) + index / m_columns * m_rowHeight;
}

std::uint32_t SheetLayout::width() const {
    return m_gap + m_columns * (m_columnWidth + m_gap);
}

std::uint32_t SheetLayout::height() const {
    return y(m_columns * m_rows);
}

ContactSheet::ContactSheet(const SheetFormat& format, const std::string& heading)
    : m_format(format), m_layout(format), m_canvas(m_layout.width(), m_layout.height(), kBackground) {
    const double gap = m_layout.gap();
    m_canvas.write(gap, gap, heading, {m_layout.headingSize(), kText, m_layout.width() - 2 * gap});
}

void ContactSheet::add(const RgbImage& thumbnail, const std::string& caption, bool problem) {
    m_canvas.place(m_layout.x(m_next), m_layout.y(m_next), thumbnail);
    addCaption(caption, problem ? kProblem : kText);
}

void ContactSheet::addMissing(const std::string& caption) {
    m_canvas.fill(m_layout.x(m_next), m_layout.y(m_next), m_format.thumbWidth, m_format.thumbHeight,
                  kMissing);
    addCaption(caption, kProblem);
}

void ContactSheet::addCaption(const std::string& caption, Colour colour) {
    m_canvas.write(m_layout.x(m_next), m_layout.y(m_next) + m_format.thumbHeight, caption,
                   {m_layout.captionSize(), colour, static_cast<double>(m_layout.columnWidth())});
    ++m_next;
}
