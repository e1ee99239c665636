// The host's records: information records, timecodes, values that follow from a video description, and the
// media file that owns the records.
#include "host/codec.h"
#include "host/media_file.h"
#include "host/memory.h"
#include "host/timecode.h"
#include "plugin/status.h"
#include "tests/support/host_faults.h"

#include <array>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace {

char* hostBlock(const void* bytes, std::size_t size) {
    void* const block = PVAlloc(size);
    pvOSCopyMemory(block, bytes, size);
    return static_cast<char*>(block);
}

/// A record with a text, a block that holds NUL bytes, and a number. The caller releases its items.
QMXINFO sampleInfo() {
    QMXINFO info = makeDefaultInfo();
    info[InfoText::scene] = hostBlock("12A", 4);
    constexpr std::array<std::uint32_t, 4> raw{sizeof raw, 0, 0, 77};
    info[InfoText::rawParams] = hostBlock(raw.data(), sizeof raw);
    info[InfoNumber::isoSensitivity] = 800;
    return info;
}

TEST(InfoRecords, CopiesOwnTheirItems) {
    HostFaults host;
    QMXINFO source = sampleInfo();
    QMXINFO copy = sampleInfo();
    EXPECT_EQ(qmxInfoSet(&copy, &source), status::kOk);
    QMXINFO sharing = copy;
    EXPECT_EQ(qmxInfoSet(&copy, &sharing), status::kOk) << "the destination's own texts";
    const char* const scene = copy[InfoText::scene];
    EXPECT_EQ(qmxInfoSet(&copy, &copy), status::kOk);
    EXPECT_EQ(copy[InfoText::scene], scene);
    EXPECT_STREQ(copy[InfoText::scene], "12A");
    EXPECT_EQ(std::memcmp(copy[InfoText::rawParams], source[InfoText::rawParams], 16), 0);
    EXPECT_EQ(copy[InfoNumber::isoSensitivity], 800U);
    for (const std::uint64_t failing : {1U, 2U}) {
        host.fail(HostCall::allocation, failing);
        EXPECT_EQ(qmxInfoSet(&copy, &source), status::kOutOfMemory);
        EXPECT_EQ(copy[InfoText::scene] == nullptr, failing == 1);
        EXPECT_EQ(copy[InfoText::rawParams] == nullptr, failing == 2);
    }
    qmxInfoDelete(&source);
    qmxInfoDelete(&copy);
    EXPECT_EQ(copy[InfoText::scene], nullptr);
    EXPECT_EQ(copy[InfoNumber::isoSensitivity], 0U) << "nothing of one clip shows in the next";
    EXPECT_EQ(host.liveBlocks(), 0);
}

struct TimecodeCase {
    std::array<std::uint8_t, 8> field; // frames, seconds, minutes, hours; user bits
    std::uint32_t flags;
    int result;
    std::uint32_t frame;
};

TEST(Timecode, FramesOfEveryBase) {
    constexpr std::uint32_t kOtherFlags = 0x1200;
    const std::array cases{
        TimecodeCase{{0x00, 0x00, 0x00, 0x01}, tcbase::k24 | kOtherFlags, 1, 86400},
        TimecodeCase{{0x24, 0x59, 0x59, 0x23}, tcbase::k25, 1, 2159999},
        TimecodeCase{{0x29, 0x00, 0x00, 0x00}, tcbase::k30, 1, 29},
        TimecodeCase{{0x40, 0x00, 0x01, 0x00}, tcbase::k30, 1, 1800},    // no drop-frame in this base
        TimecodeCase{{0x42, 0x00, 0x01, 0x00}, tcbase::k2997, 1, 1800},  // first number of a minute
        TimecodeCase{{0x40, 0x00, 0x10, 0x00}, tcbase::k2997, 1, 17982}, // a tenth minute skips no number
        TimecodeCase{{0x40, 0x00, 0x00, 0x01}, tcbase::k2997, 1, 107892},
        TimecodeCase{{0x00, 0x00, 0x00, 0x01}, tcbase::k2997, 1, 108000},
        TimecodeCase{{0x44, 0x00, 0x01, 0x00}, tcbase::k5994, 1, 3600},
        TimecodeCase{{0x40, 0x00, 0x10, 0x00}, tcbase::k5994, 1, 35964},
        TimecodeCase{{0x39, 0x01, 0x00, 0x00}, tcbase::k50, 1, 89},
        TimecodeCase{{0x00, 0x01, 0x00, 0x00}, tcbase::k60, 1, 60},
        TimecodeCase{{0x00, 0x01, 0x00, 0x00}, tcbase::k100, 1, 100},
        TimecodeCase{{0x00, 0x01, 0x00, 0x00}, tcbase::k2398, 1, 24},
        TimecodeCase{{0x85, 0x80, 0x80, 0xC0, 9, 9}, tcbase::k25, 1, 5}, // flag bits and user bits
        TimecodeCase{{0x24, 0x01, 0x00, 0x00}, tcbase::k24, 0, 0},       // frame 24 of 24
        TimecodeCase{{0x0A, 0x01, 0x00, 0x00}, tcbase::k24, 0, 0},       // no decimal digit
        TimecodeCase{{0x00, 0x60, 0x00, 0x00}, tcbase::k24, 0, 0},
        TimecodeCase{{0x00, 0x01, 0x6F, 0x00}, tcbase::k24, 0, 0},
        TimecodeCase{{0x00, 0x01, 0x00, 0x24}, tcbase::k24, 0, 0},
        TimecodeCase{
            {0x41, 0x00, 0x01, 0x00}, tcbase::k2997, 0, 0}, // a number that drop-frame counting skips
        TimecodeCase{{0x00, 0x01, 0x00, 0x00}, 0x03, 0, 0}, // no such base
    };
    for (const TimecodeCase& row : cases) {
        std::uint32_t frame = 12345;
        EXPECT_EQ(tc2Frame(row.field.data(), row.flags, &frame), row.result);
        EXPECT_EQ(frame, row.frame) << "base " << row.flags << ", row " << &row - cases.data();
    }
}

