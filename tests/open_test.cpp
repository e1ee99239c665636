// Opening and probing: what a good clip becomes, and what each spoilt one is answered with.
#include "host/configuration.h"
#include "host/error_output.h"
#include "krw/format.h"
#include "krw/probe.h"
#include "plugin/status.h"
#include "tests/support/host_faults.h"
#include "tests/support/open_clip.h"

#include <cmath>
#include <cstring>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>

namespace {

namespace danraw = krwfile::danraw;
using testing::ElementsAre;

constexpr char kError[] = "ERROR(pvx_krw): ";
constexpr char kWarning[] = "WARNING(pvx_krw): ";

/// The line that a message becomes; none for an empty message.
std::vector<LogLine> logged(std::uint32_t status, const char* prefix, const std::string& message) {
    if (message.empty()) return {};
    return {{status, prefix + message + "\n\r"}};
}

/// Entry `index` of the directory gets this tag and value.
void setEntry(TestClip& clip, std::size_t index, std::uint16_t tag, std::uint32_t value) {
    const std::size_t entry = krwfile::kEntriesOffset + index * krwfile::kEntrySize;
    clip.set(entry, tag);
    clip.set(entry + krwfile::kEntryValueOffset, value);
}

std::uint16_t entryCount(const TestClip& clip) {
    return static_cast<std::uint16_t>(clip.bytes[8] | clip.bytes[9] << 8);
}

/// One more directory entry, behind the others.
void appendEntry(TestClip& clip, std::uint16_t tag, std::uint32_t value) {
    const std::uint16_t count = entryCount(clip);
    setEntry(clip, count, tag, value);
    clip.set(krwfile::kEntryCountOffset, static_cast<std::uint16_t>(count + 1));
}

TEST(OpenAndProbe, VerdictOnEachSpoiltClip) {
    struct Row {
        const char* name;
        std::function<void(TestClip&)> spoil;
        std::uint32_t open;
        std::string openMessage; // error
        std::uint32_t probe;
        std::string probeMessage;
        const char* probeLevel = kError;
    };
    using Clip = TestClip;
    const std::string header = "Error: read DNG header\n";
    const std::string endian = "Endian mismatch!\n";
    const std::string compression = "Unexpected compression.\n";
    const std::string noDanraw = "No DANRAW_HEADER!\n";
    const std::string dimensions = "Invalid KRW frame dimensions\n";
    const auto size = [](std::uint32_t width, std::uint32_t height) {
        return [=](Clip& clip) {
            clip.setDanraw(0, danraw::kWidth, width);
            clip.setDanraw(0, danraw::kHeight, height);
        };
    };
    const auto tag = [](std::uint16_t number, std::uint32_t value) {
        return [=](Clip& clip) { clip.setTag(number, value); };
    };
    const Row rows[] = {
        {"good", [](Clip&) {}, 0, "", 0, ""},
        {"1951 bytes", [](Clip& c) { c.cut(1951); }, status::kBadHeader, "Error: read DNG header size\n",
         status::kBadHeader, header, kWarning},
        {"empty", [](Clip& c) { c.cut(0); }, status::kBadHeader, "Error: read DNG header size\n",
         status::kBadHeader, header, kWarning},
        {"big-endian", [](Clip& c) { c.set(0, std::uint16_t{0x4D4D}); }, status::kBadHeader, endian,
         status::kBadHeader, endian, kWarning},
        {"27 entries", [](Clip& c) { c.set(8, std::uint16_t{27}); }, status::kBadHeader, endian,
         status::kBadHeader, endian, kWarning},
        {"26 entries", [](Clip& c) { c.set(8, std::uint16_t{26}); }, 0, "", 0, ""},
        {"no entries", [](Clip& c) { c.set(8, std::uint16_t{0}); }, status::kNoDanraw, noDanraw,
         status::kNoDanraw, noDanraw},
        {"directory said to be elsewhere", [](Clip& c) { c.set(4, std::uint32_t{4000}); }, 0, "", 0, ""},
        {"compression 1", tag(259, 1), 0, "", 0, ""},
        {"compression 10", tag(259, 10), 0, "", 0, ""},
        {"compression 7", tag(259, 7), status::kUnreadable, compression, status::kUnreadable, compression},
        {"compression 7 as the last entry", [](Clip& c) { appendEntry(c, 259, 7); }, status::kUnreadable,
         compression, status::kUnreadable, compression},
        {"no private data", [](Clip& c) { c.renameTag(50740, 60000); }, status::kNoDanraw, noDanraw,
         status::kNoDanraw, noDanraw},
        {"negative private data", tag(50740, 0x80000000), status::kNoDanraw, noDanraw, status::kNoDanraw,
         noDanraw},
        {"later private data wins", [](Clip& c) { appendEntry(c, 50740, 0); }, status::kNoDanraw, noDanraw,
         status::kNoDanraw, noDanraw},
        {"private data past the end", tag(50740, 0x7FFFFFFF), status::kUnreadable, "Error: read DANRAW\n", 0,
         ""},
        {"stored table refused",
         [](Clip& c) { c.setTrailer(krwfile::trailer::kFrameCount, std::uint32_t{0}); }, status::kNoFile, "",
         status::kNoFile, ""},
        {"stored table of one frame",
         [](Clip& c) { c.setTrailer(krwfile::trailer::kFrameCount, std::uint32_t{1}); }, 0, "",
         status::kNoFile, ""},
        {"no trailer", [](Clip& c) { c.setTrailer(krwfile::trailer::kMagicOffset, std::uint32_t{0}); }, 0, "",
         0, ""},
        {"signature", [](Clip& c) { c.setDanraw(0, danraw::kSignatureOffset, std::uint32_t{0}); },
         status::kBadRecord, "Error: signature.\n", 0, ""},
        {"width 0", size(0, 8), status::kBadRecord, dimensions, 0, ""},
        {"negative height", size(16, 0xFFFFFFF8), status::kBadRecord, dimensions, 0, ""},
        {"odd width", size(15, 8), status::kBadRecord, dimensions, 0, ""},
        {"odd height", size(16, 7), status::kBadRecord, dimensions, 0, ""},
        {"2^32 bytes", size(65536, 32768), status::kBadRecord, dimensions, 0, ""},
        {"just below 2^32 bytes", size(65534, 32768), 0, "", 0, ""},
    };
    const TestClip good = makeClip(3);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        TestClip clip = good;
        row.spoil(clip);
        HostFaults faults;
        {
            const LogCapture log;
            OpenClip open(clip);
            EXPECT_EQ(open.result, row.open);
            if (row.open != 0) {
                EXPECT_EQ(log.lines(), logged(kErrorStatus, kError, row.openMessage));
            }
        }
        {
            const TempDir directory;
            const std::string path = directory.write("clip.krw", clip.bytes);
            const LogCapture log;
            EXPECT_EQ(mfPlugInCheckFile(path.c_str(), 0), row.probe);
            const std::uint32_t level = row.probeLevel == kWarning ? kWarningStatus : kErrorStatus;
            EXPECT_EQ(log.lines(), logged(level, row.probeLevel, row.probeMessage));
        }
        EXPECT_EQ(faults.liveBlocks(), 0);
        EXPECT_EQ(faults.openHandles(), 0);
    }
}

