// The frame table: the trailer, the stored table, and the scan of the record chain.
#include "host/files.h"
#include "krw/format.h"
#include "krw/frame_table.h"
#include "tests/support/clip_builder.h"
#include "tests/support/host_faults.h"
#include "tests/support/temp_dir.h"

#include <cstdlib>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::int32_t kDanraw = 100;

void put(Bytes& bytes, std::size_t offset, std::uint64_t value, std::size_t length) {
    if (bytes.size() < offset + length) bytes.resize(offset + length);
    for (std::size_t i = 0; i < length; ++i)
        bytes[offset + i] = static_cast<std::uint8_t>(value >> (8 * i));
}

Bytes chain(std::size_t count, std::uint32_t step = 2000) {
    return makeRecordChain(count, step, kDanraw).bytes;
}

void putTrailer(Bytes& bytes, std::size_t place, std::uint32_t frames, std::uint64_t table) {
    put(bytes, place, krwfile::trailer::kMagic, 4);
    put(bytes, place + 4, frames, 4);
    put(bytes, place + 8, table, 8);
    bytes.resize(std::max(bytes.size(), place + krwfile::trailer::kSize));
}

/// A file of three blocks whose trailer at 8192 names a table of `frames` entries 7, 1007, ... at `table`.
Bytes stored(std::uint32_t frames, std::uint64_t table, std::size_t size = 8192 + 256) {
    Bytes bytes(size);
    putTrailer(bytes, 8192, frames, table);
    for (std::uint64_t i = 0; i < frames && i < 4 && table <= size && table + 8 * i + 8 <= size; ++i)
        put(bytes, table + 8 * i, 7 + 1000 * i, 8);
    return bytes;
}

struct Outcome {
    bool hasTable = false;
    std::int32_t count = 0;
    std::vector<std::uint64_t> entries;
    std::string output; // standard output
};

constexpr std::int32_t kUntouched = -77;

/// Runs one of the two functions on a file of these bytes. `arm` is called before it.
Outcome run(
    const Bytes& bytes, bool scanOnly = false, const std::function<void()>& arm = [] {}) {
    const TempDir directory;
    const std::string path = directory.path("clip");
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    const std::int64_t handle =
        pvOSCreateFile(path.c_str(), kAccessRead, kShareRead, nullptr, kOpenExisting, 0, 0);
    EXPECT_NE(handle, kInvalidHandle);
    Outcome outcome;
    outcome.count = kUntouched;
    testing::internal::CaptureStdout();
    arm();
    std::uint64_t* table = scanOnly ? krw2_rebuild_frame_table(handle, &outcome.count, kDanraw)
                                    : krw2_get_frame_table(handle, &outcome.count, kDanraw);
    std::fflush(stdout);
    outcome.output = testing::internal::GetCapturedStdout();
    outcome.hasTable = table != nullptr;
    if (table != nullptr) outcome.entries.assign(table, table + outcome.count);
    std::free(table);
    pvOSCloseFile(handle);
    return outcome;
}

constexpr char kScanned[] = "rebuild frame table.\n";
constexpr char kGrown[] = "re-allocate table size = 4096\n";

TEST(FrameTable, OutcomeOfEachFile) {
    Bytes wrongMagic = stored(2, 64);
    wrongMagic[8192] ^= 1;
    Bytes lengthZero = chain(3);
    put(lengthZero, 2000 + kDanraw + krwfile::danraw::kRecordLength, 0, 4);
    Bytes badSignature = chain(4);
    badSignature[2000 * 2 + kDanraw + krwfile::danraw::kSignatureOffset] ^= 1;
    Bytes cutFourth = chain(4);
    cutFourth.resize(6000 + kDanraw + krwfile::danraw::kSize - 1);
    Bytes exactBlocks = stored(2, 64, 8192 + 4096);
    Bytes shortBlock = chain(3, 2048);
    putTrailer(shortBlock, 8192, 2, 0);
    shortBlock.resize(8192 + 200);

    struct Row {
        const char* name;
        Bytes bytes;
        bool hasTable;
        std::int32_t count;
        std::vector<std::uint64_t> entries;
        std::string output;
    };
    const std::string scanned = kScanned;
    const std::string grown = scanned + kGrown;
    const Row rows[] = {
        {"255 bytes", Bytes(255), false, kUntouched, {}, ""},
        {"256 bytes are their own trailer", Bytes(256), false, 0, {}, scanned},
        {"stored table", stored(3, 64), true, 3, {7, 1007, 2007}, ""},
        {"stored table of one frame", stored(1, 64), true, 1, {7}, ""},
        {"size a multiple of the block", exactBlocks, true, 2, {7, 1007}, ""},
        {"no frames", stored(0, 64), false, 0, {}, ""},
        {"negative frames", stored(0x80000000, 64), false, 0, {}, ""},
        {"2^29 frames", stored(1 << 29, 64), false, 0, {}, ""},
        {"table at the end", stored(1, 8192 + 256), false, 0, {}, ""},
        {"table ends at the end", stored(1, 8192 + 248), true, 1, {7}, ""},
        {"table one byte too long", stored(1, 8192 + 249), false, 0, {}, ""},
        {"table past the end", stored(1, ~std::uint64_t{0}), false, 0, {}, ""},
        {"wrong magic", wrongMagic, false, 0, {}, scanned},
        {"200 bytes past the block", shortBlock, true, 3, {0, 2048, 4096}, grown},
        {"no record", Bytes(5000), false, 0, {}, scanned},
        {"one record", chain(1), false, 1, {}, grown},
        {"three records", chain(3), true, 3, {0, 2000, 4000}, grown},
        {"fourth header one byte short", cutFourth, true, 3, {0, 2000, 4000}, grown},
        {"length 0 ends the chain", lengthZero, true, 2, {0, 2000}, grown},
        {"signature ends the chain", badSignature, true, 2, {0, 2000}, grown},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const Outcome outcome = run(row.bytes);
        EXPECT_EQ(outcome.hasTable, row.hasTable);
        EXPECT_EQ(outcome.count, row.count);
        EXPECT_EQ(outcome.entries, row.entries);
        EXPECT_EQ(outcome.output, row.output);
    }
}

