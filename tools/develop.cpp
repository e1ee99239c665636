#include "tools/develop.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr std::size_t kSampleValues = 65536;
constexpr std::uint32_t kUnityGain = 1000;

struct Levels {
    double black;
    double white;
};

Levels levelsOf(const Clip& clip) {
    const double black = clip.information().number(InfoNumber::rawBlackCodeValue);
    const double white = clip.information().number(InfoNumber::rawWhiteCodeValue);
    return {black, std::max(white, black + 1)};
}

/// Light in 0 to 1 to the display value in 0 to 1.
double onDisplay(double light, DisplayCurve curve) {
    switch (curve) {
    case DisplayCurve::linear:
        return light;
    case DisplayCurve::log: {
        constexpr double kStretch = 255;
        return std::log2(1 + kStretch * light) / std::log2(1 + kStretch);
    }
    case DisplayCurve::gamma:
        break;
    }
    return light <= 0.0031308 ? 12.92 * light : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
}

/// Red, green and blue of a 2 x 2 cell "GR/BG" at `cell`, green as the mean of its two sites.
std::array<std::uint32_t, 3> cellColours(const std::uint16_t* cell, std::uint32_t width) {
    const std::uint32_t green = (std::uint32_t{cell[0]} + cell[width + 1] + 1) / 2;
    return {cell[1], green, cell[width]};
}

/// The brightness of red, green and blue over a grid of cells that is fine enough for it, as a mean that
/// bright cells dominate ("shades of grey", Finlayson and Trezzi 2004): what is bright is white more often
/// than what is dark. Clipped cells say nothing and are left out.
std::array<double, 3> typicalLight(const MosaicView& mosaic, const Levels& levels) {
    constexpr std::uint32_t kStep = 8; // rows and columns of cells
    constexpr double kPower = 4;
    constexpr double kClipped = 0.95;
    std::array<double, 3> sums{};
    for (std::uint32_t row = 0; row + 1 < mosaic.height; row += 2 * kStep)
        for (std::uint32_t column = 0; column + 1 < mosaic.width; column += 2 * kStep) {
            const auto colours =
                cellColours(&mosaic.samples[std::size_t{row} * mosaic.width + column], mosaic.width);
            const double brightest = *std::max_element(colours.begin(), colours.end());
            if ((brightest - levels.black) / (levels.white - levels.black) > kClipped) continue;
            for (std::size_t channel = 0; channel < sums.size(); ++channel)
                sums[channel] += std::pow(std::max(colours[channel] - levels.black, 0.0), kPower);
        }
    for (double& sum : sums)
        sum = std::pow(sum, 1 / kPower);
    return sums;
}

Gains greyGains(const Clip& clip, const MosaicView& mosaic) {
    constexpr double kLargest = 8;
    const std::array<double, 3> light = typicalLight(mosaic, levelsOf(clip));
    Gains gains{1, 1, 1};
    for (std::size_t channel = 0; channel < gains.size(); ++channel)
        if (light[channel] > 0 && light[1] > 0)
            gains[channel] = std::clamp(light[1] / light[channel], 1 / kLargest, kLargest);
    return gains;
}

Gains clipGains(const ClipInformation& information) {
    const auto gain = [&information](InfoNumber item) {
        const std::uint32_t value = information.number(item);
        return information.isSet(item) && value > 0 ? static_cast<double>(value) / kUnityGain : 1.0;
    };
    return {gain(InfoNumber::rGain), 1, gain(InfoNumber::bGain)};
}

/// The clip's gains, or gains measured in its first readable frame; neutral when there is none.
Gains findGains(Clip& clip, Balance balance) {
    const Gains own = clipGains(clip.information());
    const bool neutral = own == Gains{1, 1, 1};
    if (balance == Balance::clip || (balance == Balance::automatic && !neutral)) return own;
    Picture picture = clip.makePicture();
    for (std::uint32_t frame = 0; frame < clip.frames(); ++frame)
        if (clip.read(frame, picture).state != FrameReading::State::unreadable)
            return greyGains(clip, picture.view());
    return {1, 1, 1};
}

} // namespace

const std::map<std::string, DisplayCurve>& displayCurves() {
    static const std::map<std::string, DisplayCurve> curves{
        {"gamma", DisplayCurve::gamma}, {"log", DisplayCurve::log}, {"linear", DisplayCurve::linear}};
    return curves;
}

const std::map<std::string, Balance>& balances() {
    static const std::map<std::string, Balance> names{
        {"auto", Balance::automatic}, {"clip", Balance::clip}, {"grey", Balance::grey}};
    return names;
}

Developer::Developer(const Clip& clip, const Gains& gains, DisplayCurve curve) {
    const Levels levels = levelsOf(clip);
    for (std::size_t channel = 0; channel < m_tables.size(); ++channel) {
        m_tables[channel].resize(kSampleValues);
        for (std::size_t sample = 0; sample < kSampleValues; ++sample) {
            const double light = (static_cast<double>(sample) - levels.black) / (levels.white - levels.black);
            const double shown = onDisplay(std::clamp(light * gains[channel], 0.0, 1.0), curve);
            m_tables[channel][sample] = static_cast<std::uint8_t>(std::lround(255 * shown));
        }
    }
}

RgbImage Developer::develop(const MosaicView& mosaic, std::uint32_t shrink) const {
    const std::uint32_t columns = mosaic.width / 2;
    const std::uint32_t rows = mosaic.height / 2;
    const std::uint32_t step = std::clamp<std::uint32_t>(shrink, 1, std::min(columns, rows));
    RgbImage image{columns / step, rows / step, {}};
    image.pixels.reserve(std::size_t{3} * image.width * image.height);
    for (std::uint32_t y = 0; y < image.height; ++y)
        for (std::uint32_t x = 0; x < image.width; ++x) {
            std::array<std::uint64_t, 3> sums{};
            for (std::uint32_t row = y * step; row < (y + 1) * step; ++row)
                for (std::uint32_t column = x * step; column < (x + 1) * step; ++column) {
                    const auto colours = cellColours(
                        &mosaic.samples[std::size_t{2} * row * mosaic.width + std::size_t{2} * column],
                        mosaic.width);
                    for (std::size_t channel = 0; channel < sums.size(); ++channel)
                        sums[channel] += colours[channel];
                }
            for (std::size_t channel = 0; channel < sums.size(); ++channel)
                image.pixels.push_back(m_tables[channel][sums[channel] / (std::uint64_t{step} * step)]);
        }
    return image;
}

Developer makeDeveloper(Clip& clip, const DevelopOptions& options) {
    return {clip, findGains(clip, balances().at(options.balance)), displayCurves().at(options.curve)};
}
