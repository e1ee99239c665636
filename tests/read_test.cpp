// Frame reading: pictures, failures, size queries and file references.
#include "krw/format.h"
#include "plugin/status.h"
#include "tests/support/host_faults.h"
#include "tests/support/open_clip.h"

#include <array>
#include <cstring>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

namespace danraw = krwfile::danraw;
namespace plane = krwfile::plane;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr std::uint32_t kWidth = 16;
constexpr std::uint32_t kHeight = 8;
constexpr std::uint32_t kSamples = kWidth * kHeight;

std::vector<LogLine> error(const char* message) {
    return {{0xC0000000, std::string("ERROR(pvx_krw): ") + message + "\n\r"}};
}

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
    damaged.setCodeTable(1, 3, CodeTable{}); // frame 1 goes through the plane decoder
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

    // The current frame, over and over, walks to the end.
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

TEST(Read, EachSpoiltRecordFailsAloneAndClearly) {
    struct Row {
        const char* name;
        std::function<void(TestClip&)> spoil; // frame 1
        std::uint32_t result;
        const char* message;
        bool positioned = false; // the failure comes after the stream moved to the frame
    };
    using Clip = TestClip;
    constexpr char kDimensions[] = "KRW frame dimensions changed or are invalid";
    constexpr char kPlace[] = "Invalid KRW plane size or offset\n";
    constexpr char kPlan[] = "error read plan data\n";
    const auto entry = [](std::uint64_t offset) {
        // The table's second entry; the trailer names the table.
        return [offset](Clip& c) {
            std::uint64_t table = 0;
            for (std::size_t i = 8; i-- > 0;)
                table = table << 8 | c.bytes.at(c.trailerAt() + krwfile::trailer::kTableOffset + i);
            c.set(table + 8, offset);
        };
    };
    const Row rows[] = {
        {"offset beyond any file", entry(0x7FFFFFFFFFFFFFFF), status::kNoFile, "Invalid KRW frame offset"},
        {"offset with the sign bit", entry(0x8000000000000000), status::kNoFile, "Invalid KRW frame offset"},
        {"offset past the end", entry(1 << 30), status::kNoFile, "Unable to read frame header"},
        {"signature", [](Clip& c) { c.setDanraw(1, danraw::kSignatureOffset, std::uint32_t{1}); },
         status::kBadRecord, "KRW frame signature bad"},
        {"other width", [](Clip& c) { c.setDanraw(1, danraw::kWidth, kWidth + 2); }, status::kBadRecord,
         kDimensions},
        {"other height", [](Clip& c) { c.setDanraw(1, danraw::kHeight, kHeight + 2); }, status::kBadRecord,
         kDimensions},
        {"plane one byte too large",
         [](Clip& c) { c.setPlane(1, 0, plane::kDataSize, std::uint32_t{kSamples / 2 + 1}); },
         status::kBadRecord, kPlace, true},
        {"plane offset past the end",
         [](Clip& c) { c.setPlane(1, 2, plane::kDataOffset, std::uint32_t{0xFFFFFF00}); }, status::kPlaneRead,
         kPlan, true},
    };
    const std::vector<Mosaic> mosaics = randomMosaics(3, kWidth, kHeight);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        TestClip clip = makeClip({}, mosaics);
        row.spoil(clip);
        OpenClip open(clip);
        ASSERT_EQ(open.result, 0U);
        FrameRequest request(kSamples);
        HostFaults faults;
        const LogCapture log;
        EXPECT_EQ(request.read(open.reader, 1), row.result);
        EXPECT_EQ(log.lines(), error(row.message));
        EXPECT_TRUE(request.untouched());
        EXPECT_EQ(request.dframe.flags, row.positioned ? 0xBFFF7FFF : 0xFFFFFFFF);
        EXPECT_EQ(open.reader.m_vidStream[0]->curFrame, row.positioned ? 1U : 0U);
        EXPECT_EQ(faults.liveHeapBlocks(), 0);
        for (const std::uint32_t n : {0U, 2U}) {
            EXPECT_EQ(request.read(open.reader, n), 0U);
            EXPECT_EQ(request.picture, mosaics[n].samples);
        }
    }
}

