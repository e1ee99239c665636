// The records that the host and a reader exchange as whole blocks of bytes. All values are little-endian.
// Both sides rely on the offsets, so assertions below each record pin its fields. Words named "host" mean
// something to the host only; a reader leaves them at their defaults.
#pragma once

#include "plugin/info_record.h"

#include <array>
#include <cstddef>
#include <cstdint>

/// Opaque to the reader: the host's security attributes, asynchronous-read state, command and codec records.
struct _SECURITY_ATTRIBUTES; // the host's name
struct _OVERLAPPED;          // the host's name
struct MEDIACMD;
struct CODEC_DESCRIPTION;

/// Four characters as the 32-bit word that holds them in file order (first character in the low byte).
constexpr std::uint32_t fourCC(char a, char b, char c, char d) {
    const auto byte = [](char character) { return std::uint32_t{static_cast<unsigned char>(character)}; };
    return byte(a) | byte(b) << 8 | byte(c) << 16 | byte(d) << 24;
}

inline constexpr std::uint32_t kFccVideo = fourCC('v', 'i', 'd', 's');
inline constexpr std::uint32_t kFccAudio = fourCC('a', 'u', 'd', 's');
inline constexpr std::uint32_t kFccTwos = fourCC('t', 'w', 'o', 's');
inline constexpr std::uint32_t kFccGrbg = fourCC('g', 'r', 'b', 'g');
inline constexpr std::uint32_t kFccKrw = fourCC('K', 'r', 'w', '\0');

/// File type number of KRW clips, in every record's `fileType` and in the format descriptor.
inline constexpr std::uint32_t kKrwFileType = 141;

/// Pixels; right and bottom lie one past the last column and row.
struct FrameRect {
    std::int32_t left, top, right, bottom;
};

/// Stream header in the layout of AVISTREAMINFO with a 256-byte name.
struct QMXSTREAM {
    std::uint32_t fccType;
    std::uint32_t fccHandler;
    std::uint32_t dwFlags;
    std::uint32_t dwCaps;
    std::uint16_t wPriority;
    std::uint16_t wLanguage;
    std::uint32_t dwScale; // dwRate / dwScale = frames (or samples) per second
    std::uint32_t dwRate;
    std::uint32_t dwStart;
    std::uint32_t dwLength; // frames (video)
    std::uint32_t dwInitialFrames;
    std::uint32_t dwSuggestedBufferSize; // bytes that one read needs
    std::uint32_t dwQuality;             // 0xFFFFFFFF = default
    std::uint32_t dwSampleSize;
    FrameRect rcFrame;
    std::uint32_t dwEditCount;
    std::uint32_t dwFormatChangeCount;
    char name[256]; // NUL-terminated
};
static_assert(sizeof(QMXSTREAM) == 332);
static_assert(offsetof(QMXSTREAM, fccHandler) == 4);
static_assert(offsetof(QMXSTREAM, wPriority) == 16);
static_assert(offsetof(QMXSTREAM, dwScale) == 20);
static_assert(offsetof(QMXSTREAM, dwLength) == 32);
static_assert(offsetof(QMXSTREAM, dwSuggestedBufferSize) == 40);
static_assert(offsetof(QMXSTREAM, dwQuality) == 44);
static_assert(offsetof(QMXSTREAM, rcFrame) == 52);
static_assert(offsetof(QMXSTREAM, dwEditCount) == 68);
static_assert(offsetof(QMXSTREAM, name) == 76);

/// Video description: BITMAPINFOHEADER, palette, stream header, and the host's own words.
struct QMXVIDEO {
    std::uint32_t biSize;
    std::int32_t biWidth;  // pixels
    std::int32_t biHeight; // pixels; negative for a top-down picture
    std::uint16_t biPlanes;
    std::uint16_t biBitCount;    // bits per pixel
    std::uint32_t biCompression; // four-character code, 0 for uncompressed RGB
    std::uint32_t biSizeImage;   // bytes per picture
    std::uint32_t biXPelsPerMeter;
    std::uint32_t biYPelsPerMeter;
    std::uint32_t biClrUsed;
    std::uint32_t biClrImportant;
    std::uint8_t palette[256][4];
    QMXSTREAM stream;
    std::uint32_t rowBytes; // bytes per picture row
    std::uint32_t pvFlags;  // format flags computed by fccGetPvFlagsVideo
    std::uint32_t fileType;
    std::uint32_t host[5];
};
static_assert(sizeof(QMXVIDEO) == 1428);
static_assert(offsetof(QMXVIDEO, biWidth) == 4);
static_assert(offsetof(QMXVIDEO, biHeight) == 8);
static_assert(offsetof(QMXVIDEO, biPlanes) == 12);
static_assert(offsetof(QMXVIDEO, biBitCount) == 14);
static_assert(offsetof(QMXVIDEO, biCompression) == 16);
static_assert(offsetof(QMXVIDEO, biSizeImage) == 20);
static_assert(offsetof(QMXVIDEO, biClrImportant) == 36);
static_assert(offsetof(QMXVIDEO, palette) == 40);
static_assert(offsetof(QMXVIDEO, stream) == 1064);
static_assert(offsetof(QMXVIDEO, stream.dwScale) == 1084);
static_assert(offsetof(QMXVIDEO, stream.dwRate) == 1088);
static_assert(offsetof(QMXVIDEO, stream.dwLength) == 1096);
static_assert(offsetof(QMXVIDEO, stream.dwSuggestedBufferSize) == 1104);
static_assert(offsetof(QMXVIDEO, stream.rcFrame) == 1116);
static_assert(offsetof(QMXVIDEO, stream.name) == 1140);
static_assert(offsetof(QMXVIDEO, rowBytes) == 1396);
static_assert(offsetof(QMXVIDEO, pvFlags) == 1400);
static_assert(offsetof(QMXVIDEO, fileType) == 1404);
static_assert(offsetof(QMXVIDEO, host) == 1408);

