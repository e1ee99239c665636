// CMFKrw::SetFileInfo: applies the host's descriptions to the reader's own records, then to its stream
// records.
#include "host/error_output.h"
#include "plugin/cmfkrw.h"
#include "plugin/status.h"

#include <algorithm>
#include <limits>

namespace {

constexpr std::uint32_t kAllChannels = 0xFFFFFFFFU;
constexpr std::uint32_t kAudioChannels = 0xFFU;
constexpr std::uint32_t kVideoChannel = 1;
constexpr std::uint32_t kMinBitmapHeader = 40;
constexpr std::uint32_t kBytesPerPixel = 4;
constexpr std::uint32_t kLargestAlignment = 0x4000; // no padding to larger I/O units

constexpr std::uint16_t kAudioStreamChannels = 2;
constexpr std::uint16_t kAudioBits = 24;
constexpr std::uint16_t kAudioBlock = 8;
constexpr std::uint32_t kAudioRate = 48000;

/// Rounds `size` up to a multiple of `unit`. Leaves it as it is when the unit is not to be padded to, or the
/// result would not fit 32 bits.
std::uint32_t roundUp(std::uint32_t size, std::uint32_t unit) {
    if (unit == 0 || unit > kLargestAlignment) return size;
    const std::uint64_t rounded = (std::uint64_t{size} + unit - 1) / unit * unit;
    return rounded > std::numeric_limits<std::uint32_t>::max() ? size : static_cast<std::uint32_t>(rounded);
}

/// Makes the record describe a 32-bit uncompressed picture of its own size.
void describePicture(QMXVIDEO& video, std::uint32_t ioAlign) {
    // Unsigned, so that sizes wrap as they do in the host's 32-bit arithmetic, and the most negative height
    // is no overflow.
    const auto width = static_cast<std::uint32_t>(video.biWidth);
    const auto given = static_cast<std::uint32_t>(video.biHeight);
    const std::uint32_t height = video.biHeight < 0 ? 0U - given : given;
    video.biSize = std::max(video.biSize, kMinBitmapHeader);
    video.biHeight = static_cast<std::int32_t>(height);
    video.biBitCount = 32;
    video.biCompression = 0;
    video.stream.fccHandler = 0;
    video.rowBytes = width * kBytesPerPixel;
    video.stream.rcFrame = {0, 0, video.biWidth, video.biHeight};
    video.biSizeImage = width * height * kBytesPerPixel;
    video.stream.dwSuggestedBufferSize = roundUp(video.biSizeImage, ioAlign);
}

void describeSound(QMXAUDIO& audio) {
    audio.nChannels = kAudioStreamChannels;
    audio.wBitsPerSample = kAudioBits;
    audio.nSamplesPerSec = kAudioRate;
    audio.nBlockAlign = kAudioBlock;
    audio.nAvgBytesPerSec = kAudioBlock * kAudioRate;
}

} // namespace

std::uint32_t CMFKrw::SetFileInfo(std::uint32_t mask, QMXSYSTEM* system, QMXVIDEO* video, QMXAUDIO* audio,
                                  QMXINFO* info) {
    CAMediaFile::SetFileInfo(mask, system, video, audio, nullptr);
    if (info != nullptr) {
        CAMediaFile::SetFileInfo(kAllChannels, nullptr, nullptr, nullptr, info);
        applyInfo(*info);
    }
    if (video != nullptr && !applyVideo(*video)) return status::kOutOfMemory;
    if (audio != nullptr) m_aud = *audio;
    const bool complete = addAudioChannels(mask & kAudioChannels);
    m_aud.nChannels = static_cast<std::uint16_t>(totalChannels(m_audChan));
    return complete ? status::kOk : status::kOutOfMemory;
}

void CMFKrw::applyInfo(const QMXINFO& info) {
    qmxInfoSet(&m_info, &info);
    for (const InfoNumber fallback : {InfoNumber::tcFlags2, InfoNumber::tcFlags3})
        if (m_info[InfoNumber::tcFlags] == QMXINFO::kUnset) m_info[InfoNumber::tcFlags] = m_info[fallback];
}

bool CMFKrw::applyVideo(const QMXVIDEO& video) {
    m_vid = video;
    describePicture(m_vid, m_ioAlign);
    StreamRecord* stream = describeVideoStream();
    if (stream == nullptr) return false;
    m_vidChan = kVideoChannel;
    stream->video.stream.dwLength = 0;
    return true;
}

bool CMFKrw::addAudioChannels(std::uint32_t requested) {
    std::uint32_t missing = 0;
    for (std::uint32_t added = requested & ~m_audChan; added != 0;) {
        const std::uint32_t pair = findChannel(added, 0, 0) / 2;
        const std::uint32_t pairChannels = 3U << (2 * pair);
        if (m_audChan < added) m_audChan |= added;
        added &= ~pairChannels;
        if (!describeAudioPair(pair)) missing |= pairChannels;
    }
    m_audChan &= ~missing;
    return missing == 0;
}

bool CMFKrw::describeAudioPair(std::uint32_t pair) {
    StreamRecord*& stream = m_audStream[pair];
    if (stream == nullptr) {
        stream = m_AllocAStream();
        if (stream == nullptr) {
            ErrMsgOut(status::kOutOfMemory, "Open");
            return false;
        }
        stream->kind = kAudioStreamKind;
        stream->audio = m_aud;
        m_fixQMXStruct(&stream->audio);
    }
    describeSound(stream->audio);
    return true;
}