TEST(Read, FailingHostLeavesThePictureUntouched) {
    struct Row {
        const char* name;
        std::function<void(HostFaults&, DFRAME&)> arm;
        std::uint32_t result;
        std::vector<LogLine> log;
    };
    using F = HostFaults;
    const auto fail = [](HostCall call, std::uint64_t n) {
        return [=](F& f, DFRAME& /*dframe*/) { f.fail(call, n); };
    };
    const auto plan = error("error read plan data\n");
    const Row rows[] = {
        {"header seek", fail(HostCall::seek, 1), status::kNoFile, error("Unable to seek to table pos")},
        {"header read", fail(HostCall::read, 1), status::kNoFile, error("Unable to read frame header")},
        {"header short", [](F& f, DFRAME&) { f.shortenRead(1, 1493); }, status::kNoFile,
         error("Unable to read frame header")},
        {"no buffer", [](F&, DFRAME& d) { d.picture.buffer = nullptr; }, status::kFrameBuffer, {}},
        {"buffer a byte short", [](F&, DFRAME& d) { --d.picture.bufferSize; }, status::kFrameBuffer, {}},
        {"no memory", fail(HostCall::heap, 1), status::kOutOfMemory, {}},
        {"first plane's seek", fail(HostCall::seek, 2), status::kBadRecord, plan},
        {"last plane's seek", fail(HostCall::seek, 5), status::kBadRecord, plan},
        {"first plane's read", fail(HostCall::read, 2), status::kPlaneRead, plan},
        {"last plane short", [](F& f, DFRAME&) { f.shortenRead(5, 3); }, status::kPlaneRead, plan},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        OpenClip open(makeClip(2, kWidth, kHeight));
        FrameRequest request(kSamples);
        HostFaults faults;
        const LogCapture log;
        row.arm(faults, request.dframe);
        EXPECT_EQ(request.read(open.reader, 1), row.result);
        faults.disarm();
        EXPECT_EQ(log.lines(), row.log);
        EXPECT_TRUE(request.untouched());
        EXPECT_EQ(faults.liveHeapBlocks(), 0);
        EXPECT_LE(faults.calls(HostCall::heap), 1U) << "one block a read";
    }
}

TEST(Read, RejectedPlaneIsDeliveredAsFarAsItWent) {
    // Plane 1 has no code at all, plane 3 a shift that no sample has. Plane 2 holds +1, eleven times 0 and
    // then a pattern without a code, four samples into its second row of eight; it is not shifted.
    const std::vector<Mosaic> mosaics = randomMosaics(2, kWidth, kHeight);
    TestClip clip = makeClip({}, mosaics);
    clip.setCodeTable(1, 1, CodeTable{});
    CodeTable table;
    table.lengths = {1, 2};
    table.codes = {0, 2};
    clip.setCodeTable(1, 2, table);
    clip.planeData(1, 2)[0] = 0xA0;
    clip.planeData(1, 2)[1] = 0x03;
    clip.setPlane(1, 2, plane::kShift, std::uint32_t{4});
    clip.setPlane(1, 3, plane::kShift, std::uint32_t{32});
    OpenClip open(clip);
    FrameRequest request(kSamples);
    const LogCapture log;
    EXPECT_EQ(request.read(open.reader, 1), 0U);
    EXPECT_THAT(log.texts(), ElementsAre("codec error: 20!\n", "codec error: 18!\n", "codec error: 20!\n"));
    for (std::size_t i = 0; i < kSamples; ++i) {
        const std::size_t row = i / kWidth;
        const std::size_t column = i % kWidth;
        std::uint16_t expected = 0;
        if (row % 2 == 0 && column % 2 == 0) expected = mosaics[1].samples[i];
        if (row % 2 == 1 && column % 2 == 0) expected = row / 2 * 8 + column / 2 < 12 ? 1 : 0;
        EXPECT_EQ(request.picture[i], expected) << i;
    }
}

