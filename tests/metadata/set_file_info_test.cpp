// Descriptions, stream records and channel masks that the host sets between open and close.
#include "metadata/info_items.h"
#include "plugin/cmfkrw.h"
#include "plugin/status.h"
#include "tests/support/host_faults.h"

#include <bit>
#include <gtest/gtest.h>
#include <tuple>

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
    return video;
}

TEST(SetVideo, DescribesA32BitPicture) {
    const struct {
        const char* fault;
        std::int32_t width, height;
        std::uint32_t biSize, ioAlign;
        std::int32_t expectedHeight;
        std::uint32_t expectedSize, imageSize, suggested;
    } rows[] = {
        {"top-down", 1920, -1080, 40, 4096, 1080, 40, 8294400, 8294400},
        {"no header size", 1921, 1080, 0, 4096, 1080, 40, 8298720, 8302592},
        {"long header", 1920, 1080, 124, 4096, 1080, 124, 8294400, 8294400},
        {"largest unit", 10, 10, 40, 0x4000, 10, 40, 400, 0x4000},
        {"unit too large", 1920, 1080, 40, 65536, 1080, 40, 8294400, 8294400},
        {"no unit", 10, 10, 40, 0, 10, 40, 400, 400},
        {"rounded beyond 32 bits", 32767, 32769, 40, 4096, 32769, 40, 0xFFFFFFFCU, 0xFFFFFFFCU},
        {"most negative height", 2, INT32_MIN, 40, 4096, INT32_MIN, 40, 0, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.fault);
        CMFKrw reader(0);
        reader.m_ioAlign = row.ioAlign;
        QMXVIDEO video = videoRecord(row.width, row.height, row.biSize);
        ASSERT_EQ(reader.SetFileInfo(0, nullptr, &video, nullptr, nullptr), status::kOk);
        const QMXVIDEO& own = reader.m_vid;
        EXPECT_EQ(std::tuple(own.biHeight, own.biSize, own.biSizeImage, own.stream.dwSuggestedBufferSize),
                  std::tuple(row.expectedHeight, row.expectedSize, row.imageSize, row.suggested));
        EXPECT_EQ(std::tuple(own.biBitCount, own.biCompression, own.stream.fccHandler, own.rowBytes),
                  std::tuple(32, 0U, 0U, static_cast<std::uint32_t>(row.width) * 4));
        EXPECT_EQ(std::pair(own.stream.rcFrame.right, own.stream.rcFrame.bottom),
                  std::pair(row.width, row.expectedHeight));
        EXPECT_EQ(own.stream.dwLength, 77U) << "what is not named stays as given";
        ASSERT_NE(reader.m_vidStream[0], nullptr);
        EXPECT_EQ(reader.m_vidStream[0]->kind, kVideoStreamKind);
        EXPECT_EQ(reader.m_vidStream[0]->video.stream.dwLength, 0U);
        EXPECT_EQ(reader.VidChan(), 1U);
    }
}