TEST(FrameTable, FailingHostLeavesNoTableAndNoBlock) {
    const Bytes withTable = stored(2, 64);
    const Bytes withoutTable = chain(3);
    struct Row {
        const char* name;
        const Bytes& bytes;
        std::function<void(HostFaults&)> arm;
        std::string output;
    };
    const std::string noMemory = std::string(kScanned) + "error realloc kr2 table.\n";
    const Row rows[] = {
        {"seek to the trailer", withTable, [](HostFaults& f) { f.fail(HostCall::seek, 1); }, ""},
        {"read of the trailer", withTable, [](HostFaults& f) { f.fail(HostCall::read, 1); }, ""},
        {"short trailer", withTable, [](HostFaults& f) { f.shortenRead(1, 255); }, ""},
        {"no memory for the table", withTable, [](HostFaults& f) { f.fail(HostCall::heap, 1); }, ""},
        {"seek to the table", withTable, [](HostFaults& f) { f.fail(HostCall::seek, 2); }, ""},
        {"read of the table", withTable, [](HostFaults& f) { f.fail(HostCall::read, 2); }, ""},
        {"short table", withTable, [](HostFaults& f) { f.shortenRead(2, 15); }, ""},
        {"no memory for the scan", withoutTable, [](HostFaults& f) { f.fail(HostCall::heap, 1); }, noMemory},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        HostFaults faults;
        int before = 0;
        const Outcome outcome = run(row.bytes, false, [&] {
            before = faults.liveHeapBlocks();
            row.arm(faults);
        });
        EXPECT_FALSE(outcome.hasTable);
        EXPECT_EQ(outcome.count, 0);
        EXPECT_EQ(outcome.output, row.output);
        EXPECT_EQ(faults.liveHeapBlocks(), before);
        EXPECT_EQ(faults.openHandles(), 0U);
    }
}

TEST(FrameTable, NullCountIsRefused) {
    EXPECT_EQ(krw2_get_frame_table(kInvalidHandle, nullptr, kDanraw), nullptr);
    EXPECT_EQ(krw2_rebuild_frame_table(kInvalidHandle, nullptr, kDanraw), nullptr);
}

TEST(FrameTable, ScanGrowsInSteps) {
    // Records may overlap: each signature here lies inside the record before.
    const std::uint32_t step = 12;
    const Bytes bytes = chain(4097, step);
    const Outcome outcome = run(bytes, true);
    EXPECT_EQ(outcome.count, 4097);
    EXPECT_EQ(outcome.entries[4096], 4096U * step);
    EXPECT_EQ(outcome.output, "re-allocate table size = 4096\nre-allocate table size = 8192\n");

    HostFaults faults;
    const Outcome failed = run(bytes, true, [&] { faults.fail(HostCall::heap, 2); });
    EXPECT_FALSE(failed.hasTable);
    EXPECT_EQ(failed.count, 0);
    EXPECT_EQ(failed.output, "re-allocate table size = 4096\nerror realloc kr2 table.\n");
    EXPECT_EQ(faults.liveHeapBlocks(), 0U);
}

TEST(FrameTable, OffsetsBeyond4GiB) {
    const TempDir directory;
    const std::string path = directory.path("sparse");
    constexpr std::uint64_t kTable = std::uint64_t{5} << 30;
    Bytes tail(4096);
    put(tail, 0, 0x123456789A, 8);
    put(tail, 8, 0xFEDCBA9876543210, 8);
    putTrailer(tail, 4096, 2, kTable);
    {
        std::ofstream file(path, std::ios::binary);
        file.seekp(static_cast<std::streamoff>(kTable));
        file.write(reinterpret_cast<const char*>(tail.data()), static_cast<std::streamsize>(tail.size()));
    }
    const std::int64_t handle =
        pvOSCreateFile(path.c_str(), kAccessRead, kShareRead, nullptr, kOpenExisting, 0, 0);
    std::int32_t count = 0;
    std::uint64_t* table = krw2_get_frame_table(handle, &count, kDanraw);
    ASSERT_NE(table, nullptr);
    ASSERT_EQ(count, 2);
    EXPECT_EQ(table[0], 0x123456789AU);
    EXPECT_EQ(table[1], 0xFEDCBA9876543210U);
    std::free(table);
    pvOSCloseFile(handle);
}

} // namespace
