#include "tools/recover/found_record.h"

#include "host/timecode.h"
#include "krw/format.h"
#include "krw/frame_rate.h"
#include "tools/clip/record_extent.h"

#include <algorithm>
#include <array>
#include <vector>
#include <xxhash.h>

namespace {

namespace danraw = krwfile::danraw;

// Fields that a camera sets before a recording and keeps to its end.
constexpr std::array kConstantFields{
    danraw::kManufacturer,
    danraw::TextField{danraw::kWidth, 4},
    danraw::TextField{danraw::kHeight, 4},
    danraw::TextField{danraw::kFramesPerSecond, 4},
    danraw::kSerialNo,
    danraw::kModelName,
    danraw::kProject,
    danraw::TextField{danraw::kCameraIndex, 4},
    danraw::TextField{danraw::kScene, 4},
    danraw::TextField{danraw::kTake, 4},
    danraw::kDirectorName,
    danraw::kNote1,
    danraw::kNote2,
    danraw::kNote3,
};

// Bits that tc2Frame expects beside the base.
constexpr std::uint32_t kTimecodeFlags = 0x1200;
// Padding that may lie between the parts of a record.
constexpr std::uint64_t kSlack = std::uint64_t{64} << 10;

} // namespace

std::uint64_t identityOf(ByteView header) {
    std::vector<std::uint8_t> fields;
    for (const danraw::TextField& field : kConstantFields) {
        const auto bytes = header.bytes(field.offset, field.size);
        fields.insert(fields.end(), bytes.begin(), bytes.end());
    }
    return XXH3_64bits(fields.data(), fields.size());
}

std::string headerText(ByteView header, danraw::TextField field) {
    const auto bytes = header.bytes(field.offset, field.size);
    return {bytes.begin(), std::ranges::find(bytes, std::uint8_t{0})};
}

void describeRecord(FoundRecord& record, ByteView header, std::uint32_t danrawOffset) {
    record.identity = identityOf(header);
    record.danrawOffset = danrawOffset;
    record.length = header.u32(danraw::kRecordLength);
    const FrameRate rate = frameRate(header.f32(danraw::kFramesPerSecond));
    record.hasTimecode = tc2Frame(header.bytes(danraw::kTimecode, kTimecodeSize).data(),
                                  rate.startTimecodeBase | kTimecodeFlags, &record.timecode) != 0;
    record.dropFrame = tcDropFrame() != 0;
    record.framesPerSecond =
        static_cast<std::uint16_t>(timecodeCounting(rate.rate, rate.scale, false).framesPerSecond);
    record.size = recordSize(header, danrawOffset);
}

bool liesTogether(ByteView header, std::uint32_t danrawOffset) {
    const RecordExtent extent = recordExtent(header, danrawOffset);
    return extent.end <= 4 * extent.bytes + kSlack;
}
