// A clip's frames as the pictures that a caller asked for: mosaics, or developed pictures.
#pragma once

#include "tools/clip/clip.h"
#include "tools/clip/exif_values.h"
#include "tools/picture/develop.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

/// How a clip's frames are to be delivered.
struct PictureWishes {
    bool develop = false; // three developed channels instead of the mosaic
    PictureForm form;
    DisplayCurve curve = DisplayCurve::gamma;
    bool acceptDamaged = false;
};

/// Not for use by several threads at once. Keeps the picture that was last made, so that a frame is decoded
/// once, however few of its rows are asked for at a time.
class ClipPictures final {
  public:
    /// Throws std::runtime_error, "PATH: reason", when the clip does not open, or when its file is too small
    /// for a single picture of the size that it states and damaged ones are not accepted.
    ClipPictures(std::shared_ptr<const Plugin> plugin, const std::string& path, const PictureWishes& wishes);

    [[nodiscard]] const Clip& clip() const { return m_clip; }
    /// How it was shot.
    [[nodiscard]] const ExifValues& exif() const { return m_exif; }
    [[nodiscard]] const PictureWishes& wishes() const { return m_wishes; }
    [[nodiscard]] std::uint32_t width() const { return m_size.width; }
    [[nodiscard]] std::uint32_t height() const { return m_size.height; }
    [[nodiscard]] std::uint32_t channels() const { return m_wishes.develop ? 3 : 1; }

    /// Copies rows `begin` to `end` - 1 of a frame's picture: 16-bit samples, channels side by side, no
    /// padding between rows. `to` has room for them, at any address. Throws std::runtime_error, "PATH: frame
    /// N: reason", for a frame that cannot be read, or is damaged and not accepted; `to` can hold parts of
    /// the picture then.
    void copyRows(std::uint32_t frame, std::uint32_t begin, std::uint32_t end, void* to);

  private:
    [[nodiscard]] FrameReading make(std::uint32_t frame, std::span<std::uint16_t> picture);
    void require(std::uint32_t frame, const FrameReading& reading) const;

    std::shared_ptr<const Plugin> m_plugin; // outlives the clip
    PictureWishes m_wishes;
    Clip m_clip;
    ExifValues m_exif;
    PictureDimensions m_size;
    std::optional<Developer> m_developer; // made for the first frame that is developed
    std::optional<Picture> m_mosaic;      // what is developed

    std::optional<Picture> m_kept;
    std::uint32_t m_keptFrame = 0;
    std::optional<FrameReading> m_keptReading; // nothing while no frame is kept
};
