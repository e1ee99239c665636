// The frames of a clip in the form that a caller asked for: mosaics or developed pictures.
#pragma once

#include "tools/clip/clip.h"
#include "tools/clip/exif_values.h"
#include "tools/picture/develop.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

/// The form in which frames are delivered.
struct PictureOptions {
    bool develop = false; // three developed channels instead of the mosaic
    PictureForm form;
    DisplayCurve curve = DisplayCurve::gamma;
    bool acceptDamaged = false;
};

/// Not thread-safe. Keeps the last picture, so that a frame is decoded once, even when its rows are asked for
/// in small groups.
class ClipPictures final {
  public:
    /// Throws std::runtime_error, "PATH: reason", when the clip does not open. Throws it also when damaged
    /// frames are not accepted and the file is too small for one picture of the stated size.
    ClipPictures(std::shared_ptr<const Plugin> plugin, const std::string& path,
                 const PictureOptions& options);

    [[nodiscard]] const Clip& clip() const { return m_clip; }
    /// Camera settings of the clip.
    [[nodiscard]] const ExifValues& exif() const { return m_exif; }
    [[nodiscard]] const PictureOptions& options() const { return m_options; }
    [[nodiscard]] std::uint32_t width() const { return m_size.width; }
    [[nodiscard]] std::uint32_t height() const { return m_size.height; }
    [[nodiscard]] std::uint32_t channels() const { return m_options.develop ? 3 : 1; }

    /// Copies rows `begin` to `end` - 1 of a frame's picture to `to`, which has room for them and may be
    /// unaligned: 16-bit samples, the channels of a pixel side by side, no padding between rows. Throws
    /// std::runtime_error, "PATH: frame N: reason", for a frame that is unreadable, or damaged and not
    /// accepted; `to` may then hold a part of the picture.
    void copyRows(std::uint32_t frame, std::uint32_t begin, std::uint32_t end, void* to);

  private:
    [[nodiscard]] FrameReading make(std::uint32_t frame, std::span<std::uint16_t> picture);
    void require(std::uint32_t frame, const FrameReading& reading) const;

    std::shared_ptr<const Plugin> m_plugin; // outlives the clip
    PictureOptions m_options;
    Clip m_clip;
    ExifValues m_exif;
    PictureDimensions m_size;
    std::optional<Developer> m_developer; // made when the first frame is developed
    std::optional<Picture> m_mosaic;      // the mosaic that is developed

    std::optional<Picture> m_kept;
    std::uint32_t m_keptFrame = 0;
    std::optional<FrameReading> m_keptReading; // nothing while no frame is kept
};
