// The entropy stage of the picture decoder: it finds where the codes of the four streams lie. The fast path
// is inline, for the loop of picture_decoder.cpp. What the fast path cannot decode is decoded again by
// `decodeUnheld`.
#pragma once

#include "kinedec/code_table.h"
#include "kinedec/picture_decoder.h"
#include "kinedec/picture_stretch.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace kinedec::picture {

inline constexpr std::uint32_t kMaxSampleBits = kKineIndexBits + kKineCategories - 1;
static_assert(kStretch * kMaxSampleBits / 8 + sizeof(std::uint64_t) + 1 <= kPlanePadding);

/// Table by the next bits of the stream. Only codes of at most this many bits have entries.
inline constexpr std::uint32_t kIndexBits = 9;
using ShortCodeTable = std::array<std::uint32_t, std::size_t{1} << kIndexBits>;

inline constexpr std::uint32_t kLengthMask = 0xFFFF; // of an entry and of a count of bits
inline constexpr std::uint32_t kHeldBits = 64;       // more than a refill holds
inline constexpr std::uint32_t kEscape = kHeldBits;  // entry of an index that begins with no short code

/// A place in a stream.
struct Stream {
    const std::uint8_t* next;
    const std::uint8_t* end;
    std::uint64_t phase; // bits consumed of *next, 0 to 7

    void advance(std::uint64_t bits) {
        phase += bits;
        next += phase / 8;
        phase %= 8;
    }
};

struct EntropyStage {
    std::array<ShortCodeTable, kPlanes> tables;
    std::array<CodeTable, kPlanes> codes;
    std::array<Stream, kPlanes> streams;
    PlaneBits bitsPastEnd = {};         // of the streams, without those since the last stretch began
    std::uint32_t lowRateStretches = 0; // number of consecutive stretches with a low bit rate

    /// Starts a plane, whose code table is a prefix code.
    void start(std::size_t plane, const PlaneStream& stream);
};

/// Eight bytes of a stream, the first on top.
[[nodiscard]] inline std::uint64_t nextBits(const std::uint8_t* bytes) {
    std::uint64_t value = 0;
    std::memcpy(&value, bytes, sizeof value);
    return __builtin_bswap64(value);
}

/// One plane's place in its stream, held in registers from group to group.
struct Lane {
    const std::uint8_t* next;
    std::uint64_t used;     // bits consumed since `next`, in the low half
    std::uint64_t bits = 0; // of the refill, the next one on top, the consumed ones at the low end

    explicit Lane(const Stream& stream) : next(stream.next), used(stream.phase) {}

    void refill() {
        bits = nextBits(next) << used;
        keepInRegister(used);
    }
    void decode(const ShortCodeTable& table, Column& column, std::size_t plane) {
        const std::uint32_t entry = table[bits >> (64 - kIndexBits)];
        bits = std::rotl(bits, static_cast<int>(entry));
        used += entry;
        keepInRegister(used);
        column.bits[plane] = static_cast<std::uint16_t>(bits);
        column.entries[plane] = entry;
    }
    void advance() {
        next += (used & kLengthMask) / 8;
        keepInRegister(next);
        used %= 8;
    }

  private:
    // Without this the compiler puts the additions off or merges those of the lanes into vectors. Each takes
    // the chain from group to group through memory.
    template <typename Value>
    static void keepInRegister(Value& value) {
        asm("" : "+r"(value));
    }
};

/// The four lanes. They are named one by one: an array of them stays in memory.
struct Lanes {
    Lane lane0;
    Lane lane1;
    Lane lane2;
    Lane lane3;

    explicit Lanes(const std::array<Stream, kPlanes>& streams)
        : lane0(streams[0]), lane1(streams[1]), lane2(streams[2]), lane3(streams[3]) {}

    [[gnu::always_inline]] void refill() {
        lane0.refill();
        lane1.refill();
        lane2.refill();
        lane3.refill();
    }
    [[gnu::always_inline]] void decode(const std::array<ShortCodeTable, kPlanes>& tables, Column& column) {
        lane0.decode(tables[0], column, 0);
        lane1.decode(tables[1], column, 1);
        lane2.decode(tables[2], column, 2);
        lane3.decode(tables[3], column, 3);
    }
    /// True when the refill held all that was decoded since.
    [[nodiscard, gnu::always_inline]] bool held() const {
        return ((lane0.used | lane1.used | lane2.used | lane3.used) & kLengthMask) < kHeldBits;
    }
    [[gnu::always_inline]] void advance() {
        lane0.advance();
        lane1.advance();
        lane2.advance();
        lane3.advance();
    }
    /// Puts the places back, with the bits since the last `advance` counted in the phases.
    [[gnu::always_inline]] void store(std::array<Stream, kPlanes>& streams) const {
        streams = {Stream{lane0.next, streams[0].end, lane0.used & kLengthMask},
                   Stream{lane1.next, streams[1].end, lane1.used & kLengthMask},
                   Stream{lane2.next, streams[2].end, lane2.used & kLengthMask},
                   Stream{lane3.next, streams[3].end, lane3.used & kLengthMask}};
    }
};

/// Decodes again columns of which some lane took more bits than a refill holds: in halves, then sample by
/// sample. The positions of `stage` are those of Lanes::store: the columns begin at `next`, and the phase
/// counts their bits too. False: a pattern without a code.
[[nodiscard]] bool decodeUnheld(EntropyStage& stage, std::span<Column> columns);

} // namespace kinedec::picture
