#include "tools/histogram.h"

#include "tools/canvas.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <fmt/format.h>

namespace {

constexpr std::uint32_t kBins = 512; // one a pixel
constexpr std::uint32_t kPlotHeight = 96;
constexpr std::uint32_t kMargin = 12;
constexpr std::uint32_t kLabel = 12;
constexpr std::uint32_t kHeading = 20;

constexpr Colour kBackground{24, 24, 24};
constexpr Colour kPlot{40, 40, 40};
constexpr Colour kText{220, 220, 220};
constexpr Colour kLevel{255, 210, 70};

struct PlaneLook {
    const char* name;
    Colour colour;
};

// The planes in the order of the mosaic's sites, "grbg".
constexpr std::array<PlaneLook, 4> kPlanes{{
    {"green (even rows)", {110, 200, 110}},
    {"red", {220, 90, 80}},
    {"blue", {90, 130, 230}},
    {"green (odd rows)", {110, 200, 110}},
}};

/// Counts of one plane over its value range, and what the samples span.
struct PlaneHistogram {
    std::array<std::uint64_t, kBins> counts{};
    std::uint16_t lowest = 0xFFFF;
    std::uint16_t highest = 0;
};

/// Values per bin so that white level and every sample fall inside.
std::uint32_t valuesPerBin(const MosaicView& mosaic, std::uint32_t whiteLevel) {
    const std::uint32_t highest =
        std::max<std::uint32_t>(*std::max_element(mosaic.samples.begin(), mosaic.samples.end()),
                                std::min<std::uint32_t>(whiteLevel, 0xFFFF));
    return std::max<std::uint32_t>(1, std::bit_ceil(highest + 1) / kBins);
}

PlaneHistogram countPlane(const MosaicView& mosaic, std::size_t plane, std::uint32_t perBin) {
    PlaneHistogram histogram;
    for (std::size_t row = plane / 2; row < mosaic.height; row += 2)
        for (std::size_t column = plane % 2; column < mosaic.width; column += 2) {
            const std::uint16_t sample = mosaic.samples[row * mosaic.width + column];
            ++histogram.counts[sample / perBin];
            histogram.lowest = std::min(histogram.lowest, sample);
            histogram.highest = std::max(histogram.highest, sample);
        }
    return histogram;
}

void drawPlane(Canvas& canvas, std::uint32_t top, const PlaneLook& look, const PlaneHistogram& histogram) {
    canvas.write(kMargin, top,
                 fmt::format("{}: samples {} to {}", look.name, histogram.lowest, histogram.highest),
                 look.colour);
    const std::uint32_t plotTop = top + kLabel;
    canvas.fill(kMargin, plotTop, kBins, kPlotHeight, kPlot);
    const auto most =
        static_cast<double>(*std::max_element(histogram.counts.begin(), histogram.counts.end()));
    for (std::uint32_t bin = 0; bin < kBins; ++bin) {
        const double share = std::log1p(static_cast<double>(histogram.counts[bin])) / std::log1p(most);
        const auto height = static_cast<std::uint32_t>(std::lround(share * kPlotHeight));
        canvas.fill(kMargin + bin, plotTop + kPlotHeight - height, 1, height, look.colour);
    }
}

void markLevel(Canvas& canvas, std::uint32_t top, std::uint32_t level, std::uint32_t perBin) {
    canvas.fill(kMargin + std::min(level / perBin, kBins - 1), top + kLabel, 1, kPlotHeight, kLevel);
}

} // namespace

RgbImage drawHistograms(const MosaicView& mosaic, std::uint32_t blackLevel, std::uint32_t whiteLevel,
                        const std::string& title) {
    constexpr std::uint32_t kPlaneHeight = kLabel + kPlotHeight + kMargin;
    const std::uint32_t perBin = valuesPerBin(mosaic, whiteLevel);
    Canvas canvas(kBins + 2 * kMargin,
                  2 * kHeading + static_cast<std::uint32_t>(kPlanes.size()) * kPlaneHeight, kBackground);
    canvas.write(kMargin, kMargin / 2, title, kText);
    for (std::size_t plane = 0; plane < kPlanes.size(); ++plane) {
        const std::uint32_t top = kHeading + static_cast<std::uint32_t>(plane) * kPlaneHeight;
        drawPlane(canvas, top, kPlanes[plane], countPlane(mosaic, plane, perBin));
        markLevel(canvas, top, blackLevel, perBin);
        markLevel(canvas, top, whiteLevel, perBin);
    }
    canvas.write(kMargin, canvas.image().height - kHeading + 4,
                 fmt::format("0 to {}; counts logarithmic; levels: black {}, white {}", perBin * kBins - 1,
                             blackLevel, whiteLevel),
                 kLevel);
    return canvas.image();
}
