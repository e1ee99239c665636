#include "tools/clip/rational_rate.h"

#include "krw/frame_rate.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

std::optional<Rational> makeRational(std::uint64_t numerator, std::uint64_t denominator) {
    const std::uint64_t divisor = std::gcd(numerator, denominator);
    if (divisor == 0) return std::nullopt;
    numerator /= divisor;
    denominator /= divisor;
    if (std::max(numerator, denominator) > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
    return Rational{static_cast<std::uint32_t>(numerator), static_cast<std::uint32_t>(denominator)};
}

std::optional<Rational> rationalRate(double framesPerSecond) {
    constexpr double kTolerance = 0.0005;
    constexpr double kLeast = 0.001;
    constexpr double kMost = 1e6;
    if (!(framesPerSecond >= kLeast) || framesPerSecond > kMost) return std::nullopt;
    const auto isNear = [=](double rate) { return std::abs(framesPerSecond - rate) < kTolerance * rate; };
    const double whole = std::round(framesPerSecond);
    if (isNear(whole)) return makeRational(static_cast<std::uint64_t>(whole), 1);
    const double nominal = std::round(framesPerSecond * 1.001);
    if (isNear(nominal / 1.001)) return makeRational(static_cast<std::uint64_t>(nominal) * 1000, 1001);
    return makeRational(static_cast<std::uint64_t>(std::llround(framesPerSecond * 1000)), 1000);
}

Rational deliveredRate(float framesPerSecond) {
    const FrameRate found = frameRate(framesPerSecond);
    return {found.rate, found.scale};
}
