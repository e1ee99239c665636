#include "tools/picture/white_balance.h"

#include "tools/clip/frame_workers.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <map>
#include <utility>
#include <vector>

namespace {

constexpr std::uint32_t kUnityGain = 1000;
constexpr Gains kNeutral{1, 1, 1};

/// Typical gains of a sensor in daylight, where the estimate begins.
constexpr Gains kUsualGains{1.9, 1, 1.6};

/// The colour of a small area: red and blue over green, as logarithms to base 2, and how much it counts.
struct AreaColour {
    double red;
    double blue;
    double weight;
};

/// Adds the mean colour of a square of cells, unless the square is clipped or too dark to have a colour.
void addArea(const MosaicView& mosaic, const Levels& levels, std::uint32_t left, std::uint32_t top,
             std::uint32_t side, std::vector<AreaColour>& areas) {
    constexpr double kClipped = 0.95;
    constexpr double kDark = 0.005;
    constexpr double kBright = 0.5; // areas above this all have the same weight
    std::array<double, 3> sums{};
    std::uint16_t brightest = 0;
    for (std::uint32_t row = top; row < top + side; ++row)
        for (std::uint32_t column = left; column < left + side; ++column) {
            const std::uint16_t sample = mosaic.samples[std::size_t{row} * mosaic.width + column];
            sums[static_cast<std::size_t>(kCfaCell[row % 2 * 2 + column % 2])] += sample;
            brightest = std::max(brightest, sample);
        }
    const double range = levels.white - levels.black;
    const double cells = side / 2.0 * (side / 2.0);
    const auto light = [&](double sum, double sites) { return (sum / sites - levels.black) / range; };
    const double red = light(sums[0], cells);
    const double green = light(sums[1], 2 * cells);
    const double blue = light(sums[2], cells);
    if (std::min({red, green, blue}) < kDark || (brightest - levels.black) / range > kClipped) return;
    areas.push_back({std::log2(red / green), std::log2(blue / green), std::sqrt(std::min(green, kBright))});
}

/// Adds areas on a grid over the picture.
void addAreas(const MosaicView& mosaic, const Levels& levels, std::vector<AreaColour>& areas) {
    constexpr std::uint32_t kSide = 8; // samples
    constexpr double kAreas = 8192;    // about, in a large picture
    const std::uint32_t side = std::min({kSide, mosaic.width, mosaic.height}) / 2 * 2;
    const double spread = std::sqrt(static_cast<double>(mosaic.width) * mosaic.height / kAreas);
    const std::uint32_t step = std::max(side, static_cast<std::uint32_t>(spread) / 2 * 2);
    for (std::uint32_t top = 0; top + side <= mosaic.height; top += step)
        for (std::uint32_t left = 0; left + side <= mosaic.width; left += step)
            addArea(mosaic, levels, left, top, side, areas);
}

/// Finds the greys under the light of the scene: the cluster of colours that is nearest to the greys under a
/// usual light. The search is a mean shift (Fukunaga and Hostetler 1975) with a narrowing window. Strong
/// colours lie outside the window, however much of the picture they fill, so they do not pull the balance
/// towards their complement.
Gains estimate(const std::vector<AreaColour>& areas) {
    constexpr double kLargest = 8;
    constexpr double kUsualShare = 0.02; // weight of the usual light, as a share of all weights
    constexpr std::array kWindows{0.9, 0.6, 0.45, 0.35, 0.3, 0.3, 0.3, 0.3}; // standard deviations
    if (areas.empty()) return kNeutral;
    double total = 0;
    for (const AreaColour& area : areas)
        total += area.weight;
    const AreaColour usual{-std::log2(kUsualGains[0]), -std::log2(kUsualGains[2]), kUsualShare * total};
    AreaColour grey = usual;
    for (const double window : kWindows) {
        AreaColour sum{usual.weight * usual.red, usual.weight * usual.blue, usual.weight};
        for (const AreaColour& area : areas) {
            const double red = (area.red - grey.red) / window;
            const double blue = (area.blue - grey.blue) / window;
            const double weight = area.weight * std::exp(-(red * red + blue * blue) / 2);
            sum.red += weight * area.red;
            sum.blue += weight * area.blue;
            sum.weight += weight;
        }
        grey = {sum.red / sum.weight, sum.blue / sum.weight, 0};
    }
    return {std::clamp(std::exp2(-grey.red), 1 / kLargest, kLargest), 1,
            std::clamp(std::exp2(-grey.blue), 1 / kLargest, kLargest)};
}

/// Reads frames on several workers. The result is the same for any number: areas stand in frame order.
Gains estimateGains(Clip& clip, const WarningTaker& warn, unsigned jobs) {
    constexpr std::uint32_t kFrames = 8;
    const std::uint32_t count = std::min(kFrames, clip.frames());
    const Levels levels = levelsOf(clip);
    std::vector<FrameRun> runs;
    std::map<std::uint32_t, std::vector<AreaColour>>
        areasOf; // by frame; each worker fills those of its frames
    for (std::uint32_t index = 0; index < count; ++index) {
        const std::uint64_t last = clip.frames() - 1;
        const auto frame = static_cast<std::uint32_t>(count > 1 ? last * index / (count - 1) : 0);
        runs.push_back({frame, 1});
        areasOf[frame];
    }
    const auto work = [&levels, &areasOf](Clip& own, Picture& picture, std::uint32_t frame) {
        FrameOutcome outcome;
        outcome.reading = own.read(frame, picture);
        if (outcome.reading.state == FrameReading::State::ok)
            addAreas(picture.view(), levels, areasOf.at(frame));
        return outcome;
    };
    std::vector<AreaColour> areas;
    std::uint32_t used = 0;
    std::string trouble; // of the first frame that is not used
    forEachFrame(clip.plugin(), clip, FrameSet(std::move(runs)), jobs, work,
                 [&](std::uint32_t frame, const FrameOutcome& outcome) {
                     if (outcome.reading.state == FrameReading::State::ok) {
                         const std::vector<AreaColour>& own = areasOf.at(frame);
                         areas.insert(areas.end(), own.begin(), own.end());
                         ++used;
                     } else if (trouble.empty()) {
                         trouble = fmt::format("frame {}: {}", frame, outcome.reading.reason);
                     }
                 });
    if (used < count && warn)
        warn(fmt::format("{}: the white balance is estimated from {} of {} frames; {}", clip.path(), used,
                         count, trouble));
    return estimate(areas);
}

} // namespace

const ChoiceWords<Balance>& balances() {
    static const ChoiceWords<Balance> names{
        {"auto", Balance::automatic}, {"clip", Balance::clip}, {"grey", Balance::grey}};
    return names;
}

Levels levelsOf(const Clip& clip) {
    const double black = clip.information().number(InfoNumber::rawBlackCodeValue);
    const double white = clip.information().number(InfoNumber::rawWhiteCodeValue);
    return {black, std::max(white, black + 1)};
}

Gains clipGains(const ClipInformation& information) {
    const auto gain = [&information](InfoNumber item) {
        const std::uint32_t value = information.number(item);
        return information.isSet(item) && value > 0 ? static_cast<double>(value) / kUnityGain : 1.0;
    };
    return {gain(InfoNumber::rGain), 1, gain(InfoNumber::bGain)};
}

Gains balanceGains(Clip& clip, Balance balance, const WarningTaker& warn, unsigned jobs) {
    const Gains own = clipGains(clip.information());
    const bool says = own != kNeutral;
    if (balance == Balance::clip || (balance == Balance::automatic && says)) return own;
    return estimateGains(clip, warn, jobs);
}
