// Frames as TIFF files: the mosaic in a DNG as CinemaDNG sequences have it, and the mosaic in a plain TIFF.
#pragma once

#include "tools/clip.h"

#include <cstdint>
#include <string>
#include <vector>

/// What every frame's file says of its clip.
struct DngDescription {
    std::string make;
    std::string model;
    std::string serialNumber;
    std::string uniqueCameraModel;
    std::string dateTime;    // "YYYY:MM:DD HH:MM:SS"
    std::string description; // scene, take, reel
    std::string reel;
    float black = 0;
    std::uint32_t white = 0;
    float neutral[3] = {1, 1, 1};
    std::uint32_t rate = 0;
    std::uint32_t scale = 1;
};

/// Texts are cut down to ASCII. The date is the camera's, where the clip names one, else that of the clip's
/// file.
[[nodiscard]] DngDescription describeForDng(const Clip& clip);

/// The bytes of a DNG 1.4 file with the 16-bit mosaic, uncompressed. `timecode` is the frame's, as
/// binaryTimecode makes it.
[[nodiscard]] std::vector<std::uint8_t> encodeDng(const DngDescription& description, const MosaicView& mosaic,
                                                  const std::array<std::uint8_t, 8>& timecode);

/// The bytes of a TIFF 6.0 file with the 16-bit mosaic as a grey picture, uncompressed.
[[nodiscard]] std::vector<std::uint8_t> encodeTiff(const DngDescription& description,
                                                   const MosaicView& mosaic);
