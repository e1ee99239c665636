#include "tools/synth/clip_writer.h"

#include "krw/little_endian.h"
#include "krw/stored_table.h"
#include "tools/clip/timecode.h"
#include "tools/synth/file_header_writer.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <fmt/format.h>
#include <limits>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace {

namespace danraw = krwfile::danraw;
namespace plane = krwfile::plane;

constexpr std::uint64_t kMax32 = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint32_t kMaxSample = 65535;
constexpr unsigned kMaxShift = 15; // a larger one leaves no bit of a 16-bit sample

struct TextSource {
    danraw::TextField field;
    std::string ClipDescription::*text;
    std::string_view name;
};

constexpr std::array kTexts{
    TextSource{danraw::kManufacturer, &ClipDescription::manufacturer, "manufacturer"},
    TextSource{danraw::kText304, &ClipDescription::text304, "text at 304"},
    TextSource{danraw::kSerialNo, &ClipDescription::serialNo, "serial number"},
    TextSource{danraw::kText368, &ClipDescription::text368, "text at 368"},
    TextSource{danraw::kModelName, &ClipDescription::modelName, "model name"},
    TextSource{danraw::kProject, &ClipDescription::project, "project"},
    TextSource{danraw::kText772, &ClipDescription::text772, "text at 772"},
    TextSource{danraw::kDirectorName, &ClipDescription::directorName, "director's name"},
    TextSource{danraw::kText856, &ClipDescription::text856, "text at 856"},
    TextSource{danraw::kText884, &ClipDescription::text884, "text at 884"},
    TextSource{danraw::kText1380, &ClipDescription::text1380, "text at 1380"},
    TextSource{danraw::kText1416, &ClipDescription::text1416, "text at 1416"},
};

// The three parts that a note is stored in, in reading order.
constexpr std::array kNoteParts{danraw::kNote1, danraw::kNote2, danraw::kNote3};

void storeText(std::span<std::uint8_t> header, danraw::TextField field, std::string_view text,
               std::string_view name) {
    if (text.size() > field.size)
        throw std::runtime_error(
            fmt::format("the {} has {} bytes, its field {}", name, text.size(), field.size));
    std::ranges::copy(text, header.subspan(field.offset, field.size).begin());
}

void storeNote(std::span<std::uint8_t> header, std::string_view note) {
    for (const danraw::TextField& part : kNoteParts) {
        storeText(header, part, note.substr(0, part.size), "note");
        note.remove_prefix(std::min(note.size(), part.size));
    }
    if (!note.empty())
        throw std::runtime_error(fmt::format("the note is {} bytes longer than its fields", note.size()));
}

/// The counting of a clip's timecode. A rate below 1 or NaN counts as 1.
TimecodeCounting countingOf(float framesPerSecond) {
    constexpr float kFastest = 100;
    const float rate = framesPerSecond > 1 ? std::round(std::min(framesPerSecond, kFastest)) : 1;
    return {static_cast<std::uint32_t>(rate), false};
}

/// Digits of the timecode of a frame, counted without drop-frame from the clip's start. In rates above 40,
/// the last frames of a second share a timecode, because its frame digits reach 39.
std::array<std::uint8_t, 4> timecode(const ClipDescription& description, std::uint64_t frame) {
    const TimecodeCounting counting = countingOf(description.framesPerSecond);
    const StartTimecode& start = description.start;
    if (start.hours > 23 || start.minutes > 59 || start.seconds > 59 ||
        start.frames > std::min(counting.framesPerSecond - 1, kLargestTimecodeFrames))
        throw std::runtime_error("the start timecode is not a timecode of the clip's rate");
    const std::uint64_t startSecond = (std::uint64_t{start.hours} * 60 + start.minutes) * 60 + start.seconds;
    TimecodeParts parts =
        timecodeParts(startSecond * counting.framesPerSecond + start.frames + frame, counting);
    parts.frames = std::min(parts.frames, kLargestTimecodeFrames);
    return timecodeDigits(parts, counting.dropFrame);
}

