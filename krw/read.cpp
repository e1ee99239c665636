// CMFKrw::Read: frames, size queries and file references.
#include "host/files.h"
#include "kinedec/picture_decoder.h"
#include "kinedec/plane_decoder.h"
#include "krw/frame_record.h"
#include "krw/log.h"
#include "plugin/cmfkrw.h"
#include "plugin/status.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

// What the host finds in a frame record's flags and reference kind.
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

/// Stands the clip's own file in a frame record.
void referToClip(DFRAME& dframe, const CAMediaFile& clip, std::uint32_t framesLeft) {
    static_assert(sizeof dframe.fileName == sizeof clip.m_fileName);
    dframe.framesLeft = framesLeft;
    dframe.refKind = kOwnFile;
    dframe.fileParam = clip.m_fileParam;
    std::memcpy(dframe.fileName, clip.m_fileName, std::strlen(clip.m_fileName) + 1);
}

/// A frame's compressed planes in memory, as far as they could be had.
class CodedFrame {
  public:
    CodedFrame(ByteView danraw, std::uint32_t pixels, std::uint64_t recordStart)
        : m_recordStart(recordStart) {
        for (std::size_t k = 0; k < krwfile::plane::kCount; ++k)
            m_descriptors[k] = planeDescriptor(danraw, k);
        while (m_wellPlaced < krwfile::plane::kCount && m_descriptors[m_wellPlaced].fits(pixels, recordStart))
            ++m_wellPlaced;
    }

    /// Takes the memory for every plane that the record places well: their bytes, each with its padding.
    [[nodiscard]] bool allocate() {
        std::size_t size = 0;
        for (std::size_t k = 0; k < m_wellPlaced; ++k)
            size += m_descriptors[k].dataSize + kPlanePadding;
        m_block.reset(static_cast<std::uint8_t*>(std::malloc(size == 0 ? 1 : size)));
        return m_block != nullptr;
    }

    struct Failure {
        const char* message = nullptr;
        std::uint32_t code = status::kOk;
    };

    /// Reads the planes in order up to the first that cannot be had, and says why that one cannot.
    [[nodiscard]] Failure read(std::int64_t handle) {
        std::uint8_t* place = m_block.get();
        for (; m_planesRead < m_wellPlaced; ++m_planesRead) {
            const PlaneDescriptor& descriptor = m_descriptors[m_planesRead];
            std::uint32_t bytesRead = 0;
            if (pvOSSeek(handle, m_recordStart + descriptor.dataOffset) == kSeekFailed)
                return {"error read plan data\n", status::kBadRecord};
            if (pvOSReadFile(handle, place, descriptor.dataSize, &bytesRead, nullptr) == 0 ||
                bytesRead < descriptor.dataSize)
                return {"error read plan data\n", status::kPlaneRead};
            std::memset(place + descriptor.dataSize, 0, kPlanePadding);
            m_planes[m_planesRead] = {descriptor.codeLengths.data(), descriptor.codes.data(), place,
                                      descriptor.dataSize, descriptor.shift};
            place += descriptor.dataSize + kPlanePadding;
        }
        if (m_wellPlaced < krwfile::plane::kCount)
            return {"Invalid KRW plane size or offset\n", status::kBadRecord};
        return {};
    }

    /// Decodes the planes that were read for their messages alone, as if no later plane had been looked at.
    void reportPlanes(FrameSize size) const {
        std::uint16_t nowhere = 0;
        for (std::size_t k = 0; k < m_planesRead; ++k)
            decodeAlone(k, size, {&nowhere, 0, 0});
    }

    /// Decodes all four planes into the picture, W x H samples. What a rejected plane did not reach is 0.
    void decode(FrameSize size, std::uint16_t* picture) const {
        const auto width = static_cast<std::uint32_t>(size.width);
        if (decodePicture(m_planes, width, static_cast<std::uint32_t>(size.height), picture)) return;
        std::memset(picture, 0, std::size_t{2} * size.pixels());
        for (std::size_t k = 0; k < krwfile::plane::kCount; ++k)
            decodeAlone(k, size, {picture + k / 2 * width + k % 2, 2, 2 * std::ptrdiff_t{size.width}});
    }

  private:
    // Apart from the others, so that its table is on the stack only when it is needed.
    [[gnu::noinline]] void decodeAlone(std::size_t plane, FrameSize size,
                                       const kinedec::PlaneOutput& output) const {
        KineDec decoder;
        const PlaneStream& stream = m_planes[plane];
        kinedec::decodePlane(decoder, kinedec::BoundedBitReader({stream.bytes, stream.size}),
                             {stream.codeLengths, stream.codes, static_cast<std::int32_t>(size.pixels() / 4),
                              stream.shift, size.width / 2},
                             kinedec::StoredRows::all, output);
    }

    struct FreeDeleter {
        void operator()(std::uint8_t* block) const { std::free(block); }
    };

    std::uint64_t m_recordStart;
    std::array<PlaneDescriptor, krwfile::plane::kCount> m_descriptors{};
    std::size_t m_wellPlaced = 0;
    std::size_t m_planesRead = 0;
    std::unique_ptr<std::uint8_t, FreeDeleter> m_block;
    std::array<PlaneStream, krwfile::plane::kCount> m_planes{};
};

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
    // The stream record may outlive the table that it was filled for when a later open fails half-way.
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
    std::uint32_t bytesRead = 0;
    if (pvOSSeek(m_hFile, recordStart + headerDistance) == kSeekFailed)
        return fail("Unable to seek to table pos", status::kNoFile);
    if (pvOSReadFile(m_hFile, bytes.data(), krwfile::danraw::kSize, &bytesRead, nullptr) == 0 ||
        bytesRead < krwfile::danraw::kSize)
        return fail("Unable to read frame header", status::kNoFile);
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
        coded.reportPlanes(size);
        return fail(failure.message, failure.code);
    }
    coded.decode(size, static_cast<std::uint16_t*>(dframe.picture.buffer));

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
