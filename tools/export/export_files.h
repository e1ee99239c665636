// The files of an export: names, formats, contents.
#pragma once

#include "tools/clip/clip.h"
#include "tools/export/dng_metadata.h"
#include "tools/export/encoded_file.h"
#include "tools/export/tiff_files.h"
#include "tools/picture/choice_words.h"
#include "tools/picture/develop.h"

#include <cstdint>
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

/// Words of the command line and their values. The word for a format is also the extension of its files.
[[nodiscard]] const ChoiceWords<ExportFormat>& exportFormats();
[[nodiscard]] const ChoiceWords<NameStyle>& nameStyles();
[[nodiscard]] const ChoiceWords<Compression>& compressions();

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

/// Names and encodes the files of one clip. Threads may call at the same time.
class ExportFiles final {
  public:
    /// `clip` must outlive this object.
    ExportFiles(const Clip& clip, std::string directory, const ExportFormatOptions& options);

    [[nodiscard]] std::string path(std::uint32_t frame) const;

    /// Encodes a frame's file. The file may borrow the samples of the mosaic.
    [[nodiscard]] EncodedFile encode(const MosaicView& mosaic, std::uint32_t frame) const;

    /// A lower estimate of the bytes of a frame's file, made before the frame is read; 0 for png.
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
