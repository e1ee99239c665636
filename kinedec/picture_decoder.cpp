// The picture decoder: the one place where speed beats simplicity. KineDec says what the coding is;
// docs/decoder.md has the measurements behind the shape.
//
// Why lockstep. Within a plane each code starts where the one before it ends: look-up, rotation, look-up, a
// chain of some seven cycles a sample, during which a processor that starts six instructions a cycle mostly
// waits. The four planes are four independent chains, so decoded side by side they cost hardly more than one.
//
// Two stages take turns, a stretch of up to kStretch columns at a time, so that what passes between them
// stays in the first-level cache. A column is one sample of each plane.
//
// The entropy stage finds where the codes lie. A table entry holds what a code says about the stream, not the
// difference: how many bits code and magnitude take together, and the mask of the magnitude. So a table needs
// only as many index bits as the usual codes have, however long the magnitudes are, and noise does not slow
// it down. Having rotated the consumed bits to the low end, it notes their low 16 and the entry, and goes on.
//
// The reconstruction stage makes of them, two columns at a time in vectors, magnitudes, signed differences
// (EXTEND of ITU-T T.81, F.2.2.1), samples and interleaved rows.
//
// Why the refill interval is safe. A stream position is a byte and 0 to 7 bits; a refill loads 64 bits from
// that byte. `used` counts the bits consumed since that byte, with entries adding at least as many bits as
// they depend on. If it is below 64 after a group of columns, every code and magnitude of the group came out
// of those 64 bits, and what the rotation wrapped round was never taken for stream. Otherwise nothing has
// advanced yet and the group is decoded once more in pairs of columns: two samples take at most 50 bits, a
// refill holds at least 57. An index that no short code starts has an entry of 64 bits, so longer codes and
// missing ones fail the same test, in pairs too, and are looked for sample by sample.
//
// What makes it decline: a code table that is not a prefix code within the format's limits (only then does an
// entry depend on more bits than it counts), a shift outside 0 to 31, a bit pattern without a code.
#include "kinedec/picture_decoder.h"

#include "kinedec/kinedec.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <emmintrin.h>
#include <utility>

