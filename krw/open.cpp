// CMFKrw::Open: from a path to a described clip whose frames can be read.
#include "host/codec.h"
#include "host/configuration.h"
#include "host/error_output.h"
#include "host/timecode.h"
#include "krw/file_access.h"
#include "krw/file_header.h"
#include "krw/frame_rate.h"
#include "krw/frame_record.h"
#include "krw/frame_table.h"
#include "krw/log.h"
#include "krw/raw_development.h"
#include "metadata/header_items.h"
#include "metadata/side_car.h"
#include "plugin/cmfkrw.h"
#include "plugin/status.h"

#include <array>
#include <cstdlib>

namespace {

namespace danraw = krwfile::danraw;

// Values in thousandths that Open sets before it reads the header.
constexpr std::uint32_t kDefaultGamma = 2200;
constexpr std::uint32_t kDefaultGain = 1000;
// Flag bits that the host's timecode conversion wants in addition to the base.
constexpr std::uint32_t kTimecodeFlags = 0x1200;

void setTimecodeFlags(QMXINFO& info, std::uint32_t flags) {
    for (const InfoNumber item : {InfoNumber::tcFlags, InfoNumber::tcFlags2, InfoNumber::tcFlags3})
        info[item] = flags;
}

/// Announces the opened file unless the host's configuration forbids it. Stores the default when the
/// configuration has no value.
void announce(const char* path) {
    constexpr char kSection[] = "Orvexa\\Advanced";
    constexpr char kKey[] = "ShowFilePlugin";
    constexpr std::int64_t kProcessStore = -1;
    std::uint32_t show = 1;
    if (pvCFGValueDword(kProcessStore, kSection, kKey, &show, kCfgRead) == -1) {
        show = 1;
        pvCFGValueDword(kProcessStore, kSection, kKey, &show, kCfgWrite);
    }
    if (show != 0) ErrOut("\npvx_krw(%s)  ", path);
}

std::uint32_t fail(const char* message, std::uint32_t code) {
    logError(message);
    return code;
}

std::uint32_t fail(const HeaderFault& fault) {
    return fail(fault.message, fault.code);
}

} // namespace

std::uint32_t CMFKrw::Open(const char* path, std::uint32_t flags, std::uint32_t share,
                           _SECURITY_ATTRIBUTES* security, std::uint32_t disposition,
                           std::uint32_t attributes, std::uint32_t templateFile) {
    m_aud.nChannels = 0;
    m_setOpen(path, flags, share, security, disposition, attributes, templateFile);
    if (m_fCreateFile()) {
        m_vidChan = 1;
        m_audChan = 0;
        return status::kNoFile;
    }
    m_hFile = pvOSCreateFile(m_fileName, kAccessRead, kShareRead, nullptr, kOpenExisting, 0, 0);
    if (m_hFile == kInvalidHandle) return status::kNoFile;

    if (const std::uint32_t result = openHeader(); result != status::kOk) return result;
    if (const std::uint32_t result = openTable(); result != status::kOk) return result;
    if (const std::uint32_t result = openFirstRecord(); result != status::kOk) return result;
    findMetaData(m_fileName, &m_info);
    if (const std::uint32_t result = describeStream(); result != status::kOk) return result;

    mfSetMediaInfo(m_fileName, this);
    announce(m_fileName);
    return status::kOk;
}

