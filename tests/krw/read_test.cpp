// Frame reading from sound clips: pictures, positions, size queries and file references.
#include "krw/format.h"
#include "plugin/status.h"
#include "tests/support/host_faults.h"
#include "tests/support/open_clip.h"

#include <array>
#include <cstring>
#include <gtest/gtest.h>

namespace {

namespace plane = krwfile::plane;

constexpr std::uint32_t kWidth = 16;
constexpr std::uint32_t kHeight = 8;
constexpr std::uint32_t kSamples = kWidth * kHeight;

TEST(Read, EveryFrameComesBackBitForBit) {
    // Sizes at and around the decoder's groups of samples, and a shift.
    constexpr std::pair<std::uint32_t, std::uint32_t> kSizes[] = {{2, 2},  {4, 2},   {6, 4},
                                                                  {16, 8}, {62, 30}, {130, 6}};
    for (const auto& [width, height] : kSizes) {
        for (const unsigned shift : {0U, 4U}) {
            ClipDescription description;
            description.shift = shift;
            const std::vector<Mosaic> mosaics = randomMosaics(3, width, height);
            const LogCapture log;
            OpenClip clip(makeClip(description, mosaics));
            ASSERT_EQ(clip.result, 0U);
            for (std::uint32_t n = 0; n < 3; ++n) {
                FrameRequest request(std::size_t{width} * height);
                ASSERT_EQ(request.read(clip.reader, n), 0U);
                std::vector<std::uint16_t> expected = mosaics[n].samples;
                for (std::uint16_t& sample : expected)
                    sample = static_cast<std::uint16_t>(sample << shift);
                EXPECT_EQ(request.picture, expected) << width << "x" << height << " frame " << n;
            }
        }
    }
}

TEST(Read, PictureBufferMayLieAtAnOddAddress) {
    const std::vector<Mosaic> mosaics = randomMosaics(2, kWidth, kHeight);
    TestClip damaged = makeClip({}, mosaics);
    damaged.setCodeTable(1, 3, kinedec::CodeTable{}); // frame 1 goes through the plane decoder
    const LogCapture log;
    OpenClip clip(damaged);
    for (std::uint32_t n = 0; n < 2; ++n) {
        std::array<std::uint8_t, 2 * kSamples + 2> bytes{};
        bytes.fill(0xEE);
        DFRAME dframe{};
        dframe.picture = {bytes.data() + 1, 2 * kSamples, 0, {}, 0};
        ASSERT_EQ(clip.reader.Read(n, 1, 1, 1, &dframe, nullptr), 0U);
        EXPECT_EQ(std::memcmp(bytes.data() + 1, mosaics[n].samples.data(), kWidth), 0);
        EXPECT_EQ(bytes.front(), 0xEE);
        EXPECT_EQ(bytes.back(), 0xEE);
    }
}

TEST(Read, FrameRecordAndPosition) {
    ClipDescription description;
    description.start = {1, 0, 0, 0};
    const std::vector<Mosaic> mosaics = randomMosaics(3, kWidth, kHeight);
    const LogCapture log;
    const TestClip bytes = makeClip(description, mosaics);
    OpenClip clip(bytes);
    const StreamRecord& stream = *clip.reader.m_vidStream[0];

    FrameRequest request(kSamples);
    request.dframe.flags = 0x40008001;
    EXPECT_EQ(request.read(clip.reader, 1, 1), 0U);
    EXPECT_EQ(request.dframe.flags, 0x10020001U);
    EXPECT_EQ(request.dframe.tcFrame, 90001U);
    EXPECT_EQ(request.dframe.tcFrameCopy, 90001U);
    EXPECT_EQ(request.dframe.picture.bytesUsed, 2 * kSamples);
    EXPECT_EQ(request.dframe.picture.host24, 0U);
    EXPECT_EQ(stream.lastFrame, 1U);
    EXPECT_EQ(stream.lastSize, 2 * kSamples);
    EXPECT_EQ(stream.curFrame, 2U);
    EXPECT_EQ(static_cast<std::uint64_t>(clip.reader.m_frameBase), bytes.recordStarts[1]);

    // Reading the current frame again and again reaches the end.
    EXPECT_EQ(request.read(clip.reader, 0xFFFFFFFF), 0U);
    EXPECT_EQ(request.picture, mosaics[2].samples);
    EXPECT_EQ(request.read(clip.reader, 0xFFFFFFFF), status::kNoFile);
    EXPECT_EQ(stream.curFrame, 3U);
    EXPECT_EQ(request.read(clip.reader, 0, 2), 0U);
    EXPECT_EQ(stream.curFrame, 2U);

    // Channels, size queries and other kinds.
    struct Row {
        const char* name;
        std::uint32_t frame, channel, request;
        bool withRecord;
        std::uint32_t result;
    };
    const Row rows[] = {
        {"size query", 2, 1, 1, false, 2 * kSamples},
        {"size query past the end", 3, 1, 1, false, 0},
        {"size query of the current frame", 0xFFFFFFFF, 1, 1, false, 2 * kSamples},
        {"other request bits are ignored", 2, 1, 0x70FFFF01, false, 2 * kSamples},
        {"no channel", 0, 0, 1, true, status::kNoFile},
        {"channel without a stream", 0, 2, 1, true, status::kNoFile},
        {"past the end", 3, 1, 1, true, status::kNoFile},
        {"unknown kind", 3, 0, 2, true, 0},
        {"audio size query", 0, 1, 0, false, 0},
        {"audio without stream", 0, 1, 0x08000000, true, status::kNoFile},
        {"audio without channel", 0, 0, 0x08000000, true, status::kNoFile},
        {"secondary file without reference", 0, 1, 4, true, status::kNoFile},
        {"secondary file 0", 0, 0, 0x08000004, true, status::kNoFile},
        {"secondary file that is none", 0, 1, 0x08000004, true, status::kNoFile},
        {"secondary file without frame record", 0, 1, 0x08000004, false, status::kNoFile},
    };
    for (const Row& row : rows) {
        FrameRequest other(kSamples);
        const DFRAME before = other.dframe;
        EXPECT_EQ(clip.reader.Read(row.frame, 1, row.channel, row.request,
                                   row.withRecord ? &other.dframe : nullptr, nullptr),
                  row.result)
            << row.name;
        // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison): every byte counts
        EXPECT_EQ(std::memcmp(&before, &other.dframe, sizeof before), 0) << row.name;
        EXPECT_TRUE(other.untouched()) << row.name;
    }
}

TEST(Read, FileReferences) {
    const LogCapture log;
    OpenClip clip(makeClip(3));
    clip.reader.m_fileParam = 0x1122334455667788;
    constexpr std::uint32_t kReference = 0x08000000;
    DFRAME dframe{};
    EXPECT_EQ(clip.reader.Read(1, 1, 1, kReference | 1, &dframe, nullptr), status::kFrameBuffer);
    EXPECT_EQ(dframe.flags, 0U);
    dframe.recordSize = 12524;
    EXPECT_EQ(clip.reader.Read(1, 1, 1, kReference | 1, &dframe, nullptr), 0U);
    EXPECT_EQ(dframe.flags, 0x50000001U);
    EXPECT_EQ(dframe.framesLeft, 2U);
    EXPECT_EQ(dframe.refKind, 1024U);
    EXPECT_EQ(dframe.fileParam, 0x1122334455667788U);
    EXPECT_EQ(dframe.fileName, clip.path);

    // Audio, once the host has described some.
    QMXAUDIO audio{};
    audio.stream.dwLength = 50;
    audio.stream.dwSuggestedBufferSize = 4321;
    ASSERT_EQ(clip.reader.SetFileInfo(0x3, nullptr, nullptr, &audio, nullptr), 0U);
    EXPECT_EQ(clip.reader.Read(0, 1, 1, 0, nullptr, nullptr), 4321U);
    EXPECT_EQ(clip.reader.Read(0, 1, 1, 0, &dframe, nullptr), status::kNoFile) << "samples are never read";
    dframe = {};
    EXPECT_EQ(clip.reader.Read(20, 1, 1, kReference, &dframe, nullptr), status::kFrameBuffer);
    dframe.recordSize = 12524;
    EXPECT_EQ(clip.reader.Read(20, 1, 1, kReference, &dframe, nullptr), 0U);
    EXPECT_EQ(dframe.flags, 0x40000200U);
    EXPECT_EQ(dframe.framesLeft, 30U);
    EXPECT_EQ(dframe.refKind, 1024U);
    EXPECT_EQ(dframe.fileName, clip.path);
    clip.reader.m_audChan = 0;
    EXPECT_EQ(clip.reader.Read(20, 1, 1, kReference, &dframe, nullptr), status::kNoFile);
    EXPECT_EQ(dframe.framesLeft, 0U);
    EXPECT_EQ(dframe.fileParam, 0U);
    EXPECT_EQ(dframe.refKind, 0U);
}

TEST(Read, PlanesMayLieAnywhere) {
    const std::vector<Mosaic> mosaics = randomMosaics(2, kWidth, kHeight);
    TestClip clip = makeClip({}, mosaics);
    clip.movePlane(0, 0, 400);                                           // inside the file header
    clip.movePlane(1, 1, 8);                                             // before the DANRAW_HEADER
    clip.movePlane(1, 2, static_cast<std::uint32_t>(clip.bytes.size())); // behind the record's length
    clip.movePlane(0, 3, static_cast<std::uint32_t>(clip.bytes.size()));
    const LogCapture log;
    OpenClip open(clip);
    ASSERT_EQ(open.result, 0U);
    for (std::uint32_t n = 0; n < 2; ++n) {
        FrameRequest request(kSamples);
        EXPECT_EQ(request.read(open.reader, n), 0U);
        EXPECT_EQ(request.picture, mosaics[n].samples);
    }
}

TEST(Read, PlaneOfTheLargestSizeAndStreamThatRunsOut) {
    // Every category-12 difference under a 4-bit code fills its 16 bits: the largest plane there can be.
    kinedec::CodeTable table;
    table.lengths[12] = 4;
    table.codes[12] = 5;
    std::vector<std::uint16_t> samples(kSamples / 4);
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = i % 2 == 0 ? 2048 : 4500;
    // Rows of eight: each begins 2048 apart from the first sample above, so alternate the rows too.
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<std::uint16_t>(samples[i] + (i / 8 % 2 == 0 ? 0 : 2200));
    const std::vector<std::uint8_t> data = encodePlane(samples, kWidth / 2, table);
    ASSERT_EQ(data.size(), kSamples / 2);
    TestClip clip = makeClip(2, kWidth, kHeight);
    const auto place = static_cast<std::uint32_t>(clip.bytes.size() - clip.recordStarts[1]);
    clip.bytes.insert(clip.bytes.end(), data.begin(), data.end());
    clip.setCodeTable(1, 0, table);
    clip.setPlane(1, 0, plane::kDataOffset, place);
    clip.setPlane(1, 0, plane::kDataSize, static_cast<std::uint32_t>(data.size()));
    // Bits behind the end of a stream are 0. Under this table they are the difference -4095.
    kinedec::CodeTable zeros;
    zeros.lengths[12] = 1;
    clip.setCodeTable(1, 2, zeros);
    clip.setPlane(1, 2, plane::kDataSize, std::uint32_t{0});
    const LogCapture log;
    OpenClip open(clip);
    ASSERT_EQ(open.result, 0U);
    FrameRequest request(kSamples);
    ASSERT_EQ(request.read(open.reader, 1), 0U);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const std::size_t row = i / (kWidth / 2);
        const std::size_t column = i % (kWidth / 2);
        EXPECT_EQ(request.picture[2 * row * kWidth + 2 * column], samples[i]);
        EXPECT_EQ(request.picture[(2 * row + 1) * kWidth + 2 * column],
                  static_cast<std::uint16_t>(65536 - 4095 * (row + 1 + column)));
    }
}

TEST(Read, OffsetsBeyond4GiB) {
    const std::vector<Mosaic> mosaics = randomMosaics(3, kWidth, kHeight);
    ClipDescription description;
    description.storedTable = false;
    const TestClip clip = makeClip(description, mosaics);
    for (const bool stored : {true, false}) {
        const TempDir directory;
        const std::string path = directory.path("large.krw");
        const std::vector<std::uint64_t> starts = writeSparseClip(path, clip, 0xC0000000, stored);
        ASSERT_GT(starts.back(), std::uint64_t{1} << 32);
        CMFKrw reader(0);
        const LogCapture log;
        ASSERT_EQ(openForReading(reader, path), 0U);
        ASSERT_EQ(reader.Length(), 3U);
        for (std::uint32_t n = 0; n < 3; ++n) {
            FrameRequest request(kSamples);
            EXPECT_EQ(request.read(reader, n), 0U);
            EXPECT_EQ(request.picture, mosaics[n].samples);
        }
        EXPECT_EQ(reader.m_frameBase, static_cast<std::int64_t>(starts[2]));
    }
}

} // namespace
