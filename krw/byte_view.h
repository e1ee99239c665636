// A bounds-checked little-endian view over file bytes. It is the only way in which values are read out of
// them; no pointer is ever cast.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>

/// View over bytes that the caller owns. A value that does not lie wholly inside reads as 0. A caller that
/// must know asks `contains` once and then reads freely.
class ByteView {
  public:
    explicit constexpr ByteView(std::span<const std::uint8_t> bytes) : m_bytes(bytes) {}

    [[nodiscard]] constexpr std::size_t size() const { return m_bytes.size(); }
    [[nodiscard]] constexpr bool contains(std::size_t offset, std::size_t length) const {
        return offset <= m_bytes.size() && length <= m_bytes.size() - offset;
    }
    [[nodiscard]] constexpr std::uint16_t u16(std::size_t offset) const {
        return static_cast<std::uint16_t>(value(offset, 2));
    }
    [[nodiscard]] constexpr std::uint32_t u32(std::size_t offset) const {
        return static_cast<std::uint32_t>(value(offset, 4));
    }
    [[nodiscard]] constexpr std::int32_t i32(std::size_t offset) const {
        return static_cast<std::int32_t>(u32(offset));
    }
    [[nodiscard]] constexpr std::uint64_t u64(std::size_t offset) const { return value(offset, 8); }
    [[nodiscard]] constexpr float f32(std::size_t offset) const { return std::bit_cast<float>(u32(offset)); }

    /// The bytes of a field; empty when it does not lie wholly inside.
    [[nodiscard]] constexpr std::span<const std::uint8_t> bytes(std::size_t offset,
                                                                std::size_t length) const {
        return contains(offset, length) ? m_bytes.subspan(offset, length) : std::span<const std::uint8_t>{};
    }
    [[nodiscard]] constexpr ByteView view(std::size_t offset, std::size_t length) const {
        return ByteView(bytes(offset, length));
    }

  private:
    [[nodiscard]] constexpr std::uint64_t value(std::size_t offset, std::size_t length) const {
        if (!contains(offset, length)) return 0;
        std::uint64_t result = 0;
        for (std::size_t i = length; i-- > 0;)
            result = result << 8 | m_bytes[offset + i];
        return result;
    }

    std::span<const std::uint8_t> m_bytes;
};