std::uint32_t CMFKrw::openHeader() {
    if (const HeaderFault* fault = readFileHeader(m_hFile, m_dngHeader); fault != nullptr)
        return fail(*fault);

    RawParams* rawParams = renewRawParams(m_info);
    if (rawParams == nullptr) return status::kOutOfMemory;
    m_info[InfoNumber::masterGamma] = kDefaultGamma;
    m_info[InfoNumber::rGain] = kDefaultGain;
    m_info[InfoNumber::bGain] = kDefaultGain;

    const HeaderTags tags = readIfd(ByteView{m_dngHeader});
    if (tags.bitsPerSample) m_vid.biBitCount = static_cast<std::uint16_t>(*tags.bitsPerSample);
    m_info[InfoNumber::rawBlackCodeValue] = tags.blackLevel.value_or(0);
    m_info[InfoNumber::rawWhiteCodeValue] = tags.whiteLevel.value_or(kUnknownWhite);
    if (tags.danrawOffset) m_danrawOffset = *tags.danrawOffset;
    if (!tags.compressionKnown) return fail(kUnknownCompression);

    if (m_info[InfoNumber::rawWhiteCodeValue] == kUnknownWhite) {
        rawParams->whiteLevel = fullScale(m_vid.biBitCount);
        m_info[InfoNumber::rawWhiteCodeValue] = rawParams->whiteLevel;
    }
    if (m_danrawOffset <= 0) return fail(kNoDanrawHeader);
    return status::kOk;
}

std::uint32_t CMFKrw::openTable() {
    std::free(m_frameTable);
    std::int32_t frameCount = 0;
    m_frameTable = krw2_get_frame_table(m_hFile, &frameCount, m_danrawOffset);
    m_frameTableLength = m_frameTable == nullptr ? 0 : static_cast<std::uint32_t>(frameCount);
    if (m_frameTable == nullptr) return status::kNoFile;
    m_vid.stream.dwLength = m_frameTableLength;
    m_sys.dwTotalFrames = m_frameTableLength;
    m_sys.dwLength = m_frameTableLength;
    return status::kOk;
}

std::uint32_t CMFKrw::openFirstRecord() {
    std::array<std::uint8_t, danraw::kSize> bytes{};
    const std::uint64_t place =
        static_cast<std::uint64_t>(m_frameBase) + static_cast<std::uint64_t>(m_danrawOffset);
    if (readFullyAt(m_hFile, place, bytes) != FileRead::complete)
        return fail("Error: read DANRAW\n", status::kUnreadable);
    const ByteView header{bytes};
    if (!hasDanrawSignature(header)) return fail("Error: signature.\n", status::kBadRecord);
    const FrameSize size = frameSize(header);
    if (!size.isValid()) return fail("Invalid KRW frame dimensions\n", status::kBadRecord);

    m_vid.biWidth = size.width;
    m_vid.biHeight = size.height;
    m_vid.stream.fccHandler = kFccGrbg;
    m_vid.biCompression = kFccGrbg;
    m_vid.biBitCount = 16;
    m_vid.biSizeImage = 2 * size.pixels();
    m_vid.stream.dwSuggestedBufferSize = m_vid.biSizeImage;

    const FrameRate rate = frameRate(header.f32(danraw::kFramesPerSecond));
    m_vid.stream.dwRate = rate.rate;
    m_vid.stream.dwScale = rate.scale;
    setTimecodeFlags(m_info, rate.startTimecodeBase);
    if (!setHeaderItems(m_info, header)) return status::kOutOfMemory;

    std::uint32_t startFrame = 0;
    tc2Frame(header.bytes(danraw::kTimecode, kTimecodeSize).data(),
             m_info[InfoNumber::tcFlags] | kTimecodeFlags, &startFrame);
    m_info[InfoNumber::tcStartFrame] = startFrame;
    m_info[InfoNumber::tcStartFrameCopy] = startFrame;
    return status::kOk;
}

std::uint32_t CMFKrw::describeStream() {
    m_vidChan = 1;
    StreamRecord* stream = describeVideoStream();
    if (stream == nullptr) return status::kOutOfMemory;
    m_audChan = m_aud.nChannels == 0 ? 0 : (1U << m_aud.nChannels) - 1;

    setTimecodeFlags(m_info, timecodeBase(m_vid.stream.dwRate));
    m_audCadence = audioCadence(m_aud.nSamplesPerSec, m_vid.stream);
    m_info[InfoNumber::aspectRatio] = vidGetAspectRatio(m_vid);
    fccGetPvFlagsVideo(&m_vid);
    if (m_vid.pvFlags != 0) stream->video.pvFlags = m_vid.pvFlags;
    deriveSystemRecord();
    return status::kOk;
}
