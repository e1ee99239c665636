#include "tools/picture/png_file.h"

#include "tools/picture/png_rows.h"

#include <algorithm>
#include <array>
#include <csetjmp>
#include <fmt/format.h>
#include <png.h>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

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

/// Writes the compressed rows and the end. libpng would compress rows by itself, with zlib, and takes its
/// chunks IDAT from there only; so it gets these as chunks that it does not know.
void writeRows(png_structp png, std::span<const std::uint8_t> rows) {
    constexpr std::array<png_byte, 5> kData{'I', 'D', 'A', 'T', 0};
    constexpr std::array<png_byte, 5> kEnd{'I', 'E', 'N', 'D', 0};
    constexpr std::size_t kChunk = 1U << 20U;
    for (; !rows.empty(); rows = rows.subspan(std::min(kChunk, rows.size())))
        png_write_chunk(png, kData.data(), rows.data(), std::min(kChunk, rows.size()));
    png_write_chunk(png, kEnd.data(), nullptr, 0);
}

/// Writes a picture of which `rows` holds the compressed rows. False when libpng failed. libpng leaves
/// through longjmp, so nothing in here may have a destructor.
template <class Sample>
bool writePicture(png_structp png, png_infop info, const RgbPicture<Sample>& picture,
                  std::span<const std::uint8_t> rows, DisplayCurve curve) {
    if (setjmp(png_jmpbuf(png)) != 0) return false;
    png_set_IHDR(png, info, picture.width, picture.height, 8 * sizeof(Sample), PNG_COLOR_TYPE_RGB,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (curve == DisplayCurve::gamma) png_set_sRGB_gAMA_and_cHRM(png, info, PNG_sRGB_INTENT_PERCEPTUAL);
    if (curve == DisplayCurve::linear) png_set_gAMA(png, info, 1);
    png_write_info_before_PLTE(png, info);
    if (curve == DisplayCurve::rec709) writeCodingPoints(png);
    png_write_info(png, info);
    writeRows(png, rows);
    return true;
}

} // namespace

template <class Sample>
std::vector<std::uint8_t> encodePng(const RgbPicture<Sample>& picture, DisplayCurve curve) {
    const std::vector<std::uint8_t> rows = compressRows(picture);
    constexpr std::size_t kRest = 1024; // all but the rows, roughly
    Output output;
    output.bytes.reserve(rows.size() + kRest);
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &output, noteFailure, ignoreWarning);
    png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
    if (info != nullptr) png_set_write_fn(png, &output, appendBytes, nullptr);
    const bool written = info != nullptr && writePicture(png, info, picture, rows, curve);
    png_destroy_write_struct(&png, &info);
    if (!written)
        throw std::runtime_error(fmt::format("the PNG picture cannot be written: {}", output.failure));
    return std::move(output.bytes);
}

template std::vector<std::uint8_t> encodePng(const RgbImage&, DisplayCurve);
template std::vector<std::uint8_t> encodePng(const RgbImage16&, DisplayCurve);
