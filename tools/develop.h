// Developing a mosaic into a picture to look at: black and white level, gains, half-size colour from the 2 x
// 2 cells, a display curve. For the eye, not for measuring: no demosaicing and no camera colours.
#pragma once

#include "tools/clip.h"

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// An 8-bit RGB picture, three bytes a pixel, row after row from the top.
struct RgbImage {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<std::uint8_t> pixels;
};

enum class DisplayCurve {
    gamma,  // the transfer function of IEC 61966-2-1 (sRGB)
    log,    // logarithmic: shadows open, highlights held
    linear, // no curve
};

enum class Balance {
    automatic, // the clip's gains where they say something, else grey
    clip,      // the clip's gains as they stand
    grey,      // so that what is bright in the picture is grey
};

/// The words of the command line for both.
[[nodiscard]] const std::map<std::string, DisplayCurve>& displayCurves();
[[nodiscard]] const std::map<std::string, Balance>& balances();

/// Gains of red, green and blue.
using Gains = std::array<double, 3>;

/// Develops mosaics of one clip; any thread may call.
class Developer final {
  public:
    Developer(const Clip& clip, const Gains& gains, DisplayCurve curve);

    /// A picture of half the mosaic's width and height, divided by a further `shrink` (1 or more): the mean
    /// of shrink x shrink cells makes a pixel. At least one pixel each way.
    [[nodiscard]] RgbImage develop(const MosaicView& mosaic, std::uint32_t shrink = 1) const;

  private:
    using Table = std::vector<std::uint8_t>; // display value by 16-bit sample
    std::array<Table, 3> m_tables;
};

/// How pictures are developed, in the words of the command line.
struct DevelopOptions {
    std::string curve = "gamma";
    std::string balance = "auto";
};

/// One developer for a whole clip. A balance that is not the clip's own is measured in the clip's first
/// readable frame, so that frames developed by several processes match.
[[nodiscard]] Developer makeDeveloper(Clip& clip, const DevelopOptions& options);
