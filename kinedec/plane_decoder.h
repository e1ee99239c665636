// The one definition of how a plane decodes, for KineDec's exported calls and for the frame reader alike. It
// writes through strides, so that a plane can go straight to its place in the mosaic.
#pragma once

#include "kinedec/bit_reader.h"
#include "kinedec/kinedec.h"

#include <cstddef>
#include <cstdint>

namespace kinedec {

/// A plane to decode; the fields are KineDec's arguments of the same names.
struct PlaneParameters {
    const std::uint16_t* codeLengths;
    const std::uint16_t* codes;
    std::int32_t count;
    std::int32_t shift;
    std::int32_t rowLength;
};

/// Where decoded samples go: sample i of stored row j to `samples[j * rowStride + i * sampleStride]`. With
/// both strides 0 every sample lands on the same one: a decode for its messages alone.
struct PlaneOutput {
    std::uint16_t* samples; // owned by the caller
    std::ptrdiff_t sampleStride;
    std::ptrdiff_t rowStride;
};

enum class StoredRows { all, even }; // even rows are stored one after another

/// Decodes a plane, building its table in `decoder`. Result, messages and shift are KineDec's; of a rejected
/// plane the samples that were not reached keep what the caller put there.
int decodePlane(KineDec& decoder, BoundedBitReader stream, const PlaneParameters& plane, StoredRows stored,
                const PlaneOutput& output);
int decodePlane(KineDec& decoder, ByteBitReader stream, const PlaneParameters& plane, StoredRows stored,
                const PlaneOutput& output);

} // namespace kinedec
