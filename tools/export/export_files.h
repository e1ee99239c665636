// The files of an export: names, formats, what goes into each, and whether one is whole.
#pragma once

#include "tools/clip/clip.h"
#include "tools/export/dng_metadata.h"
#include "tools/export/encoded_file.h"
#include "tools/export/tiff_files.h"
#include "tools/picture/develop.h"

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

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

/// The words of the command line; a format's word is its files' extension, too.
[[nodiscard]] const std::map<std::string, ExportFormat>& exportFormats();
[[nodiscard]] const std::map<std::string, NameStyle>& nameStyles();
[[nodiscard]] const std::map<std::string, Compression>& compressions();

/// "STEM_000012.dng" for frame 12.
[[nodiscard]] std::string numberedName(const std::string& stem, std::uint32_t frame, ExportFormat format);

/// What shapes the files of an export, beside the clip.
struct ExportFormatOptions {
    ExportFormat format = ExportFormat::dng;
    Compression compression = Compression::lossless; // of dng
    NameStyle names = NameStyle::number;
    DngColours colours;                       // of dng; the gains of png, too
    DisplayCurve curve = DisplayCurve::gamma; // of png
};

/// Any thread may call, any number at a time.
class ExportFiles final {
  public:
    /// `clip` must outlive this object.
    ExportFiles(const Clip& clip, std::string directory, const ExportFormatOptions& options);

    [[nodiscard]] std::string path(std::uint32_t frame) const;

    /// A frame's file. It may borrow the mosaic's samples.
    [[nodiscard]] EncodedFile encode(const MosaicView& mosaic, std::uint32_t frame) const;

    /// Bytes that a frame's file takes at least, as far as the clip tells before it is read; 0 for png.
    [[nodiscard]] std::uint64_t leastSize() const;

    /// What shapes the files, for the manifest.
    [[nodiscard]] nlohmann::ordered_json options() const;

  private:
    const Clip& m_clip;
    std::string m_directory;
    std::string m_stem;
    std::string m_extension;
    ExportFormatOptions m_options;
    DngMetadata m_metadata;
    std::optional<Developer> m_developer;
};