namespace {

constexpr std::size_t kPlanes = 4;
constexpr std::size_t kCategories = kKineCategories;
constexpr std::size_t kColumnBytes = 4; // of a row of the mosaic
constexpr std::uint32_t kMaxSampleBits = kKineIndexBits + kKineCategories - 1;

constexpr std::uint32_t kIndexBits = 9;
// Columns on one refill: codes may have 11 bits on average, or 7 in a calm picture, where the longer group
// saves refills. A stretch is calm when no plane took more than 6 bits a sample.
constexpr std::size_t kGroup = 5;
constexpr std::size_t kCalmGroup = 8;
constexpr std::size_t kPair = 2; // which a refill always holds
constexpr std::size_t kCalmBits = 6;
constexpr std::uint32_t kCalmStretches = 16;
constexpr std::size_t kStretch = 160;
constexpr std::size_t kColumnsAtOnce = 4; // in reconstruction
static_assert(kStretch % kGroup == 0 && kStretch % kCalmGroup == 0 && kStretch % kColumnsAtOnce == 0);
static_assert(kStretch * kMaxSampleBits / 8 + sizeof(std::uint64_t) + 1 <= kPlanePadding);

struct Code {
    std::uint32_t bits = 0; // left-aligned
    std::uint32_t length = 0;
};
using PlaneCodes = std::array<Code, kCategories>;

// Entry: number of bits in the low half (the rotation looks at the lowest six bits only), mask of the
// magnitude in the high half.
constexpr std::uint32_t kLengthMask = 0xFFFF;
constexpr std::uint32_t kHeldBits = 64;
constexpr std::uint32_t kEscape = kHeldBits;
static_assert(kPair * kMaxSampleBits + 7 < kHeldBits);
using PlaneTable = std::array<std::uint32_t, std::size_t{1} << kIndexBits>;

struct Stream {
    const std::uint8_t* next;
    const std::uint8_t* end;
    std::uint64_t phase; // bits consumed of *next, 0 to 7
};

// What the entropy stage hands on, column by column.
struct Stretch {
    std::array<std::array<std::uint16_t, kPlanes>, kStretch> bits; // ending with the magnitude
    std::array<std::array<std::uint32_t, kPlanes>, kStretch> entries;
};

struct EntropyStage {
    std::array<PlaneTable, kPlanes> tables;
    std::array<PlaneCodes, kPlanes> codes;
    std::array<Stream, kPlanes> streams;
    Stretch stretch = {};
    std::uint32_t calmStretches = 0; // up to here, without one between that was not
};

[[nodiscard]] constexpr bool startsWith(std::uint32_t bits, const Code& code) {
    return (bits ^ code.bits) >> (32 - code.length) == 0;
}

/// False when the codes are not a prefix code within the format's limits.
[[nodiscard]] bool loadCodes(const PlaneStream& plane, PlaneCodes& codes) {
    for (std::size_t s = 0; s < kCategories; ++s) {
        const std::uint32_t length = plane.codeLengths[s];
        const std::uint32_t code = plane.codes[s];
        codes[s] = {};
        if (length == 0) continue;
        if (length > kKineIndexBits || code >> length != 0) return false;
        codes[s] = {code << (32 - length), length};
        const auto collides = [&](const Code& other) {
            return other.length != 0 && (other.length < length ? startsWith(codes[s].bits, other)
                                                               : startsWith(other.bits, codes[s]));
        };
        if (std::any_of(codes.begin(), codes.begin() + static_cast<std::ptrdiff_t>(s), collides))
            return false;
    }
    return true;
}

[[nodiscard]] constexpr std::uint32_t makeEntry(std::size_t category, const Code& code) {
    const auto s = static_cast<std::uint32_t>(category);
    return ((1U << s) - 1) << 16 | (code.length + s);
}

void buildTable(const PlaneCodes& codes, PlaneTable& table) {
    table.fill(kEscape);
    for (std::size_t s = 0; s < kCategories; ++s) {
        const Code& code = codes[s];
        if (code.length == 0 || code.length > kIndexBits) continue;
        std::fill_n(table.data() + (code.bits >> (32 - kIndexBits)),
                    std::size_t{1} << (kIndexBits - code.length), makeEntry(s, code));
    }
}

/// The next bits of a stream, at least 57, from the top of the result down.
[[nodiscard]] inline std::uint64_t nextBits(const Stream& stream) {
    static_assert(std::endian::native == std::endian::little);
    std::uint64_t value = 0;
    std::memcpy(&value, stream.next, sizeof value);
    return __builtin_bswap64(value) << stream.phase;
}

inline void advance(Stream& stream, std::uint64_t used) {
    stream.next += used / 8;
    stream.phase = used % 8;
}

/// kEscape when the bits start with no code.
[[nodiscard]] std::uint32_t findEntry(const PlaneCodes& codes, std::uint64_t bits) {
    for (std::size_t s = 0; s < kCategories; ++s)
        if (codes[s].length != 0 && startsWith(static_cast<std::uint32_t>(bits >> 32), codes[s]))
            return makeEntry(s, codes[s]);
    return kEscape;
}

/// One plane's samples of some columns, with a refill for each.
[[nodiscard]] bool decodeCarefully(EntropyStage& stage, std::size_t plane, std::size_t column,
                                   std::size_t count) {
    Stream& stream = stage.streams[plane];
    for (const std::size_t end = column + count; column < end; ++column) {
        const std::uint64_t bits = nextBits(stream);
        std::uint32_t entry = stage.tables[plane][bits >> (64 - kIndexBits)];
        if (entry == kEscape) entry = findEntry(stage.codes[plane], bits);
        if (entry == kEscape) return false;
        const std::uint32_t length = entry & kLengthMask;
        stage.stretch.bits[column][plane] =
            static_cast<std::uint16_t>(std::rotl(bits, static_cast<int>(length)));
        stage.stretch.entries[column][plane] = entry;
        advance(stream, stream.phase + length);
    }
    return true;
}

/// One plane's part of a group.
struct Lane {
    std::uint64_t bits = 0; // of the refill, the next one on top, the consumed ones at the low end
    std::uint64_t used = 0;

    explicit Lane(const Stream& stream) : bits(nextBits(stream)), used(stream.phase) { countNow(); }

    void decode(const PlaneTable& table, Stretch& stretch, std::size_t column, std::size_t plane) {
        const std::uint32_t entry = table[bits >> (64 - kIndexBits)];
        bits = std::rotl(bits, static_cast<int>(entry));
        used += entry;
        countNow();
        stretch.bits[column][plane] = static_cast<std::uint16_t>(bits);
        stretch.entries[column][plane] = entry;
    }

    [[nodiscard]] std::uint64_t length() const { return used & kLengthMask; }

