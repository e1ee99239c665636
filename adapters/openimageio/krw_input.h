// KRW clips for OpenImageIO: a frame is a subimage.
#pragma once

#include "adapters/openimageio/hints.h"

#include <OpenImageIO/imageio.h>
#include <memory>
#include <string>

/// One open clip. Thread-safe: calls on one object wait for each other, different objects work in parallel. A
/// call that fails returns false and sets the error message of the object. No exception leaves it.
class KrwInput final : public OIIO::ImageInput {
  public:
    using ImageInput::open;
    using ImageInput::read_image;
    using ImageInput::read_native_scanlines;
    using ImageInput::spec;
    using ImageInput::valid_file;

    [[nodiscard]] const char* format_name() const override { return "krw"; }
    [[nodiscard]] int supports(OIIO::string_view feature) const override;

    /// Checks a few places of the file. Opens no clip.
    [[nodiscard]] bool valid_file(const std::string& filename) const override;
    bool open(const std::string& name, OIIO::ImageSpec& newspec) override;
    bool open(const std::string& name, OIIO::ImageSpec& newspec, const OIIO::ImageSpec& config) override;
    bool close() override;

    [[nodiscard]] int current_subimage() const override;
    /// Reads nothing.
    bool seek_subimage(int subimage, int miplevel) override;
    /// Neither of the two changes the current subimage.
    OIIO::ImageSpec spec(int subimage, int miplevel) override;
    OIIO::ImageSpec spec_dimensions(int subimage, int miplevel) override;

    bool read_native_scanline(int subimage, int miplevel, int y, int z, void* data) override;
    bool read_native_scanlines(int subimage, int miplevel, int ybegin, int yend, int z, void* data) override;
    /// Decodes a whole picture straight into the caller's memory when the caller wants all channels as 16-bit
    /// samples without gaps. Otherwise OpenImageIO reads rows and converts them.
    bool read_image(int subimage, int miplevel, int chbegin, int chend, OIIO::TypeDesc format, void* data,
                    OIIO::stride_t xstride, OIIO::stride_t ystride, OIIO::stride_t zstride,
                    OIIO::ProgressCallback progress, void* progressData) override;

  private:
    /// Runs `work` under the lock of the object, and turns exceptions into error messages.
    template <class Work>
    [[nodiscard]] bool guarded(const Work& work);

    [[nodiscard]] bool isThere(int subimage, int miplevel) const;
    [[nodiscard]] std::uint32_t frameOf(int subimage) const;

    std::unique_ptr<ClipPictures> m_pictures;
    Hints m_hints;
    int m_subimages = 0;
    int m_subimage = 0;
};
