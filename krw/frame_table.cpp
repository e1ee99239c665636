#include "krw/frame_table.h"

#include "host/files.h"
#include "krw/byte_view.h"
#include "krw/file_access.h"
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

// Entries that one growth step of the scan adds: 32 KiB of offsets.
constexpr std::int32_t kGrowth = 4096;
// The largest capacity that a signed 32-bit entry count reaches in such steps.
constexpr std::int32_t kLastCapacity = 0x7FFFF000;

struct StoredTable {
    std::uint64_t offset;
    std::int32_t frameCount;
    std::uint32_t bytes;
};

/// The place of the stored table. Nothing when the table cannot lie where the trailer says.
std::optional<StoredTable> locateStoredTable(ByteView trailer, std::uint64_t size) {
    const std::int32_t frameCount = trailer.i32(krwfile::trailer::kFrameCount);
    if (frameCount <= 0 || frameCount >= krwfile::trailer::kFrameLimit) return std::nullopt;
    const auto bytes =
        static_cast<std::uint32_t>(frameCount) * static_cast<std::uint32_t>(krwfile::trailer::kEntrySize);
    const std::uint64_t offset = trailer.u64(krwfile::trailer::kTableOffset);
    if (offset > size || size - offset < bytes) return std::nullopt;
    return StoredTable{offset, frameCount, bytes};
}

/// Makes room for one more step of entries. Without memory, releases the table and returns false.
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

std::uint64_t* scan(std::int64_t handle, std::int32_t* frameCount, std::int32_t danrawOffset,
                    const RecordTaker& take) {
    if (frameCount == nullptr) return nullptr;
    *frameCount = 0;

    Table table;
    std::int32_t capacity = 0;
    std::uint64_t position = 0;
    std::array<std::uint8_t, krwfile::danraw::kSize> bytes{};
    const ByteView header{bytes};
    const auto headerDistance = static_cast<std::uint64_t>(std::int64_t{danrawOffset});
    while (true) {
        if (readFullyAt(handle, position + headerDistance, bytes) != FileRead::complete) break;
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
        if (take) take(position, header);

        const std::uint32_t recordLength = header.u32(krwfile::danraw::kRecordLength);
        if (recordLength == 0 || position + recordLength < position) break;
        position += recordLength;
    }
    if (*frameCount <= 1) return nullptr;
    return table.release();
}

} // namespace

std::uint64_t* loadFrameTable(std::int64_t handle, std::int32_t* frameCount, std::int32_t danrawOffset,
                              const RecordTaker& take) {
    const std::uint64_t size = fileSize(handle);
    if (frameCount == nullptr || size < krwfile::trailer::kSize) return nullptr;
    *frameCount = 0;

    const std::uint64_t trailerStart = (size - 1) & ~std::uint64_t{krwfile::trailer::kBlock - 1};
    std::array<std::uint8_t, krwfile::trailer::kSize> bytes{};
    const ByteView trailer{bytes};
    bool hasTrailer = false;
    if (size - trailerStart >= krwfile::trailer::kSize) {
        if (readFullyAt(handle, trailerStart, bytes) != FileRead::complete) return nullptr;
        hasTrailer = trailer.u32(krwfile::trailer::kMagicOffset) == krwfile::trailer::kMagic;
    }
    if (!hasTrailer) {
        std::printf("rebuild frame table.\n");
        return scan(handle, frameCount, danrawOffset, take);
    }

    const std::optional<StoredTable> stored = locateStoredTable(trailer, size);
    if (!stored) return nullptr;
    Table table(static_cast<std::uint64_t*>(std::malloc(stored->bytes)));
    if (table == nullptr) return nullptr;
    // The machine is little-endian, as the file is: the offsets are used as they are read.
    const std::span tableBytes(reinterpret_cast<std::uint8_t*>(table.get()), stored->bytes);
    if (readFullyAt(handle, stored->offset, tableBytes) != FileRead::complete) return nullptr;
    *frameCount = stored->frameCount;
    return table.release();
}

std::uint64_t* krw2_get_frame_table(std::int64_t handle, std::int32_t* frameCount,
                                    std::int32_t danrawOffset) {
    return loadFrameTable(handle, frameCount, danrawOffset, {});
}

std::uint64_t* krw2_rebuild_frame_table(std::int64_t handle, std::int32_t* frameCount,
                                        std::int32_t danrawOffset) {
    return scan(handle, frameCount, danrawOffset, {});
}
