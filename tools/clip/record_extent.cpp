#include "tools/clip/record_extent.h"

#include "krw/format.h"
#include "krw/frame_record.h"

#include <algorithm>

namespace {

namespace danraw = krwfile::danraw;
namespace plane = krwfile::plane;

// What may lie behind a record's parts: padding.
constexpr std::uint64_t kSlack = std::uint64_t{64} << 10;

} // namespace

RecordExtent recordExtent(ByteView header, std::uint32_t danrawOffset) {
    const std::uint64_t headers = std::uint64_t{danrawOffset} + danraw::kSize;
    RecordExtent extent{headers, headers};
    for (std::size_t k = 0; k < plane::kCount; ++k) {
        const PlaneDescriptor descriptor = planeDescriptor(header, k);
        extent.end = std::max(extent.end, std::uint64_t{descriptor.dataOffset} + descriptor.dataSize);
        extent.bytes += descriptor.dataSize;
    }
    return extent;
}

std::uint64_t recordSize(ByteView header, std::uint32_t danrawOffset) {
    // The stated length may count padding. A length that is far off is damaged itself.
    const std::uint64_t end = recordExtent(header, danrawOffset).end;
    const std::uint64_t length = header.u32(danraw::kRecordLength);
    const bool plausible = length >= end && length <= end + end / 4 + kSlack;
    return plausible ? length : end;
}