TEST(SetAudio, GivesEachPairAStreamRecord) {
    const struct {
        const char* fault;
        std::uint32_t before; // channels
        std::uint32_t masks[2];
        std::uint32_t failing; // number of the allocation that fails, 0 for none
        std::uint32_t result;  // of the last call
        std::uint32_t channels;
        std::uint32_t pairs; // bit mask of pairs with a stream record
    } rows[] = {
        {"one pair", 0, {0, 0x3}, 0, 0, 0x3, 0b1},
        {"two pairs", 0, {0, 0xF}, 0, 0, 0xF, 0b11},
        {"one channel of a pair", 0, {0, 0x8}, 0, 0, 0x8, 0b10},
        {"above bit 7", 0, {0x100, 0xFFFFFF00U}, 0, 0, 0, 0},
        {"repeated", 0, {0xF, 0xF}, 0, 0, 0xF, 0b11},
        {"higher pair already there", 0xC, {0, 0x3}, 0, 0, 0xC, 0b1},
        {"higher pair first", 0, {0xC, 0x3}, 0, 0, 0xC, 0b11},
        {"lower pair first", 0, {0x3, 0xF}, 0, 0, 0xF, 0b11},
        {"no record for the first pair", 0, {0, 0xF}, 1, status::kOutOfMemory, 0xC, 0b10},
        {"no record for the last pair", 0, {0, 0x3F}, 3, status::kOutOfMemory, 0xF, 0b11},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.fault);
        HostFaults faults;
        const LogCapture log;
        CMFKrw reader(0);
        reader.m_audChan = row.before;
        QMXAUDIO audio{};
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
        for (std::uint32_t pair = 0; pair < CAMediaFile::kChannels; ++pair) {
            const StreamRecord* stream = reader.m_audStream[pair];
            ASSERT_EQ(stream != nullptr, pair < 32 && (row.pairs >> pair & 1U) != 0) << pair;
            if (stream == nullptr) continue;
            EXPECT_EQ(stream->kind, kAudioStreamKind);
            const QMXAUDIO& own = stream->audio;
            EXPECT_EQ(std::tuple(own.nChannels, own.wBitsPerSample, own.nSamplesPerSec, own.nBlockAlign,
                                 own.nAvgBytesPerSec, own.host1388),
                      std::tuple(2, 24, 48000U, 8, 384000U, audio.host1388));
        }
    }
}

TEST(SetAudio, WithoutARecordStreamsGetTheReadersOwn) {
    CMFKrw reader(0);
    reader.m_aud.host1388 = 42;
    EXPECT_EQ(reader.SetFileInfo(3, nullptr, nullptr, nullptr, nullptr), status::kOk);
    ASSERT_NE(reader.m_audStream[0], nullptr);
    EXPECT_EQ(reader.m_audStream[0]->audio.host1388, 42U);
    EXPECT_EQ(reader.m_aud.wBitsPerSample, 16) << "the reader's own record stays";
}

TEST(SetInformation, CopiesTextsAndFallsBackToTheNextTimecodeFormat) {
    constexpr std::uint32_t kUnset = QMXINFO::kUnset;
    // Three given, one expected.
    const std::uint32_t rows[][4] = {
        {8, 16, 32, 8}, {kUnset, 16, 32, 16}, {kUnset, kUnset, 32, 32}, {kUnset, kUnset, kUnset, kUnset}};
    const HostFaults faults;
    for (const auto& row : rows) {
        CMFKrw reader(0);
        QMXINFO info = makeDefaultInfo();
        setInfoItem(&info[InfoText::scene], "12");
        info[InfoNumber::tcFlags] = row[0];
        info[InfoNumber::tcFlags2] = row[1];
        info[InfoNumber::tcFlags3] = row[2];
        EXPECT_EQ(reader.SetFileInfo(0, nullptr, nullptr, nullptr, &info), status::kOk);
        EXPECT_EQ(reader.m_info[InfoNumber::tcFlags], row[3]);
        EXPECT_STREQ(reader.m_info[InfoText::scene], "12");
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
            const std::uint32_t result = reader.SetFileInfo(0xF, nullptr, &video, &audio, &info);
            faults.disarm();
            steps = std::max(steps, faults.calls(HostCall::allocation) - before);
            qmxInfoDelete(&info);
            for (std::uint32_t channel = 0; channel < 8; ++channel)
                EXPECT_TRUE((reader.AudChan() >> channel & 1U) == 0 ||
                            reader.m_audStream[channel / 2] != nullptr);
            EXPECT_EQ(reader.VidChan() != 0, reader.m_vidStream[0] != nullptr);
            EXPECT_EQ(reader.m_vid.biWidth, 64) << "what was copied stays";
            const std::string line = log.texts().empty() ? "" : log.texts().front();
            // Without a video stream record the audio part is not reached.
            if (reader.VidChan() == 0) {
                EXPECT_EQ(std::tuple(result, line, reader.AudChan()),
                          std::tuple(status::kOutOfMemory, "Open(0xE8022007)", 0U));
            }
        }
        EXPECT_EQ(faults.liveBlocks(), 0) << "allocation " << failing;
    }
    EXPECT_EQ(steps, 5U) << "two texts, a video and two audio stream records";
}

} // namespace