/// Audio description: WAVEFORMATEX, room for its extension, stream header, and the host's own words.
struct QMXAUDIO {
    std::uint16_t wFormatTag; // 1 = PCM
    std::uint16_t nChannels;
    std::uint32_t nSamplesPerSec;
    std::uint32_t nAvgBytesPerSec;
    std::uint16_t nBlockAlign;
    std::uint16_t wBitsPerSample;
    std::uint16_t cbSize;
    std::uint8_t extension[1026];
    QMXSTREAM stream;
    std::uint8_t host1376[8];
    std::uint32_t fileType;
    std::uint32_t host1388;
};
static_assert(sizeof(QMXAUDIO) == 1392);
static_assert(offsetof(QMXAUDIO, nSamplesPerSec) == 4);
static_assert(offsetof(QMXAUDIO, nAvgBytesPerSec) == 8);
static_assert(offsetof(QMXAUDIO, nBlockAlign) == 12);
static_assert(offsetof(QMXAUDIO, wBitsPerSample) == 14);
static_assert(offsetof(QMXAUDIO, cbSize) == 16);
static_assert(offsetof(QMXAUDIO, extension) == 18);
static_assert(offsetof(QMXAUDIO, stream) == 1044);
static_assert(offsetof(QMXAUDIO, stream.dwSuggestedBufferSize) == 1084);
static_assert(offsetof(QMXAUDIO, host1376) == 1376);
static_assert(offsetof(QMXAUDIO, fileType) == 1384);

/// System (container) description: AVIMAINHEADER, then copies of the video timing and the file's code.
struct QMXSYSTEM {
    std::uint32_t dwMicroSecPerFrame;
    std::uint32_t dwMaxBytesPerSec;
    std::uint32_t dwPaddingGranularity;
    std::uint32_t dwFlags;
    std::uint32_t dwTotalFrames;
    std::uint32_t dwInitialFrames;
    std::uint32_t dwStreams;
    std::uint32_t dwSuggestedBufferSize;
    std::uint32_t dwWidth;
    std::uint32_t dwHeight;
    std::uint32_t dwReserved[4];
    std::uint32_t host56;
    std::uint32_t dwScale; // copies of the video stream's timing
    std::uint32_t dwRate;
    std::uint32_t dwLength;
    std::uint32_t host72;
    std::uint32_t fccFile; // four-character code of the file kind
    std::uint32_t host80[67];
    std::uint32_t fileType;
    std::uint32_t host352;
};
static_assert(sizeof(QMXSYSTEM) == 356);
static_assert(offsetof(QMXSYSTEM, dwPaddingGranularity) == 8);
static_assert(offsetof(QMXSYSTEM, dwTotalFrames) == 16);
static_assert(offsetof(QMXSYSTEM, dwStreams) == 24);
static_assert(offsetof(QMXSYSTEM, dwSuggestedBufferSize) == 28);
static_assert(offsetof(QMXSYSTEM, dwWidth) == 32);
static_assert(offsetof(QMXSYSTEM, dwHeight) == 36);
static_assert(offsetof(QMXSYSTEM, dwReserved) == 40);
static_assert(offsetof(QMXSYSTEM, dwScale) == 60);
static_assert(offsetof(QMXSYSTEM, dwRate) == 64);
static_assert(offsetof(QMXSYSTEM, dwLength) == 68);
static_assert(offsetof(QMXSYSTEM, fccFile) == 76);
static_assert(offsetof(QMXSYSTEM, fileType) == 348);

/// Kind word of a stream record.
inline constexpr std::uint32_t kVideoStreamKind = 16;
inline constexpr std::uint32_t kAudioStreamKind = 256;

