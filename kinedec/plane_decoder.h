// The one definition of how a plane decodes, for KineDec's exported calls and for the frame reader. It
// knows no host and logs nothing. It writes through strides, so that a plane can go straight to its place in
// the mosaic.
#pragma once

#include "kinedec/bit_reader.h"
#include "kinedec/code_table.h"
#include "kinedec/lookup_table.h"

#include <cstddef>
#include <cstdint>

namespace kinedec {

/// A plane to decode; count, shift and rowLength are KineDec's arguments of these names.
struct PlaneParameters {
    CodeTable table;
    std::int32_t count;
    std::int32_t shift;
    std::int32_t rowLength;
};

/// Where decoded samples go: sample i of stored row j to `samples[j * rowStride + i * sampleStride]`.
struct PlaneOutput {
    std::uint16_t* samples = nullptr; // owned by the caller
    std::ptrdiff_t sampleStride = 0;
    std::ptrdiff_t rowStride = 0;
};

enum class StoredRows { none, even, all }; // stored rows follow one another

/// The result of decoding a plane.
struct PlaneResult {
    bool decoded = false;         ///< the parameters are in KineDec's contract and every sample had a code
    std::int32_t samplesLeft = 0; ///< if one had none: samples still to be decoded at the start of its row
    std::int32_t rowsInData = 0;  ///< rows from the top whose codes end inside the stream's bytes
    std::uint64_t bitsUsed = 0;   ///< bits of all codes decoded; those behind the stream's bytes count too
};

/// Decodes a plane with `lookup` as its working memory. Samples, shift and `samplesLeft` are as KineDec
/// describes them; `samplesLeft` is the number in its message. Samples that were not reached keep what the
/// caller put there. A plane was cut short when `bitsUsed` exceeds the bits of the stream. `rowsInData` then
/// says how many rows are sound.
[[nodiscard]] PlaneResult decodePlane(LookupTableView lookup, BoundedBitReader stream,
                                      const PlaneParameters& plane, StoredRows stored,
                                      const PlaneOutput& output);
/// A stream without a known end: all decoded rows count as inside the stream.
[[nodiscard]] PlaneResult decodePlane(LookupTableView lookup, ByteBitReader stream,
                                      const PlaneParameters& plane, StoredRows stored,
                                      const PlaneOutput& output);

/// Decodes a plane and stores no sample.
[[nodiscard]] inline PlaneResult checkPlane(LookupTableView lookup, BoundedBitReader stream,
                                            const PlaneParameters& plane) {
    return decodePlane(lookup, stream, plane, StoredRows::none, {});
}

} // namespace kinedec
