// The frame table alone, held against a model that works on the bytes in memory. The input is a clip; the
// place of the DANRAW_HEADER inside its records is the word at offset 4, which no clip reader looks at, so
// that every value is tried, negative ones too.
#include "fuzz/fuzz_support.h"
#include "fuzz/memory_files.h"
#include "host/files.h"
#include "krw/byte_view.h"
#include "krw/format.h"
#include "krw/frame_table.h"

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <vector>

namespace {

namespace danraw = krwfile::danraw;
namespace trailer = krwfile::trailer;

constexpr std::size_t kDanrawOffset = 4;

/// What a call is to deliver.
struct Expected {
    std::int32_t frameCount = 0;
    std::optional<std::vector<std::uint64_t>> table;
};

Expected expectScan(ByteView file, std::int32_t danrawOffset) {
    std::vector<std::uint64_t> starts;
    std::uint64_t position = 0;
    while (true) {
        const std::uint64_t place = position + static_cast<std::uint64_t>(std::int64_t{danrawOffset});
        if (!file.contains(place, danraw::kSize)) break;
        const ByteView header = file.view(place, danraw::kSize);
        if (header.u32(danraw::kSignatureOffset) != danraw::kSignature) break;
        starts.push_back(position);
        const std::uint32_t length = header.u32(danraw::kRecordLength);
        if (length == 0) break;
        position += length;
    }
    Expected result{static_cast<std::int32_t>(starts.size()), {}};
    if (starts.size() >= 2) result.table = std::move(starts);
    return result;
}

Expected expectTable(ByteView file, std::int32_t danrawOffset) {
    constexpr std::size_t kSmallestFile = 256;
    if (file.size() < kSmallestFile) return {};
    const std::size_t start = (file.size() - 1) / trailer::kBlock * trailer::kBlock;
    if (file.size() - start < trailer::kSize || file.u32(start + trailer::kMagicOffset) != trailer::kMagic)
        return expectScan(file, danrawOffset);
    const std::int32_t count = file.i32(start + trailer::kFrameCount);
    const std::uint64_t place = file.u64(start + trailer::kTableOffset);
    if (count <= 0 || count >= trailer::kFrameLimit) return {};
    const auto bytes = static_cast<std::size_t>(count) * trailer::kEntrySize;
    if (place > file.size() || file.size() - place < bytes) return {};
    std::vector<std::uint64_t> entries;
    for (std::size_t entry = 0; entry < bytes; entry += trailer::kEntrySize)
        entries.push_back(file.u64(place + entry));
    return {count, std::move(entries)};
}

using TableFunction = std::uint64_t* (*)(std::int64_t, std::int32_t*, std::int32_t);

void compare(TableFunction function, std::int64_t handle, std::int32_t danrawOffset,
             const Expected& expected) {
    std::int32_t frameCount = 0;
    std::uint64_t* const table = function(handle, &frameCount, danrawOffset);
    require(frameCount == expected.frameCount, "the frame count is the model's");
    require((table != nullptr) == expected.table.has_value(), "there is a table when the model has one");
    if (expected.table)
        require(std::equal(expected.table->begin(), expected.table->end(), table),
                "the table is the model's");
    std::free(table);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    beQuiet();
    static MemoryFile file("clip.krw");
    file.assign({data, size});
    const ByteView bytes({data, size});
    const std::int32_t danrawOffset = bytes.i32(kDanrawOffset);
    const std::int64_t handle =
        pvOSCreateFile(file.path().c_str(), kAccessRead, kShareRead, nullptr, kOpenExisting, 0, 0);
    compare(krw2_get_frame_table, handle, danrawOffset, expectTable(bytes, danrawOffset));
    compare(krw2_rebuild_frame_table, handle, danrawOffset, expectScan(bytes, danrawOffset));
    pvOSCloseFile(handle);
    return 0;
}
