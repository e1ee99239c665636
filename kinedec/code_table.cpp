// Validation and expansion of a plane's code table.
#include "kinedec/code_table.h"

#include <algorithm>

namespace kinedec {

namespace {

constexpr std::uint16_t low16(std::uint32_t value) {
    return static_cast<std::uint16_t>(value);
}

// EXTEND of T.81 F.2.2.1, modulo 65536; category at least 1.
constexpr std::uint16_t extend(std::uint32_t magnitude, int category) {
    const bool positive = (magnitude >> (category - 1) & 1U) != 0;
    return low16(positive ? magnitude : magnitude + 1 - (1U << category));
}

void fillComplete(KineDecEntry* range, int spareBits, int category, int totalBits) {
    const int followingBits = kKineIndexBits - totalBits; // index bits behind the magnitude
    for (std::uint32_t j = 0; j < 1U << spareBits; ++j) {
        const std::uint16_t difference = category == 0 ? low16(0) : extend(j >> followingBits, category);
        range[j] = {low16(static_cast<std::uint32_t>(totalBits)), difference, 0, 0};
    }
}

void fillDeferred(KineDecEntry* range, int spareBits, int category, int totalBits) {
    const std::uint32_t span = 1U << category;
    const KineDecEntry entry{low16(static_cast<std::uint32_t>(totalBits)), low16(span - 1), low16(span / 2),
                             low16(0U - span)};
    std::fill_n(range, std::size_t{1} << spareBits, entry);
}

} // namespace

bool isLegalCodeTable(const std::uint16_t* codeLengths, const std::uint16_t* codes) {
    for (int category = 0; category < kKineCategories; ++category) {
        const std::uint32_t length = codeLengths[category];
        if (length == 0) continue;
        if (length > kKineIndexBits || codes[category] >= 1U << length) return false;
    }
    return true;
}

void buildCodeTable(const std::uint16_t* codeLengths, const std::uint16_t* codes, KineDecEntry* table) {
    std::fill_n(table, std::size_t{1} << kKineIndexBits, KineDecEntry{});
    for (int category = 0; category < kKineCategories; ++category) {
        const int length = codeLengths[category];
        if (length == 0) continue;
        const int spareBits = kKineIndexBits - length;
        const int totalBits = length + category;
        KineDecEntry* range = table + (std::size_t{codes[category]} << spareBits);
        if (totalBits <= kKineIndexBits)
            fillComplete(range, spareBits, category, totalBits);
        else
            fillDeferred(range, spareBits, category, totalBits);
    }
}

} // namespace kinedec