/// A stream's description and reading position, one per channel, owned by the media file's base class.
struct StreamRecord {
    std::uint8_t host[8];
    std::uint32_t kind; // kVideoStreamKind or kAudioStreamKind
    union {
        QMXVIDEO video; // its dwLength is the number of frames that reading may deliver
        QMXAUDIO audio;
    };
    std::uint32_t lastFrame; // number of the frame last delivered
    std::uint32_t lastSize;  // bytes delivered by that read
    std::uint32_t curFrame;  // the stream's reading position
};
static_assert(offsetof(StreamRecord, kind) == 8);
static_assert(offsetof(StreamRecord, video) == 12);
static_assert(offsetof(StreamRecord, audio) == 12);
static_assert(offsetof(StreamRecord, video.stream.dwLength) == 1108);
static_assert(offsetof(StreamRecord, video.stream.dwSuggestedBufferSize) == 1116);
static_assert(offsetof(StreamRecord, video.pvFlags) == 1412);
static_assert(offsetof(StreamRecord, audio.stream.dwSuggestedBufferSize) == 1096);
static_assert(offsetof(StreamRecord, lastFrame) == 1440);
static_assert(offsetof(StreamRecord, lastSize) == 1444);
static_assert(offsetof(StreamRecord, curFrame) == 1448);

/// The request word of a reader's Read: a kind in the low byte, and a bit that asks for a file reference.
namespace request {
inline constexpr std::uint32_t kAudio = 0;
inline constexpr std::uint32_t kVideo = 1;
inline constexpr std::uint32_t kSecondaryFile = 4;
inline constexpr std::uint32_t kKindMask = 0xFF;
inline constexpr std::uint32_t kFileReference = 0x08000000;
} // namespace request

/// Frame number that asks Read for the stream's current frame.
inline constexpr std::uint32_t kCurrentFrame = 0xFFFFFFFF;

// The frame record's pointer and 64-bit word lie on 4-byte boundaries only.
#pragma pack(push, 4)
/// Where a frame read delivers its picture.
struct PictureBuffer {
    void* buffer;             // the caller's; never kept
    std::uint32_t bufferSize; // bytes
    std::uint32_t bytesUsed;  // bytes delivered
    std::uint32_t host16[2];
    std::uint32_t host24;
};

/// The host's frame record, given to Read: a picture buffer to fill, or room for a file reference.
struct DFRAME {
    std::uint8_t host0[24];
    std::uint32_t recordSize; // 12524 in file-reference requests
    std::uint32_t flags;
    std::uint32_t framesLeft;
    std::uint32_t host36;
    std::uint32_t tcFrame;
    std::uint32_t host44;
    std::uint32_t tcFrameCopy;
    std::uint8_t host52[8364];
    std::uint64_t fileParam;
    std::uint32_t refKind; // 1024: the clip's own file, 24: a secondary file
    union {
        char fileName[4096]; // file reference: NUL-terminated path
        PictureBuffer picture;
    };
};
#pragma pack(pop)
static_assert(sizeof(DFRAME) == 12524);
static_assert(offsetof(DFRAME, recordSize) == 24);
static_assert(offsetof(DFRAME, flags) == 28);
static_assert(offsetof(DFRAME, framesLeft) == 32);
static_assert(offsetof(DFRAME, tcFrame) == 40);
static_assert(offsetof(DFRAME, tcFrameCopy) == 48);
static_assert(offsetof(DFRAME, fileParam) == 8416);
static_assert(offsetof(DFRAME, refKind) == 8424);
static_assert(offsetof(DFRAME, fileName) == 8428);
static_assert(offsetof(DFRAME, picture.buffer) == 8428);
static_assert(offsetof(DFRAME, picture.bufferSize) == 8436);
static_assert(offsetof(DFRAME, picture.bytesUsed) == 8440);
static_assert(offsetof(DFRAME, picture.host24) == 8452);

/// Command record of xMediaFile and MFXCmd.
struct MFXCmdV1 {
    std::uint32_t value; // creation: the construction value of the base class
    std::uint32_t reserved;
};
static_assert(sizeof(MFXCmdV1) == 8);

/// A plug-in's description of a format that it reads. xCheckVersionAndFile copies it out whole.
struct FormatDescriptor {
    std::uint32_t fileType;
    std::uint32_t zero;
    const char* pattern; // file-name pattern
    const char* shortDescription;
    const char* longDescription;
    std::uint32_t capabilities[2]; // interpreted by the host alone
    std::uint64_t reserved[2];
};
static_assert(sizeof(FormatDescriptor) == 56);
static_assert(offsetof(FormatDescriptor, pattern) == 8);
static_assert(offsetof(FormatDescriptor, shortDescription) == 16);
static_assert(offsetof(FormatDescriptor, longDescription) == 24);
static_assert(offsetof(FormatDescriptor, capabilities) == 32);
static_assert(offsetof(FormatDescriptor, reserved) == 40);