TEST(VideoDescription, AspectRatio) {
    const auto ratio = [](std::int32_t width, std::int32_t height) {
        QMXVIDEO video{};
        video.biWidth = width;
        video.biHeight = height;
        const std::uint32_t word = vidGetAspectRatio(video);
        return std::to_string(word >> 16) + ":" + std::to_string(word & 0xFFFF);
    };
    EXPECT_EQ(ratio(4096, 2160), "256:135");
    EXPECT_EQ(ratio(1920, -1080), "16:9");
    EXPECT_EQ(ratio(1, INT32_MIN), "1:32768");
    EXPECT_EQ(ratio(INT32_MAX, 1), "65535:1");
    EXPECT_EQ(ratio(5, 0), "0:0");
}

TEST(Itoa, HoldsEveryValue) {
    std::array<char, 34> text{};
    EXPECT_STREQ(itoa(INT32_MIN, text.data(), 10), "-2147483648");
    EXPECT_STREQ(itoa(-1, text.data(), 2), std::string(32, '1').c_str());
}

TEST(MediaFile, SettingAnOpenEndsTheEarlierOne) {
    const HostFaults host;
    CAMediaFile file(0);
    const auto open = [&file](const char* path, std::uint32_t flags) {
        file.m_setOpen(path, flags, 0, nullptr, 0, 0, 0);
    };
    open("/proc/self/exe", kAccessRead);
    EXPECT_FALSE(file.m_fCreateFile());
    file.m_hFile = pvOSCreateFile(file.m_fileName, kAccessRead, 0, nullptr, kOpenExisting, 0, 0);
    EXPECT_EQ(host.openHandles(), 1);
    open(file.m_fileName, kAccessRead | kAccessWrite);
    EXPECT_STREQ(file.m_fileName, "/proc/self/exe");
    EXPECT_TRUE(file.m_fCreateFile());
    EXPECT_EQ(host.openHandles(), 0);
    open(std::string(4095, 'p').c_str(), 0);
    EXPECT_EQ(std::strlen(file.m_fileName), 4095U);
    open(std::string(4096, 'p').c_str(), 0);
    EXPECT_STREQ(file.m_fileName, "");
}

TEST(MediaFile, ReleasesWhatItHolds) {
    HostFaults host;
    auto file = std::make_unique<CAMediaFile>(0U);
    EXPECT_EQ(mfSetMediaInfo("/clip", file.get()), status::kOk);
    EXPECT_EQ(mfGetMediaInfo("/clip"), file.get());
    file->m_info = sampleInfo();
    EXPECT_EQ(file->OpenCopyFileInfo(), status::kOk);
    file->m_hFile = pvOSCreateFile("/proc/self/exe", kAccessRead, 0, nullptr, kOpenExisting, 0, 0);
    StreamRecord* const stream = file->m_AllocAStream();
    ASSERT_NE(stream, nullptr);
    stream->curFrame = 7;
    file->m_vidStream[0] = stream;
    EXPECT_EQ(file->GetCurFrame(), 7U);
    host.fail(HostCall::allocation, 1);
    EXPECT_EQ(file->m_AllocAStream(), nullptr);
    EXPECT_EQ(host.liveBlocks(), 5);
    file.reset();
    EXPECT_EQ(host.liveBlocks(), 0);
    EXPECT_EQ(host.openHandles(), 0);
    EXPECT_EQ(mfGetMediaInfo("/clip"), nullptr);
}

TEST(MediaFile, AnswersFromItsRecords) {
    CAMediaFile file(0);
    file.m_audChan = 3;
    file.m_vidChan = 1;
    std::array<std::uint32_t, 3> channels{9, 9, 9};
    EXPECT_EQ(file.Channels(&channels[0], &channels[1], &channels[2]), status::kOk);
    EXPECT_EQ(channels, (std::array<std::uint32_t, 3>{3, 1, 0}));
    QMXSYSTEM system{};
    system.dwTotalFrames = 9;
    QMXVIDEO video{};
    video.biWidth = 8;
    video.biBitCount = 16;
    video.biCompression = kFccGrbg;
    EXPECT_EQ(file.SetFileInfo(0, &system, &video, nullptr, nullptr), status::kOk);
    EXPECT_EQ(file.m_vid.biWidth, 0) << "the video record is the reader's to apply";
    fccGetPvFlagsVideo(&video);
    EXPECT_NE(video.pvFlags, 0U);
    EXPECT_EQ(file.GetFileInfo(0, &system, &video, nullptr, nullptr), status::kOk);
    EXPECT_EQ(system.dwTotalFrames, 9U);
    EXPECT_EQ(video.biWidth, 0);
    EXPECT_EQ(file.MFXCmd(CAMediaFile::MFX_INIT, nullptr), status::kOk);
    EXPECT_EQ(file.MFXCmd(CAMediaFile::MFX_DESTROY, nullptr), status::kNotSupported);
    EXPECT_EQ(file.Read(0, 1, 1, 1, nullptr, nullptr), status::kNotSupported);
}

} // namespace
