// Developing a mosaic into a picture to look at: black and white level, gains, colour interpolation or the
// mean of the 2 x 2 cells, a display curve. The result has no calibrated camera colours, so it is not for
// measuring.
#pragma once

#include "tools/clip/clip.h"
#include "tools/picture/choice_words.h"
#include "tools/picture/demosaic.h"
#include "tools/picture/display_curve.h"
#include "tools/picture/rgb_image.h"
#include "tools/picture/white_balance.h"

#include <array>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

enum class PictureSize {
    half, // a pixel for each 2 x 2 cell: half the mosaic's width and height
    full, // a pixel for each sample
};

/// Words of the command line and their values.
[[nodiscard]] const ChoiceWords<PictureSize>& pictureSizes();

/// The size of developed pictures. With `shrink`, each pixel of a half-size picture is the mean of shrink x
/// shrink cells. At least one pixel is left in each direction.
struct PictureForm {
    PictureSize size = PictureSize::half;
    std::uint32_t shrink = 1;
};

/// One developed row, colour by colour, in 16-bit values.
struct DevelopedRow {
    std::span<const std::uint16_t> red;
    std::span<const std::uint16_t> green;
    std::span<const std::uint16_t> blue;
};

/// Develops mosaics of one clip. Threads may call at the same time.
class Developer final {
  public:
    Developer(const Levels& levels, const Gains& gains, DisplayCurve curve);

    [[nodiscard]] DisplayCurve curve() const { return m_displayCurve; }

    /// Gives the rows of a picture to `take`, from the top. A row is valid until `take` returns.
    using RowTaker = std::function<void(const DevelopedRow& row)>;
    void developRows(const MosaicView& mosaic, const PictureForm& form, const RowTaker& take) const;

    /// The whole picture, with samples of 8 bits or of 16.
    template <class Sample>
    [[nodiscard]] RgbPicture<Sample> developAs(const MosaicView& mosaic, const PictureForm& form) const;
    [[nodiscard]] RgbImage develop(const MosaicView& mosaic, std::uint32_t shrink = 1) const {
        return developAs<std::uint8_t>(mosaic, {PictureSize::half, shrink});
    }

  private:
    LightScale m_scale;
    DisplayCurve m_displayCurve = DisplayCurve::gamma;
    std::span<const std::uint16_t> m_curve; // picture value by light
};

/// Width and height in pixels.
struct PictureDimensions {
    std::uint32_t width;
    std::uint32_t height;
};
[[nodiscard]] PictureDimensions developedDimensions(std::uint32_t mosaicWidth, std::uint32_t mosaicHeight,
                                                    const PictureForm& form);

/// Writes a row's pixels one after the other, red, green and blue each, with samples of 8 bits or of 16.
template <class Sample>
void interleave(const DevelopedRow& row, Sample* pixels);

/// Options for developed pictures.
struct DevelopOptions {
    DisplayCurve curve = DisplayCurve::gamma;
    Balance balance = Balance::automatic;
    WarningTaker warn{}; // of an estimated balance
    unsigned jobs = 0;   // workers of the estimate; 0: one per processor
};

/// Makes the developer for a whole clip. May read frames to estimate the white balance.
[[nodiscard]] Developer makeDeveloper(Clip& clip, const DevelopOptions& options);