  private:
    // Left to itself the compiler puts the additions off, or merges those of the lanes into vectors. Either
    // costs a trip through memory for each.
    void countNow() { asm("" : "+r"(used)); }
};

/// A group with a code in some lane that the tables do not hold.
[[nodiscard, gnu::noinline]] bool repairGroup(EntropyStage& stage, std::size_t column, std::size_t count,
                                              const std::array<std::uint64_t, kPlanes>& lengths) {
    for (std::size_t plane = 0; plane < kPlanes; ++plane) {
        if (lengths[plane] < kHeldBits)
            advance(stage.streams[plane], lengths[plane]);
        else if (!decodeCarefully(stage, plane, column, count))
            return false;
    }
    return true;
}

[[nodiscard]] bool decodeInPairs(EntropyStage& stage, std::size_t column, std::size_t count);

/// Decodes kCount columns on one refill a lane.
template <std::size_t kCount>
[[nodiscard, gnu::always_inline]] inline bool decodeGroup(EntropyStage& stage, std::size_t column) {
    auto& [stream0, stream1, stream2, stream3] = stage.streams;
    Lane lane0(stream0);
    Lane lane1(stream1);
    Lane lane2(stream2);
    Lane lane3(stream3);
    const auto decodeColumn = [&](std::size_t at) {
        lane0.decode(stage.tables[0], stage.stretch, at, 0);
        lane1.decode(stage.tables[1], stage.stretch, at, 1);
        lane2.decode(stage.tables[2], stage.stretch, at, 2);
        lane3.decode(stage.tables[3], stage.stretch, at, 3);
    };
    [&]<std::size_t... kStep>(std::index_sequence<kStep...>) {
        (decodeColumn(column + kStep), ...);
    }
    (std::make_index_sequence<kCount>());

    if (((lane0.used | lane1.used | lane2.used | lane3.used) & kLengthMask) >= kHeldBits) [[unlikely]] {
        if constexpr (kCount > kPair) return decodeInPairs(stage, column, kCount);
        return repairGroup(stage, column, kCount,
                           {lane0.length(), lane1.length(), lane2.length(), lane3.length()});
    }
    advance(stream0, lane0.length());
    advance(stream1, lane1.length());
    advance(stream2, lane2.length());
    advance(stream3, lane3.length());
    return true;
}

template <std::size_t kCount>
[[nodiscard, gnu::always_inline]] inline bool decodeGroups(EntropyStage& stage, std::size_t& column,
                                                           std::size_t columns) {
    for (; column + kCount <= columns; column += kCount)
        if (!decodeGroup<kCount>(stage, column)) return false;
    return true;
}

/// A group that took more bits than a refill holds: nothing has advanced, so that it can be had once more.
[[gnu::noinline]] bool decodeInPairs(EntropyStage& stage, std::size_t column, std::size_t count) {
    const std::size_t end = column + count;
    return decodeGroups<kPair>(stage, column, end) && decodeGroups<1>(stage, column, end);
}

[[nodiscard]] bool decodeStretch(EntropyStage& stage, std::size_t columns) {
    std::array<const std::uint8_t*, kPlanes> starts;
    for (std::size_t k = 0; k < kPlanes; ++k) {
        // Past its end a stream is zeros wherever it is read: however far it runs, it goes on from the same
        // padding.
        Stream& stream = stage.streams[k];
        stream.next = starts[k] = std::min(stream.next, stream.end);
    }
    std::size_t column = 0;
    if (stage.calmStretches >= kCalmStretches && !decodeGroups<kCalmGroup>(stage, column, columns))
        return false;
    if (!decodeGroups<kGroup>(stage, column, columns)) return false;
    if (!decodeGroups<1>(stage, column, columns)) return false;

    std::ptrdiff_t longest = 0;
    for (std::size_t k = 0; k < kPlanes; ++k)
        longest = std::max(longest, stage.streams[k].next - starts[k]);
    const bool calm = static_cast<std::size_t>(longest) * 8 <= columns * kCalmBits;
    stage.calmStretches = calm ? stage.calmStretches + 1 : 0;
    return true;
}

// Vectors of two columns, planes 0 to 3 of each.
using Words [[gnu::vector_size(16)]] = std::uint16_t;
using SignedWords [[gnu::vector_size(16)]] = std::int16_t;
using DoubleWords [[gnu::vector_size(16)]] = std::uint32_t;

template <typename Vector>
[[nodiscard]] inline Vector loadVector(const void* from) {
    Vector vector;
    std::memcpy(&vector, from, sizeof vector);
    return vector;
}

[[nodiscard]] inline Words differences(const Stretch& stretch, std::size_t column) {
    const auto masks = [&](std::size_t at) {
        return _mm_srai_epi32(loadVector<__m128i>(stretch.entries[at].data()), 16);
    };
    // A shuffle of 16-bit words would do, at twice the instructions.
    const auto mask = reinterpret_cast<Words>(_mm_packs_epi32(masks(column), masks(column + 1)));
    const Words magnitude = loadVector<Words>(stretch.bits[column].data()) & mask;
    const auto positive = reinterpret_cast<Words>(reinterpret_cast<SignedWords>(magnitude) >
                                                  reinterpret_cast<SignedWords>(mask >> 1));
    return magnitude - (mask & ~positive);
}

[[nodiscard]] inline Words firstColumnTwice(Words words) {
    return __builtin_shufflevector(words, words, 0, 1, 2, 3, 0, 1, 2, 3);
}

class ReconstructionStage {
  public:
    explicit ReconstructionStage(std::span<const PlaneStream, kPlanes> planes) {
        for (std::size_t i = 0; i < 2 * kPlanes; ++i)
            m_factor[i] = static_cast<std::uint16_t>(1U << planes[i % kPlanes].shift);
    }

