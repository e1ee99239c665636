// Frame reading from damaged clips and through a failing host: status codes, messages, and the content of the
// picture.
#include "krw/format.h"
#include "plugin/status.h"
#include "tests/support/host_faults.h"
#include "tests/support/open_clip.h"

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

TEST(ReadDamaged, EachSpoiltRecordFailsAloneAndClearly) {
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

TEST(ReadDamaged, FailingHostLeavesThePictureUntouched) {
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

TEST(ReadDamaged, RejectedPlaneIsDeliveredAsFarAsItWent) {
    // Plane 1 has no code at all, plane 3 a shift that no sample has. Plane 2 holds +1, eleven times 0 and
    // then a pattern without a code, four samples into its second row of eight; it is not shifted.
    const std::vector<Mosaic> mosaics = randomMosaics(2, kWidth, kHeight);
    TestClip clip = makeClip({}, mosaics);
    clip.setCodeTable(1, 1, kinedec::CodeTable{});
    kinedec::CodeTable table;
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

TEST(ReadDamaged, MessagesComeInPlaneOrder) {
    // Plane 0 is rejected and plane 2 cannot be read. The decoder's message comes first, then the reader's,
    // as if each plane were read and decoded before the next. The picture stays untouched.
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
        clip.setCodeTable(1, 0, kinedec::CodeTable{});
        clip.setPlane(1, 2, row.field, row.value);
        clip.setCodeTable(1, 3, kinedec::CodeTable{});
        OpenClip open(clip);
        FrameRequest request(kSamples);
        const LogCapture log;
        EXPECT_EQ(request.read(open.reader, 1), row.result) << row.name;
        EXPECT_THAT(log.texts(), ElementsAre("codec error: 20!\n", HasSubstr(row.message)));
        EXPECT_TRUE(request.untouched());
    }
}

TEST(ReadDamaged, ClipsCutShortYieldEveryWholeFrame) {
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

TEST(ReadDamaged, BitsBehindAPlaneAreZero) {
    TestClip clip = makeClip(8, kWidth, kHeight);
    const auto readAll = [&clip] {
        std::vector<std::vector<std::uint16_t>> pictures;
        OpenClip open(clip);
        for (std::uint32_t frame = 0; frame < 8; ++frame) {
            FrameRequest request(kSamples);
            EXPECT_EQ(request.read(open.reader, frame), 0U);
            pictures.push_back(request.picture);
        }
        return pictures;
    };
    const auto forEachPlane = [](const std::function<void(std::size_t, std::size_t)>& work) {
        for (std::size_t frame = 0; frame < 8; ++frame)
            for (std::size_t k = 0; k < plane::kCount; ++k)
                work(frame, k);
    };
    forEachPlane([&](std::size_t frame, std::size_t k) { clip.planeData(frame, k).back() = 0; });
    const auto pictures = readAll();
    forEachPlane([&](std::size_t frame, std::size_t k) {
        const std::size_t size = clip.planeData(frame, k).size();
        clip.setPlane(frame, k, plane::kDataSize, static_cast<std::uint32_t>(size - 1));
    });
    EXPECT_EQ(readAll(), pictures);
}

TEST(ReadDamaged, NothingIsReadThroughALeftoverStreamRecord) {
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
    const auto logged = log.lines();
    EXPECT_EQ(request.read(reader, 4), status::kNoFile) << "the table has two entries now";
    EXPECT_EQ(log.lines(), logged) << "nothing behind the table is taken for a place in the file";
    EXPECT_EQ(reader.Close(), 0U);
    EXPECT_EQ(request.read(reader, 0), status::kNoFile);
}

} // namespace
