#include "tools/export/dng_metadata.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <ctime>
#include <filesystem>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>

namespace {

std::string fileDate(const std::string& path) {
    struct stat file {};
    if (stat(path.c_str(), &file) != 0) return {};
    return fmt::format("{:%Y:%m:%d %H:%M:%S}", fmt::gmtime(file.st_mtime));
}

std::string sceneText(const Clip& clip) {
    struct Part {
        const char* label;
        InfoText item;
    };
    constexpr std::array kParts{Part{"project", InfoText::project}, Part{"scene", InfoText::scene},
                                Part{"take", InfoText::take}, Part{"reel", InfoText::reel}};
    std::string text;
    for (const Part& part : kParts) {
        const std::string value = clip.information().text(part.item);
        if (!value.empty()) text += fmt::format("{} {}, ", part.label, value);
    }
    return text + fmt::format("clip {}", std::filesystem::path(clip.path()).filename().string());
}

/// The image description: what no other tag of the file can hold.
std::string describe(const Clip& clip, const DngMetadata& metadata) {
    std::string text = sceneText(clip);
    if (metadata.exif.colourTemperature)
        text += fmt::format("; white balance {} K", *metadata.exif.colourTemperature);
    if (metadata.exif.dateTimeOriginal.empty()) text += "; DateTime is the date of the clip's file";
    if (metadata.colours.matrix == dng::neutralMatrix())
        text += "; neutral colour matrix, no camera calibration";
    return asciiText(std::move(text));
}

} // namespace

std::array<float, 9> readColourMatrix(const std::string& path) {
    std::ifstream input(path);
    if (!input) throw std::runtime_error(fmt::format("{}: {}", path, std::generic_category().message(errno)));
    std::array<float, 9> matrix{};
    std::size_t count = 0;
    for (std::string line; std::getline(input, line);) {
        line.erase(std::min(line.find('#'), line.size()));
        std::ranges::replace(line, ',', ' ');
        std::istringstream words(line);
        for (std::string word; words >> word; ++count) {
            std::istringstream text(word);
            float value = 0;
            if (!(text >> value) || !text.eof() || !std::isfinite(value))
                throw std::runtime_error(fmt::format("{}: \"{}\" is no number", path, word));
            if (count < matrix.size()) matrix[count] = value;
        }
    }
    if (count != matrix.size())
        throw std::runtime_error(fmt::format("{}: {} numbers; a colour matrix has 9", path, count));
    return matrix;
}

DngMetadata dngMetadata(const Clip& clip, const DngColours& colours) {
    const ClipInformation& information = clip.information();
    DngMetadata metadata;
    metadata.exif = exifValues(clip);
    metadata.uniqueCameraModel = metadata.exif.make + " " + metadata.exif.model;
    metadata.dateTime = metadata.exif.dateTimeOriginal;
    if (metadata.dateTime.empty()) metadata.dateTime = fileDate(clip.path());
    metadata.black = static_cast<float>(information.number(InfoNumber::rawBlackCodeValue));
    metadata.white = information.number(InfoNumber::rawWhiteCodeValue);
    metadata.colours = colours;
    metadata.description = describe(clip, metadata);
    return metadata;
}
