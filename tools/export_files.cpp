#include "tools/export_files.h"

#include "tools/memory_tiff.h"
#include "tools/pgm.h"
#include "tools/png_file.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <utility>

namespace fs = std::filesystem;

const std::map<std::string, ExportFormat>& exportFormats() {
    static const std::map<std::string, ExportFormat> formats{{"dng", ExportFormat::dng},
                                                             {"tiff", ExportFormat::tiff},
                                                             {"pgm", ExportFormat::pgm},
                                                             {"png", ExportFormat::png}};
    return formats;
}

const std::map<std::string, NameStyle>& nameStyles() {
    static const std::map<std::string, NameStyle> styles{{"number", NameStyle::number},
                                                         {"timecode", NameStyle::timecode}};
    return styles;
}

ExportFiles::ExportFiles(const Clip& clip, std::string directory, const std::string& format, NameStyle names,
                         std::optional<Developer> developer)
    : m_clip(clip), m_directory(std::move(directory)), m_stem(fs::path(clip.path()).stem().string()),
      m_extension(format), m_format(exportFormats().at(format)), m_names(names),
      m_description(describeForDng(clip)), m_developer(std::move(developer)) {}

std::string ExportFiles::path(std::uint32_t frame) const {
    std::string label = fmt::format("{:06}", frame);
    if (m_names == NameStyle::timecode) {
        label = m_clip.timecode(frame);
        std::replace_if(
            label.begin(), label.end(), [](char c) { return c == ':' || c == ';'; }, '-');
    }
    return (fs::path(m_directory) / fmt::format("{}_{}.{}", m_stem, label, m_extension)).string();
}

std::vector<std::uint8_t> ExportFiles::encode(const MosaicView& mosaic, std::uint32_t frame) const {
    switch (m_format) {
    case ExportFormat::dng:
        return encodeDng(m_description, mosaic,
                         binaryTimecode(m_clip.timecodeNumber(frame), m_clip.counting()));
    case ExportFormat::tiff:
        return encodeTiff(m_description, mosaic);
    case ExportFormat::pgm:
        return encodePgm(mosaic);
    case ExportFormat::png:
        break;
    }
    return encodePng(m_developer.value().develop(mosaic));
}

bool ExportFiles::isWhole(const std::string& path) const {
    switch (m_format) {
    case ExportFormat::dng:
    case ExportFormat::tiff:
        return isWholeTiff(path, m_clip.width(), m_clip.height());
    case ExportFormat::png:
        return isWholePng(path);
    case ExportFormat::pgm:
        break;
    }
    std::error_code error;
    const std::uintmax_t size = fs::file_size(path, error);
    return !error && size == pgmSize(m_clip.width(), m_clip.height());
}
