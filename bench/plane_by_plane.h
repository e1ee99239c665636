// Frame decoding the plain way, to measure the picture decoder against: one plane after another into a buffer
// of their own, then interleaved.
#pragma once

#include "kinedec/picture_decoder.h"

#include <cstdint>
#include <span>

enum class StreamLength { unknown, known };

/// Decodes four planes of `width` x `height` / 4 samples with KineDec::decode, told the streams' lengths or
/// not, one plane behind the other in `samples`. False when a plane is rejected.
[[nodiscard]] bool decodePlaneByPlane(std::span<const kinedec::PlaneStream, 4> planes, std::uint32_t width,
                                      std::uint32_t height, StreamLength length, std::uint16_t* samples);

/// Makes the mosaic `dst` of four planes one behind the other.
void interleave(const std::uint16_t* samples, std::uint32_t width, std::uint32_t height, std::uint16_t* dst);

/// Reads a frame record and decodes it so: header, planes, interleaving, with memory taken and released for
/// each frame, as a reader without the picture decoder would. False when anything fails.
[[nodiscard]] bool readPlaneByPlane(std::int64_t handle, std::uint64_t recordStart, std::int32_t danrawOffset,
                                    std::uint16_t* dst);
