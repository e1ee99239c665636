#include "tests/support/clip_builder.h"

#include "krw/byte_view.h"
#include "krw/stored_table.h"

#include <algorithm>
#include <bit>
#include <fstream>
#include <random>
#include <stdexcept>

namespace danraw = krwfile::danraw;
namespace plane = krwfile::plane;

Mosaic randomMosaic(std::uint32_t width, std::uint32_t height, std::uint32_t seed, std::uint16_t largest) {
    Mosaic mosaic{width, height, std::vector<std::uint16_t>(std::size_t{width} * height)};
    std::minstd_rand random(seed);
    for (std::uint16_t& sample : mosaic.samples)
        sample = static_cast<std::uint16_t>((random() >> 8U) % (largest + 1U));
    return mosaic;
}

std::vector<Mosaic> randomMosaics(std::size_t count, std::uint32_t width, std::uint32_t height) {
    std::vector<Mosaic> mosaics;
    for (std::uint32_t seed = 1; seed <= count; ++seed)
        mosaics.push_back(randomMosaic(width, height, seed));
    return mosaics;
}

void TestClip::setTag(std::uint16_t tag, std::uint32_t value) {
    set(tagAt(tag) + krwfile::kEntryValueOffset, value);
}

void TestClip::renameTag(std::uint16_t tag, std::uint16_t newTag) {
    set(tagAt(tag), newTag);
}

void TestClip::setText(std::size_t frame, danraw::TextField field, std::string_view text) {
    const std::uint64_t offset = checked(danrawAt(frame) + field.offset, field.size);
    const std::span<std::uint8_t> target = std::span(bytes).subspan(offset, field.size);
    std::ranges::fill(target, std::uint8_t{0});
    std::ranges::copy(text.substr(0, field.size), target.begin());
}

void TestClip::setFramesPerSecond(std::size_t frame, float framesPerSecond) {
    setDanraw(frame, danraw::kFramesPerSecond, std::bit_cast<std::uint32_t>(framesPerSecond));
}

void TestClip::setCodeTable(std::size_t frame, std::size_t index, const kinedec::CodeTable& table) {
    for (std::size_t category = 0; category < table.lengths.size(); ++category) {
        setPlane(frame, index, plane::kCodeLengths + 2 * category, table.lengths[category]);
        setPlane(frame, index, plane::kCodes + 2 * category, table.codes[category]);
    }
}

std::span<std::uint8_t> TestClip::planeData(std::size_t frame, std::size_t index) {
    const ByteView descriptor = ByteView(bytes).view(planeAt(frame, index), plane::kSize);
    const std::size_t size = descriptor.u32(plane::kDataSize);
    return std::span(bytes).subspan(
        checked(recordStarts.at(frame) + descriptor.u32(plane::kDataOffset), size), size);
}

void TestClip::movePlane(std::size_t frame, std::size_t index, std::uint32_t dataOffset) {
    const std::span<const std::uint8_t> source = planeData(frame, index);
    const std::vector<std::uint8_t> data(source.begin(), source.end());
    const std::uint64_t place = recordStarts.at(frame) + dataOffset;
    bytes.resize(std::max<std::size_t>(bytes.size(), place + data.size()));
    std::ranges::copy(data, std::span(bytes).subspan(place).begin());
    setPlane(frame, index, plane::kDataOffset, dataOffset);
}

void TestClip::addStoredTable() {
    const std::vector<std::uint8_t> table = makeStoredTable(recordStarts, bytes.size());
    bytes.insert(bytes.end(), table.begin(), table.end());
}

void TestClip::addRecord(std::span<const std::uint8_t> record) {
    recordStarts.push_back(bytes.size());
    bytes.insert(bytes.end(), record.begin(), record.end());
}

std::uint64_t TestClip::danrawAt(std::size_t frame) const {
    return recordStarts.at(frame) + danrawOffset;
}

std::uint64_t TestClip::planeAt(std::size_t frame, std::size_t index) const {
    return danrawAt(frame) + danraw::kPlanes + index * plane::kSize;
}

std::uint64_t TestClip::trailerAt() const {
    return (bytes.size() - 1) / krwfile::trailer::kBlock * krwfile::trailer::kBlock;
}

std::uint64_t TestClip::checked(std::uint64_t offset, std::size_t size) const {
    if (!ByteView(bytes).contains(offset, size)) throw std::out_of_range("outside the clip's bytes");
    return offset;
}

std::uint64_t TestClip::tagAt(std::uint16_t tag) const {
    const ByteView header(bytes);
    for (std::size_t entry = 0; entry < header.u16(krwfile::kEntryCountOffset); ++entry) {
        const std::size_t offset = krwfile::kEntriesOffset + entry * krwfile::kEntrySize;
        if (header.u16(offset) == tag) return offset;
    }
    throw std::out_of_range("the header has no tag " + std::to_string(tag));
}

TestClip makeClip(const ClipDescription& description, std::span<const Mosaic> frames) {
    TestClip clip;
    clip.danrawOffset = description.danrawOffset;
    for (const Mosaic& frame : frames)
        clip.addRecord(makeFrameRecord(description, encodePicture(frame), clip.recordStarts.size()));
    if (description.storedTable) clip.addStoredTable();
    return clip;
}

TestClip makeClip(std::size_t frames, std::uint32_t width, std::uint32_t height) {
    return makeClip(ClipDescription{}, randomMosaics(frames, width, height));
}

TestClip makeRecordChain(std::size_t records, std::uint32_t step, std::uint32_t danrawOffset) {
    TestClip chain;
    chain.danrawOffset = danrawOffset;
    chain.bytes.resize((records - 1) * step + std::max<std::size_t>(step, danrawOffset + danraw::kSize));
    for (std::size_t record = 0; record < records; ++record) {
        chain.recordStarts.push_back(record * step);
        chain.setDanraw(record, danraw::kSignatureOffset, danraw::kSignature);
        chain.setDanraw(record, danraw::kRecordLength, step);
    }
    return chain;
}

std::vector<std::uint64_t> writeSparseClip(const std::string& path, const TestClip& clip, std::uint32_t gap,
                                           bool storedTable) {
    std::ofstream out(path, std::ios::binary);
    const auto write = [&out](std::span<const std::uint8_t> bytes) {
        out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    };
    TestClip spread = clip;
    std::vector<std::uint64_t> starts;
    std::uint64_t end = 0;
    for (std::size_t frame = 0; frame < clip.recordStarts.size(); ++frame) {
        const std::uint64_t start = clip.recordStarts[frame];
        const std::uint64_t next =
            frame + 1 < clip.recordStarts.size() ? clip.recordStarts[frame + 1] : clip.bytes.size();
        const std::size_t size = next - start;
        spread.setDanraw(frame, danraw::kRecordLength, static_cast<std::uint32_t>(size + gap));
        starts.push_back(frame == 0 ? 0 : end + gap);
        out.seekp(static_cast<std::streamoff>(starts.back()));
        write(std::span(spread.bytes).subspan(start, size));
        end = starts.back() + size;
    }
    if (storedTable) write(makeStoredTable(starts, end));
    if (!out.flush()) throw std::runtime_error("cannot write " + path);
    return starts;
}
