// All drawing is in integers: floating-point rounding may differ from one compiler to the next.
#include "tools/synth/scene.h"

#include "tools/synth/clip_writer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fmt/format.h>
#include <stdexcept>

namespace {

// Light is counted from the black level up.
constexpr std::int32_t kRange = kSceneWhiteLevel - kSceneBlackLevel;
constexpr std::int32_t kDark = kRange / 50;
constexpr std::int32_t kBright = kRange * 9 / 10;

struct SceneColour {
    std::int32_t red;
    std::int32_t green;
    std::int32_t blue;

    [[nodiscard]] std::int32_t operator[](CfaColour filter) const {
        return filter == CfaColour::red ? red : filter == CfaColour::green ? green : blue;
    }
};

constexpr SceneColour grey(std::int32_t light) {
    return {light, light, light};
}

/// Half-open: left <= x < right, top <= y < bottom.
struct Area {
    std::int64_t left;
    std::int64_t top;
    std::int64_t right;
    std::int64_t bottom;

    [[nodiscard]] std::int64_t width() const { return right - left; }
    [[nodiscard]] std::int64_t height() const { return bottom - top; }
};

Area wholeOf(const Mosaic& mosaic) {
    return {0, 0, mosaic.width, mosaic.height};
}

/// The part of an area between fractions of its width and height, in percent.
Area partOf(const Area& area, int left, int top, int right, int bottom) {
    return {area.left + area.width() * left / 100, area.top + area.height() * top / 100,
            area.left + area.width() * right / 100, area.top + area.height() * bottom / 100};
}

/// Light that grows from 0 at `position` 0 to kRange at `length`. It needs no division for each sample.
class Ramp {
  public:
    explicit Ramp(std::int64_t length)
        : m_step((std::int64_t{kRange} << kBits) / std::max<std::int64_t>(length, 1)) {}

    std::int32_t operator()(std::int64_t position) const {
        return static_cast<std::int32_t>((position * m_step) >> kBits);
    }

  private:
    static constexpr int kBits = 24;
    std::int64_t m_step;
};

/// Sets each sample of the area to its filter's share of shade(x, y). Coordinates are relative to the corner
/// of the area.
template <typename Shade>
void paint(Mosaic& mosaic, const Area& area, Shade shade) {
    const Area whole = wholeOf(mosaic);
    for (std::int64_t y = std::max(area.top, whole.top); y < std::min(area.bottom, whole.bottom); ++y) {
        const auto row =
            std::span(mosaic.samples).subspan(static_cast<std::size_t>(y * whole.right), mosaic.width);
        for (std::int64_t x = std::max(area.left, whole.left); x < std::min(area.right, whole.right); ++x) {
            const SceneColour colour = shade(x - area.left, y - area.top);
            const std::int32_t light = colour[kCfaCell[static_cast<std::size_t>(y % 2 * 2 + x % 2)]];
            row[static_cast<std::size_t>(x)] = static_cast<std::uint16_t>(kSceneBlackLevel + light);
        }
    }
}

void paintBackground(Mosaic& mosaic) {
    const Area area = wholeOf(mosaic);
    const Ramp across(area.width());
    const Ramp down(area.height());
    paint(mosaic, area, [=](std::int64_t x, std::int64_t y) {
        const std::int32_t fromLeft = across(x);
        const std::int32_t fromTop = down(y);
        return SceneColour{kRange / 8 + fromLeft / 4, kRange / 6 + fromTop / 5,
                           kRange / 3 - (fromLeft + fromTop) / 8};
    });
}

// Hues at two strengths, skin and foliage, and a row of greys; in percent of the range.
constexpr std::array<SceneColour, 24> kChart{{
    {70, 8, 8},   {70, 40, 5},  {62, 62, 6},  {10, 55, 10}, {8, 50, 60},  {9, 10, 60},
    {28, 12, 12}, {30, 22, 10}, {26, 26, 12}, {11, 24, 11}, {10, 22, 26}, {12, 12, 28},
    {48, 30, 22}, {24, 14, 9},  {12, 18, 8},  {20, 26, 12}, {45, 12, 40}, {30, 36, 50},
    {2, 2, 2},    {8, 8, 8},    {20, 20, 20}, {38, 38, 38}, {62, 62, 62}, {88, 88, 88},
}};

void paintChart(Mosaic& mosaic) {
    constexpr int kColumns = 6;
    constexpr int kRows = 4;
    const Area chart = partOf(wholeOf(mosaic), 5, 8, 45, 60);
    paint(mosaic, chart, [](std::int64_t, std::int64_t) { return grey(kDark); });
    for (int index = 0; index < kColumns * kRows; ++index) {
        const int left = 3 + index % kColumns * 16;
        const int top = 3 + index / kColumns * 24;
        const SceneColour& percent = kChart[static_cast<std::size_t>(index)];
        const SceneColour colour{kRange * percent.red / 100, kRange * percent.green / 100,
                                 kRange * percent.blue / 100};
        paint(mosaic, partOf(chart, left, top, left + 14, top + 22),
              [colour](std::int64_t, std::int64_t) { return colour; });
    }
}

/// A slanted edge, and bars that get finer band by band, down to one cell of the colour filter.
void paintEdges(Mosaic& mosaic) {
    const Area slant = partOf(wholeOf(mosaic), 52, 8, 70, 48);
    paint(mosaic, slant, [slant](std::int64_t x, std::int64_t y) {
        constexpr int kSlope = 11; // rows for each column: about 5 degrees
        return grey((x - slant.width() / 2) * kSlope > y - slant.height() / 2 ? kBright : kDark);
    });
    constexpr int kBands = 5;
    const Area bars = partOf(wholeOf(mosaic), 74, 8, 95, 48);
    paint(mosaic, bars, [bars](std::int64_t x, std::int64_t y) {
        const auto finer = static_cast<int>(y * kBands / bars.height());
        return grey((x >> (kBands - finer)) % 2 == 0 ? kBright : kDark);
    });
}

void paintGreys(Mosaic& mosaic) {
    const Area smooth = partOf(wholeOf(mosaic), 5, 74, 95, 83);
    paint(mosaic, smooth,
          [ramp = Ramp(smooth.width())](std::int64_t x, std::int64_t) { return grey(ramp(x)); });
    constexpr int kSteps = 16;
    const Area steps = partOf(wholeOf(mosaic), 5, 83, 95, 92);
    paint(mosaic, steps, [steps](std::int64_t x, std::int64_t) {
        return grey(static_cast<std::int32_t>(x * kSteps / steps.width()) * kRange / (kSteps - 1));
    });
}

/// Draws a disc that crosses the picture from left to right every 100 frames.
void paintDisc(Mosaic& mosaic, std::uint32_t frame) {
    constexpr int kFramesAcross = 100;
    const Area whole = wholeOf(mosaic);
    const std::int64_t radius = std::min(whole.width(), whole.height()) / 16 + 1;
    const std::int64_t way = whole.width() + 2 * radius;
    const std::int64_t left = way * (frame % kFramesAcross) / kFramesAcross - 2 * radius;
    const std::int64_t top = whole.height() * 67 / 100 - radius;
    // Row by row, because painting a square would overwrite the area around the disc.
    for (std::int64_t y = 0; y < 2 * radius; ++y) {
        const std::int64_t fromCentre = y - radius;
        std::int64_t half = radius;
        while (half > 0 && half * half + fromCentre * fromCentre > radius * radius)
            --half;
        paint(mosaic, {left + radius - half, top + y, left + radius + half, top + y + 1},
              [](std::int64_t, std::int64_t) {
                  return SceneColour{kBright, kBright * 6 / 10, kBright / 8};
              });
    }
}

/// SplitMix64 (G. Steele, D. Lea, C. Flood 2014): a word from each state.
class Random {
  public:
    explicit Random(std::uint64_t seed) : m_state(seed) {}

