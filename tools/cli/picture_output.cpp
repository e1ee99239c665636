#include "tools/cli/picture_output.h"

#include "tools/cli/console.h"
#include "tools/cli/usage_error.h"
#include "tools/export/output_file.h"
#include "tools/export/rgb_tiff.h"
#include "tools/picture/png_file.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <fmt/format.h>
#include <stdexcept>
#include <string_view>

namespace {

/// The extension in lower case, with its dot.
std::string extensionOf(const std::string& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    std::ranges::transform(extension, extension.begin(),
                           [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return extension;
}

bool isTiffName(const std::string& path) {
    const std::string extension = extensionOf(path);
    return extension == ".tif" || extension == ".tiff";
}

} // namespace

bool isStandardOutput(const std::string& path) {
    constexpr std::array<std::string_view, 4> kNames{"-", "/dev/stdout", "/dev/fd/1", "/proc/self/fd/1"};
    return std::ranges::find(kNames, path) != kNames.end();
}

void checkOutput(const std::string& path, bool overwrite) {
    if (!overwrite && !isStream(path) && std::filesystem::exists(path))
        throw std::runtime_error(fmt::format("{}: exists already (--overwrite replaces it)", path));
}

void makeFolder(const std::string& path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    if (error) throw std::runtime_error(fmt::format("{}: {}", path, error.message()));
}

void checkPictureOutput(const std::string& path, bool overwrite) {
    if (isStandardOutput(path)) {
        if (console::resultsGoToTerminal())
            throw UsageError("standard output is a terminal; a picture goes to a pipe or into a file");
        return;
    }
    const std::string extension = extensionOf(path);
    if (!extension.empty() && extension != ".png" && !isTiffName(path))
        throw UsageError(fmt::format(
            "{}: the name of a PNG file ends in .png, that of a TIFF file in .tif or .tiff", path));
    checkOutput(path, overwrite);
}

template <class Sample>
void writePicture(const std::string& path, const RgbPicture<Sample>& picture, bool overwrite,
                  DisplayCurve curve) {
    EncodedFile content;
    if (isTiffName(path))
        content = encodeRgbTiff(picture);
    else
        content.append(encodePng(picture, curve));
    if (isStandardOutput(path)) {
        for (const auto& part : content.parts())
            if (!console::write(part)) return; // the reader has seen what it wanted
        return;
    }
    OutputFile file(path, {.existing = overwrite ? Existing::replace : Existing::keep});
    file.write(content.parts());
    file.finish();
}

template void writePicture(const std::string&, const RgbImage&, bool, DisplayCurve);
template void writePicture(const std::string&, const RgbImage16&, bool, DisplayCurve);
