// What the host hands to a reader in between open and close: descriptions, stream records and channel masks.
#include "host/memory.h"
#include "metadata/info_items.h"
#include "plugin/cmfkrw.h"
#include "plugin/status.h"
#include "tests/support/host_faults.h"

#include <bit>
#include <cstring>
#include <gtest/gtest.h>

namespace {

QMXVIDEO videoRecord(std::int32_t width, std::int32_t height, std::uint32_t biSize = 40) {
    QMXVIDEO video{};
    video.biSize = biSize;
    video.biWidth = width;
    video.biHeight = height;
    video.biBitCount = 16;
    video.biCompression = kFccGrbg;
    video.stream.fccHandler = kFccGrbg;
    video.stream.dwLength = 77;
    video.pvFlags = 0x1234;
    return video;
}

struct VideoCase {
    const char* name;
    std::int32_t width;
    std::int32_t height;
    std::uint32_t biSize;
    std::uint32_t ioAlign;
    std::int32_t expectedHeight;
    std::uint32_t expectedSize; // of the header
    std::uint32_t imageSize;
    std::uint32_t suggested;
};

class SetVideo : public testing::TestWithParam<VideoCase> {};

TEST_P(SetVideo, DescribesA32BitPicture) {
    const VideoCase& row = GetParam();
    CMFKrw reader(0);
    reader.m_ioAlign = row.ioAlign;
    QMXVIDEO video = videoRecord(row.width, row.height, row.biSize);
    ASSERT_EQ(reader.SetFileInfo(0, nullptr, &video, nullptr, nullptr), status::kOk);
    const QMXVIDEO& own = reader.m_vid;
    EXPECT_EQ(own.biHeight, row.expectedHeight);
    EXPECT_EQ(own.biSize, row.expectedSize);
    EXPECT_EQ(own.biBitCount, 32);
    EXPECT_EQ(own.biCompression | own.stream.fccHandler, 0U);
    EXPECT_EQ(own.rowBytes, static_cast<std::uint32_t>(row.width) * 4);
    EXPECT_EQ(own.stream.rcFrame.right, row.width);
    EXPECT_EQ(own.stream.rcFrame.bottom, row.expectedHeight);
    EXPECT_EQ(own.biSizeImage, row.imageSize);
    EXPECT_EQ(own.stream.dwSuggestedBufferSize, row.suggested);
    EXPECT_EQ(own.pvFlags, 0x1234U) << "what is not named stays as given";
    EXPECT_EQ(own.stream.dwLength, 77U);
    ASSERT_NE(reader.m_vidStream[0], nullptr);
    EXPECT_EQ(reader.m_vidStream[0]->kind, kVideoStreamKind);
    EXPECT_EQ(reader.m_vidStream[0]->video.stream.dwLength, 0U);
    EXPECT_EQ(reader.m_vidStream[0]->video.biSizeImage, row.imageSize);
    EXPECT_EQ(reader.VidChan(), 1U);
}

INSTANTIATE_TEST_SUITE_P(
    Records, SetVideo,
    testing::Values(VideoCase{"TopDown", 1920, -1080, 40, 4096, 1080, 40, 8294400, 8294400},
                    VideoCase{"NoHeaderSize", 1921, 1080, 0, 4096, 1080, 40, 8298720, 8302592},
                    VideoCase{"LongHeader", 1920, 1080, 124, 4096, 1080, 124, 8294400, 8294400},
                    VideoCase{"LargestUnit", 10, 10, 40, 0x4000, 10, 40, 400, 0x4000},
                    VideoCase{"UnitTooLarge", 1920, 1080, 40, 65536, 1080, 40, 8294400, 8294400},
                    VideoCase{"NoUnit", 10, 10, 40, 0, 10, 40, 400, 400},
                    VideoCase{"RoundingBeyond32Bits", 32767, 32769, 40, 4096, 32769, 40, 0xFFFFFFFCU,
                              0xFFFFFFFCU},
                    VideoCase{"MostNegativeHeight", 2, INT32_MIN, 40, 4096, INT32_MIN, 40, 0, 0}),
    [](const auto& row) { return row.param.name; });

TEST(SetVideo, FailsWithoutAStreamRecord) {
    HostFaults faults;
    const LogCapture log;
    CMFKrw reader(0);
    QMXVIDEO video = videoRecord(64, 32);
    QMXAUDIO audio{};
    faults.fail(HostCall::allocation, 1);
    EXPECT_EQ(reader.SetFileInfo(3, nullptr, &video, &audio, nullptr), status::kOutOfMemory);
    EXPECT_EQ(log.texts(), std::vector<std::string>{"Open(0xE8022007)"});
    EXPECT_EQ(reader.m_vidStream[0], nullptr);
    EXPECT_EQ(reader.m_vid.biWidth, 64) << "what was copied stays";
    EXPECT_EQ(reader.AudChan(), 0U) << "the audio part is not reached";
}

struct AudioCase {
    const char* name;
    std::uint32_t before; // channels
    std::uint32_t masks[2];
    std::uint64_t failing; // number of the allocation that fails, 0 for none
    std::uint32_t result;  // of the last call
    std::uint32_t channels;
    std::uint32_t pairs; // bit mask of pairs with a stream record
};

class SetAudio : public testing::TestWithParam<AudioCase> {};

TEST_P(SetAudio, GivesEachPairAStreamRecord) {
    const AudioCase& row = GetParam();
    HostFaults faults;
    const LogCapture log;
    CMFKrw reader(0);
    reader.m_audChan = row.before;
    QMXAUDIO audio{};
    audio.wFormatTag = 1;
    audio.nChannels = 1;
    audio.nSamplesPerSec = 44100;
    audio.host1388 = 99;
    if (row.failing != 0) faults.fail(HostCall::allocation, row.failing);
    std::uint32_t result = 0;
    for (const std::uint32_t mask : row.masks)
        result = reader.SetFileInfo(mask, nullptr, nullptr, &audio, nullptr);
    EXPECT_EQ(result, row.result);
    EXPECT_EQ(log.lines().size(), row.result == status::kOk ? 0U : 1U);
    EXPECT_EQ(reader.AudChan(), row.channels);
    EXPECT_EQ(reader.m_aud.nChannels, std::popcount(row.channels));
    EXPECT_EQ(reader.m_aud.nSamplesPerSec, 44100U);
    for (std::uint32_t pair = 0; pair < CAMediaFile::kChannels; ++pair) {
        SCOPED_TRACE(pair);
        const StreamRecord* stream = reader.m_audStream[pair];
        ASSERT_EQ(stream != nullptr, pair < 32 && (row.pairs >> pair & 1U) != 0);
        if (stream == nullptr) continue;
        EXPECT_EQ(stream->kind, kAudioStreamKind);
        EXPECT_EQ(stream->audio.nChannels, 2);
        EXPECT_EQ(stream->audio.wBitsPerSample, 24);
        EXPECT_EQ(stream->audio.nSamplesPerSec, 48000U);
        EXPECT_EQ(stream->audio.nBlockAlign, 8);
        EXPECT_EQ(stream->audio.nAvgBytesPerSec, 384000U);
        EXPECT_EQ(stream->audio.host1388, 99U) << "a copy of the record given";
    }
}

INSTANTIATE_TEST_SUITE_P(
    Masks, SetAudio,
    testing::Values(AudioCase{"OnePair", 0, {0, 0x3}, 0, 0, 0x3, 0b1},
                    AudioCase{"TwoPairs", 0, {0, 0xF}, 0, 0, 0xF, 0b11},
                    AudioCase{"OneChannelOfAPair", 0, {0, 0x8}, 0, 0, 0x8, 0b10},
                    AudioCase{"AboveBit7", 0, {0, 0xFFFFFF00U}, 0, 0, 0, 0},
                    AudioCase{"Repeated", 0, {0xF, 0xF}, 0, 0, 0xF, 0b11},
                    AudioCase{"HigherPairAlreadyThere", 0xC, {0, 0x3}, 0, 0, 0xC, 0b1},
                    AudioCase{"HigherPairFirst", 0, {0xC, 0x3}, 0, 0, 0xC, 0b11},
                    AudioCase{"LowerPairFirst", 0, {0x3, 0xF}, 0, 0, 0xF, 0b11},
                    AudioCase{"NoRecordForTheFirstPair", 0, {0, 0xF}, 1, status::kOutOfMemory, 0xC, 0b10},
                    AudioCase{"NoRecordForTheLastPair", 0, {0, 0x3F}, 3, status::kOutOfMemory, 0xF, 0b11}),
    [](const auto& row) { return row.param.name; });

TEST(SetAudio, DoesWithoutARecord) {
    CMFKrw reader(0);
    reader.m_aud.host1388 = 42;
    EXPECT_EQ(reader.SetFileInfo(3, nullptr, nullptr, nullptr, nullptr), status::kOk);
    ASSERT_NE(reader.m_audStream[0], nullptr);
    EXPECT_EQ(reader.m_audStream[0]->audio.host1388, 42U);
    EXPECT_EQ(reader.m_aud.wBitsPerSample, 16) << "the reader's own record stays";
    EXPECT_EQ(reader.m_aud.nChannels, 2);
}

TEST(SetInformation, CopiesTextsAndFallsBackToTheNextTimecodeFormat) {
    constexpr std::uint32_t kUnset = QMXINFO::kUnset;
    const std::uint32_t rows[][4] = {// three given, one expected
                                     {8, 16, 32, 8},
                                     {kUnset, 16, 32, 16},
                                     {kUnset, kUnset, 32, 32},
                                     {kUnset, kUnset, kUnset, kUnset}};
    const HostFaults faults;
    for (const auto& row : rows) {
        CMFKrw reader(0);
        QMXINFO info = makeDefaultInfo();
        setInfoItem(&info[InfoText::scene], "12");
        info[InfoNumber::tcFlags] = row[0];
        info[InfoNumber::tcFlags2] = row[1];
        info[InfoNumber::tcFlags3] = row[2];
        QMXSYSTEM system{};
        system.dwWidth = 123;
        EXPECT_EQ(reader.SetFileInfo(0, &system, nullptr, nullptr, &info), status::kOk);
        EXPECT_EQ(reader.m_info[InfoNumber::tcFlags], row[3]);
        EXPECT_STREQ(reader.m_info[InfoText::scene], "12");
        EXPECT_NE(reader.m_info[InfoText::scene], info[InfoText::scene]) << "the reader owns its copy";
        EXPECT_EQ(reader.m_sys.dwWidth, 123U);
        qmxInfoDelete(&info);
    }
    EXPECT_EQ(faults.liveBlocks(), 0);
}

TEST(SetFileInfo, LeavesAWholeReaderWhereverMemoryRunsOut) {
    HostFaults faults;
    std::uint64_t steps = 1;
    for (std::uint64_t failing = 1; failing <= steps; ++failing) {
        {
            CMFKrw reader(0);
            QMXINFO info = makeDefaultInfo();
            setInfoItem(&info[InfoText::scene], "12");
            setInfoItem(&info[InfoText::take], "3");
            QMXVIDEO video = videoRecord(64, 32);
            QMXAUDIO audio{};
            const LogCapture log;
            const std::uint64_t before = faults.calls(HostCall::allocation);
            faults.fail(HostCall::allocation, failing);
            reader.SetFileInfo(0xF, nullptr, &video, &audio, &info);
            faults.disarm();
            steps = std::max(steps, faults.calls(HostCall::allocation) - before);
            for (std::uint32_t channel = 0; channel < 8; ++channel)
                EXPECT_TRUE((reader.AudChan() >> channel & 1U) == 0 ||
                            reader.m_audStream[channel / 2] != nullptr);
            EXPECT_EQ(reader.VidChan() != 0, reader.m_vidStream[0] != nullptr);
            qmxInfoDelete(&info);
        }
        EXPECT_EQ(faults.liveBlocks(), 0) << "allocation " << failing;
    }
    EXPECT_EQ(steps, 5U) << "two texts, a video and two audio stream records";
}

} // namespace
