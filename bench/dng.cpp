#include "bench/dng.h"

#include "bench/lossless_jpeg.h"
#include "tools/little_endian.h"

#include <string_view>

namespace {

constexpr std::uint16_t kByte = 1;
constexpr std::uint16_t kAscii = 2;
constexpr std::uint16_t kShort = 3;
constexpr std::uint16_t kLong = 4;

/// A directory entry whose value fits into its four bytes, or is a text.
struct Entry {
    std::uint16_t tag;
    std::uint16_t type;
    std::uint32_t count;
    std::uint32_t value;
    std::string_view text = {};
};

template <std::unsigned_integral Value>
void append(std::vector<std::uint8_t>& bytes, Value value) {
    bytes.resize(bytes.size() + sizeof value);
    storeLittleEndian<Value>(bytes, bytes.size() - sizeof value, value);
}

} // namespace

std::vector<std::uint8_t> encodeDng(std::span<const std::uint16_t> samples, std::uint32_t width,
                                    std::uint32_t height) {
    const auto strip = encodeLosslessJpeg({samples, width / 2, height, 2});
    constexpr std::uint32_t kDirectory = 8;
    constexpr std::uint32_t kTextOffset = 512;
    constexpr std::uint32_t kStripOffset = 1024;
    constexpr std::string_view kCamera{"Benchmark\0", 10};
    const Entry entries[] = {
        {254, kLong, 1, 0}, // NewSubfileType
        {256, kLong, 1, width},
        {257, kLong, 1, height},
        {258, kShort, 1, 16},    // BitsPerSample
        {259, kShort, 1, 7},     // Compression: JPEG
        {262, kShort, 1, 32803}, // PhotometricInterpretation: colour filter array
        {271, kAscii, 0, 0, kCamera},
        {272, kAscii, 0, 0, kCamera},
        {273, kLong, 1, kStripOffset},
        {277, kShort, 1, 1}, // SamplesPerPixel
        {278, kLong, 1, height},
        {279, kLong, 1, static_cast<std::uint32_t>(strip.size())},
        {33421, kShort, 2, 0x00020002}, // CFARepeatPatternDim
        {33422, kByte, 4, 0x01020001},  // CFAPattern: green, red, blue, green
        {50706, kByte, 4, 0x00000401},  // DNGVersion
        {50708, kAscii, 0, 0, kCamera}, // UniqueCameraModel
    };

    std::vector<std::uint8_t> file{'I', 'I', 42, 0};
    std::vector<std::uint8_t> texts;
    append(file, kDirectory);
    append(file, static_cast<std::uint16_t>(std::size(entries)));
    for (const Entry& entry : entries) {
        append(file, entry.tag);
        append(file, entry.type);
        append(file, entry.text.empty() ? entry.count : static_cast<std::uint32_t>(entry.text.size()));
        append(file,
               entry.text.empty() ? entry.value : kTextOffset + static_cast<std::uint32_t>(texts.size()));
        texts.insert(texts.end(), entry.text.begin(), entry.text.end());
    }
    append(file, std::uint32_t{0});
    file.resize(kTextOffset);
    file.insert(file.end(), texts.begin(), texts.end());
    file.resize(kStripOffset);
    file.insert(file.end(), strip.begin(), strip.end());
    return file;
}