TEST(Read, MessagesComeInPlaneOrder) {
    // Plane 0 is rejected, plane 2 cannot be had: first the decoder's word, then the reader's, as if each
    // plane were read and decoded before the next. The picture stays untouched.
    struct Row {
        const char* name;
        std::uint32_t field, value, result;
        const char* message;
    };
    const Row rows[] = {
        {"misplaced", plane::kDataSize, kSamples, status::kBadRecord, "Invalid KRW plane size or offset\n"},
        {"unreadable", plane::kDataOffset, 0x7FFFFFFF, status::kPlaneRead, "error read plan data\n"},
    };
    for (const Row& row : rows) {
        TestClip clip = makeClip(2, kWidth, kHeight);
        clip.setCodeTable(1, 0, CodeTable{});
        clip.setPlane(1, 2, row.field, row.value);
        clip.setCodeTable(1, 3, CodeTable{});
        OpenClip open(clip);
        FrameRequest request(kSamples);
        const LogCapture log;
        EXPECT_EQ(request.read(open.reader, 1), row.result) << row.name;
        EXPECT_THAT(log.texts(), ElementsAre("codec error: 20!\n", HasSubstr(row.message)));
        EXPECT_TRUE(request.untouched());
    }
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
    CodeTable table;
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
    // Zeros follow where a stream ends; under this table they are the difference -4095.
    CodeTable zeros;
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

TEST(Read, ClipsCutShortYieldEveryWholeFrame) {
    constexpr std::size_t kFrames = 12;
    const std::vector<Mosaic> mosaics = randomMosaics(kFrames, kWidth, kHeight);
    ClipDescription description;
    description.storedTable = false;
    const TestClip whole = makeClip(description, mosaics);
    std::vector<std::uint64_t> ends(whole.recordStarts.begin() + 1, whole.recordStarts.end());
    ends.push_back(whole.bytes.size());
    for (std::size_t size = whole.bytes.size() * 2 / 3; size <= whole.bytes.size(); size += 37) {
        SCOPED_TRACE(size);
        TestClip clip = whole;
        clip.cut(size);
        OpenClip open(clip);
        ASSERT_EQ(open.result, 0U);
        const auto wholeFrames =
            static_cast<std::uint32_t>(std::ranges::count_if(ends, [&](auto end) { return end <= size; }));
        const std::uint32_t frames = open.reader.Length();
        ASSERT_GE(frames, wholeFrames);
        ASSERT_LE(frames, wholeFrames + 1);
        FrameRequest request(kSamples);
        for (std::uint32_t n = 0; n < wholeFrames; ++n) {
            ASSERT_EQ(request.read(open.reader, n), 0U);
            ASSERT_EQ(request.picture, mosaics[n].samples);
        }
        if (frames > wholeFrames) {
            const LogCapture log;
            FrameRequest cut(kSamples);
            EXPECT_EQ(cut.read(open.reader, wholeFrames), status::kPlaneRead);
            EXPECT_EQ(log.lines(), error("error read plan data\n"));
            EXPECT_TRUE(cut.untouched());
        }
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

TEST(Read, NothingIsReadThroughALeftoverStreamRecord) {
    const TempDir directory;
    const std::string first = directory.write("first.krw", makeClip(5, kWidth, kHeight).bytes);
    TestClip other = makeClip(2, kWidth, kHeight);
    other.setDanraw(0, danraw::kSignatureOffset, std::uint32_t{0});
    const std::string second = directory.write("second.krw", other.bytes);
    const LogCapture log;
    CMFKrw reader(0);
    ASSERT_EQ(openForReading(reader, first), 0U);
    ASSERT_EQ(openForReading(reader, second), status::kBadRecord);
    FrameRequest request(kSamples);
    EXPECT_EQ(request.read(reader, 4), status::kNoFile) << "the table has two entries now";
    EXPECT_EQ(reader.Close(), 0U);
    EXPECT_EQ(request.read(reader, 0), status::kNoFile);
}

} // namespace