    /// Before the first stretch of a row pair.
    void startRow(const Stretch& stretch) {
        m_last = m_rowStart;
        m_rowStart = firstColumnTwice(m_rowStart + differences(stretch, 0));
    }

    /// Stores a stretch at its place in the row of planes 0 and 1 and in that of planes 2 and 3.
    void store(const Stretch& stretch, std::size_t columns, std::uint8_t* even, std::uint8_t* odd) {
        std::size_t column = 0;
        for (; column + kColumnsAtOnce <= columns; column += kColumnsAtOnce)
            storeColumns(stretch, column, sizeof(DoubleWords), even, odd);
        if (column < columns) storeColumns(stretch, column, (columns - column) * kColumnBytes, even, odd);
    }

  private:
    void storeColumns(const Stretch& stretch, std::size_t column, std::size_t bytes, std::uint8_t* even,
                      std::uint8_t* odd) {
        const auto first = reinterpret_cast<DoubleWords>(twoColumns(stretch, column));
        const auto second = reinterpret_cast<DoubleWords>(twoColumns(stretch, column + 2));
        const DoubleWords evens = __builtin_shufflevector(first, second, 0, 2, 4, 6);
        const DoubleWords odds = __builtin_shufflevector(first, second, 1, 3, 5, 7);
        std::memcpy(even + column * kColumnBytes, &evens, bytes);
        std::memcpy(odd + column * kColumnBytes, &odds, bytes);
    }

    [[nodiscard]] Words twoColumns(const Stretch& stretch, std::size_t column) {
        const Words difference = differences(stretch, column);
        const Words sums =
            m_last + difference + __builtin_shufflevector(Words{}, difference, 0, 1, 2, 3, 8, 9, 10, 11);
        m_last = __builtin_shufflevector(sums, sums, 4, 5, 6, 7, 4, 5, 6, 7);
        return sums * m_factor;
    }

    Words m_factor = {};   // 2^shift
    Words m_rowStart = {}; // first column of the row pair, twice
    Words m_last = {};     // the column before, twice
};

} // namespace

bool decodePicture(std::span<const PlaneStream, kPlanes> planes, std::uint32_t width, std::uint32_t height,
                   std::uint16_t* dst) noexcept {
    EntropyStage entropy;
    for (std::size_t k = 0; k < kPlanes; ++k) {
        const PlaneStream& plane = planes[k];
        if (plane.shift < 0 || plane.shift > 31 || !loadCodes(plane, entropy.codes[k])) return false;
        buildTable(entropy.codes[k], entropy.tables[k]);
        entropy.streams[k] = {plane.bytes, plane.bytes + plane.size, 0};
    }
    ReconstructionStage reconstruction(planes);

    const std::size_t columns = width / 2;
    const std::size_t rowBytes = columns * kColumnBytes;
    auto* even = reinterpret_cast<std::uint8_t*>(dst);
    for (std::uint32_t row = 0; row < height; row += 2) {
        for (std::size_t column = 0; column < columns; column += kStretch) {
            const std::size_t count = std::min(kStretch, columns - column);
            if (!decodeStretch(entropy, count)) return false;
            if (column == 0) reconstruction.startRow(entropy.stretch);
            std::uint8_t* const place = even + column * kColumnBytes;
            reconstruction.store(entropy.stretch, count, place, place + rowBytes);
        }
        even += 2 * rowBytes;
    }
    return true;
}
