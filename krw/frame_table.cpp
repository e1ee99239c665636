#include "krw/frame_table.h"

#include "host/files.h"
#include "krw/byte_view.h"
#include "krw/format.h"
#include "krw/frame_record.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>

namespace {

struct FreeDeleter {
    void operator()(std::uint64_t* block) const { std::free(block); }
};
using Table = std::unique_ptr<std::uint64_t, FreeDeleter>;

// One growth step of the scan, 32 KiB of offsets.
constexpr std::int32_t kGrowth = 4096;
// The last capacity that a signed 32-bit entry count can grow to in such steps.
constexpr std::int32_t kLastCapacity = 0x7FFFF000;

std::uint64_t fileSize(std::int64_t handle) {
    std::uint32_t high = 0;
    const std::uint32_t low = pvOSGetFileSize(handle, &high);
    return std::uint64_t{high} << 32 | low;
}

bool readExactly(std::int64_t handle, void* buffer, std::uint32_t length) {
    std::uint32_t bytesRead = 0;
    return pvOSReadFile(handle, buffer, length, &bytesRead, nullptr) != 0 && bytesRead == length;
}

struct StoredTable {
    std::uint64_t offset;
    std::int32_t frameCount;
    std::uint32_t bytes;
};

/// Where the trailer says that the table lies; nothing when the table cannot lie there.
std::optional<StoredTable> locateStoredTable(ByteView trailer, std::uint64_t size) {
    const std::int32_t frameCount = trailer.i32(krwfile::trailer::kFrameCount);
    if (frameCount <= 0 || frameCount >= krwfile::trailer::kFrameLimit) return std::nullopt;
    const auto bytes =
        static_cast<std::uint32_t>(frameCount) * static_cast<std::uint32_t>(krwfile::trailer::kEntrySize);
    const std::uint64_t offset = trailer.u64(krwfile::trailer::kTableOffset);
    if (offset > size || size - offset < bytes) return std::nullopt;
    return StoredTable{offset, frameCount, bytes};
}

/// Makes room for one more step of entries. False, with the table released, when there is no memory.
bool grow(Table& table, std::int32_t& capacity) {
    capacity += kGrowth;
    void* grown = std::realloc(table.get(), static_cast<std::size_t>(capacity) * sizeof(std::uint64_t));
    if (grown == nullptr) {
        std::printf("error realloc kr2 table.\n");
        table.reset();
        return false;
    }
    static_cast<void>(table.release());
    table.reset(static_cast<std::uint64_t*>(grown));
    std::printf("re-allocate table size = %d\n", capacity);
    return true;
}

} // namespace

std::uint64_t* krw2_get_frame_table(std::int64_t handle, std::int32_t* frameCount,
                                    std::int32_t danrawOffset) {
    const std::uint64_t size = fileSize(handle);
    if (frameCount == nullptr || size < krwfile::trailer::kSize) return nullptr;
    *frameCount = 0;

    const std::uint64_t trailerStart = (size - 1) & ~std::uint64_t{krwfile::trailer::kBlock - 1};
    std::array<std::uint8_t, krwfile::trailer::kSize> bytes{};
    const ByteView trailer{bytes};
    bool hasTrailer = false;
    if (size - trailerStart >= krwfile::trailer::kSize) {
        if (pvOSSeek(handle, trailerStart) == kSeekFailed) return nullptr;
        if (!readExactly(handle, bytes.data(), krwfile::trailer::kSize)) return nullptr;
        hasTrailer = trailer.u32(krwfile::trailer::kMagicOffset) == krwfile::trailer::kMagic;
    }
    if (!hasTrailer) {
        std::printf("rebuild frame table.\n");
        return krw2_rebuild_frame_table(handle, frameCount, danrawOffset);
    }

    const std::optional<StoredTable> stored = locateStoredTable(trailer, size);
    if (!stored) return nullptr;
    Table table(static_cast<std::uint64_t*>(std::malloc(stored->bytes)));
    if (table == nullptr || pvOSSeek(handle, stored->offset) == kSeekFailed ||
        !readExactly(handle, table.get(), stored->bytes))
        return nullptr;
    static_assert(std::endian::native == std::endian::little, "stored offsets are used as they are read");
    *frameCount = stored->frameCount;
    return table.release();
}

std::uint64_t* krw2_rebuild_frame_table(std::int64_t handle, std::int32_t* frameCount,
                                        std::int32_t danrawOffset) {
    if (frameCount == nullptr) return nullptr;
    *frameCount = 0;

    Table table;
    std::int32_t capacity = 0;
    std::uint64_t position = 0;
    std::array<std::uint8_t, krwfile::danraw::kSize> bytes{};
    const ByteView header{bytes};
    const auto headerDistance = static_cast<std::uint64_t>(std::int64_t{danrawOffset});
    while (true) {
        if (pvOSSeek(handle, position + headerDistance) == kSeekFailed) break;
        if (!readExactly(handle, bytes.data(), krwfile::danraw::kSize)) break;
        if (!hasDanrawSignature(header)) break;

        if (*frameCount == capacity) {
            if (capacity >= kLastCapacity) return nullptr;
            const bool hadEntries = table != nullptr;
            if (!grow(table, capacity)) {
                if (hadEntries) *frameCount = 0;
                return nullptr;
            }
        }
        table.get()[*frameCount] = position;
        ++*frameCount;

        const std::uint32_t recordLength = header.u32(krwfile::danraw::kRecordLength);
        if (recordLength == 0 || position + recordLength < position) break;
        position += recordLength;
    }
    if (*frameCount <= 1) return nullptr;
    return table.release();
}
