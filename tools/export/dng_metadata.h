// What a DNG file says of its clip.
#pragma once

#include "tools/clip/exif_values.h"
#include "tools/export/dng_constants.h"
#include "tools/picture/white_balance.h"

#include <array>
#include <cstdint>
#include <string>

/// What a DNG file says of colours.
struct DngColours {
    Gains gains{1, 1, 1};                               // that make white of the samples of something white
    std::array<float, 9> matrix = dng::neutralMatrix(); // from CIE XYZ to the samples' colours, row after row
};

/// The colour matrix in a text file: nine numbers, row after row, separated by white space or commas; what
/// follows a '#' is a remark. Throws std::runtime_error, "PATH: reason".
[[nodiscard]] std::array<float, 9> readColourMatrix(const std::string& path);

/// The metadata that every frame's file has in common.
struct DngMetadata {
    ExifValues exif;
    std::string uniqueCameraModel;
    std::string dateTime;    // "YYYY:MM:DD HH:MM:SS"
    std::string description; // scene, take, reel; white balance; what is not the clip's own
    float black = 0;
    std::uint32_t white = 0;
    DngColours colours;
};

/// The date is the camera's where the clip names one. Otherwise it is that of the clip's file, and the
/// description says so.
[[nodiscard]] DngMetadata dngMetadata(const Clip& clip, const DngColours& colours = {});
