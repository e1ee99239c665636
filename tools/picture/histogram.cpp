#include "tools/picture/histogram.h"

#include "tools/picture/canvas.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <fmt/format.h>

namespace {

constexpr std::uint32_t kBins = 512;
constexpr double kBinWidth = 2;
constexpr double kPlotWidth = kBins * kBinWidth;
constexpr double kPlotHeight = 150;
constexpr double kMargin = 20;
constexpr double kFont = 15;
constexpr double kHeadingFont = 20;
constexpr double kLine = kFont * Canvas::kLineHeight;
constexpr double kHeading = kMargin + kHeadingFont * Canvas::kLineHeight;
constexpr double kPlaneHeight = kLine + kPlotHeight + kMargin / 2;
constexpr std::uint32_t kTicks = 8;

constexpr Colour kBackground{24, 24, 24};
constexpr Colour kPlot{40, 40, 40};
constexpr Colour kTick{64, 64, 64};
constexpr Colour kText{220, 220, 220};
constexpr Colour kLevel{255, 210, 70};

constexpr Colour colourOf(CfaColour filter) {
    switch (filter) {
    case CfaColour::red:
        return {220, 90, 80};
    case CfaColour::blue:
        return {90, 130, 230};
    case CfaColour::green:
        break;
    }
    return {110, 200, 110};
}

/// Planes in the order of the sites in kCfaCell.
constexpr std::array<const char*, kCfaCell.size()> kPlaneNames{"Green (even rows)", "Red", "Blue",
                                                               "Green (odd rows)"};

/// Counts of the values of one plane, and the range of its samples.
struct PlaneHistogram {
    std::array<std::uint64_t, kBins> counts{};
    std::uint16_t lowest = 0xFFFF;
    std::uint16_t highest = 0;
};

/// The number of values in a bin, large enough that the white level and every sample fall inside the chart.
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

double topOf(std::size_t plane) {
    return kHeading + static_cast<double>(plane) * kPlaneHeight;
}

void drawPlane(Canvas& canvas, std::size_t plane, const PlaneHistogram& histogram) {
    const double top = topOf(plane) + kLine;
    const Colour colour = colourOf(kCfaCell[plane]);
    canvas.write(kMargin, topOf(plane),
                 fmt::format("{}: samples {} to {}", kPlaneNames[plane], histogram.lowest, histogram.highest),
                 {kFont, colour, kPlotWidth});
    canvas.fill(kMargin, top, kPlotWidth, kPlotHeight, kPlot);
    for (std::uint32_t tick = 1; tick < kTicks; ++tick)
        canvas.lineDown(kMargin + tick * kPlotWidth / kTicks, top, kPlotHeight, kTick, false);
    const auto most =
        static_cast<double>(*std::max_element(histogram.counts.begin(), histogram.counts.end()));
    for (std::uint32_t bin = 0; bin < kBins; ++bin) {
        const double share = std::log1p(static_cast<double>(histogram.counts[bin])) / std::log1p(most);
        const double height = std::round(share * kPlotHeight);
        canvas.fill(kMargin + bin * kBinWidth, top + kPlotHeight - height, kBinWidth, height, colour);
    }
}

void markLevel(Canvas& canvas, std::size_t plane, std::uint32_t level, std::uint32_t perBin) {
    const double bin = std::min(level / perBin, kBins - 1);
    canvas.lineDown(kMargin + bin * kBinWidth, topOf(plane) + kLine, kPlotHeight, kLevel, true);
}

/// Sample values below the ticks.
void writeScale(Canvas& canvas, double top, std::uint32_t perBin) {
    for (std::uint32_t tick = 0; tick < kTicks; ++tick)
        canvas.write(kMargin + tick * kPlotWidth / kTicks, top,
                     fmt::format("{}", tick * perBin * kBins / kTicks), {kFont, kText, kPlotWidth / kTicks});
}

} // namespace

RgbImage drawHistograms(const MosaicView& mosaic, std::uint32_t blackLevel, std::uint32_t whiteLevel,
                        const std::string& title) {
    const std::uint32_t perBin = valuesPerBin(mosaic, whiteLevel);
    const double bottom = topOf(kCfaCell.size());
    Canvas canvas(static_cast<std::uint32_t>(kPlotWidth + 2 * kMargin),
                  static_cast<std::uint32_t>(bottom + 2 * kLine + kMargin), kBackground);
    canvas.write(kMargin, kMargin / 2, title, {kHeadingFont, kText, kPlotWidth});
    for (std::size_t plane = 0; plane < kCfaCell.size(); ++plane) {
        drawPlane(canvas, plane, countPlane(mosaic, plane, perBin));
        markLevel(canvas, plane, blackLevel, perBin);
        markLevel(canvas, plane, whiteLevel, perBin);
    }
    writeScale(canvas, bottom, perBin);
    canvas.write(kMargin, bottom + kLine,
                 fmt::format("Counts are logarithmic. Dashed lines: black level {}, white level {}",
                             blackLevel, whiteLevel),
                 {kFont, kLevel, kPlotWidth});
    return canvas.image();
}