TEST(OpenAndProbe, FailingHostIsAnsweredAndLeavesNothing) {
    struct Row {
        const char* name;
        std::function<void(HostFaults&)> arm;
        std::uint32_t open;
        std::string message;
    };
    const auto memory = [](std::uint64_t n) {
        return [n](HostFaults& f) { f.fail(HostCall::allocation, n); };
    };
    const Row rows[] = {
        {"no file", [](HostFaults& f) { f.fail(HostCall::open, 1); }, status::kNoFile, ""},
        {"header read", [](HostFaults& f) { f.fail(HostCall::read, 1); }, status::kBadHeader,
         "Error: read DNG header\n"},
        {"header short", [](HostFaults& f) { f.shortenRead(1, 1951); }, status::kBadHeader,
         "Error: read DNG header size\n"},
        {"table", [](HostFaults& f) { f.fail(HostCall::read, 2); }, status::kNoFile, ""},
        {"record seek", [](HostFaults& f) { f.fail(HostCall::seek, 3); }, status::kUnreadable,
         "Error: read DANRAW\n"},
        {"record read", [](HostFaults& f) { f.fail(HostCall::read, 4); }, status::kUnreadable,
         "Error: read DANRAW\n"},
        {"record short", [](HostFaults& f) { f.shortenRead(4, 1493); }, status::kUnreadable,
         "Error: read DANRAW\n"},
        {"raw parameters", memory(1), status::kOutOfMemory, ""},
        {"first text", memory(2), status::kOutOfMemory, ""},
        {"camera index", memory(9), status::kOutOfMemory, ""},
        {"note", memory(15), status::kOutOfMemory, ""},
        {"last text", memory(17), status::kOutOfMemory, ""},
    };
    const TestClip clip = makeClip(2);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const TempDir directory;
        const std::string path = directory.write("clip.krw", clip.bytes);
        HostFaults faults;
        {
            const LogCapture log;
            CMFKrw reader(0);
            row.arm(faults);
            EXPECT_EQ(openForReading(reader, path), row.open);
            EXPECT_EQ(log.lines(), logged(kErrorStatus, kError, row.message));
            EXPECT_EQ(reader.Close(), 0U);
            EXPECT_EQ(faults.openHandles(), 0);
        }
        EXPECT_EQ(faults.liveBlocks(), 0);
    }

    // The one allocation left is the stream record's, after the side-car search.
    const TempDir directory;
    const std::string path = directory.write("clip.krw", clip.bytes);
    const LogCapture log;
    HostFaults faults;
    CMFKrw reader(0);
    faults.fail(HostCall::allocation, 18);
    EXPECT_EQ(openForReading(reader, path), status::kOutOfMemory);
    EXPECT_THAT(log.texts(), ElementsAre("Open(0xE8022007)"));
}

