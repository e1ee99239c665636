// A coded plane out of a fuzzer's input: code table, shift, and the form that brings random bytes past the
// table's checks.
#pragma once

#include "fuzz/fuzz_support.h"
#include "kinedec/kinedec.h"

#include <array>
#include <cstdint>

struct CodeTableInput {
    std::array<std::uint16_t, kKineCategories> lengths{};
    std::array<std::uint16_t, kKineCategories> codes{};
};

/// A first byte chooses: words as they stand (most such tables are illegal), or lengths of at most 13 with
/// the codes handed out in turn, which is a prefix code where the lengths allow one.
[[nodiscard]] inline CodeTableInput readCodeTable(FuzzInput& input) {
    CodeTableInput table;
    if (input.u8() % 8 == 0) {
        for (std::uint16_t& length : table.lengths)
            length = input.u16();
        for (std::uint16_t& code : table.codes)
            code = input.u16();
        return table;
    }
    for (std::uint16_t& length : table.lengths)
        length = static_cast<std::uint16_t>(input.u8() % (kKineIndexBits + 1));
    std::uint32_t next = 0;
    for (std::uint32_t length = 1; length <= kKineIndexBits; ++length) {
        next <<= 1U;
        for (std::size_t category = 0; category < table.lengths.size(); ++category)
            if (table.lengths[category] == length)
                table.codes[category] = static_cast<std::uint16_t>(next++ & ((1U << length) - 1));
    }
    return table;
}

/// Mostly a legal one.
[[nodiscard]] inline std::int32_t readShift(FuzzInput& input) {
    const std::uint8_t choice = input.u8();
    return choice < 0xF0 ? choice % 32 : static_cast<std::int32_t>(input.u32());
}

/// No two codes of a legal table begin alike.
[[nodiscard]] inline bool isPrefixCode(const CodeTableInput& table) {
    for (std::size_t a = 0; a < table.lengths.size(); ++a)
        for (std::size_t b = 0; b < table.lengths.size(); ++b) {
            if (a == b || table.lengths[a] == 0 || table.lengths[b] < table.lengths[a]) continue;
            if (table.codes[b] >> (table.lengths[b] - table.lengths[a]) == table.codes[a]) return false;
        }
    return true;
}
