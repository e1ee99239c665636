// The reconstruction stage of the picture decoder: from table entries and bits to differences, samples and
// rows of the mosaic, two columns at a time. The vectors are the compiler's own types: no processor is
// presumed beyond what cmake/Machine.cmake checks.
#pragma once

#include "kinedec/picture_decoder.h"
#include "kinedec/picture_stretch.h"

#include <cstring>
#include <span>

namespace kinedec::picture {

inline constexpr std::size_t kColumnBytes = 4; // of a row of the mosaic

/// Vectors of two columns, planes 0 to 3 of each.
using Words [[gnu::vector_size(16)]] = std::uint16_t;
using SignedWords [[gnu::vector_size(16)]] = std::int16_t;
using DoubleWords [[gnu::vector_size(16)]] = std::uint32_t;
using SignedDoubleWords [[gnu::vector_size(16)]] = std::int32_t;
using QuadWords [[gnu::vector_size(16)]] = std::uint64_t;

template <typename Value, typename Array>
[[nodiscard]] inline Value load(const Array& from) {
    Value value;
    static_assert(sizeof value == sizeof from);
    std::memcpy(&value, from.data(), sizeof value);
    return value;
}

/// The high halves of the entries of two columns.
[[nodiscard]] inline Words magnitudeMasks(const Column& left, const Column& right) {
    const auto first = load<SignedDoubleWords>(left.entries);
    const auto second = load<SignedDoubleWords>(right.entries);
#if defined(__SSE2__) && !defined(__clang__)
    // GCC makes nine instructions of the shuffle below, which slows the decoder by 2 %. Clang finds this
    // pack.
    return reinterpret_cast<Words>(__builtin_ia32_packssdw128(first >> 16, second >> 16));
#else
    return __builtin_shufflevector(reinterpret_cast<Words>(first), reinterpret_cast<Words>(second), 1, 3, 5,
                                   7, 9, 11, 13, 15);
#endif
}

[[nodiscard]] inline Words differences(const Column& left, const Column& right) {
    const Words mask = magnitudeMasks(left, right);
    const QuadWords bits{load<std::uint64_t>(left.bits), load<std::uint64_t>(right.bits)};
    const Words magnitude = reinterpret_cast<Words>(bits) & mask;
    const auto positive = reinterpret_cast<Words>(reinterpret_cast<SignedWords>(magnitude) >
                                                  reinterpret_cast<SignedWords>(mask >> 1));
    return magnitude - (mask & ~positive);
}

/// The reconstruction stage of one stretch: where it stands and goes to, and what carries over to the next.
struct Reconstruction {
    Words factor = {};   // 2^shift
    Words rowStart = {}; // first column of the row pair, twice
    Words last = {};     // the column before, twice
    const Column* next = nullptr;
    std::size_t left = 0; // columns
    std::uint8_t* even = nullptr;
    std::uint8_t* odd = nullptr;

    explicit Reconstruction(std::span<const PlaneStream, kPlanes> planes) {
        for (std::size_t i = 0; i < 2 * kPlanes; ++i)
            factor[i] = static_cast<std::uint16_t>(1U << planes[i % kPlanes].shift);
    }

    /// Takes a decoded stretch on. It goes to `place` in the row of planes 0 and 1, `rowBytes` further on in
    /// that of planes 2 and 3.
    void begin(const Stretch& stretch, std::size_t columns, std::uint8_t* place, std::size_t rowBytes,
               bool startsRow) {
        next = stretch.data();
        left = columns;
        even = place;
        odd = place + rowBytes;
        if (!startsRow) return;
        last = rowStart;
        const Words first = rowStart + differences(next[0], next[1]);
        rowStart = __builtin_shufflevector(first, first, 0, 1, 2, 3, 0, 1, 2, 3);
    }

    /// Stores the next two columns. The caller counts them down in `left`.
    [[gnu::always_inline]] void storePair() {
        const DoubleWords rows = takePair();
        const auto halves = reinterpret_cast<QuadWords>(__builtin_shufflevector(rows, rows, 0, 2, 1, 3));
        const std::uint64_t evens = halves[0];
        const std::uint64_t odds = halves[1];
        std::memcpy(even, &evens, 2 * kColumnBytes);
        std::memcpy(odd, &odds, 2 * kColumnBytes);
        even += 2 * kColumnBytes;
        odd += 2 * kColumnBytes;
    }
    void finish() {
        for (; left >= 2; left -= 2)
            storePair();
        if (left == 0) return;
        const DoubleWords rows = takePair();
        const std::uint32_t evens = rows[0];
        const std::uint32_t odds = rows[1];
        std::memcpy(even, &evens, kColumnBytes);
        std::memcpy(odd, &odds, kColumnBytes);
        left = 0;
    }

  private:
    /// Samples of two columns: even row, odd row, even row, odd row.
    [[nodiscard, gnu::always_inline]] DoubleWords takePair() {
        const Words difference = differences(next[0], next[1]);
        next += 2;
        const Words sums =
            last + difference + __builtin_shufflevector(Words{}, difference, 0, 1, 2, 3, 8, 9, 10, 11);
        last = __builtin_shufflevector(sums, sums, 4, 5, 6, 7, 4, 5, 6, 7);
        return reinterpret_cast<DoubleWords>(sums * factor);
    }
};

} // namespace kinedec::picture
