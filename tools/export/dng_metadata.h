// The metadata that a DNG file has of its clip.
#pragma once

#include "tools/clip/exif_values.h"
#include "tools/export/dng_constants.h"
#include "tools/picture/white_balance.h"

#include <array>
#include <cstdint>
#include <string>

/// The colour information of a DNG file.
struct DngColours {
    Gains gains{1, 1, 1};                               // make the samples of something white equal
    std::array<float, 9> matrix = dng::neutralMatrix(); // from CIE XYZ to the camera's colours, row after row
};

/// Reads a colour matrix from a text file: nine numbers, row after row, separated by white space or commas. A
/// remark begins with '#' and ends with its line. Throws std::runtime_error, "PATH: reason".
[[nodiscard]] std::array<float, 9> readColourMatrix(const std::string& path);

/// The metadata that the files of all frames share.
struct DngMetadata {
    ExifValues exif;
    std::string uniqueCameraModel;
    std::string dateTime;    // "YYYY:MM:DD HH:MM:SS"
    std::string description; // scene, take, reel; white balance; what is assumed
    float black = 0;
    std::uint32_t white = 0;
    DngColours colours;
};

/// Collects the metadata. The date is the camera's where the clip has one. Otherwise it is that of the clip's
/// file, and the description says so.
[[nodiscard]] DngMetadata dngMetadata(const Clip& clip, const DngColours& colours = {});
