// The picture decoder: the one place where speed beats simplicity. The plane decoder says what the coding is.
// docs/decoder.md has the measurements behind the shape.
//
// Why lockstep. Within a plane each code starts where the one before it ends. Look-up, rotation, look-up: the
// chain takes some seven cycles a sample, and a processor that starts six instructions a cycle mostly waits.
// The four planes are four independent chains. Decoded side by side they cost hardly more than one.
//
// Two stages work side by side, a stretch of up to kStretch columns at a time. While the entropy stage
// decodes one stretch, the reconstruction stage turns the stretch before it into rows of the mosaic: two
// columns after every second column. Its instructions fill the slots that the look-up chains leave free. It
// never touches the stretch under way, so a group that has to be decoded again needs no second
// reconstruction.
//
// The entropy stage finds where the codes lie. A table entry says how many bits code and magnitude take
// together, and which of them are the magnitude. It does not hold the difference. So a table needs only as
// many index bits as the usual codes have, and long magnitudes do not slow the stage down. The stage rotates
// the consumed bits to the low end, notes their low 16 and the entry, and goes on.
//
// The reconstruction stage turns these, two columns at a time in vectors, into magnitudes, signed differences
// (EXTEND of ITU-T T.81, F.2.2.1), samples and interleaved rows.
//
// Why the refill interval is safe. A stream position is a byte and 0 to 7 bits. A refill loads 64 bits from
// that byte. `used` counts the bits consumed since that byte. Every entry adds at least as many bits as it
// depends on. If `used` is below 64 after a group of columns, every code and magnitude of the group came out
// of those 64 bits, and no bit that the rotation wrapped round was taken for stream. Otherwise no stream has
// advanced yet, and the group is decoded again in halves. Two samples take at most 50 bits, and a refill
// holds at least 57. An index that begins with no short code has an entry of 64 bits. So longer and missing
// codes fail the same test. What still fails in pairs is looked for sample by sample.
//
// When it declines. The decoder declines a code table that is no prefix code, because an entry could then
// depend on more bits than it counts. It declines a shift outside 0 to 31 and a bit pattern without a code.
#include "kinedec/picture_decoder.h"

#include "kinedec/picture_entropy.h"
#include "kinedec/picture_reconstruction.h"

#include <algorithm>
#include <array>
#include <utility>

