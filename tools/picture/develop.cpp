#include "tools/picture/develop.h"

#include <algorithm>

namespace {

/// The divisor, limited so that a pixel is left in each direction.
std::uint32_t usableShrink(std::uint32_t mosaicWidth, std::uint32_t mosaicHeight, const PictureForm& form) {
    return std::clamp<std::uint32_t>(form.shrink, 1, std::min(mosaicWidth, mosaicHeight) / 2);
}

/// Picture values of one row.
struct ShownRow {
    explicit ShownRow(std::size_t width) : red(width), green(width), blue(width) {}
    [[nodiscard]] DevelopedRow view() const { return {red, green, blue}; }

    std::vector<std::uint16_t> red;
    std::vector<std::uint16_t> green;
    std::vector<std::uint16_t> blue;
};

/// Converts light to picture values, and stores them in every step-th column from `first` on.
void show(const std::vector<float>& light, std::span<const std::uint16_t> curve,
          std::vector<std::uint16_t>& shown, std::size_t first, std::size_t step) {
    constexpr std::size_t kChunk = 256;
    constexpr auto kWhite = static_cast<std::int32_t>(kWhite16);
    std::array<std::int32_t, kChunk>
        values; // NOLINT(cppcoreguidelines-pro-type-member-init): filled before use
    for (std::size_t begin = 0; begin < light.size(); begin += kChunk) {
        const std::size_t count = std::min(kChunk, light.size() - begin);
        for (std::size_t x = 0; x < count; ++x) {
            const float raised = light[begin + x] + 0.5F; // the conversion cuts fractions off
            const auto value = static_cast<std::int32_t>(raised);
            const std::int32_t held = value < kWhite ? value : kWhite;
            values[x] = held > 0 ? held : 0;
        }
        for (std::size_t x = 0; x < count; ++x)
            shown[first + (begin + x) * step] = curve[static_cast<std::size_t>(values[x])];
    }
}

void show(const LightRow& light, std::span<const std::uint16_t> curve, ShownRow& shown, std::size_t first,
          std::size_t step) {
    show(light.red, curve, shown.red, first, step);
    show(light.green, curve, shown.green, first, step);
    show(light.blue, curve, shown.blue, first, step);
}

/// Rounds a 16-bit sample to the bits of the picture.
template <class Sample>
Sample narrow(std::uint16_t sample);
template <>
std::uint16_t narrow(std::uint16_t sample) {
    return sample;
}
template <>
std::uint8_t narrow(std::uint16_t sample) {
    return static_cast<std::uint8_t>((sample * 255U + 32895U) >> 16);
}

} // namespace

PictureDimensions developedDimensions(std::uint32_t mosaicWidth, std::uint32_t mosaicHeight,
                                      const PictureForm& form) {
    if (form.size == PictureSize::full) return {mosaicWidth, mosaicHeight};
    const std::uint32_t shrink = usableShrink(mosaicWidth, mosaicHeight, form);
    return {mosaicWidth / 2 / shrink, mosaicHeight / 2 / shrink};
}

template <class Sample>
void interleave(const DevelopedRow& row, Sample* pixels) {
    for (std::size_t x = 0; x < row.red.size(); ++x) {
        pixels[3 * x] = narrow<Sample>(row.red[x]);
        pixels[3 * x + 1] = narrow<Sample>(row.green[x]);
        pixels[3 * x + 2] = narrow<Sample>(row.blue[x]);
    }
}
template void interleave(const DevelopedRow&, std::uint8_t*);
template void interleave(const DevelopedRow&, std::uint16_t*);

const ChoiceWords<PictureSize>& pictureSizes() {
    static const ChoiceWords<PictureSize> sizes{{"half", PictureSize::half}, {"full", PictureSize::full}};
    return sizes;
}

Developer::Developer(const Levels& levels, const Gains& gains, DisplayCurve curve)
    : m_displayCurve(curve), m_curve(curveTable(curve)) {
    m_scale.black = static_cast<float>(levels.black);
    for (std::size_t colour = 0; colour < gains.size(); ++colour)
        m_scale.factors[colour] =
            static_cast<float>(kWhite16 * gains[colour] / (levels.white - levels.black));
}

void Developer::developRows(const MosaicView& mosaic, const PictureForm& form, const RowTaker& take) const {
    const PictureDimensions picture = developedDimensions(mosaic.width, mosaic.height, form);
    ShownRow shown(picture.width);
    if (form.size == PictureSize::full) {
        Demosaic demosaic(mosaic, m_scale);
        LightRow evenColumns(picture.width / 2);
        LightRow oddColumns(picture.width / 2);
        for (std::uint32_t y = 0; y < picture.height; ++y) {
            demosaic.next(evenColumns, oddColumns);
            show(evenColumns, m_curve, shown, 0, 2);
            show(oddColumns, m_curve, shown, 1, 2);
            take(shown.view());
        }
        return;
    }
    const std::uint32_t shrink = usableShrink(mosaic.width, mosaic.height, form);
    LightRow light(picture.width);
    for (std::uint32_t y = 0; y < picture.height; ++y) {
        cellRow(mosaic, m_scale, shrink, y, light);
        show(light, m_curve, shown, 0, 1);
        take(shown.view());
    }
}

template <class Sample>
RgbPicture<Sample> Developer::developAs(const MosaicView& mosaic, const PictureForm& form) const {
    const PictureDimensions size = developedDimensions(mosaic.width, mosaic.height, form);
    RgbPicture<Sample> picture{size.width, size.height, {}};
    picture.pixels.resize(std::size_t{3} * size.width * size.height);
    Sample* next = picture.pixels.data();
    developRows(mosaic, form, [&](const DevelopedRow& row) {
        interleave(row, next);
        next += std::size_t{3} * size.width;
    });
    return picture;
}

template RgbImage Developer::developAs(const MosaicView&, const PictureForm&) const;
template RgbImage16 Developer::developAs(const MosaicView&, const PictureForm&) const;

Developer makeDeveloper(Clip& clip, const DevelopOptions& options) {
    return {levelsOf(clip), balanceGains(clip, options.balance, options.warn, options.jobs), options.curve};
}