TEST(Open, RefusesToCreateAndWhatIsNoFile) {
    const TempDir directory;
    CMFKrw reader(0);
    const LogCapture log;
    const std::string path = directory.write("clip.krw", makeClip(2).bytes);
    EXPECT_EQ(reader.Open(path.c_str(), 0x40000000, 0, nullptr, 2, 0, 0), status::kNoFile);
    EXPECT_EQ(reader.m_vidChan, 1U);
    EXPECT_EQ(reader.m_audChan, 0U);
    const std::string overlong(5000, 'x');
    for (const std::string& other : {directory.path("none.krw"), directory.root().string(), overlong})
        EXPECT_EQ(openForReading(reader, other), status::kNoFile) << other;
    EXPECT_EQ(reader.Open(nullptr, 0x80000000, 1, nullptr, 3, 0, 0), status::kNoFile);
    EXPECT_TRUE(log.lines().empty());
}

TEST(Open, DescribesTheClip) {
    ClipDescription description;
    description.framesPerSecond = 25;
    description.start = {10, 20, 30, 5};
    description.manufacturer = std::string(20, 'M');
    description.modelName = "CAM";
    description.value24 = 4242;
    description.cameraIndex = -2147483647;
    description.scene = 12;
    description.take = -3;
    description.directorName = "D";
    description.text304 = "t304";
    description.text1416 = "t1416";
    TestClip clip = makeClip(description, randomMosaics(3, 32, 8));
    clip.setText(0, danraw::kNote1, std::string(28, 'a'));
    clip.setText(0, danraw::kNote2, "");
    clip.setText(0, danraw::kNote3, "third part++");
    const LogCapture log;
    OpenClip open(clip);
    ASSERT_EQ(open.result, 0U);
    EXPECT_THAT(log.texts(), ElementsAre("\npvx_krw(" + open.path + ")  "));
    CMFKrw& reader = open.reader;

    EXPECT_EQ(reader.Length(), 3U);
    EXPECT_EQ(reader.m_vid.biWidth, 32);
    EXPECT_EQ(reader.m_vid.biHeight, 8);
    EXPECT_EQ(reader.m_vid.biBitCount, 16);
    EXPECT_EQ(reader.m_GetfccCodec(), fourCC('g', 'r', 'b', 'g'));
    EXPECT_EQ(reader.m_vid.stream.fccHandler, fourCC('g', 'r', 'b', 'g'));
    EXPECT_EQ(reader.m_vid.biSizeImage, 512U);
    EXPECT_NE(reader.m_vid.pvFlags, 0U);
    EXPECT_EQ(reader.m_sys.dwTotalFrames, 3U);
    EXPECT_EQ(reader.m_sys.dwMicroSecPerFrame, 40000U);
    EXPECT_EQ(reader.m_sys.dwWidth, 32U);
    EXPECT_EQ(reader.m_sys.dwMaxBytesPerSec, 512U / 25);
    EXPECT_EQ(reader.m_audCadence.m_audFrameNum, 48000U);
    EXPECT_EQ(reader.m_audCadence.m_audFrameDen, 25U);
    EXPECT_EQ(reader.VidChan(), 1U);
    EXPECT_EQ(reader.AudChan(), 0U);
    ASSERT_NE(reader.m_vidStream[0], nullptr);
    EXPECT_EQ(reader.m_vidStream[0]->kind, 16U);
    EXPECT_EQ(std::memcmp(&reader.m_vidStream[0]->video, &reader.m_vid, sizeof reader.m_vid), 0);
    EXPECT_EQ(std::memcmp(reader.m_dngHeader, clip.bytes.data(), sizeof reader.m_dngHeader), 0);

    const QMXINFO& info = reader.m_info;
    const std::pair<InfoText, std::string> texts[] = {
        {InfoText::manufacturer, std::string(20, 'M')},
        {InfoText::modelName, "CAM"},
        {InfoText::serialNo, "000001"},
        {InfoText::project, "Test clips"},
        {InfoText::cameraIndex, "-2147483647"},
        {InfoText::scene, "12"},
        {InfoText::take, "-3"},
        {InfoText::directorName, "D"},
        {InfoText::text63, "t304"},
        {InfoText::text51, "t1416"},
        {InfoText::text22, ""},
        {InfoText::text68, std::string(28, 'a') + "third part++"},
    };
    for (const auto& [item, text] : texts) {
        ASSERT_NE(info[item], nullptr) << static_cast<std::uint32_t>(item);
        EXPECT_EQ(info[item], text);
    }
    EXPECT_EQ(info[InfoText::reel], nullptr);
    EXPECT_EQ(info[InfoText::deviceMetadata], nullptr);
    const std::uint32_t start = ((10 * 60 + 20) * 60 + 30) * 25 + 5;
    const std::pair<InfoNumber, std::uint32_t> numbers[] = {
        {InfoNumber::item210, 4242},
        {InfoNumber::tcStartFrame, start},
        {InfoNumber::tcStartFrameCopy, start},
        {InfoNumber::rawBlackCodeValue, 256},
        {InfoNumber::rawWhiteCodeValue, 4095},
        {InfoNumber::masterGamma, 2200},
        {InfoNumber::rGain, 1000},
        {InfoNumber::bGain, 1000},
        {InfoNumber::aspectRatio, 4 << 16 | 1},
        {InfoNumber::isoSensitivity, 0xFFFFFFFF},
    };
    for (const auto& [item, value] : numbers)
        EXPECT_EQ(info[item], value) << static_cast<std::uint32_t>(item);

    RawParams params{};
    std::memcpy(&params, info[InfoText::rawParams], sizeof params);
    EXPECT_EQ(params.size, 840U);
    EXPECT_EQ(params.gamma, 2.2F);
    EXPECT_THAT(params.gains, testing::Each(1.0F));
    EXPECT_EQ(params.blackLevel, 0U);
    EXPECT_EQ(params.whiteLevel, 0xFFFFFFFFU) << "the tag goes to the item alone";
    for (std::size_t i = 0; i < 16; ++i) {
        EXPECT_EQ(params.matrix1[i], i % 5 == 0 ? 1.0F : 0.0F);
        EXPECT_EQ(params.matrix2[i], i % 5 == 0 ? 1.0F : 0.0F);
    }
    EXPECT_EQ(params.host836, 4U);
}