namespace kinedec {

namespace {

using namespace picture;

// Columns decoded on one refill. Six columns leave room for nine bits a sample on average, eight for seven.
constexpr std::size_t kGroup = 6;
constexpr std::size_t kLowRateGroup = 8; // saves refills where the bit rate is low
// A stretch has a low bit rate when no plane took more than this many bits a sample.
constexpr std::size_t kLowRateBits = 6;
// After so many consecutive stretches with a low bit rate the longer group is worth trying.
constexpr std::uint32_t kLowRateStretches = 16;
static_assert(kStretch % kGroup == 0 && kStretch % kLowRateGroup == 0);

template <bool kFused>
[[gnu::always_inline]] inline void decodeColumn(const std::array<ShortCodeTable, kPlanes>& tables,
                                                Lanes& lanes, Reconstruction& previous, Column* column,
                                                std::size_t step) {
    lanes.decode(tables, column[step]);
    if constexpr (kFused)
        if (step % 2 == 1) previous.storePair();
}

template <bool kFused, std::size_t... kStep>
[[gnu::always_inline]] inline void decodeColumns(const std::array<ShortCodeTable, kPlanes>& tables,
                                                 Lanes& lanes, Reconstruction& previous, Column* column,
                                                 std::index_sequence<kStep...>) {
    (decodeColumn<kFused>(tables, lanes, previous, column, kStep), ...);
}

/// Decodes groups of kCount columns and, with kFused, reconstructs as many of the stretch before in the slots
/// that the look-up chains leave free. Reconstruction touches that finished stretch only, so a group that is
/// decoded again needs no second one.
template <std::size_t kCount, bool kFused>
[[nodiscard, gnu::always_inline]] inline bool decodeGroups(EntropyStage& stage, Lanes& lanes,
                                                           Reconstruction& previous, Column*& column,
                                                           const Column* end) {
    while (end - column >= std::ptrdiff_t{kCount}) {
        if constexpr (kFused)
            if (previous.left < kCount) break;
        lanes.refill();
        decodeColumns<kFused>(stage.tables, lanes, previous, column, std::make_index_sequence<kCount>());
        if constexpr (kFused) previous.left -= kCount;
        if (!lanes.held()) [[unlikely]] {
            lanes.store(stage.streams);
            if (!decodeUnheld(stage, std::span(column, kCount))) return false;
            lanes = Lanes(stage.streams);
        } else {
            lanes.advance();
        }
        column += kCount;
    }
    return true;
}

/// Decodes a stretch, and finishes the one before it.
[[nodiscard]] bool decodeStretch(EntropyStage& stage, std::span<Column> columns, Reconstruction& pending) {
    std::array<const std::uint8_t*, kPlanes> starts;
    for (std::size_t k = 0; k < kPlanes; ++k) {
        // Behind its end a stream is all zeros. So a stream that ran past its end goes on at the end, and
        // never leaves its padding.
        Stream& stream = stage.streams[k];
        if (stream.next > stream.end) [[unlikely]] {
            stage.bitsPastEnd[k] += static_cast<std::uint64_t>(stream.next - stream.end) * 8;
            stream.next = stream.end;
        }
        starts[k] = stream.next;
    }
    // Copies, so that the compiler knows that no store into the picture reaches them.
    Lanes lanes(stage.streams);
    Reconstruction previous = pending;
    Column* column = columns.data();
    const Column* const end = column + columns.size();
    const bool lowRate = stage.lowRateStretches >= kLowRateStretches;
    if (lowRate && !decodeGroups<kLowRateGroup, true>(stage, lanes, previous, column, end)) return false;
    if (!decodeGroups<kGroup, true>(stage, lanes, previous, column, end)) return false;
    previous.finish();
    if (!decodeGroups<kGroup, false>(stage, lanes, previous, column, end)) return false;
    if (!decodeGroups<1, false>(stage, lanes, previous, column, end)) return false;
    lanes.store(stage.streams);
    pending = previous;

    std::ptrdiff_t longest = 0;
    for (std::size_t k = 0; k < kPlanes; ++k)
        longest = std::max(longest, stage.streams[k].next - starts[k]);
    const bool low = static_cast<std::size_t>(longest) * 8 <= columns.size() * kLowRateBits;
    stage.lowRateStretches = low ? stage.lowRateStretches + 1 : 0;
    return true;
}

[[nodiscard]] PlaneBits bitsUsed(const EntropyStage& stage, std::span<const PlaneStream, kPlanes> planes) {
    PlaneBits bits;
    for (std::size_t k = 0; k < kPlanes; ++k) {
        const Stream& stream = stage.streams[k];
        const auto bytes = static_cast<std::uint64_t>(stream.next - planes[k].bytes.data());
        bits[k] = bytes * 8 + stream.phase + stage.bitsPastEnd[k];
    }
    return bits;
}

} // namespace

std::optional<PlaneBits> decodePicture(std::span<const PlaneStream, kPlanes> planes, std::uint32_t width,
                                       std::uint32_t height, std::uint16_t* dst) noexcept {
    EntropyStage entropy;
    for (std::size_t k = 0; k < kPlanes; ++k) {
        const PlaneStream& plane = planes[k];
        if (plane.shift < 0 || plane.shift > 31 || !plane.table.isPrefixCode()) return std::nullopt;
        entropy.start(k, plane);
    }
    std::array<Stretch, 2> stretches{}; // one is decoded while the other is reconstructed
    Reconstruction reconstruction(planes);

    const std::size_t columns = width / 2;
    const std::size_t rowBytes = columns * kColumnBytes;
    auto* even = reinterpret_cast<std::uint8_t*>(dst);
    std::size_t turn = 0;
    for (std::uint32_t row = 0; row < height; row += 2) {
        for (std::size_t column = 0; column < columns; column += kStretch) {
            Stretch& stretch = stretches[turn % 2];
            ++turn;
            const std::size_t count = std::min(kStretch, columns - column);
            if (!decodeStretch(entropy, std::span(stretch).first(count), reconstruction)) return std::nullopt;
            reconstruction.begin(stretch, count, even + column * kColumnBytes, rowBytes, column == 0);
        }
        even += 2 * rowBytes;
    }
    reconstruction.finish();
    return bitsUsed(entropy, planes);
}

} // namespace kinedec
