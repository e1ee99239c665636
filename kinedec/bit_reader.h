// The two bit readers of the plane decoder, most significant bit first. They differ only in when and how far
// they fetch; which bits they hand out is the same. A decoder calls `refill`, then takes `kSamplesPerRefill`
// table indices of complete entries; before it takes a longer field it calls `extend`, and `refill` after it
// when more samples are to come without one.
#pragma once

#include "kinedec/kinedec.h"

#include <algorithm>
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

/// Reader over a stream whose end is not known: it fetches bytes one at a time and only as they are needed,
/// so never more than two past the last byte of which a bit is used.
class ByteBitReader {
  public:
    static constexpr int kSamplesPerRefill = 1;

    explicit ByteBitReader(const std::uint8_t* bytes) : m_next(bytes) {}

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

  private:
    const std::uint8_t* m_next;
    std::uint32_t m_buffer = 0; // the low m_count bits are valid
    int m_count = 0;
};

/// Reader over a stream of known length: it fetches up to eight bytes at a time, never past the end, and
/// hands out zeros behind it. Holding at least 56 bits after a refill, it serves four indices from one.
class BoundedBitReader {
  public:
    static constexpr int kSamplesPerRefill = 4;

    explicit BoundedBitReader(std::span<const std::uint8_t> bytes)
        : m_next(bytes.data()), m_left(bytes.size()) {}

    [[gnu::always_inline]] void refill() {
        // Whole bytes only count as fetched, but all eight are OR'ed in: the bits below the counted ones are
        // those that the next refill puts there again.
        std::size_t fetched = static_cast<std::size_t>(63 - m_count) / 8;
        std::uint64_t word = 0;
        if (m_left >= 8) [[likely]] {
            word = loadBigEndian64(m_next);
        } else {
            word = tailWord(m_next, m_left);
            fetched = std::min(fetched, m_left);
        }
        m_buffer |= word >> m_count;
        m_count |= 56;
        m_next += fetched;
        m_left -= fetched;
    }
    void extend(int) { refill(); }
    [[nodiscard]] std::uint32_t field(int bits) const {
        return static_cast<std::uint32_t>(m_buffer >> (64 - bits));
    }
    void drop(int bits) {
        m_buffer <<= bits;
        m_count -= bits;
    }

  private:
    [[nodiscard]] [[gnu::noinline]] static std::uint64_t tailWord(const std::uint8_t* bytes,
                                                                  std::size_t size) {
        std::uint8_t padded[8] = {};
        if (size > 0) std::memcpy(padded, bytes, size);
        return loadBigEndian64(padded);
    }

    const std::uint8_t* m_next;
    std::size_t m_left;
    std::uint64_t m_buffer = 0; // the high m_count bits are valid
    int m_count = 0;
};
static_assert(BoundedBitReader::kSamplesPerRefill * kKineIndexBits <= 56);

} // namespace kinedec
