#include "tools/synth/file_header_writer.h"

#include "krw/format.h"
#include "krw/little_endian.h"
#include "tools/export/dng_constants.h"

#include <array>
#include <bit>
#include <concepts>
#include <cstddef>
#include <span>
#include <string_view>

namespace {

// Field types of TIFF 6.0.
enum class Type : std::uint16_t { byte = 1, ascii = 2, word = 3, dword = 4, signedRational = 10 };

constexpr std::uint16_t kTiffIdentifier = 42;
constexpr std::size_t kInlineSize = 4; // longer values lie behind the directory
constexpr std::uint16_t kPhotometricCfa = 32803;

struct Entry {
    std::uint16_t tag;
    Type type;
    std::uint32_t count;
    std::vector<std::uint8_t> value;
};

template <std::unsigned_integral Value>
void append(std::vector<std::uint8_t>& bytes, Value value) {
    bytes.resize(bytes.size() + sizeof value);
    storeLittleEndian(bytes, bytes.size() - sizeof value, value);
}

template <std::unsigned_integral Value>
Entry entry(std::uint16_t tag, Type type, std::initializer_list<Value> values) {
    Entry result{tag, type, static_cast<std::uint32_t>(values.size()), {}};
    for (const Value value : values)
        append(result.value, value);
    return result;
}

Entry word(std::uint16_t tag, std::uint16_t value) {
    return entry(tag, Type::word, {value});
}
Entry dword(std::uint16_t tag, std::uint32_t value) {
    return entry(tag, Type::dword, {value});
}

Entry bytes(std::uint16_t tag, const std::array<std::uint8_t, 4>& values) {
    return {tag, Type::byte, 4, {values.begin(), values.end()}};
}

Entry text(std::uint16_t tag, std::string_view value) {
    Entry result{
        tag, Type::ascii, static_cast<std::uint32_t>(value.size() + 1), {value.begin(), value.end()}};
    result.value.push_back(0);
    return result;
}

Entry colorMatrix(std::uint16_t tag) {
    Entry result{tag, Type::signedRational, dng::kNeutralMatrix.size(), {}};
    for (const std::int32_t coefficient : dng::kNeutralMatrix) {
        append(result.value, std::bit_cast<std::uint32_t>(coefficient));
        append(result.value, std::uint32_t{dng::kMatrixScale});
    }
    return result;
}

// In ascending order, as TIFF demands.
std::vector<Entry> makeEntries(const FileHeaderFields& header) {
    // The entry states size and place of a block that lies elsewhere.
    Entry privateData = dword(krwfile::kTagDngPrivateData, header.privateDataOffset);
    privateData.type = Type::byte;
    privateData.count = krwfile::danraw::kSize;
    return {
        dword(254, 0), // NewSubfileType: the full picture
        dword(256, header.width),
        dword(257, header.height),
        word(krwfile::kTagBitsPerSample, header.bitsPerSample),
        word(krwfile::kTagCompression, header.compression),
        word(262, kPhotometricCfa),
        text(271, header.make),
        text(272, header.model),
        dword(273, header.picturesOffset),               // StripOffsets
        word(274, 1),                                    // Orientation: top left
        word(277, 1),                                    // SamplesPerPixel
        dword(278, header.height),                       // RowsPerStrip
        dword(279, header.picturesSize),                 // StripByteCounts
        text(305, "krw synth"),                          // Software
        entry<std::uint16_t>(33421, Type::word, {2, 2}), // CFARepeatPatternDim
        bytes(33422, dng::kCfaPattern),
        bytes(50706, dng::kVersion),
        bytes(50707, dng::kBackwardVersion),
        text(50708, header.make + " " + header.model), // UniqueCameraModel
        dword(krwfile::kTagBlackLevel, header.blackLevel),
        dword(krwfile::kTagWhiteLevel, header.whiteLevel),
        colorMatrix(50721),
        privateData,
        word(50778, dng::kIlluminantD65), // CalibrationIlluminant1
    };
}

} // namespace

std::vector<std::uint8_t> makeFileHeader(const FileHeaderFields& header) {
    const std::vector<Entry> entries = makeEntries(header);
    std::vector<std::uint8_t> out;
    append(out, krwfile::kLittleEndianMark);
    append(out, kTiffIdentifier);
    append(out, std::uint32_t{krwfile::kEntryCountOffset});
    append(out, static_cast<std::uint16_t>(entries.size()));

    std::vector<std::uint8_t> behind;
    const std::size_t directoryEnd = krwfile::kEntriesOffset + entries.size() * krwfile::kEntrySize + 4;
    for (const Entry& item : entries) {
        append(out, item.tag);
        append(out, static_cast<std::uint16_t>(item.type));
        append(out, item.count);
        if (item.value.size() > kInlineSize) {
            append(out, static_cast<std::uint32_t>(directoryEnd + behind.size()));
            behind.insert(behind.end(), item.value.begin(), item.value.end());
            behind.resize((behind.size() + 1) / 2 * 2); // values begin on word boundaries
        } else {
            out.insert(out.end(), item.value.begin(), item.value.end());
            out.resize(out.size() + kInlineSize - item.value.size());
        }
    }
    append(out, std::uint32_t{0}); // no further directory
    out.insert(out.end(), behind.begin(), behind.end());
    return out;
}
