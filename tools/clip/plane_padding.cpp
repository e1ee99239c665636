#include "tools/clip/plane_padding.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <vector>

namespace {

// Planes are padded to sectors, pages or blocks of a drive. A larger common divisor of the sizes is chance.
constexpr std::uint32_t kLargestPowerOfTwo = 65536;
constexpr std::uint32_t kLargestOther = 4096;

/// The largest block size that divides a common divisor of sizes.
std::uint32_t largestUnit(std::uint32_t divisor) {
    if (divisor == 0) return 1;
    std::uint32_t other = std::min(divisor, kLargestOther);
    while (divisor % other != 0)
        --other;
    return std::max(std::gcd(divisor, kLargestPowerOfTwo), other);
}

/// Common divisor of the sizes of all planes but number `without`. An index behind the last plane leaves out
/// none.
std::uint32_t commonDivisor(std::span<const PlanePadding> planes, std::size_t without) {
    std::uint32_t divisor = 0;
    for (std::size_t k = 0; k < planes.size(); ++k)
        if (k != without) divisor = std::gcd(divisor, planes[k].size);
    return divisor;
}

/// The largest block size that three quarters of the planes are filled up to, so that a few wrong sizes do
/// not hide it.
std::uint32_t commonUnit(std::span<const PlanePadding> planes) {
    constexpr std::size_t kTogether = 4; // planes whose common divisors are tried, each one left out in turn
    std::uint32_t unit = 1;
    const auto consider = [planes, &unit](std::uint32_t divisor) {
        const std::uint32_t candidate = largestUnit(divisor);
        if (candidate <= unit) return;
        const auto multiples = std::ranges::count_if(
            planes, [candidate](const PlanePadding& plane) { return plane.size % candidate == 0; });
        if (static_cast<std::size_t>(multiples) * 4 >= planes.size() * 3) unit = candidate;
    };
    consider(commonDivisor(planes, planes.size()));
    for (std::size_t first = 0; first + kTogether <= planes.size(); ++first)
        for (std::size_t without = 0; without <= kTogether; ++without)
            consider(commonDivisor(planes.subspan(first, kTogether), without));
    return unit;
}

} // namespace

std::optional<PlanePadding> planePadding(std::uint32_t size, std::uint64_t bits) {
    const std::uint64_t used = (bits + 7) / 8;
    if (used > size) return std::nullopt;
    return PlanePadding{size, static_cast<std::uint32_t>(size - used)};
}

ClipPadding::ClipPadding(std::span<const PlanePadding> planes) {
    if (planes.empty()) return;
    std::vector<std::uint32_t> left;
    std::ranges::transform(planes, std::back_inserter(left), &PlanePadding::left);
    std::ranges::sort(left);
    const auto quantile = [&left](std::size_t hundredths) {
        return left[(left.size() - 1) * hundredths / 100];
    };
    const std::uint32_t fixed = quantile(10);
    const std::uint32_t often = quantile(75);
    // The planes of a uniform picture all have the same size, which looks like a large block size. They have
    // almost no bytes behind their codes, so that number limits the block size.
    constexpr std::uint64_t kUnlikely = 256;
    const std::uint64_t unit =
        std::min<std::uint64_t>(commonUnit(planes), kUnlikely * (std::uint64_t{often} + 1));
    std::uint64_t most = fixed + unit - 1;
    // The padding follows no block size.
    if (quantile(50) > most) most = std::uint64_t{2} * often;
    m_mostUsual =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(most, std::numeric_limits<std::uint32_t>::max()));
}
