// The camera settings of a clip in the units of EXIF 2.32, for every file format that has such metadata.
#pragma once

#include "tools/clip/clip.h"
#include "tools/clip/rational_rate.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>

/// Values from the clip's header, the reader's items and the device metadata document. Where none of them has
/// a value, a text is empty and a number unset. Texts are in ASCII, as asciiText makes them.
struct ExifValues {
    std::string make;
    std::string model;
    std::string serialNumber;
    std::string cameraLabel; // index of the camera: "A"
    std::string reel;
    std::string dateTimeOriginal; // "YYYY:MM:DD HH:MM:SS", the camera's clock

    Rational frameRate{1, 1};             // the header's frames per second, where it states any
    std::optional<std::uint32_t> iso;     // above 0
    std::optional<Rational> exposureTime; // seconds, from shutter angle and frame rate
    std::optional<Rational> fNumber;
    std::optional<Rational> focalLength;            // millimetres
    std::optional<std::uint32_t> colourTemperature; // of the white balance, kelvin

    /// User bits of the timecode, in the order of SMPTE ST 331: the first byte has the first two binary
    /// groups.
    std::array<std::uint8_t, 4> userBits{};
};

/// The text with '?' in place of every character that ASCII cannot print.
[[nodiscard]] std::string asciiText(std::string text);

[[nodiscard]] ExifValues exifValues(const Clip& clip);