std::vector<std::uint8_t> makeDanrawHeader(const ClipDescription& description, const CodedPicture& picture,
                                           std::uint64_t frame) {
    std::vector<std::uint8_t> header(danraw::kSize);
    storeLittleEndian(header, danraw::kSignatureOffset, danraw::kSignature);
    storeLittleEndian(header, danraw::kValue24, description.value24);
    storeLittleEndian(header, danraw::kWidth, picture.width);
    storeLittleEndian(header, danraw::kHeight, picture.height);
    storeLittleEndian(header, danraw::kFramesPerSecond,
                      std::bit_cast<std::uint32_t>(description.framesPerSecond));
    std::ranges::copy(timecode(description, frame), header.begin() + danraw::kTimecode);
    storeLittleEndian(header, danraw::kCameraIndex, std::bit_cast<std::uint32_t>(description.cameraIndex));
    storeLittleEndian(header, danraw::kScene, std::bit_cast<std::uint32_t>(description.scene));
    storeLittleEndian(header, danraw::kTake, std::bit_cast<std::uint32_t>(description.take));
    for (const TextSource& source : kTexts)
        storeText(header, source.field, description.*source.text, source.name);
    storeNote(header, description.note);
    return header;
}

/// Bytes of each plane's data, padding included.
using PlaneSizes = std::array<std::uint64_t, plane::kCount>;

PlaneSizes planeSizes(const ClipDescription& description, const CodedPicture& picture) {
    const std::uint64_t unit = std::max<std::uint32_t>(description.planePadding, 1);
    const std::uint64_t largest = std::uint64_t{picture.width} * picture.height / 2;
    PlaneSizes sizes{};
    for (std::size_t index = 0; index < plane::kCount; ++index) {
        const std::size_t coded = picture.planes[index].data.size();
        sizes[index] = (coded + unit - 1) / unit * unit;
        if (sizes[index] != coded && sizes[index] > largest)
            throw std::runtime_error(
                fmt::format("readers accept planes of {} bytes, padding makes it {}", largest, sizes[index]));
    }
    return sizes;
}

void storePlane(std::span<std::uint8_t> descriptor, const CodedPlane& coded, unsigned shift,
                std::uint64_t offset, std::uint64_t size) {
    storeLittleEndian(descriptor, plane::kDataOffset, static_cast<std::uint32_t>(offset));
    storeLittleEndian(descriptor, plane::kDataSize, static_cast<std::uint32_t>(size));
    storeLittleEndian(descriptor, plane::kShift, std::uint32_t{shift});
    for (std::size_t category = 0; category < kKineCategories; ++category) {
        storeLittleEndian(descriptor, plane::kCodeLengths + 2 * category, coded.table.lengths[category]);
        storeLittleEndian(descriptor, plane::kCodes + 2 * category, coded.table.codes[category]);
    }
}

FileHeaderFields describePicture(const ClipDescription& description, const CodedPicture& picture,
                                 const PlaneSizes& sizes) {
    FileHeaderFields header;
    header.width = picture.width;
    header.height = picture.height;
    header.compression = description.compression;
    header.make = description.manufacturer;
    header.model = description.modelName;
    header.blackLevel = deliveredLevel(description.blackLevel, description.shift);
    header.whiteLevel = deliveredLevel(description.whiteLevel, description.shift);
    header.bitsPerSample = static_cast<std::uint16_t>(std::bit_width(header.whiteLevel));
    header.privateDataOffset = description.danrawOffset;
    header.picturesOffset = description.danrawOffset + static_cast<std::uint32_t>(danraw::kSize);
    for (const std::uint64_t size : sizes)
        header.picturesSize += static_cast<std::uint32_t>(size);
    return header;
}

void checkShift(std::uint32_t largestSample, unsigned shift) {
    if (shift > kMaxShift || largestSample << shift > kMaxSample)
        throw std::runtime_error(
            fmt::format("the sample {} shifted left by {} does not fit 16 bits", largestSample, shift));
}

/// Size of the record. Throws when its parts do not fit the 32-bit offsets of the format.
std::size_t recordSize(const ClipDescription& description, const PlaneSizes& sizes) {
    std::uint64_t size = std::uint64_t{description.danrawOffset} + danraw::kSize;
    for (const std::uint64_t planeSize : sizes)
        size += planeSize;
    if (size > kMax32) throw std::runtime_error("a frame record would reach 4 GiB");
    return size;
}

} // namespace

