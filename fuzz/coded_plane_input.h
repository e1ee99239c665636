// A coded plane out of a fuzzer's input: code table, shift, and the form that brings random bytes past the
// table's checks.
#pragma once

#include "fuzz/fuzz_support.h"
#include "kinedec/code_table.h"

#include <cstdint>

/// A first byte chooses: words as they stand (most such tables are illegal), or lengths of at most 13 with
/// the codes handed out in turn, which is a prefix code where the lengths allow one.
[[nodiscard]] inline kinedec::CodeTable readCodeTable(FuzzInput& input) {
    kinedec::CodeTable table;
    if (input.u8() % 8 == 0) {
        for (std::uint16_t& length : table.lengths)
            length = input.u16();
        for (std::uint16_t& code : table.codes)
            code = input.u16();
        return table;
    }
    for (std::uint16_t& length : table.lengths)
        length = static_cast<std::uint16_t>(input.u8() % (kKineIndexBits + 1));
    assignCanonicalCodes(table);
    return table;
}

/// Mostly a legal one.
[[nodiscard]] inline std::int32_t readShift(FuzzInput& input) {
    const std::uint8_t choice = input.u8();
    return choice < 0xF0 ? choice % 32 : static_cast<std::int32_t>(input.u32());
}
