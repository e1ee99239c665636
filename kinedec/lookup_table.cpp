#include "kinedec/lookup_table.h"

#include "kinedec/magnitude.h"

#include <algorithm>

namespace kinedec {

namespace {

constexpr std::uint16_t low16(std::uint32_t value) {
    return static_cast<std::uint16_t>(value);
}

/// The entries whose index begins with the code of a category of this length above 0.
template <typename Element>
std::span<Element> entriesOf(std::span<Element> lookup, const CodeTable& table, unsigned category) {
    const int spareBits = kKineIndexBits - table.lengths[category];
    return lookup.subspan(std::size_t{table.codes[category]} << spareBits, std::size_t{1} << spareBits);
}

// The magnitude bits lie inside the index: each entry holds a finished difference. The entries of a magnitude
// stand together.
void fillComplete(std::span<KineDecEntry> range, unsigned category, unsigned totalBits) {
    const std::size_t run = std::size_t{1} << (kKineIndexBits - totalBits);
    for (std::uint32_t magnitude = 0; magnitude < 1U << category; ++magnitude) {
        const auto difference = static_cast<std::uint32_t>(extendMagnitude(magnitude, category));
        std::ranges::fill(range.subspan(magnitude * run, run),
                          KineDecEntry{low16(totalBits), low16(difference), 0, 0});
    }
}

// The magnitude bits reach past the index: the decoder takes them from the stream.
void fillDeferred(std::span<KineDecEntry> range, unsigned category, unsigned totalBits) {
    const std::uint32_t magnitudes = 1U << category;
    std::ranges::fill(range, KineDecEntry{low16(totalBits), low16(magnitudes - 1), low16(magnitudes / 2),
                                          low16(0U - magnitudes)});
}

} // namespace

void buildLookupTable(const CodeTable& table, LookupTableView lookup) {
    std::ranges::fill(lookup, KineDecEntry{});
    for (unsigned category = 0; category < kKineCategories; ++category) {
        const unsigned length = table.lengths[category];
        if (length == 0) continue;
        const unsigned totalBits = length + category;
        const auto range = entriesOf(std::span<KineDecEntry>(lookup), table, category);
        if (totalBits <= kKineIndexBits)
            fillComplete(range, category, totalBits);
        else
            fillDeferred(range, category, totalBits);
    }
}

void buildBitCounts(const CodeTable& table, std::span<std::uint8_t, kLookupSize> bits) {
    std::ranges::fill(bits, std::uint8_t{0});
    for (unsigned category = 0; category < kKineCategories; ++category) {
        const unsigned length = table.lengths[category];
        if (length == 0) continue;
        std::ranges::fill(entriesOf(std::span<std::uint8_t>(bits), table, category),
                          static_cast<std::uint8_t>(length + category));
    }
}

} // namespace kinedec
