#include "kinedec/code_table.h"

#include <cstddef>

namespace kinedec {

bool CodeTable::isLegal() const {
    for (std::size_t category = 0; category < lengths.size(); ++category) {
        const std::uint32_t length = lengths[category];
        if (length == 0) continue;
        if (length > kKineIndexBits || codes[category] >> length != 0) return false;
    }
    return true;
}

bool CodeTable::isPrefixCode() const {
    if (!isLegal()) return false;
    // Left-aligned, a code begins with another one when the two differ in no bit of the other's.
    std::array<std::uint32_t, kKineCategories> aligned{};
    std::array<std::uint32_t, kKineCategories> masks{};
    std::size_t used = 0;
    for (std::size_t category = 0; category < lengths.size(); ++category) {
        if (lengths[category] == 0) continue;
        const int spareBits = kKineIndexBits - lengths[category];
        aligned[used] = static_cast<std::uint32_t>(codes[category]) << spareBits;
        masks[used] = ~0U << spareBits;
        for (std::size_t other = 0; other < used; ++other)
            if (((aligned[used] ^ aligned[other]) & masks[used] & masks[other]) == 0) return false;
        ++used;
    }
    return true;
}

void assignCanonicalCodes(CodeTable& table) {
    std::uint32_t next = 0;
    for (std::uint32_t length = 1; length <= kKineIndexBits; ++length) {
        next <<= 1U;
        for (std::size_t category = 0; category < table.lengths.size(); ++category)
            if (table.lengths[category] == length)
                table.codes[category] = static_cast<std::uint16_t>(next++ & ((1U << length) - 1));
    }
}

} // namespace kinedec
