// CMFKrw::Read: frames, size queries and file references.
#include "kinedec/codec_error.h"
#include "kinedec/picture_decoder.h"
#include "kinedec/plane_decoder.h"
#include "krw/coded_frame.h"
#include "krw/file_access.h"
#include "krw/frame_record.h"
#include "krw/log.h"
#include "plugin/cmfkrw.h"
#include "plugin/status.h"

#include <array>
#include <cstring>
#include <span>

namespace {

// Values that the host finds in a frame record.
constexpr std::uint32_t kFrameFlagsCleared = 0x40008000;
constexpr std::uint32_t kFrameFlagsSet = 0x10020000;
constexpr std::uint32_t kVideoReferenceFlags = 0x50000001;
constexpr std::uint32_t kAudioReferenceFlags = 0x40000200;
constexpr std::uint32_t kOwnFile = 1024;
constexpr std::uint32_t kOtherFile = 24;

std::uint32_t fail(const char* message, std::uint32_t code) {
    logError(message);
    return code;
}

/// Fills a frame record with a reference to the clip.
void referToClip(DFRAME& dframe, const CAMediaFile& clip, std::uint32_t framesLeft) {
    static_assert(sizeof dframe.fileName == sizeof clip.m_fileName);
    dframe.framesLeft = framesLeft;
    dframe.refKind = kOwnFile;
    dframe.fileParam = clip.m_fileParam;
    std::memcpy(dframe.fileName, clip.m_fileName, std::strlen(clip.m_fileName) + 1);
}

/// Decodes one plane of a frame of that size and logs an error in it. Not inlined, so that the look-up table
/// takes stack only when it is needed.
[[gnu::noinline]] void decodePlaneAlone(const kinedec::PlaneStream& plane, FrameSize size,
                                        kinedec::StoredRows stored, const kinedec::PlaneOutput& output) {
    kinedec::LookupTable lookup;
    const kinedec::PlaneParameters parameters{plane.table, static_cast<std::int32_t>(size.pixels() / 4),
                                              plane.shift, size.width / 2};
    const kinedec::PlaneResult result =
        decodePlane(lookup, kinedec::BoundedBitReader(plane.bytes), parameters, stored, output);
    if (!result.decoded) kinedec::logCodecError(result.samplesLeft);
}

/// Logs the errors in the planes that were read. No sample is stored.
void reportPlanes(const CodedFrame& coded, FrameSize size) {
    for (const kinedec::PlaneStream& plane : coded.planes())
        decodePlaneAlone(plane, size, kinedec::StoredRows::none, {});
}

/// Decodes all four planes into the picture, W x H samples. Samples that a rejected plane did not reach are
/// 0.
void decodePlanes(const CodedFrame& coded, FrameSize size, std::uint16_t* picture) {
    const std::span planes = coded.planes().first<krwfile::plane::kCount>();
    const auto width = static_cast<std::uint32_t>(size.width);
    if (decodePicture(planes, width, static_cast<std::uint32_t>(size.height), picture)) return;
    std::memset(picture, 0, std::size_t{2} * size.pixels());
    for (std::size_t k = 0; k < planes.size(); ++k)
        decodePlaneAlone(planes[k], size, kinedec::StoredRows::all,
                         {picture + k / 2 * width + k % 2, 2, 2 * std::ptrdiff_t{size.width}});
}

} // namespace

std::uint32_t CMFKrw::Read(std::uint32_t frame, std::uint32_t frameCount, std::uint32_t channel,
                           std::uint32_t requestWord, DFRAME* dframe, _OVERLAPPED* /*overlapped*/) {
    const std::uint32_t channelNumber = findChannel(channel, 0, 0);
    const bool reference = (requestWord & request::kFileReference) != 0;
    switch (requestWord & request::kKindMask) {
    case request::kVideo:
        if (channelNumber >= kChannels) return status::kNoFile;
        return readVideo(m_vidStream[channelNumber], frame, frameCount, reference, dframe);
    case request::kAudio:
        if (channelNumber >= kChannels) return status::kNoFile;
        return readAudio(m_audStream[channelNumber], channel, frame, reference, dframe);
    case request::kSecondaryFile:
        return readSecondaryFile(channel, frame, reference, dframe);
    default:
        return status::kOk;
    }
}

