#include "tools/export_files.h"

#include "tools/pgm.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>

namespace fs = std::filesystem;

const std::map<std::string, ExportFormat>& exportFormats() {
    static const std::map<std::string, ExportFormat> formats{{"pgm", ExportFormat::pgm}};
    return formats;
}

const std::map<std::string, NameStyle>& nameStyles() {
    static const std::map<std::string, NameStyle> styles{{"number", NameStyle::number},
                                                         {"timecode", NameStyle::timecode}};
    return styles;
}

ExportFiles::ExportFiles(const Clip& clip, const std::string& directory, ExportFormat format, NameStyle names)
    : m_clip(clip), m_directory(directory), m_stem(fs::path(clip.path()).stem().string()), m_format(format),
      m_names(names) {}

std::string ExportFiles::path(std::uint32_t frame) const {
    std::string label = fmt::format("{:06}", frame);
    if (m_names == NameStyle::timecode) {
        label = m_clip.timecode(frame);
        std::replace_if(
            label.begin(), label.end(), [](char c) { return c == ':' || c == ';'; }, '-');
    }
    return (fs::path(m_directory) / fmt::format("{}_{}.{}", m_stem, label, "pgm")).string();
}

std::vector<std::uint8_t> ExportFiles::encode(const MosaicView& mosaic, std::uint32_t /*frame*/) const {
    return encodePgm(mosaic);
}

bool ExportFiles::isWhole(const std::string& path) const {
    std::error_code error;
    const std::uintmax_t size = fs::file_size(path, error);
    return !error && size > m_clip.frameBytes();
}