TEST(Open, FrameRates) {
    struct Row {
        float framesPerSecond;
        std::uint32_t rate;
        std::uint32_t scale;
        std::uint32_t flags; // what the host sees
        std::uint32_t start; // frame number of 00:01:00:00 under the clip's own base
        std::uint64_t cadenceNum;
        std::uint64_t cadenceDen;
    };
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float infinity = std::numeric_limits<float>::infinity();
    const Row rows[] = {
        {-1.0F, 24000, 1001, 0x80, 1440, 480480, 240},
        {23.976F, 24000, 1001, 0x80, 1440, 480480, 240},
        {std::nextafter(24.0F, 0.0F), 24000, 1001, 0x80, 1440, 480480, 240},
        {24.0F, 24, 1, 0x01, 1440, 48000, 24},
        {25.0F, 25, 1, 0x08, 1500, 48000, 25},
        {28.9F, 25, 1, 0x08, 1500, 48000, 25},
        {29.0F, 30000, 1001, 0x04, 1800, 480480, 300},
        {29.97F, 30000, 1001, 0x04, 1800, 480480, 300},
        {30.0F, 30, 1, 0x02, 1800, 4800, 3},
        {48.0F, 30, 1, 0x02, 1800, 4800, 3},
        {50.0F, 50, 1, 0x08, 3000, 4800, 5},
        {59.0F, 60000, 1001, 0x04, 3600, 480480, 600},
        {59.94F, 60000, 1001, 0x04, 3600, 480480, 600},
        {60.0F, 60, 1, 0x02, 3600, 4800, 6},
        {61.0F, 100, 1, 0x01, 6000, 480, 1},
        {120.0F, 100, 1, 0x01, 6000, 480, 1},
        {nan, 100, 1, 0x01, 6000, 480, 1},
        {infinity, 100, 1, 0x01, 6000, 480, 1},
    };
    TestClip clip = makeClip(2);
    const LogCapture log;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.framesPerSecond);
        clip.setFramesPerSecond(0, row.framesPerSecond);
        clip.setDanraw(0, danraw::kTimecode, std::uint64_t{0x00010000}); // 00:01:00:00
        OpenClip open(clip);
        ASSERT_EQ(open.result, 0U);
        EXPECT_EQ(open.reader.m_vid.stream.dwRate, row.rate);
        EXPECT_EQ(open.reader.m_vid.stream.dwScale, row.scale);
        for (const InfoNumber item : {InfoNumber::tcFlags, InfoNumber::tcFlags2, InfoNumber::tcFlags3})
            EXPECT_EQ(open.reader.m_info[item], row.flags);
        EXPECT_EQ(open.reader.m_info[InfoNumber::tcStartFrame], row.start);
        EXPECT_EQ(open.reader.m_audCadence.m_audFrameNum, row.cadenceNum);
        EXPECT_EQ(open.reader.m_audCadence.m_audFrameDen, row.cadenceDen);
    }
}

