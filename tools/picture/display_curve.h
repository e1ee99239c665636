// From light to the values of a picture: the curves of developed pictures.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

enum class DisplayCurve {
    gamma,  // the transfer function of IEC 61966-2-1 (sRGB)
    rec709, // the transfer characteristics of ITU-R BT.709
    log,    // logarithmic: shadows open, highlights held
    linear, // no curve
};

/// The words of the command line.
[[nodiscard]] const std::map<std::string, DisplayCurve>& displayCurves();

/// The picture value for light, both in 0 to 1.
[[nodiscard]] double onDisplay(double light, DisplayCurve curve);

/// Light and picture values of 16 bits: 65535 is white.
inline constexpr std::uint32_t kWhite16 = 65535;

/// The picture value for each light value from 0 to kWhite16.
[[nodiscard]] std::vector<std::uint16_t> curveTable(DisplayCurve curve);