std::uint32_t CMFKrw::readVideo(StreamRecord* stream, std::uint32_t frame, std::uint32_t frameCount,
                                bool reference, DFRAME* dframe) {
    if (stream == nullptr || m_frameTable == nullptr) return status::kNoFile;
    if (frame == kCurrentFrame) frame = stream->curFrame;
    const QMXSTREAM& description = stream->video.stream;
    const bool inClip = frame < description.dwLength;
    if (dframe == nullptr) return inClip ? description.dwSuggestedBufferSize : 0;
    if (!inClip) return status::kNoFile;
    if (reference) {
        if (dframe->recordSize != sizeof(DFRAME)) return status::kFrameBuffer;
        dframe->flags = kVideoReferenceFlags;
        referToClip(*dframe, *this, m_vid.stream.dwLength - frame);
        return status::kOk;
    }
    // After a later Open that failed, the stream record can describe more frames than the table has.
    if (frame >= m_frameTableLength) return status::kNoFile;
    return readPicture(*stream, frame, frameCount, *dframe);
}

std::uint32_t CMFKrw::readPicture(StreamRecord& stream, std::uint32_t frame, std::uint32_t frameCount,
                                  DFRAME& dframe) {
    const std::uint64_t recordStart = m_frameTable[frame];
    const auto headerDistance = static_cast<std::uint64_t>(std::int64_t{m_danrawOffset});
    if (recordStart > kMaxFileOffset - headerDistance)
        return fail("Invalid KRW frame offset", status::kNoFile);
    m_frameBase = static_cast<std::int64_t>(recordStart);

    std::array<std::uint8_t, krwfile::danraw::kSize> bytes{};
    const FileRead result = readFullyAt(m_hFile, recordStart + headerDistance, bytes);
    if (result == FileRead::seekFailed) return fail("Unable to seek to table pos", status::kNoFile);
    if (result != FileRead::complete) return fail("Unable to read frame header", status::kNoFile);
    const ByteView danraw{bytes};
    if (!hasDanrawSignature(danraw)) return fail("KRW frame signature bad", status::kBadRecord);
    const FrameSize size = frameSize(danraw);
    if (size.width != m_vid.biWidth || size.height != m_vid.biHeight || !size.isValid())
        return fail("KRW frame dimensions changed or are invalid", status::kBadRecord);

    const std::uint32_t pictureBytes = 2 * size.pixels();
    if (dframe.picture.buffer == nullptr || dframe.picture.bufferSize < pictureBytes)
        return status::kFrameBuffer;
    dframe.flags = (dframe.flags & ~kFrameFlagsCleared) | kFrameFlagsSet;
    stream.curFrame = frame;
    dframe.picture.host24 = 0;

    CodedFrame coded(danraw, size.pixels(), recordStart);
    if (!coded.allocate()) return status::kOutOfMemory;
    if (const auto failure = coded.read(m_hFile); failure.message != nullptr) {
        reportPlanes(coded, size);
        return fail(failure.message, failure.code);
    }
    decodePlanes(coded, size, static_cast<std::uint16_t*>(dframe.picture.buffer));

    dframe.tcFrame = m_info[InfoNumber::tcStartFrame] + frame;
    dframe.tcFrameCopy = m_info[InfoNumber::tcStartFrameCopy] + frame;
    dframe.picture.bytesUsed = pictureBytes;
    stream.curFrame = frame + frameCount;
    stream.lastFrame = frame;
    stream.lastSize = pictureBytes;
    return status::kOk;
}

std::uint32_t CMFKrw::readAudio(const StreamRecord* stream, std::uint32_t channelMask, std::uint32_t frame,
                                bool reference, DFRAME* dframe) {
    if (dframe == nullptr) return stream == nullptr ? 0 : stream->audio.stream.dwSuggestedBufferSize;
    if (stream == nullptr || !reference) return status::kNoFile;
    if (dframe->recordSize != sizeof(DFRAME)) return status::kFrameBuffer;
    dframe->flags = kAudioReferenceFlags | std::uint32_t{m_aud.nChannels} << 8;
    if ((channelMask & m_audChan) == 0) {
        dframe->framesLeft = 0;
        dframe->fileParam = 0;
        dframe->refKind = 0;
        return status::kNoFile;
    }
    referToClip(*dframe, *this, m_aud.stream.dwLength - frame);
    return status::kOk;
}

std::uint32_t CMFKrw::readSecondaryFile(std::uint32_t fileNumber, std::uint32_t frame, bool reference,
                                        DFRAME* dframe) {
    if (!reference || dframe == nullptr) return status::kNoFile;
    const std::uint32_t index = fileNumber - 1;
    if (index >= m_totalSecondaryFiles()) return status::kNoFile;
    const char* path = m_getSecondaryFile(index);
    if (path == nullptr) return status::kNoFile;
    const std::size_t length = std::strlen(path) + 1;
    if (length > sizeof dframe->fileName) return status::kFrameBuffer;
    std::memcpy(dframe->fileName, path, length);
    dframe->refKind = kOtherFile;
    dframe->fileParam = 0;
    dframe->framesLeft = m_sys.dwTotalFrames - frame;
    return status::kOk;
}
