// The files of an export: names, formats, what goes into each, and whether one is whole.
#pragma once

#include "tools/clip.h"
#include "tools/develop.h"
#include "tools/dng.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

enum class ExportFormat {
    dng,  // CinemaDNG: the mosaic with camera, timecode and frame rate
    tiff, // the mosaic as a grey picture
    pgm,  // the mosaic, bare
    png,  // developed, half size
};

enum class NameStyle {
    number,   // CLIP_000012.dng
    timecode, // CLIP_01-00-00-12.dng
};

/// The words of the command line for both; a format's word is its files' extension, too.
[[nodiscard]] const std::map<std::string, ExportFormat>& exportFormats();
[[nodiscard]] const std::map<std::string, NameStyle>& nameStyles();

/// Any thread may call, any number at a time.
class ExportFiles final {
  public:
    /// `clip` must outlive this object. `format` is one of the words. `developer` is what png needs.
    ExportFiles(const Clip& clip, std::string directory, const std::string& format, NameStyle names,
                std::optional<Developer> developer);

    [[nodiscard]] std::string path(std::uint32_t frame) const;

    /// The bytes of a frame's file.
    [[nodiscard]] std::vector<std::uint8_t> encode(const MosaicView& mosaic, std::uint32_t frame) const;

    /// True when the file at `path` is there and was written to its end.
    [[nodiscard]] bool isWhole(const std::string& path) const;

  private:
    const Clip& m_clip;
    std::string m_directory;
    std::string m_stem;
    std::string m_extension;
    ExportFormat m_format;
    NameStyle m_names;
    DngDescription m_description;
    std::optional<Developer> m_developer;
};
