#include "tools/export/export_files.h"

#include "tools/clip/binary_timecode.h"
#include "tools/export/memory_tiff.h"
#include "tools/export/pgm.h"
#include "tools/picture/png_file.h"

#include <filesystem>
#include <fmt/format.h>

namespace fs = std::filesystem;

const ChoiceWords<ExportFormat>& exportFormats() {
    static const ChoiceWords<ExportFormat> formats{{"dng", ExportFormat::dng},
                                                   {"tiff", ExportFormat::tiff},
                                                   {"pgm", ExportFormat::pgm},
                                                   {"png", ExportFormat::png}};
    return formats;
}

const ChoiceWords<NameStyle>& nameStyles() {
    static const ChoiceWords<NameStyle> styles{{"number", NameStyle::number},
                                               {"timecode", NameStyle::timecode}};
    return styles;
}

const ChoiceWords<Compression>& compressions() {
    static const ChoiceWords<Compression> names{{"none", Compression::none},
                                                {"lossless", Compression::lossless}};
    return names;
}

std::string numberedName(const std::string& stem, std::uint32_t frame, ExportFormat format) {
    return fmt::format("{}_{:06}.{}", stem, frame, wordOf(exportFormats(), format));
}

ExportFiles::ExportFiles(const Clip& clip, std::string directory, const ExportFormatOptions& options)
    : m_clip(clip), m_directory(std::move(directory)), m_stem(fs::path(clip.path()).stem().string()),
      m_extension(wordOf(exportFormats(), options.format)), m_options(options),
      m_metadata(dngMetadata(clip, options.colours)) {
    if (options.format == ExportFormat::png)
        m_developer.emplace(levelsOf(clip), options.colours.gains, options.curve);
}

std::string ExportFiles::path(std::uint32_t frame) const {
    const fs::path directory(m_directory);
    if (m_options.names == NameStyle::number)
        return (directory / numberedName(m_stem, frame, m_options.format)).string();
    std::string label = m_clip.timecode(frame);
    std::replace_if(
        label.begin(), label.end(), [](char c) { return c == ':' || c == ';'; }, '-');
    return (directory / fmt::format("{}_{}.{}", m_stem, label, m_extension)).string();
}

EncodedFile ExportFiles::encode(const MosaicView& mosaic, std::uint32_t frame) const {
    EncodedFile file;
    switch (m_options.format) {
    case ExportFormat::dng:
        return encodeCinemaDng(
            m_metadata, mosaic,
            binaryTimecode(m_clip.timecodeNumber(frame), m_clip.counting(), m_metadata.exif.userBits),
            m_options.compression);
    case ExportFormat::tiff:
        return encodeGreyTiff(m_metadata, mosaic);
    case ExportFormat::pgm:
        file.append(encodePgm(mosaic));
        break;
    case ExportFormat::png:
        file.append(encodePng(m_developer.value().develop(mosaic), m_developer->curve()));
        break;
    }
    return file;
}

std::uint64_t ExportFiles::leastSize() const {
    if (m_options.format == ExportFormat::png) return 0;
    if (m_options.format != ExportFormat::dng || m_options.compression == Compression::none)
        return m_clip.frameBytes();
    // A compressed frame is as large as the clip's own coded one, give or take a hundredth.
    std::error_code error;
    const std::uintmax_t size = fs::file_size(m_clip.path(), error);
    return error ? 0 : size / m_clip.frames() / 100 * 98;
}

nlohmann::ordered_json ExportFiles::options() const {
    nlohmann::ordered_json options;
    options["format"] = m_extension;
    options["names"] = wordOf(nameStyles(), m_options.names);
    if (m_options.format == ExportFormat::png) options["curve"] = wordOf(displayCurves(), m_options.curve);
    if (m_options.format == ExportFormat::png || m_options.format == ExportFormat::dng)
        options["gains"] = m_options.colours.gains;
    if (m_options.format == ExportFormat::dng) {
        options["compression"] = wordOf(compressions(), m_options.compression);
        options["matrix"] = m_options.colours.matrix;
    }
    return options;
}
