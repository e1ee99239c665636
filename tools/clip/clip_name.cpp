#include "tools/clip/clip_name.h"

#include <algorithm>
#include <cctype>

bool isClipName(const std::filesystem::path& path) {
    std::string extension = path.extension().string();
    std::ranges::transform(extension, extension.begin(),
                           [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return extension == ".krw";
}
