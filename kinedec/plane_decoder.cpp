// Difference decoding, prediction, the row loop and the shift pass.
#include "kinedec/plane_decoder.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace kinedec {

namespace {

bool isInContract(const PlaneParameters& plane) {
    return plane.count >= 0 && plane.shift >= 0 && plane.shift <= 31 && plane.rowLength >= 1 &&
           plane.table.isLegal();
}

// The look-up table, and an array with only the number of bits of each entry. The chain of look-ups waits
// only for these numbers. The array is small enough to stay in the first-level cache.
struct SplitTable {
    SplitTable(const CodeTable& table, LookupTableView lookup) : entries(lookup.data()) {
        buildBitCounts(table, bits);
    }

    const KineDecEntry* entries;
    std::array<std::uint8_t, kLookupSize> bits;
};

// A difference whose magnitude bits reach past the index.
template <class BitReader>
[[gnu::always_inline]] inline std::uint32_t deferredDifference(BitReader& stream, const KineDecEntry& entry) {
    stream.extend(entry.bits);
    const std::uint32_t magnitude = stream.field(entry.bits) & entry.value;
    stream.drop(entry.bits);
    if constexpr (BitReader::kSamplesPerRefill > 1) stream.refill();
    return (magnitude & entry.signBit) != 0 ? magnitude : (magnitude + 1) | entry.negFill;
}

// Adds the next difference to `sample`, modulo 65536. False: no code starts like this.
template <class BitReader>
[[gnu::always_inline]] inline bool addDifference(BitReader& stream, const SplitTable& table,
                                                 std::uint32_t& sample) {
    const std::uint32_t index = stream.field(kKineIndexBits);
    const std::uint32_t bits = table.bits[index];
    const KineDecEntry& entry = table.entries[index];
    if (bits - 1U < std::uint32_t{kKineIndexBits}) [[likely]] { // neither empty nor deferred
        stream.drop(static_cast<int>(bits));
        sample += entry.value;
        return true;
    }
    if (bits == 0) return false;
    sample += deferredDifference(stream, entry);
    return true;
}

// The low 16 bits of a value. A host's picture buffer may lie at an odd address.
void storeSample(std::uint16_t* place, std::uint32_t value) {
    const auto sample = static_cast<std::uint16_t>(value);
    std::memcpy(place, &sample, sizeof sample);
}

// Decodes one row. `prediction` is that of the row's first sample, and afterwards that of the next row's. A
// row that is not stored is decoded too: the next row needs its first sample, and the stream must reach its
// end. When a code is missing, `source` stops at it. This function is not inlined, all functions that it
// calls are, and the reader is a local variable. So the compiler keeps the reader's state in registers.
template <bool kStore, class BitReader>
[[gnu::noinline]] bool decodeRow(BitReader& source, const SplitTable& table, std::int32_t rowLength,
                                 std::uint32_t& prediction, std::uint16_t* row, std::ptrdiff_t sampleStride) {
    BitReader stream = source;
    const auto stopAt = [&source](const BitReader& position, bool decoded) {
        source = position;
        return decoded;
    };
    stream.refill();
    if (!addDifference(stream, table, prediction)) return stopAt(stream, false);
    std::uint32_t sample = prediction;
    if constexpr (kStore) storeSample(row, sample);
    std::ptrdiff_t place = sampleStride;
    for (std::int32_t left = rowLength - 1; left > 0;) {
        stream.refill();
        const std::int32_t group = std::min(left, BitReader::kSamplesPerRefill);
        for (std::int32_t i = 0; i < group; ++i, place += sampleStride) {
            if (!addDifference(stream, table, sample)) return stopAt(stream, false);
            if constexpr (kStore) storeSample(row + place, sample);
        }
        left -= group;
    }
    return stopAt(stream, true);
}

void shiftSamples(const PlaneOutput& output, std::int64_t samples, std::int32_t rowLength,
                  std::int32_t shift) {
    for (std::ptrdiff_t row = 0; samples > 0; samples -= rowLength, ++row) {
        const auto inRow = static_cast<std::ptrdiff_t>(std::min<std::int64_t>(samples, rowLength));
        for (std::ptrdiff_t i = 0; i < inRow; ++i) {
            std::uint16_t* place = output.samples + row * output.rowStride + i * output.sampleStride;
            std::uint16_t sample = 0;
            std::memcpy(&sample, place, sizeof sample);
            storeSample(place, std::uint32_t{sample} << shift);
        }
    }
}

template <class BitReader>
PlaneResult decodeWith(LookupTableView lookup, BitReader stream, const PlaneParameters& plane,
                       StoredRows stored, const PlaneOutput& output) {
    PlaneResult result;
    result.samplesLeft = plane.count;
    if (plane.table.isLegal()) buildLookupTable(plane.table, lookup);
    if (plane.count == 0) {
        result.decoded = true;
        return result;
    }
    if (!isInContract(plane)) return result;

    const SplitTable table(plane.table, lookup);
    std::uint32_t prediction = 0;
    std::ptrdiff_t storedRows = 0;
    bool store = stored != StoredRows::none;
    for (; result.samplesLeft > 0; result.samplesLeft -= plane.rowLength) {
        std::uint16_t* row = output.samples + storedRows * output.rowStride;
        const bool decoded =
            store ? decodeRow<true>(stream, table, plane.rowLength, prediction, row, output.sampleStride)
                  : decodeRow<false>(stream, table, plane.rowLength, prediction, row, output.sampleStride);
        result.bitsUsed = stream.bitsUsed();
        if (!decoded) return result;
        if (!stream.isPastEnd()) ++result.rowsInData;
        if (store) ++storedRows;
        store = stored == StoredRows::all || (stored == StoredRows::even && !store);
    }
    result.decoded = true;
    result.samplesLeft = 0;
    if (plane.shift != 0) {
        const std::int64_t decodedSamples = std::int64_t{storedRows} * plane.rowLength;
        shiftSamples(output, std::min<std::int64_t>(decodedSamples, plane.count), plane.rowLength,
                     plane.shift);
    }
    return result;
}

} // namespace

PlaneResult decodePlane(LookupTableView lookup, BoundedBitReader stream, const PlaneParameters& plane,
                        StoredRows stored, const PlaneOutput& output) {
    return decodeWith(lookup, stream, plane, stored, output);
}

PlaneResult decodePlane(LookupTableView lookup, ByteBitReader stream, const PlaneParameters& plane,
                        StoredRows stored, const PlaneOutput& output) {
    return decodeWith(lookup, stream, plane, stored, output);
}

} // namespace kinedec
