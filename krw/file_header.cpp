#include "krw/file_header.h"

#include "krw/file_access.h"

#include <algorithm>
#include <array>

namespace {

// Uncompressed, and the two codes that cameras write for the difference coding. Frames are coded alike under
// all three.
constexpr std::array<std::uint32_t, 3> kKnownCompressions{1, 9, 10};

} // namespace

const HeaderFault* readFileHeader(std::int64_t handle, std::span<std::uint8_t, krwfile::kHeaderSize> header) {
    switch (readFully(handle, header)) {
    case FileRead::complete:
        break;
    case FileRead::cutShort:
        return &kHeaderCutShort;
    default:
        return &kHeaderUnreadable;
    }
    const ByteView view{header};
    const bool readable = view.u16(0) == krwfile::kLittleEndianMark &&
                          view.u16(krwfile::kEntryCountOffset) <= krwfile::kMaxEntries;
    return readable ? nullptr : &kForeignHeader;
}

HeaderTags readIfd(ByteView header) {
    HeaderTags tags;
    const std::size_t count = header.u16(krwfile::kEntryCountOffset);
    for (std::size_t i = 0; i < count; ++i) {
        const ByteView entry =
            header.view(krwfile::kEntriesOffset + i * krwfile::kEntrySize, krwfile::kEntrySize);
        const std::uint32_t value = entry.u32(krwfile::kEntryValueOffset);
        switch (entry.u16(0)) {
        case krwfile::kTagBitsPerSample:
            tags.bitsPerSample = value;
            break;
        case krwfile::kTagBlackLevel:
            tags.blackLevel = value;
            break;
        case krwfile::kTagWhiteLevel:
            tags.whiteLevel = value;
            break;
        case krwfile::kTagDngPrivateData:
            tags.danrawOffset = static_cast<std::int32_t>(value);
            break;
        case krwfile::kTagCompression:
            if (std::ranges::find(kKnownCompressions, value) == kKnownCompressions.end()) {
                tags.compressionKnown = false;
                return tags;
            }
            break;
        default:
            break;
        }
    }
    return tags;
}
