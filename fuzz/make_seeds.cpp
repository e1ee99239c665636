// Writes the seeds of the binary targets into a folder of corpora: one row a seed, named after what it is.
// The side-cars' seeds are texts and need no maker.
#include "krw/byte_view.h"
#include "tests/support/clip_builder.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <functional>
#include <optional>

using kinedec::CodeTable;

namespace {

namespace danraw = krwfile::danraw;
namespace plane = krwfile::plane;
namespace trailer = krwfile::trailer;

using Bytes = std::vector<std::uint8_t>;

void write(const std::filesystem::path& folder, const std::string& name, const Bytes& bytes) {
    create_directories(folder);
    std::ofstream out(folder / name, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

/// As small as a clip can be: a later record needs nothing before its DANRAW_HEADER, so that part of it lies
/// over the record before.
TestClip clip(std::size_t frames, std::uint32_t width, std::uint32_t height, bool storedTable = false,
              std::uint16_t largest = 4095) {
    ClipDescription description;
    description.danrawOffset = 640; // as near as the writer puts it
    TestClip packed;
    packed.danrawOffset = description.danrawOffset;
    for (std::uint32_t frame = 0; frame < frames; ++frame) {
        const CodedPicture picture = encodePicture(randomMosaic(width, height, frame + 1, largest));
        const Bytes record = makeFrameRecord(description, picture, frame);
        const std::uint32_t covered = frame == 0 ? 0 : packed.danrawOffset;
        packed.recordStarts.push_back(packed.bytes.size() - covered);
        packed.bytes.insert(packed.bytes.end(), record.begin() + covered, record.end());
        packed.setDanraw(frame, danraw::kRecordLength,
                         static_cast<std::uint32_t>(record.size()) - packed.danrawOffset);
    }
    if (storedTable) packed.addStoredTable();
    return packed;
}

/// Makes the stored table name another place for frame 1.
void moveSecondFrame(TestClip& clip, std::uint64_t offset) {
    clip.set(ByteView(clip.bytes).u64(clip.trailerAt() + trailer::kTableOffset) + trailer::kEntrySize,
             offset);
}

struct ClipSeed {
    const char* name;
    TestClip base;
    std::function<void(TestClip&)> spoil = [](TestClip&) {};
    float rate = 0; // part of the name
};

void swapFirstCodes(TestClip& clip) {
    // Category 12 takes all that category 11 had: no prefix code any more.
    clip.setPlane<std::uint16_t>(0, 1, plane::kCodeLengths + 24, 1);
    clip.setPlane<std::uint16_t>(0, 1, plane::kCodes + 24, 0);
}

std::vector<ClipSeed> clipSeeds() {
    std::vector<ClipSeed> seeds{
        {"two-frames", clip(2, 8, 4)},
        {"stored-table", clip(2, 8, 4, true)},
        {"smallest-picture", clip(2, 2, 2)},
        {"several-stretches", clip(2, 320, 2, false, 15)},
        {"one-frame", clip(1, 8, 4)},
        {"codes-overlap", clip(2, 8, 4), swapFirstCodes},
        {"plane-without-codes", clip(2, 8, 4), [](TestClip& c) { c.setCodeTable(0, 2, {}); }},
        {"wrong-code-in-a-plane", clip(2, 8, 4),
         [](TestClip& c) { c.setPlane<std::uint16_t>(0, 3, plane::kCodes + 24, 0x0FFF); }},
        {"plane-ends-early", clip(2, 8, 4), [](TestClip& c) { c.setPlane(0, 0, plane::kDataSize, 2U); }},
        {"plane-too-large", clip(2, 8, 4), [](TestClip& c) { c.setPlane(0, 1, plane::kDataSize, 17U); }},
        {"plane-past-the-end", clip(2, 8, 4),
         [](TestClip& c) { c.setPlane(1, 2, plane::kDataOffset, 0x10000U); }},
        {"second-frame-of-another-size", clip(2, 8, 4),
         [](TestClip& c) { c.setDanraw(1, danraw::kHeight, 2U); }},
        {"second-frame-without-signature", clip(2, 8, 4, true),
         [](TestClip& c) { c.setDanraw(1, danraw::kSignatureOffset, 0U); }},
        {"record-length-0", clip(2, 8, 4), [](TestClip& c) { c.setDanraw(1, danraw::kRecordLength, 0U); }},
        {"all-frames-in-one-record", clip(2, 8, 4, true), [](TestClip& c) { moveSecondFrame(c, 0); }},
        {"frame-at-the-largest-offset", clip(2, 8, 4, true),
         [](TestClip& c) { moveSecondFrame(c, 0x7FFFFFFFFFFFFFFF); }},
        {"table-past-the-end", clip(2, 8, 4, true),
         [](TestClip& c) { c.setTrailer(trailer::kTableOffset, std::uint64_t{1} << 40); }},
        {"table-of-half-a-milliard", clip(2, 8, 4, true),
         [](TestClip& c) { c.setTrailer(trailer::kFrameCount, 0x1FFFFFFFU); }},
        {"huge-picture", clip(2, 8, 4),
         [](TestClip& c) {
             for (const std::size_t frame : {0U, 1U}) {
                 c.setDanraw(frame, danraw::kWidth, 65534U);
                 c.setDanraw(frame, danraw::kHeight, 32766U);
             }
         }},
        {"padded-frame-beside-a-huge-one", clip(2, 16, 8, false, 255),
         [](TestClip& c) {
             c.setPlane(0, 0, plane::kDataSize, static_cast<std::uint32_t>(c.planeData(0, 0).size()) + 8);
             c.setDanraw(1, danraw::kWidth, 65534U);
             c.setDanraw(1, danraw::kHeight, 32766U);
         }},
        {"padded-frame-beside-huge-planes", clip(2, 16, 8, false, 255),
         [](TestClip& c) {
             c.setPlane(0, 0, plane::kDataSize, static_cast<std::uint32_t>(c.planeData(0, 0).size()) + 8);
             c.setDanraw(1, danraw::kWidth, 65534U);
             c.setDanraw(1, danraw::kHeight, 32766U);
             for (std::size_t k = 0; k < plane::kCount; ++k)
                 c.setPlane(1, k, plane::kDataSize, 0x10000000U);
         }},
        {"big-endian", clip(2, 8, 4), [](TestClip& c) { c.set(0, std::uint16_t{0x4D4D}); }},
        {"compression-7", clip(2, 8, 4), [](TestClip& c) { c.setTag(krwfile::kTagCompression, 7); }},
        {"without-private-data", clip(2, 8, 4),
         [](TestClip& c) { c.renameTag(krwfile::kTagDngPrivateData, 1); }},
        {"without-white-level", clip(2, 8, 4), [](TestClip& c) { c.renameTag(krwfile::kTagWhiteLevel, 1); }},
    };
    for (const float rate : {23.976F, 24.0F, 29.97F, 30.0F, 50.0F, 59.94F, 60.0F, 120.0F})
        seeds.push_back(
            {"rate", clip(2, 2, 2), [rate](TestClip& c) { c.setFramesPerSecond(0, rate); }, rate});
    return seeds;
}

void writeClips(const std::filesystem::path& folder) {
    for (const auto& [name, base, spoil, rate] : clipSeeds()) {
        TestClip seed = base;
        spoil(seed);
        write(folder, rate == 0 ? fmt::format("{}.krw", name) : fmt::format("{}-{}.krw", name, rate),
              seed.bytes);
    }
}

/// Sources of several records, whole and torn.
void writeSources(const std::filesystem::path& folder) {
    const auto append = [](TestClip& source, const Bytes& bytes) {
        source.bytes.insert(source.bytes.end(), bytes.begin(), bytes.end());
    };
    write(folder, "clip", clip(2, 8, 4, true).bytes);
    TestClip torn = clip(3, 8, 4);
    torn.setDanraw(1, danraw::kSignatureOffset, 0U);
    torn.cut(torn.bytes.size() - 9);
    write(folder, "torn-and-cut", torn.bytes);
    TestClip headless = clip(2, 8, 4);
    headless.bytes.erase(headless.bytes.begin(), headless.bytes.begin() + 30);
    write(folder, "no-file-header", headless.bytes);
    TestClip joined = clip(1, 8, 4);
    append(joined, clip(1, 16, 4).bytes);
    write(folder, "two-clips", joined.bytes);
    ClipDescription description;
    description.danrawOffset = 640;
    description.planePadding = 16;
    description.storedTable = false;
    TestClip image;
    image.bytes.resize(64, 0xF6);
    append(image, makeClip(description, randomMosaics(2, 8, 4)).bytes);
    write(folder, "padded-in-an-image", image.bytes);
}

/// Records that lie over one another as much as equal steps allow.
TestClip closestChain(std::size_t records) {
    return makeRecordChain(records, 10, 8);
}

/// The target takes the place of the DANRAW_HEADER from offset 4.
void writeTable(const std::filesystem::path& folder, const std::string& name, TestClip clip,
                std::int32_t danrawOffset) {
    clip.set(4, static_cast<std::uint32_t>(danrawOffset));
    write(folder, name, clip.bytes);
}

void writeTables(const std::filesystem::path& folder) {
    TestClip stored;
    stored.bytes.resize(64);
    stored.recordStarts = {0, 21, 42};
    stored.addStoredTable();
    writeTable(folder, "stored-table", stored, 8);
    TestClip spoilt = stored;
    spoilt.setTrailer(trailer::kFrameCount, 0U);
    writeTable(folder, "stored-table-of-none", spoilt, 8);
    spoilt.setTrailer(trailer::kFrameCount, 0x1FFFFFFFU);
    writeTable(folder, "stored-table-past-the-end", spoilt, 8);
    spoilt.setTrailer(trailer::kMagicOffset, 0U);
    writeTable(folder, "trailer-without-magic", spoilt, 8);

    writeTable(folder, "chain", closestChain(5), 8);
    writeTable(folder, "chain-that-grows-the-table", closestChain(4097), 8);
    writeTable(folder, "records-before-their-start", closestChain(5), -8);
    TestClip last = closestChain(3);
    last.setDanraw(2, danraw::kRecordLength, 0U);
    writeTable(folder, "chain-that-ends-with-length-0", last, 8);
    last.setDanraw(1, danraw::kRecordLength, 0xFFFFFFFFU);
    writeTable(folder, "chain-that-leaves-the-file", last, 8);
    writeTable(folder, "one-record", closestChain(1), 8);
}

void put16(Bytes& bytes, std::uint32_t value) {
    bytes.push_back(static_cast<std::uint8_t>(value));
    bytes.push_back(static_cast<std::uint8_t>(value >> 8U));
}

/// As readCodeTable takes it: a first byte, then the words as they stand.
void putTable(Bytes& bytes, const CodeTable& table) {
    bytes.push_back(0);
    for (std::size_t category = 0; category < kKineCategories; ++category)
        put16(bytes, table.lengths[category]);
    for (std::size_t category = 0; category < kKineCategories; ++category)
        put16(bytes, table.codes[category]);
}

/// Codes of 1 to 12 bits and two of 12, category 0 or category 12 with the shortest: with the former, entries
/// are complete as far as they can be, with the latter they are deferred and the widest samples follow.
CodeTable steepTable(bool wideFirst) {
    CodeTable table;
    const std::size_t last = table.lengths.size() - 1;
    for (std::size_t i = 0; i <= last; ++i)
        table.lengths[wideFirst ? last - i : i] = static_cast<std::uint16_t>(std::min(i + 1, last));
    assignCanonicalCodes(table);
    return table;
}

struct PlaneSeed {
    const char* name;
    std::uint16_t largest; // sample
    std::uint8_t shift;
    std::optional<CodeTable> table;
    std::size_t cutBytes = 0;
    bool wrongEnd = false; // its last bits start no code
};

/// Codes for differences of -1, 0 and 1; three bits in a row start none.
CodeTable lowRateTable() {
    CodeTable table;
    table.lengths = {1, 2};
    assignCanonicalCodes(table);
    return table;
}

std::vector<PlaneSeed> planeSeeds() {
    return {{"fitted-noise", 4095, 0, {}},
            {"fitted-flat", 15, 4, {}},
            {"short-codes-for-small", 4095, 0, steepTable(false)},
            {"short-codes-for-wide", 4095, 15, steepTable(true)},
            {"cut-short", 4095, 0, steepTable(true), 40},
            {"low-rate", 1, 0, lowRateTable()},
            {"low-rate-then-wrong", 1, 0, lowRateTable(), 0, true},
            {"no-codes", 0, 0, CodeTable{}, 1000}};
}

/// Table and coded samples of a plane that is `columns` wide.
std::pair<CodeTable, Bytes> codePlane(const PlaneSeed& seed, std::uint32_t columns, std::uint32_t rows,
                                      std::uint32_t random) {
    const std::vector<std::uint16_t> samples = randomMosaic(columns, rows, random, seed.largest).samples;
    const CodeTable fitted = fitCodeTable(countCategories(samples, columns));
    const CodeTable table = seed.table.value_or(fitted);
    const bool empty = std::ranges::max(table.lengths) == 0;
    Bytes data = encodePlane(samples, columns, empty ? fitted : table);
    data.resize(data.size() - std::min(data.size(), seed.cutBytes));
    if (seed.wrongEnd) data.back() = data[data.size() - 2] = 0xFF;
    return {table, data};
}

void writePlanes(const std::filesystem::path& folder) {
    constexpr std::uint32_t kColumns = 17;
    constexpr std::uint32_t kRows = 5;
    for (const PlaneSeed& seed : planeSeeds()) {
        const auto [table, data] = codePlane(seed, kColumns, kRows, 1);
        Bytes bytes{1}; // counts that are not random
        put16(bytes, kColumns * kRows);
        bytes.push_back(kColumns - 1);
        bytes.push_back(seed.shift);
        putTable(bytes, table);
        bytes.insert(bytes.end(), data.begin(), data.end());
        write(folder, seed.name, bytes);
    }
}

void writePictures(const std::filesystem::path& folder) {
    constexpr std::pair<std::uint32_t, std::uint32_t> kSizes[] = {{9, 2}, {260, 2}, {24, 40}};
    for (const PlaneSeed& seed : planeSeeds())
        for (const auto& [columns, rows] : kSizes) {
            if (rows > 2 && seed.largest > 1) continue; // many rows are for pictures with a low bit rate
            Bytes bytes;
            put16(bytes, columns - 1);
            bytes.push_back(static_cast<std::uint8_t>(rows - 1));
            for (std::uint32_t index = 0; index < plane::kCount; ++index) {
                const auto [table, data] = codePlane(seed, columns, rows, index + 1);
                bytes.push_back(seed.shift);
                putTable(bytes, table);
                if (index + 1 < plane::kCount) put16(bytes, static_cast<std::uint32_t>(data.size()));
                bytes.insert(bytes.end(), data.begin(), data.end());
            }
            write(folder, fmt::format("{}-{}x{}", seed.name, columns, rows), bytes);
        }
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    const std::filesystem::path corpora = argv[1];
    writeClips(corpora / "clip");
    writeTables(corpora / "frame_table");
    writeSources(corpora / "recover");
    writePlanes(corpora / "plane");
    writePictures(corpora / "picture");
    return 0;
}