TEST(Open, WhiteLevel) {
    struct Row {
        const char* name;
        std::function<void(TestClip&)> spoil;
        std::uint32_t item;
        std::uint32_t block;
    };
    constexpr std::uint32_t kNone = 0xFFFFFFFF;
    const auto untagged = [](std::uint32_t bits) {
        return [bits](TestClip& clip) {
            clip.renameTag(50717, 60000);
            clip.setTag(258, bits);
        };
    };
    const Row rows[] = {
        {"tag", [](TestClip& c) { c.setTag(50717, 3800); }, 3800, kNone},
        {"tag of all ones", [](TestClip& c) { c.setTag(50717, kNone), c.setTag(258, 12); }, 4095, 4095},
        {"12 bits", untagged(12), 4095, 4095},
        {"only the low 16 bits count", untagged(0x70000 + 10), 1023, 1023},
        {"no bits", untagged(0), 0, 0},
        {"32 bits", untagged(32), kNone, kNone},
        {"more than any number holds", untagged(65535), kNone, kNone},
        {"nothing known",
         [](TestClip& c) {
             c.renameTag(50717, 60000);
             c.renameTag(258, 60001);
         },
         16777215, 16777215},
    };
    const LogCapture log;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        TestClip clip = makeClip(2);
        row.spoil(clip);
        OpenClip open(clip);
        ASSERT_EQ(open.result, 0U);
        EXPECT_EQ(open.reader.m_info[InfoNumber::rawWhiteCodeValue], row.item);
        RawParams params{};
        std::memcpy(&params, open.reader.m_info[InfoText::rawParams], sizeof params);
        EXPECT_EQ(params.whiteLevel, row.block);
    }
}

TEST(Open, AnnouncesTheFileUnlessConfiguredNotTo) {
    constexpr char kSection[] = "Orvexa\\Advanced";
    constexpr char kKey[] = "ShowFilePlugin";
    const TestClip clip = makeClip(2);
    const LogCapture log;
    {
        OpenClip open(clip);
        std::uint32_t value = 0;
        EXPECT_EQ(pvCFGValueDword(-1, kSection, kKey, &value, kCfgRead), 0) << "the default is stored";
        EXPECT_EQ(value, 1U);
        EXPECT_EQ(log.texts().size(), 1U);
    }
    std::uint32_t off = 0;
    ASSERT_EQ(pvCFGValueDword(-1, kSection, kKey, &off, kCfgWrite), 0);
    OpenClip open(clip);
    EXPECT_EQ(log.texts().size(), 1U);
    std::uint32_t on = 1;
    ASSERT_EQ(pvCFGValueDword(-1, kSection, kKey, &on, kCfgWrite), 0);
}

TEST(Open, AnObjectServesOneClipAfterAnother) {
    const TempDir directory;
    const std::string first = directory.write("first.krw", makeClip(3, 16, 8).bytes);
    const std::string second = directory.write("second.krw", makeClip(2, 8, 4).bytes);
    const LogCapture log;
    HostFaults faults;
    {
        CMFKrw reader(0);
        for (int round = 0; round < 3; ++round) {
            ASSERT_EQ(openForReading(reader, first), 0U);
            EXPECT_EQ(reader.Length(), 3U);
            EXPECT_EQ(reader.Close(), 0U);
            EXPECT_EQ(faults.openHandles(), 0);
            ASSERT_EQ(openForReading(reader, second), 0U) << "left open on purpose";
            EXPECT_EQ(reader.m_vidStream[0]->video.biWidth, 8);
        }
    }
    EXPECT_EQ(faults.openHandles(), 0);
    EXPECT_EQ(faults.liveBlocks(), 0);
    EXPECT_EQ(faults.liveHeapBlocks(), 0);
}

} // namespace
