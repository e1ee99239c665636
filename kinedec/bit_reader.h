// The two bit readers of the plane decoder. Both hand out the same bits, most significant bit first. They
// differ in when and how far they fetch bytes.
//
// A decoder calls `refill` and then takes `kSamplesPerRefill` table indices, each of a complete entry. It
// calls `extend` before it takes a longer field, and `refill` again when samples of the same group follow.
#pragma once

#include "kinedec/lookup_entry.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace kinedec {

/// Eight bytes as one big-endian number; compiles to a load and a byte swap.
[[nodiscard]] inline std::uint64_t loadBigEndian64(const std::uint8_t* bytes) {
    const auto at = [bytes](int i) { return std::uint64_t{bytes[i]} << (56 - 8 * i); };
    return at(0) | at(1) | at(2) | at(3) | at(4) | at(5) | at(6) | at(7);
}

/// Reader over a stream whose end is not known. It fetches single bytes, and only as they are needed: never
/// more than two past the last byte of which a bit is used.
class ByteBitReader {
  public:
    static constexpr int kSamplesPerRefill = 1;

    explicit ByteBitReader(const std::uint8_t* bytes) : m_first(bytes), m_next(bytes) {}

    void refill() { extend(16); }
    void extend(int bits) {
        while (m_count < bits) {
            m_buffer = m_buffer << 8 | *m_next++;
            m_count += 8;
        }
    }
    [[nodiscard]] std::uint32_t field(int bits) const {
        return m_buffer >> (m_count - bits) & ((1U << bits) - 1U);
    }
    void drop(int bits) { m_count -= bits; }

    /// Number of bits dropped since the start.
    [[nodiscard]] std::uint64_t bitsUsed() const {
        return static_cast<std::uint64_t>(m_next - m_first) * 8 - static_cast<std::uint64_t>(m_count);
    }
    [[nodiscard]] bool isPastEnd() const { return false; }

  private:
    const std::uint8_t* m_first;
    const std::uint8_t* m_next;
    std::uint32_t m_buffer = 0; // the low m_count bits are valid
    int m_count = 0;
};

/// Reader over a stream of known length. It fetches up to eight bytes at a time, never reads past the end,
/// and hands out zeros behind it. A refill leaves at least 56 bits, enough for four indices.
class BoundedBitReader {
  public:
    static constexpr int kSamplesPerRefill = 4;

    explicit BoundedBitReader(std::span<const std::uint8_t> bytes)
        : m_bytes(bytes.data()), m_size(static_cast<std::int64_t>(bytes.size())) {}

    [[gnu::always_inline]] void refill() {
        // Only whole bytes count as fetched, but all eight are OR'ed in: the bits below the counted ones are
        // those that the next refill puts there again.
        std::uint64_t word = 0;
        if (m_position <= m_size - 8) [[likely]]
            word = loadBigEndian64(m_bytes + m_position);
        else
            word = tailWord(m_bytes, m_size, m_position);
        m_buffer |= word >> m_count;
        m_position += static_cast<unsigned>(63 - m_count) / 8;
        m_count |= 56;
    }
    void extend(int) { refill(); }
    [[nodiscard]] std::uint32_t field(int bits) const {
        return static_cast<std::uint32_t>(m_buffer >> (64 - bits));
    }
    void drop(int bits) {
        m_buffer <<= bits;
        m_count -= bits;
    }

    /// Number of bits dropped since the start, zeros from behind the end included.
    [[nodiscard]] std::uint64_t bitsUsed() const {
        return static_cast<std::uint64_t>(m_position * 8 - m_count);
    }
    /// True when bits from behind the end have been dropped.
    [[nodiscard]] bool isPastEnd() const { return bitsUsed() > static_cast<std::uint64_t>(m_size) * 8; }

  private:
    [[nodiscard]] [[gnu::noinline]] static std::uint64_t tailWord(const std::uint8_t* bytes,
                                                                  std::int64_t size, std::int64_t position) {
        std::uint8_t padded[8] = {};
        if (position < size) std::memcpy(padded, bytes + position, static_cast<std::size_t>(size - position));
        return loadBigEndian64(padded);
    }

    const std::uint8_t* m_bytes;
    std::int64_t m_size;
    std::int64_t m_position = 0; // of the next byte to fetch; goes on past the end
    std::uint64_t m_buffer = 0;  // the high m_count bits are valid
    int m_count = 0;
};
static_assert(BoundedBitReader::kSamplesPerRefill * kKineIndexBits <= 56);

} // namespace kinedec
