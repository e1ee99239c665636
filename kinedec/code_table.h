// A plane's code table: one prefix code for each magnitude category. Legality, the prefix property and the
// canonical assignment of codes are defined here and nowhere else.
#pragma once

#include "kinedec/lookup_entry.h"

#include <array>
#include <cstdint>

namespace kinedec {

/// The code of category c is the low `lengths[c]` bits of `codes[c]`. A category of length 0 has no code.
struct CodeTable {
    std::array<std::uint16_t, kKineCategories> lengths{};
    std::array<std::uint16_t, kKineCategories> codes{};

    /// True when every used length is at most 13 and its code lies below 2^length.
    [[nodiscard]] bool isLegal() const;
    /// True when the table is legal and no code begins with another one.
    [[nodiscard]] bool isPrefixCode() const;
};

/// Gives the lengths of a table their canonical codes: shorter codes first, then lower categories. Lengths
/// are at most 13. The result is a prefix code when the lengths satisfy Kraft's inequality. Otherwise the
/// codes wrap round and overlap.
void assignCanonicalCodes(CodeTable& table);

} // namespace kinedec
