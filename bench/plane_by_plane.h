// Plain frame decoding, to compare the picture decoder with: the planes are decoded one after another into a
// buffer, then interleaved.
#pragma once

#include "kinedec/picture_decoder.h"

#include <cstdint>
#include <span>

enum class StreamLength { unknown, known };

/// Decodes four planes of `width` x `height` / 4 samples each with KineDec::decode, with or without the
/// lengths of the streams. The planes lie one behind the other in `samples`. Returns false when a plane is
/// rejected.
[[nodiscard]] bool decodePlaneByPlane(std::span<const kinedec::PlaneStream, 4> planes, std::uint32_t width,
                                      std::uint32_t height, StreamLength length, std::uint16_t* samples);

/// Interleaves four planes, which lie one behind the other, into the mosaic `dst`.
void interleave(const std::uint16_t* samples, std::uint32_t width, std::uint32_t height, std::uint16_t* dst);

/// Reads a frame record and decodes it in that way: header, planes, interleaving. Memory is taken and
/// released for each frame, as a reader without the picture decoder would do. Returns false when anything
/// fails.
[[nodiscard]] bool readPlaneByPlane(std::int64_t handle, std::uint64_t recordStart, std::int32_t danrawOffset,
                                    std::uint16_t* dst);
