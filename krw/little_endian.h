// Storing values in a file's byte order.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>

/// Stores all bytes of `value` at `offset`, the lowest first. The bytes must lie inside.
template <std::unsigned_integral Value>
constexpr void storeLittleEndian(std::span<std::uint8_t> bytes, std::size_t offset, Value value) {
    for (std::uint8_t& byte : bytes.subspan(offset, sizeof(Value))) {
        byte = static_cast<std::uint8_t>(value);
        value = static_cast<Value>(std::uint64_t{value} >> 8U);
    }
}
