// From a mosaic to rows of red, green and blue light: one pixel for each 2 x 2 cell, or one for each sample.
#pragma once

#include "tools/clip/mosaic.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

/// Turns a sample into light: (sample - black) * factors[colour], in -kWhite16 to kWhite16. Samples below the
/// black level stay negative, so that noise around black keeps its mean.
struct LightScale {
    float black = 0;
    std::array<float, 3> factors{1, 1, 1}; // red, green, blue
};

/// One row of a picture, colour by colour, in light.
struct LightRow {
    explicit LightRow(std::size_t width) : red(width), green(width), blue(width) {}

    std::vector<float> red;
    std::vector<float> green;
    std::vector<float> blue;
};

/// Makes row `y` of a picture in which each pixel is the mean of shrink x shrink cells. `row` is mosaic.width
/// / 2 / shrink pixels wide. Columns and rows that fill no pixel are left out.
void cellRow(const MosaicView& mosaic, const LightScale& scale, std::uint32_t shrink, std::uint32_t y,
             LightRow& row);

/// Interpolates the two missing colours of every pixel, row after row from the top. The method is the
/// gradient-corrected linear interpolation of H. Malvar, L. He and R. Cutler, "High-quality linear
/// interpolation for demosaicing of Bayer-patterned color images", ICASSP 2004. The mosaic is mirrored at its
/// edges. Its width and height are even. This object does not own it.
class Demosaic final {
  public:
    Demosaic(const MosaicView& mosaic, const LightScale& scale);

    /// Makes the next row. Its even and its odd columns go to two rows, each half as wide as the mosaic. Call
    /// it at most mosaic.height times.
    void next(LightRow& evenColumns, LightRow& oddColumns);

  private:
    /// A row of the mosaic in light: the samples of even and of odd columns apart, each with a mirrored
    /// sample before the first and behind the last.
    struct SplitRow {
        std::vector<float> even;
        std::vector<float> odd;
    };
    static constexpr std::size_t kRowsInUse = 5;

    void load(std::uint32_t y);
    [[nodiscard]] const SplitRow& at(std::int64_t y) const;

    MosaicView m_mosaic;
    LightScale m_scale;
    std::array<SplitRow, kRowsInUse> m_rows; // by row number modulo kRowsInUse
    std::uint32_t m_loaded = 0;
    std::uint32_t m_next = 0;
};
