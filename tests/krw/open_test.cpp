// Opening: the description of a clip that a host gets.
#include "host/configuration.h"
#include "krw/format.h"
#include "plugin/status.h"
#include "tests/support/host_faults.h"
#include "tests/support/open_clip.h"

#include <cmath>
#include <cstring>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <malloc.h>
#include <string_view>
#include <tuple>

namespace {

namespace danraw = krwfile::danraw;
using testing::ElementsAre;

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

TEST(Open, DescribesThePicture) {
    const TestClip clip = makeClip(3, 32, 8);
    const LogCapture log;
    OpenClip open(clip);
    ASSERT_EQ(open.result, 0U);
    EXPECT_THAT(log.texts(), ElementsAre("\npvx_krw(" + open.path + ")  "));
    CMFKrw& reader = open.reader;
    ASSERT_NE(reader.m_vidStream[0], nullptr);
    const struct {
        const char* name;
        std::uint64_t found;
        std::uint64_t expected;
    } rows[] = {
        {"length", reader.Length(), 3},
        {"video channels", reader.VidChan(), 1},
        {"audio channels", reader.AudChan(), 0},
        {"codec", reader.m_GetfccCodec(), fourCC('g', 'r', 'b', 'g')},
        {"width", static_cast<std::uint32_t>(reader.m_vid.biWidth), 32},
        {"height", static_cast<std::uint32_t>(reader.m_vid.biHeight), 8},
        {"bits", reader.m_vid.biBitCount, 16},
        {"picture size", reader.m_vid.biSizeImage, 512},
        {"format flags are known", reader.m_vid.pvFlags != 0, 1},
        {"handler", reader.m_vid.stream.fccHandler, fourCC('g', 'r', 'b', 'g')},
        {"total frames", reader.m_sys.dwTotalFrames, 3},
        {"microseconds", reader.m_sys.dwMicroSecPerFrame, 40000},
        {"system width", reader.m_sys.dwWidth, 32},
        {"bytes a second", reader.m_sys.dwMaxBytesPerSec, 512 / 25},
        {"audio samples", reader.m_audCadence.m_audFrameNum, 48000},
        {"per frames", reader.m_audCadence.m_audFrameDen, 25},
        {"stream kind", reader.m_vidStream[0]->kind, 16},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.found, row.expected) << row.name;
    EXPECT_EQ(std::memcmp(&reader.m_vidStream[0]->video, &reader.m_vid, sizeof reader.m_vid), 0);
    EXPECT_EQ(std::memcmp(reader.m_dngHeader, clip.bytes.data(), sizeof reader.m_dngHeader), 0);
}

TEST(Open, FieldsOfTheHeaderBecomeItems) {
    constexpr std::pair<danraw::TextField, std::uint32_t> kTexts[] = {
        {danraw::kManufacturer, 59}, {danraw::kText304, 63},   {danraw::kSerialNo, 64},
        {danraw::kText368, 22},      {danraw::kModelName, 38}, {danraw::kProject, 19},
        {danraw::kText772, 23},      {danraw::kText856, 16},   {danraw::kText884, 17},
        {danraw::kText1380, 50},     {danraw::kText1416, 51},  {danraw::kDirectorName, 30},
    };
    const std::tuple<std::size_t, std::uint32_t, std::uint32_t, std::string> decimals[] = {
        {danraw::kCameraIndex, 0x80000001, 73, "-2147483647"},
        {danraw::kScene, 12, 71, "12"},
        {danraw::kTake, 0xFFFFFFFD, 67, "-3"},
    };
    const std::uint32_t start = ((10 * 60 + 20) * 60 + 30) * 25 + 5;
    const std::pair<std::uint32_t, std::uint32_t> numbers[] = {
        {210, 4242}, {199, start}, {201, start}, {220, 256},         {219, 4095},
        {223, 2200}, {237, 1000},  {238, 1000},  {206, 4 << 16 | 1}, {241, 0xFFFFFFFF},
    };
    ClipDescription description;
    description.start = {10, 20, 30, 5};
    description.value24 = 4242;
    TestClip clip = makeClip(description, randomMosaics(2, 32, 8));
    // Each text fills its field and differs from the others.
    const auto textOf = [](danraw::TextField field) {
        std::string text = std::to_string(field.offset);
        text.resize(field.size, '-');
        return text;
    };
    for (const auto& [field, item] : kTexts)
        clip.setText(0, field, textOf(field));
    for (const auto& [field, value, item, text] : decimals)
        clip.setDanraw(0, field, value);
    clip.setText(0, danraw::kNote1, std::string(28, 'x'));
    clip.setText(0, danraw::kNote2, "second part, ");
    clip.setText(0, danraw::kNote3, "third part++");

    const LogCapture log;
    OpenClip open(clip);
    ASSERT_EQ(open.result, 0U);
    const QMXINFO& info = open.reader.m_info;
    for (const auto& [field, item] : kTexts)
        EXPECT_STREQ(info[InfoText{item}], textOf(field).c_str()) << "item " << item;
    for (const auto& [field, value, item, text] : decimals)
        EXPECT_STREQ(info[InfoText{item}], text.c_str()) << "item " << item;
    for (const InfoText edited : {InfoText::scene, InfoText::take})
        EXPECT_GE(malloc_usable_size(info[edited]), 64U) << "a host may write a longer text in its place";
    EXPECT_EQ(info[InfoText::text68], std::string(28, 'x') + "second part, third part++");
    for (const InfoText unset : {InfoText::reel, InfoText::deviceMetadata})
        EXPECT_EQ(info[unset], nullptr);
    for (const auto& [item, value] : numbers)
        EXPECT_EQ(info[InfoNumber{item}], value) << "item " << item;
}

TEST(Open, RawDevelopmentBlockHoldsItsDefaults) {
    const LogCapture log;
    OpenClip open(makeClip(2));
    ASSERT_EQ(open.result, 0U);
    RawParams params{};
    std::memcpy(&params, open.reader.m_info[InfoText::rawParams], sizeof params);
    EXPECT_EQ(params.size, 840U);
    EXPECT_EQ(params.gamma, 2.2F);
    EXPECT_THAT(params.gains, testing::Each(1.0F));
    EXPECT_EQ(params.blackLevel, 0U);
    EXPECT_EQ(params.whiteLevel, 0xFFFFFFFFU) << "only the item takes the tag's value";
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

TEST(Open, BlackLevelWithoutItsTag) {
    TestClip clip = makeClip(2);
    clip.renameTag(50714, 60000);
    const OpenClip open(clip);
    ASSERT_EQ(open.result, 0U);
    EXPECT_EQ(open.reader.m_info[InfoNumber::rawBlackCodeValue], 0U);
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

TEST(Open, ASecondClipShowsNothingOfTheFirst) {
    OpenClip open(makeClip(2));
    const std::string second = open.directory.write("second.krw", makeClip(2).bytes);
    const std::string_view sideCar = R"(<NonRealTimeMeta><Meta name="ISOSensitivity" content="800"/>
        <Meta name="Reel" content="7"/></NonRealTimeMeta>)";
    const LogCapture log;
    [[maybe_unused]] const std::string path = open.directory.write(
        "A001C003M01.xml", {reinterpret_cast<const std::uint8_t*>(sideCar.data()), sideCar.size()});
    ASSERT_EQ(openForReading(open.reader, open.path), 0U);
    EXPECT_EQ(open.reader.m_info[InfoNumber::isoSensitivity], 800U);
    open.reader.Close();
    ASSERT_EQ(openForReading(open.reader, second), 0U);
    EXPECT_EQ(open.reader.m_info[InfoNumber::isoSensitivity], 0U);
    EXPECT_EQ(open.reader.m_info[InfoText::reel], nullptr);
}

// After reads, an object looks for the record that describes the clip where the last read left off.
TEST(Open, LooksForTheFirstRecordWhereTheLastReadStood) {
    TestClip clip = makeClip(3);
    clip.setDanraw(0, danraw::kScene, std::uint32_t{1});
    clip.setDanraw(2, danraw::kScene, std::uint32_t{3});
    const LogCapture log;
    OpenClip open(clip);
    EXPECT_STREQ(open.reader.m_info[InfoText::scene], "1");
    FrameRequest request(128);
    ASSERT_EQ(request.read(open.reader, 2), 0U);
    open.reader.Close();
    ASSERT_EQ(openForReading(open.reader, open.path), 0U);
    EXPECT_STREQ(open.reader.m_info[InfoText::scene], "3");
}

} // namespace
