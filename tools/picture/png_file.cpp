#include "tools/picture/png_file.h"

#include <array>
#include <csetjmp>
#include <fmt/format.h>
#include <png.h>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

/// Speed before size.
constexpr int kCompressionLevel = 1;

/// The file, and the failure that libpng reported.
struct Output {
    std::vector<std::uint8_t> bytes;
    std::string failure;
};

void appendBytes(png_structp png, png_bytep data, png_size_t size) {
    auto& output = *static_cast<Output*>(png_get_io_ptr(png));
    try {
        output.bytes.insert(output.bytes.end(), data, data + size);
        return;
    } catch (const std::exception&) {
        output.failure = "out of memory"; // no exception may pass through libpng
    }
    png_error(png, "out of memory");
}

[[noreturn]] void noteFailure(png_structp png, png_const_charp message) {
    static_cast<Output*>(png_get_error_ptr(png))->failure = message;
    png_longjmp(png, 1);
}

void ignoreWarning(png_structp /*png*/, png_const_charp /*message*/) {}

/// Chunk cICP, which this libpng does not know: code points of ITU-T H.273 for the primaries and the transfer
/// characteristics of BT.709, RGB, full range.
void writeCodingPoints(png_structp png) {
    constexpr std::array<png_byte, 5> kName{'c', 'I', 'C', 'P', 0};
    constexpr std::array<png_byte, 4> kBt709{1, 1, 0, 1};
    png_write_chunk(png, kName.data(), kBt709.data(), kBt709.size());
}

/// Writes the picture. False when libpng failed. libpng leaves through longjmp, so nothing in here may have a
/// destructor.
template <class Sample>
bool writePicture(png_structp png, png_infop info, const RgbPicture<Sample>& picture, DisplayCurve curve) {
    if (setjmp(png_jmpbuf(png)) != 0) return false;
    png_set_IHDR(png, info, picture.width, picture.height, 8 * sizeof(Sample), PNG_COLOR_TYPE_RGB,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (curve == DisplayCurve::gamma) png_set_sRGB_gAMA_and_cHRM(png, info, PNG_sRGB_INTENT_PERCEPTUAL);
    if (curve == DisplayCurve::linear) png_set_gAMA(png, info, 1);
    png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
    png_set_compression_level(png, kCompressionLevel);
    png_write_info_before_PLTE(png, info);
    if (curve == DisplayCurve::rec709) writeCodingPoints(png);
    png_write_info(png, info);
    if (sizeof(Sample) > 1) png_set_swap(png);
    for (std::uint32_t row = 0; row < picture.height; ++row)
        png_write_row(
            png, reinterpret_cast<png_const_bytep>(&picture.pixels[std::size_t{3} * row * picture.width]));
    png_write_end(png, info);
    return true;
}

} // namespace

template <class Sample>
std::vector<std::uint8_t> encodePng(const RgbPicture<Sample>& picture, DisplayCurve curve) {
    Output output;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &output, noteFailure, ignoreWarning);
    png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
    if (info != nullptr) png_set_write_fn(png, &output, appendBytes, nullptr);
    const bool written = info != nullptr && writePicture(png, info, picture, curve);
    png_destroy_write_struct(&png, &info);
    if (!written)
        throw std::runtime_error(fmt::format("the PNG picture cannot be written: {}", output.failure));
    return std::move(output.bytes);
}

template std::vector<std::uint8_t> encodePng(const RgbImage&, DisplayCurve);
template std::vector<std::uint8_t> encodePng(const RgbImage16&, DisplayCurve);
