#include "tools/png_file.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <fstream>
#include <png.h>
#include <stdexcept>

namespace {

constexpr std::array<std::uint8_t, 8> kSignature{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
constexpr std::array<std::uint8_t, 12> kEnd{0, 0, 0, 0, 'I', 'E', 'N', 'D', 0xAE, 0x42, 0x60, 0x82};

template <std::size_t Size>
std::array<std::uint8_t, Size> bytesAt(std::istream& input, std::streamoff offset,
                                       std::ios_base::seekdir from) {
    std::array<std::uint8_t, Size> bytes{};
    input.seekg(offset, from);
    input.read(reinterpret_cast<char*>(bytes.data()), Size);
    return bytes;
}

} // namespace

std::vector<std::uint8_t> encodePng(const RgbImage& image) {
    png_image header{};
    header.version = PNG_IMAGE_VERSION;
    header.width = image.width;
    header.height = image.height;
    header.format = PNG_FORMAT_RGB;
    header.flags = PNG_IMAGE_FLAG_FAST;
    png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(header);
    std::vector<std::uint8_t> bytes(size);
    if (png_image_write_to_memory(&header, bytes.data(), &size, 0, image.pixels.data(), 0, nullptr) == 0)
        throw std::runtime_error(fmt::format("the PNG picture cannot be written: {}", header.message));
    bytes.resize(size);
    return bytes;
}

bool isWholePng(const std::string& path) {
    std::ifstream input(path, std::ios::binary);
    return bytesAt<kSignature.size()>(input, 0, std::ios::beg) == kSignature &&
           bytesAt<kEnd.size()>(input, -static_cast<std::streamoff>(kEnd.size()), std::ios::end) == kEnd &&
           input.good();
}
