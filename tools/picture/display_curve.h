// The curves of developed pictures: from light to picture values.
#pragma once

#include "tools/picture/choice_words.h"

#include <cstdint>
#include <span>

enum class DisplayCurve {
    gamma,  // the transfer function of IEC 61966-2-1 (sRGB)
    rec709, // the transfer characteristics of ITU-R BT.709
    log,    // logarithmic: shadows open, highlights held
    linear, // no curve
};

/// Words of the command line and their values.
[[nodiscard]] const ChoiceWords<DisplayCurve>& displayCurves();

/// The picture value for light, both in 0 to 1.
[[nodiscard]] double onDisplay(double light, DisplayCurve curve);

/// White in light and picture values of 16 bits.
inline constexpr std::uint32_t kWhite16 = 65535;

/// The picture value for each light value from 0 to kWhite16. Made at the first call, for the life of the
/// process.
[[nodiscard]] std::span<const std::uint16_t> curveTable(DisplayCurve curve);