    std::uint64_t next() {
        std::uint64_t word = m_state += 0x9E3779B97F4A7C15U;
        word = (word ^ word >> 30U) * 0xBF58476D1CE4E5B9U;
        word = (word ^ word >> 27U) * 0x94D049BB133111EBU;
        return word ^ word >> 31U;
    }

  private:
    std::uint64_t m_state;
};

/// Adds noise that is close to normal: the sum of the four 16-bit parts of a random word.
void addNoise(Mosaic& mosaic, std::uint32_t frame, double level) {
    constexpr std::int64_t kMean = 131070; // of the sum
    constexpr double kDeviation = 37837.2; // of the sum: 65536 * sqrt(4 / 12)
    constexpr int kBits = 24;
    const std::int64_t gain = std::llround(level * (1 << kBits) / kDeviation);
    Random random(frame);
    for (std::uint16_t& sample : mosaic.samples) {
        const std::uint64_t word = random.next();
        const auto sum = static_cast<std::int64_t>((word & 0xFFFFU) + (word >> 16U & 0xFFFFU) +
                                                   (word >> 32U & 0xFFFFU) + (word >> 48U));
        const std::int64_t noise = ((sum - kMean) * gain + (1 << (kBits - 1))) >> kBits;
        sample = static_cast<std::uint16_t>(std::clamp<std::int64_t>(sample + noise, 0, kSceneWhiteLevel));
    }
}

} // namespace

Mosaic drawScene(std::uint32_t width, std::uint32_t height, std::uint32_t frame, double noise) {
    checkPictureSize(width, height);
    if (!(noise >= 0 && noise <= kMaxNoise))
        throw std::runtime_error(fmt::format("a noise level of {} is outside 0 to {}", noise, kMaxNoise));
    Mosaic mosaic{width, height, std::vector<std::uint16_t>(std::size_t{width} * height)};
    paintBackground(mosaic);
    paintChart(mosaic);
    paintEdges(mosaic);
    paintGreys(mosaic);
    paintDisc(mosaic, frame);
    if (noise > 0) addNoise(mosaic, frame, noise);
    return mosaic;
}
