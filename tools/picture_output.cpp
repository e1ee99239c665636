#include "tools/picture_output.h"

#include "tools/output_file.h"
#include "tools/png_file.h"

#include <filesystem>
#include <fmt/format.h>
#include <stdexcept>

void checkPictureOutput(const std::string& path, bool overwrite) {
    if (!overwrite && std::filesystem::exists(path))
        throw std::runtime_error(fmt::format("{}: exists already (--overwrite replaces it)", path));
}

void writePicture(const std::string& path, const RgbImage& image) {
    const std::vector<std::uint8_t> bytes = encodePng(image);
    OutputFile file(path);
    file.write(bytes);
    file.finish();
}
