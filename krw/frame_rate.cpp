#include "krw/frame_rate.h"

#include "host/timecode.h"

#include <algorithm>
#include <iterator>
#include <limits>

namespace {

// Clips with fewer than `below` frames per second. The first row that matches counts.
struct FrameRateRow {
    float below;
    FrameRate frameRate;
};

constexpr FrameRateRow kFrameRates[] = {
    {24.0F, {24000, 1001, tcbase::k2398}}, //
    {25.0F, {24, 1, tcbase::k24}},         //
    {29.0F, {25, 1, tcbase::k25}},         //
    {30.0F, {30000, 1001, tcbase::k2997}}, //
    {50.0F, {30, 1, tcbase::k30}},         //
    {59.0F, {50, 1, tcbase::k50}},         //
    {60.0F, {60000, 1001, tcbase::k5994}}, //
    {61.0F, {60, 1, tcbase::k60}},         //
    {std::numeric_limits<float>::infinity(), {100, 1, tcbase::k100}},
};

struct TimecodeBaseRow {
    std::uint32_t rate;
    std::uint32_t base;
};

constexpr TimecodeBaseRow kTimecodeBases[] = {
    {24, tcbase::k24},      //
    {25, tcbase::k25},      //
    {50, tcbase::k25},      //
    {30, tcbase::k30},      //
    {60, tcbase::k30},      //
    {2398, tcbase::k2398},  //
    {24000, tcbase::k2398}, //
    {2997, tcbase::k2997},  //
    {30000, tcbase::k2997}, //
    {60000, tcbase::k2997}, //
};
constexpr std::uint32_t kOtherTimecodeBase = tcbase::k24;

// Rates for which a factor of 100 is not cancelled, only one of 10.
constexpr std::uint32_t kRatesWithoutHundreds[] = {24, 25, 30, 50, 60, 2398, 2997};

} // namespace

FrameRate frameRate(float framesPerSecond) {
    for (const FrameRateRow& row : kFrameRates)
        if (framesPerSecond < row.below) return row.frameRate;
    return std::rbegin(kFrameRates)->frameRate;
}

std::uint32_t timecodeBase(std::uint32_t rate) {
    const auto* row = std::ranges::find(kTimecodeBases, rate, &TimecodeBaseRow::rate);
    return row == std::end(kTimecodeBases) ? kOtherTimecodeBase : row->base;
}

CAMediaFile::AudioCadence audioCadence(std::uint32_t samplesPerSecond, const QMXSTREAM& video) {
    std::uint32_t numerator = samplesPerSecond * video.dwScale;
    std::uint32_t denominator = video.dwRate;
    const auto shorten = [&](std::uint32_t factor) {
        if (numerator % factor != 0 || denominator % factor != 0) return false;
        numerator /= factor;
        denominator /= factor;
        return true;
    };
    const bool withoutHundreds =
        std::ranges::find(kRatesWithoutHundreds, video.dwRate) != std::end(kRatesWithoutHundreds);
    if (withoutHundreds || !shorten(100)) shorten(10);
    CAMediaFile::AudioCadence cadence{};
    cadence.m_audFrameDen = denominator;
    cadence.m_audFrameNum = numerator;
    return cadence;
}
