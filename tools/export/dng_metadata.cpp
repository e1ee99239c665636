#include "tools/export/dng_metadata.h"

#include <algorithm>
#include <array>
#include <cctype>
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

std::string ascii(std::string text) {
    for (char& character : text)
        if (std::isprint(static_cast<unsigned char>(character)) == 0) character = '?';
    return text;
}

/// A date as cameras write it ("2015-06-12T10:11:12..."), the way TIFF wants it; empty for anything else.
std::string tiffDate(const std::string& date) {
    constexpr std::string_view kShape = "dddd-dd-ddTdd:dd:dd";
    if (date.size() < kShape.size()) return {};
    for (std::size_t index = 0; index < kShape.size(); ++index) {
        const bool digit = std::isdigit(static_cast<unsigned char>(date[index])) != 0;
        if (kShape[index] == 'd' ? !digit : date[index] != kShape[index]) return {};
    }
    return fmt::format("{}:{}:{} {}", date.substr(0, 4), date.substr(5, 2), date.substr(8, 2),
                       date.substr(11, 8));
}

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
    metadata.make = ascii(information.text(InfoText::manufacturer));
    metadata.model = ascii(information.text(InfoText::modelName));
    metadata.serialNumber = ascii(information.text(InfoText::serialNo));
    metadata.uniqueCameraModel = metadata.make + " " + metadata.model;
    metadata.dateTime = tiffDate(information.text(InfoText::creationDate));
    if (metadata.dateTime.empty()) metadata.dateTime = fileDate(clip.path());
    metadata.description = ascii(sceneText(clip));
    if (colours.matrix == dng::neutralMatrix())
        metadata.description += "; neutral colour matrix, no camera calibration";
    metadata.reel = ascii(information.text(InfoText::reel));
    metadata.black = static_cast<float>(information.number(InfoNumber::rawBlackCodeValue));
    metadata.white = information.number(InfoNumber::rawWhiteCodeValue);
    metadata.colours = colours;
    metadata.rate = clip.video().stream.dwRate;
    metadata.scale = clip.video().stream.dwScale;
    return metadata;
}
