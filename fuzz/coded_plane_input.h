// A coded plane out of a fuzzer's input: code table and shift.
#pragma once

#include "fuzz/fuzz_support.h"
#include "kinedec/code_table.h"
#include "tests/support/prefix_codes.h"

#include <cstdint>

/// A first byte chooses: words as they stand (most such tables are illegal), lengths with codes handed out in
/// turn, or a prefix code.
[[nodiscard]] inline kinedec::CodeTable readCodeTable(FuzzInput& input) {
    const int form = input.u8() % 8;
    kinedec::CodeTable table;
    if (form == 0) {
        for (std::uint16_t& length : table.lengths)
            length = input.u16();
        for (std::uint16_t& code : table.codes)
            code = input.u16();
        return table;
    }
    if (form < 4) {
        for (std::uint16_t& length : table.lengths)
            length = static_cast<std::uint16_t>(input.u8() % (kKineIndexBits + 1));
        assignCanonicalCodes(table);
        return table;
    }
    return drawPrefixCode([&input](std::uint32_t limit) { return input.u8() % limit; });
}

/// Mostly a legal one.
[[nodiscard]] inline std::int32_t readShift(FuzzInput& input) {
    const std::uint8_t choice = input.u8();
    return choice < 0xF0 ? choice % 32 : static_cast<std::int32_t>(input.u32());
}
