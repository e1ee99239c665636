#include "plugin/cmfkrw.h"

#include "host/error_output.h"
#include "plugin/status.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr std::int32_t kDefaultWidth = 720;
constexpr std::int32_t kDefaultHeight = 480;
constexpr std::uint32_t kDefaultBytesPerPixel = 3;
constexpr std::uint32_t kDefaultSuggestedBuffer = 1296000;
constexpr std::uint32_t kDefaultQuality = 0xFFFFFFFFU;
constexpr std::uint32_t kPaddingGranularity = 2048;
constexpr char kStreamName[] = "Krw";

/// A video description at its defaults: 720 x 480, 24 bits, 29.97 frames per second. `codec` becomes the
/// stream's codec code.
QMXVIDEO defaultVideo(std::uint32_t codec) {
    QMXVIDEO video{};
    video.biSize = 40;
    video.biWidth = kDefaultWidth;
    video.biHeight = kDefaultHeight;
    video.biPlanes = 1;
    video.biBitCount = 24;
    video.biSizeImage = kDefaultWidth * kDefaultHeight * kDefaultBytesPerPixel;
    video.stream.fccType = kFccVideo;
    video.stream.fccHandler = codec;
    video.stream.dwScale = 1001;
    video.stream.dwRate = 30000;
    video.stream.dwSuggestedBufferSize = kDefaultSuggestedBuffer;
    video.stream.dwQuality = kDefaultQuality;
    video.stream.rcFrame = {0, 0, kDefaultWidth, kDefaultHeight};
    std::memcpy(video.stream.name, kStreamName, sizeof kStreamName);
    video.rowBytes = kDefaultWidth * kDefaultBytesPerPixel;
    video.fileType = kKrwFileType;
    return video;
}

QMXAUDIO defaultAudio() {
    QMXAUDIO audio{};
    audio.wFormatTag = 1;
    audio.nSamplesPerSec = 48000;
    audio.wBitsPerSample = 16;
    audio.stream.fccType = kFccAudio;
    audio.stream.fccHandler = kFccTwos;
    audio.stream.dwRate = audio.nAvgBytesPerSec;
    audio.stream.dwQuality = kDefaultQuality;
    std::memcpy(audio.stream.name, kStreamName, sizeof kStreamName);
    audio.fileType = kKrwFileType;
    return audio;
}

/// |value|, also for the most negative one.
std::uint32_t magnitude(std::int32_t value) {
    const auto word = static_cast<std::uint32_t>(value);
    return value < 0 ? 0U - word : word;
}

} // namespace

CMFKrw::CMFKrw(std::uint32_t value) : CAMediaFile(value) {
    m_vid = defaultVideo(m_vid.biCompression);
    m_aud = defaultAudio();
    m_sys.fccFile = kFccKrw;
    m_sys.fileType = kKrwFileType;
    deriveSystemRecord();
    m_info = makeDefaultInfo();
    m_fileType = kKrwFileType;
}

CMFKrw::~CMFKrw() {
    try {
        // Qualified, because a class derived from this one is already destroyed.
        CMFKrw::Close();
    } catch (...) { // NOLINT(bugprone-empty-catch): a destructor cannot report
    }
}

std::uint32_t CMFKrw::Close() {
    qmxInfoDelete(&m_info);
    std::free(m_frameTable);
    m_frameTable = nullptr;
    m_frameTableLength = 0;
    m_setClose();
    return status::kOk;
}

std::uint32_t CMFKrw::SetSysInfo(std::uint32_t mask, QMXSYSTEM* system, QMXVIDEO* video, QMXAUDIO* audio,
                                 QMXINFO* info) {
    if (video != nullptr) {
        constexpr std::uint32_t kDisplayBytesPerPixel = 4;
        m_vid.biSizeImage =
            magnitude(m_vid.biHeight) * static_cast<std::uint32_t>(m_vid.biWidth) * kDisplayBytesPerPixel;
    }
    return CAMediaFile::SetSysInfo(mask, system, video, audio, info);
}

std::uint32_t CMFKrw::SetMode(MEDIACMD* command) {
    return CAMediaFile::SetMode(command);
}

std::uint32_t CMFKrw::Write(std::uint32_t /*frame*/, std::uint32_t /*frameCount*/, std::uint32_t /*channel*/,
                            std::uint32_t /*request*/, DFRAME* /*dframe*/, _OVERLAPPED* /*overlapped*/) {
    return status::kOk;
}

std::uint32_t CMFKrw::GetOverlappedResult(_OVERLAPPED* /*overlapped*/, std::uint32_t* /*bytes*/,
                                          int /*wait*/) {
    return 1;
}

std::uint32_t CMFKrw::Length() {
    return m_vid.stream.dwLength;
}

StreamRecord* CMFKrw::describeVideoStream() {
    StreamRecord*& stream = m_vidStream[0];
    if (stream == nullptr) stream = m_AllocAStream();
    if (stream == nullptr) {
        ErrOut("Open(0x%lX)", static_cast<unsigned long>(status::kOutOfMemory));
        return nullptr;
    }
    stream->video = m_vid;
    stream->kind = kVideoStreamKind;
    return stream;
}

void CMFKrw::deriveSystemRecord() {
    const QMXSTREAM& video = m_vid.stream;
    m_sys.dwPaddingGranularity = kPaddingGranularity;
    m_sys.dwTotalFrames = video.dwLength;
    m_sys.dwScale = video.dwScale;
    m_sys.dwRate = video.dwRate;
    m_sys.dwLength = video.dwLength;
    m_sys.dwSuggestedBufferSize = m_aud.stream.dwSuggestedBufferSize + video.dwSuggestedBufferSize;
    m_sys.dwWidth = static_cast<std::uint32_t>(m_vid.biWidth);
    m_sys.dwHeight = magnitude(m_vid.biHeight);
    // Rate and scale come from the constructor or from Open's rate table, so neither is ever 0 here. The
    // image size product wraps as the host's own 32-bit arithmetic does.
    m_sys.dwMicroSecPerFrame = static_cast<std::uint32_t>(
        1'000'000.0 / (static_cast<double>(video.dwRate) / static_cast<double>(video.dwScale)));
    m_sys.dwMaxBytesPerSec = video.dwScale * m_vid.biSizeImage / video.dwRate + m_aud.nAvgBytesPerSec;
}
