#include "kinedec/picture_entropy.h"

#include <algorithm>

namespace kinedec::picture {

namespace {

// A refill holds at least 57 bits, and so two samples of any length. Smaller groups would gain nothing.
constexpr std::size_t kPair = 2;
static_assert(kPair * kMaxSampleBits + 7 < kHeldBits);

[[nodiscard]] constexpr std::uint32_t makeEntry(std::size_t category, std::uint32_t length) {
    const auto magnitudeBits = static_cast<std::uint32_t>(category);
    return ((1U << magnitudeBits) - 1) << 16 | (length + magnitudeBits);
}

void buildTable(const CodeTable& codes, ShortCodeTable& table) {
    table.fill(kEscape);
    for (std::size_t category = 0; category < kKineCategories; ++category) {
        const std::uint32_t length = codes.lengths[category];
        if (length == 0 || length > kIndexBits) continue;
        const std::uint32_t spareBits = kIndexBits - length;
        std::fill_n(table.data() + (std::size_t{codes.codes[category]} << spareBits),
                    std::size_t{1} << spareBits, makeEntry(category, length));
    }
}

/// kEscape when the bits start with no code.
[[nodiscard]] std::uint32_t findEntry(const CodeTable& codes, std::uint64_t bits) {
    for (std::size_t category = 0; category < kKineCategories; ++category) {
        const std::uint32_t length = codes.lengths[category];
        if (length != 0 && bits >> (64 - length) == codes.codes[category]) return makeEntry(category, length);
    }
    return kEscape;
}

/// One plane's samples of some columns, with a refill for each.
[[nodiscard]] bool decodeCarefully(EntropyStage& stage, std::size_t plane, std::span<Column> columns) {
    Stream& stream = stage.streams[plane];
    for (Column& column : columns) {
        const std::uint64_t bits = nextBits(stream.next) << stream.phase;
        std::uint32_t entry = stage.tables[plane][bits >> (64 - kIndexBits)];
        if (entry == kEscape) entry = findEntry(stage.codes[plane], bits);
        if (entry == kEscape) return false;
        const std::uint32_t length = entry & kLengthMask;
        column.bits[plane] = static_cast<std::uint16_t>(std::rotl(bits, static_cast<int>(length)));
        column.entries[plane] = entry;
        stream.advance(length);
    }
    return true;
}

/// Decodes a few columns on one refill a lane.
[[nodiscard]] bool decodeFew(EntropyStage& stage, std::span<Column> columns) {
    Lanes lanes(stage.streams);
    lanes.refill();
    for (Column& column : columns)
        lanes.decode(stage.tables, column);
    const bool held = lanes.held();
    if (held) lanes.advance();
    lanes.store(stage.streams);
    return held || decodeUnheld(stage, columns);
}

} // namespace

void EntropyStage::start(std::size_t plane, const PlaneStream& stream) {
    codes[plane] = stream.table;
    buildTable(stream.table, tables[plane]);
    streams[plane] = {stream.bytes.data(), stream.bytes.data() + stream.bytes.size(), 0};
}

bool decodeUnheld(EntropyStage& stage, std::span<Column> columns) {
    for (std::size_t plane = 0; plane < kPlanes; ++plane)
        for (const Column& column : columns)
            stage.streams[plane].phase -= column.entries[plane] & kLengthMask;
    if (columns.size() > kPair) {
        const std::size_t half = (columns.size() + 1) / 2;
        return decodeFew(stage, columns.first(half)) && decodeFew(stage, columns.subspan(half));
    }
    for (std::size_t plane = 0; plane < kPlanes; ++plane)
        if (!decodeCarefully(stage, plane, columns)) return false;
    return true;
}

} // namespace kinedec::picture
