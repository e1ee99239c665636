// The files of an export: names, formats, what goes into each, and whether one is whole.
#pragma once

#include "tools/clip.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

enum class ExportFormat {
    pgm, // the mosaic, 16-bit samples
};

enum class NameStyle {
    number,   // CLIP_000012.pgm
    timecode, // CLIP_01-00-00-12.pgm
};

/// The words of the command line for both.
[[nodiscard]] const std::map<std::string, ExportFormat>& exportFormats();
[[nodiscard]] const std::map<std::string, NameStyle>& nameStyles();

/// Any thread may call, any number at a time.
class ExportFiles final {
  public:
    /// `clip` must outlive this object.
    ExportFiles(const Clip& clip, const std::string& directory, ExportFormat format, NameStyle names);

    [[nodiscard]] std::string path(std::uint32_t frame) const;

    /// The bytes of a frame's file.
    [[nodiscard]] std::vector<std::uint8_t> encode(const MosaicView& mosaic, std::uint32_t frame) const;

    /// True when the file at `path` is there and was written to its end.
    [[nodiscard]] bool isWhole(const std::string& path) const;

  private:
    const Clip& m_clip;
    std::string m_directory;
    std::string m_stem;
    ExportFormat m_format;
    NameStyle m_names;
};
