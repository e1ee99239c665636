// Difference decoding, prediction, the row loop and the shift pass.
#include "kinedec/plane_decoder.h"

#include "host/error_output.h"
#include "kinedec/code_table.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace kinedec {

namespace {

int reportCodecError(std::int32_t samplesLeft) {
    ErrOut("codec error: %X!\n", static_cast<std::uint32_t>(samplesLeft));
    return 0;
}

bool isInContract(const PlaneParameters& plane) {
    if (plane.count < 0 || plane.shift < 0 || plane.shift > 31) return false;
    if (plane.count > 0 && plane.rowLength < 1) return false;
    return isLegalCodeTable(plane.codeLengths, plane.codes);
}

// The look-up table of one plane. The chain of look-ups waits for the bits that each code takes and for
// nothing else, so those stand by themselves a second time, small enough to stay in the first-level cache.
struct PlaneTable {
    explicit PlaneTable(const KineDecEntry* tableEntries) : entries(tableEntries) {
        std::transform(entries, entries + bits.size(), bits.begin(),
                       [](const KineDecEntry& entry) { return static_cast<std::uint8_t>(entry.bits); });
    }

    const KineDecEntry* entries;
    std::array<std::uint8_t, std::size_t{1} << kKineIndexBits> bits; // of the entries, in their order
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
[[gnu::always_inline]] inline bool addDifference(BitReader& stream, const PlaneTable& table,
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

// One row. `prediction` is that of the row's first sample and becomes that of the next row's. A row that is
// not stored is decoded for its first sample and to keep in step. A function of its own, with all that it
// calls inlined and the reader a local, so that the compiler keeps the reader's state in registers.
template <bool kStore, class BitReader>
[[gnu::noinline]] bool decodeRow(BitReader& source, const PlaneTable& table, std::int32_t rowLength,
                                 std::uint32_t& prediction, std::uint16_t* row, std::ptrdiff_t sampleStride) {
    BitReader stream = source;
    stream.refill();
    if (!addDifference(stream, table, prediction)) return false;
    std::uint32_t sample = prediction;
    if constexpr (kStore) storeSample(row, sample);
    std::ptrdiff_t place = sampleStride;
    for (std::int32_t left = rowLength - 1; left > 0;) {
        stream.refill();
        const std::int32_t group = std::min(left, BitReader::kSamplesPerRefill);
        for (std::int32_t i = 0; i < group; ++i, place += sampleStride) {
            if (!addDifference(stream, table, sample)) return false;
            if constexpr (kStore) storeSample(row + place, sample);
        }
        left -= group;
    }
    source = stream;
    return true;
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
int decodeWith(KineDec& decoder, BitReader stream, const PlaneParameters& plane, StoredRows stored,
               const PlaneOutput& output) {
    if (!isInContract(plane)) return reportCodecError(plane.count);
    buildCodeTable(plane.codeLengths, plane.codes, decoder.m_table);

    const PlaneTable table(decoder.m_table);
    std::uint32_t prediction = 0;
    std::ptrdiff_t storedRows = 0;
    bool store = true;
    for (std::int32_t left = plane.count; left > 0; left -= plane.rowLength) {
        std::uint16_t* row = output.samples + storedRows * output.rowStride;
        const bool decoded =
            store ? decodeRow<true>(stream, table, plane.rowLength, prediction, row, output.sampleStride)
                  : decodeRow<false>(stream, table, plane.rowLength, prediction, row, output.sampleStride);
        if (!decoded) return reportCodecError(left);
        if (store) ++storedRows;
        store = stored == StoredRows::all || !store;
    }
    if (plane.shift != 0) {
        const std::int64_t decodedSamples = std::int64_t{storedRows} * plane.rowLength;
        shiftSamples(output, std::min<std::int64_t>(decodedSamples, plane.count), plane.rowLength,
                     plane.shift);
    }
    return 1;
}

} // namespace

int decodePlane(KineDec& decoder, BoundedBitReader stream, const PlaneParameters& plane, StoredRows stored,
                const PlaneOutput& output) {
    return decodeWith(decoder, stream, plane, stored, output);
}

int decodePlane(KineDec& decoder, ByteBitReader stream, const PlaneParameters& plane, StoredRows stored,
                const PlaneOutput& output) {
    return decodeWith(decoder, stream, plane, stored, output);
}

} // namespace kinedec
