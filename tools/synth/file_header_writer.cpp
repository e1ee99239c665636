#include "tools/synth/file_header_writer.h"

#include "krw/format.h"
#include "krw/header_directory.h"
#include "krw/little_endian.h"
#include "tools/export/dng_constants.h"

#include <array>
#include <bit>
#include <cstddef>

namespace {

constexpr std::uint16_t kPhotometricCfa = 32803;

HeaderEntry bytes(std::uint16_t tag, const std::array<std::uint8_t, 4>& values) {
    return {tag, HeaderType::byte, 4, {values.begin(), values.end()}};
}

HeaderEntry words(std::uint16_t tag, const std::array<std::uint16_t, 2>& values) {
    HeaderEntry result{tag, HeaderType::word, 2, std::vector<std::uint8_t>(2 * values.size())};
    for (std::size_t i = 0; i < values.size(); ++i)
        storeLittleEndian(result.value, 2 * i, values[i]);
    return result;
}

HeaderEntry colorMatrix(std::uint16_t tag) {
    constexpr std::size_t kRational = 8;
    const std::size_t count = dng::kNeutralMatrix.size();
    HeaderEntry result{tag, HeaderType::signedRational, static_cast<std::uint32_t>(count),
                       std::vector<std::uint8_t>(kRational * count)};
    for (std::size_t i = 0; i < count; ++i) {
        storeLittleEndian(result.value, kRational * i, std::bit_cast<std::uint32_t>(dng::kNeutralMatrix[i]));
        storeLittleEndian(result.value, kRational * i + 4, std::uint32_t{dng::kMatrixScale});
    }
    return result;
}

} // namespace

std::vector<std::uint8_t> makeFileHeader(const FileHeaderFields& header) {
    const std::vector<HeaderEntry> entries{
        dwordEntry(254, 0), // NewSubfileType: the full picture
        dwordEntry(256, header.width),
        dwordEntry(257, header.height),
        wordEntry(krwfile::kTagBitsPerSample, header.bitsPerSample),
        wordEntry(krwfile::kTagCompression, header.compression),
        wordEntry(262, kPhotometricCfa),
        textEntry(271, header.make),
        textEntry(272, header.model),
        dwordEntry(273, header.picturesOffset), // StripOffsets
        wordEntry(274, 1),                      // Orientation: top left
        wordEntry(277, 1),                      // SamplesPerPixel
        dwordEntry(278, header.height),         // RowsPerStrip
        dwordEntry(279, header.picturesSize),   // StripByteCounts
        textEntry(305, "krw synth"),            // Software
        words(33421, {2, 2}),                   // CFARepeatPatternDim
        bytes(33422, dng::kCfaPattern),
        bytes(50706, dng::kVersion),
        bytes(50707, dng::kBackwardVersion),
        textEntry(50708, header.make + " " + header.model), // UniqueCameraModel
        dwordEntry(krwfile::kTagBlackLevel, header.blackLevel),
        dwordEntry(krwfile::kTagWhiteLevel, header.whiteLevel),
        colorMatrix(50721),
        privateDataEntry(header.privateDataOffset),
        wordEntry(50778, dng::kIlluminantD65), // CalibrationIlluminant1
    };
    return makeHeaderDirectory(entries);
}