std::uint32_t deliveredLevel(std::uint32_t level, unsigned shift) {
    return static_cast<std::uint32_t>(std::min(std::uint64_t{level} << shift, std::uint64_t{kMaxSample}));
}

void checkPictureSize(std::uint32_t width, std::uint32_t height) {
    if (width == 0 || height == 0 || width % 2 != 0 || height % 2 != 0)
        throw std::runtime_error(
            fmt::format("a picture of {} x {}: width and height must be even and not 0", width, height));
    if (width > kMax32 / height / 2)
        throw std::runtime_error(
            fmt::format("a picture of {} x {} samples would not fit 4 GiB", width, height));
}

CodedPicture encodePicture(const Mosaic& mosaic) {
    checkPictureSize(mosaic.width, mosaic.height);
    CodedPicture picture{mosaic.width, mosaic.height, *std::ranges::max_element(mosaic.samples), {}};
    const std::size_t rowLength = mosaic.width / 2;
    for (std::size_t index = 0; index < plane::kCount; ++index) {
        const std::vector<std::uint16_t> samples = extractPlane(mosaic, index);
        CodedPlane& coded = picture.planes[index];
        coded.table = fitCodeTable(countCategories(samples, rowLength));
        coded.data = encodePlane(samples, rowLength, coded.table);
    }
    return picture;
}

std::vector<std::uint8_t> makeFrameRecord(const ClipDescription& description, const CodedPicture& picture,
                                          std::uint64_t frame) {
    checkShift(picture.largestSample, description.shift);
    const PlaneSizes sizes = planeSizes(description, picture);
    const std::size_t size = recordSize(description, sizes);
    // Every record has a file header, so that a record cut out of its clip has one, too.
    std::vector<std::uint8_t> record = makeFileHeader(describePicture(description, picture, sizes));
    if (record.size() > description.danrawOffset)
        throw std::runtime_error(fmt::format("a DANRAW_HEADER at {} would overlap the {} bytes before it",
                                             description.danrawOffset, record.size()));
    record.resize(size);

    std::vector<std::uint8_t> header = makeDanrawHeader(description, picture, frame);
    std::uint64_t end = std::uint64_t{description.danrawOffset} + danraw::kSize;
    for (std::size_t index = 0; index < plane::kCount; ++index) {
        const CodedPlane& coded = picture.planes[index];
        storePlane(std::span(header).subspan(danraw::kPlanes + index * plane::kSize, plane::kSize), coded,
                   description.shift, end, sizes[index]);
        std::ranges::copy(coded.data, std::span(record).subspan(end).begin());
        end += sizes[index];
    }
    storeLittleEndian(header, danraw::kRecordLength, static_cast<std::uint32_t>(end));
    std::ranges::copy(header, std::span(record).subspan(description.danrawOffset).begin());
    return record;
}

ClipWriter::ClipWriter(const std::string& path, ClipDescription description, OutputOptions options)
    : m_description(std::move(description)), m_file(path, options) {}

void ClipWriter::append(const CodedPicture& picture) {
    const std::vector<std::uint8_t> record = makeRecord(picture);
    m_file.write(record);
    m_recordStarts.push_back(m_end);
    m_end += record.size();
}

std::vector<std::uint8_t> ClipWriter::makeRecord(const CodedPicture& picture) {
    const std::pair size{picture.width, picture.height};
    if (m_recordStarts.empty()) m_size = size;
    try {
        if (size != m_size)
            throw std::runtime_error(fmt::format("{} x {} samples in a clip of {} x {}", picture.width,
                                                 picture.height, m_size.first, m_size.second));
        return makeFrameRecord(m_description, picture, m_recordStarts.size());
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(
            fmt::format("{}: frame {}: {}", m_file.path(), m_recordStarts.size(), error.what()));
    }
}

void ClipWriter::finish() {
    if (m_description.storedTable) m_file.write(makeStoredTable(m_recordStarts, m_end));
    m_file.finish();
}
