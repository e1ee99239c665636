// CMFKrw::Open: from a path to a described clip whose frames can be read.
#include "host/codec.h"
#include "host/configuration.h"
#include "host/error_output.h"
#include "host/memory.h"
#include "host/timecode.h"
#include "krw/file_header.h"
#include "krw/frame_record.h"
#include "krw/frame_table.h"
#include "krw/log.h"
#include "metadata/info_items.h"
#include "metadata/side_car.h"
#include "plugin/cmfkrw.h"
#include "plugin/status.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <new>

namespace {

namespace danraw = krwfile::danraw;

constexpr std::uint32_t kUnknownWhite = 0xFFFFFFFFU;
// Flag bits that the host's timecode conversion wants beside the base.
constexpr std::uint32_t kTimecodeFlags = 0x1200;

/// Rate, scale and timecode base of the start timecode for a clip below that many frames per second.
struct FrameRate {
    float below;
    std::uint32_t rate;
    std::uint32_t scale;
    std::uint32_t timecodeBase;
};

// The first row that matches counts; what is not a number matches none but the last.
constexpr FrameRate kFrameRates[] = {
    {24.0F, 24000, 1001, tcbase::k2398}, //
    {25.0F, 24, 1, tcbase::k24},         //
    {29.0F, 25, 1, tcbase::k25},         //
    {30.0F, 30000, 1001, tcbase::k2997}, //
    {50.0F, 30, 1, tcbase::k30},         //
    {59.0F, 50, 1, tcbase::k50},         //
    {60.0F, 60000, 1001, tcbase::k5994}, //
    {61.0F, 60, 1, tcbase::k60},         //
    {std::numeric_limits<float>::infinity(), 100, 1, tcbase::k100},
};

const FrameRate& frameRate(float framesPerSecond) {
    const auto* row = std::ranges::find_if(
        kFrameRates, [framesPerSecond](const FrameRate& entry) { return framesPerSecond < entry.below; });
    return row == std::end(kFrameRates) ? *std::prev(std::end(kFrameRates)) : *row;
}

struct TimecodeBase {
    std::uint32_t rate;
    std::uint32_t flags;
};

// What the host is told of the timecode, by the clip's rate.
constexpr TimecodeBase kTimecodeBases[] = {
    {24, tcbase::k24},      //
    {25, tcbase::k25},      //
    {50, tcbase::k25},      //
    {30, tcbase::k30},      //
    {60, tcbase::k30},      //
    {2398, tcbase::k2398},  //
    {24000, tcbase::k2398}, //
    {2997, tcbase::k2997},  //
    {30000, tcbase::k2997}, //
    {60000, tcbase::k2997}, //
};

std::uint32_t timecodeBase(std::uint32_t rate) {
    const auto* row = std::ranges::find(kTimecodeBases, rate, &TimecodeBase::rate);
    return row == std::end(kTimecodeBases) ? tcbase::k24 : row->flags;
}

void setTimecodeFlags(QMXINFO& info, std::uint32_t flags) {
    for (const InfoNumber item : {InfoNumber::tcFlags, InfoNumber::tcFlags2, InfoNumber::tcFlags3})
        info[item] = flags;
}

// How an information item is made from the header field.
enum class ItemKind { text, decimal, number, note };

struct HeaderItem {
    ItemKind kind;
    danraw::TextField field; // the size counts for texts only
    InfoText text = InfoText::text16;
    InfoNumber number = InfoNumber::item210;
};

constexpr HeaderItem textItem(InfoText item, danraw::TextField field) {
    return {ItemKind::text, field, item};
}
constexpr HeaderItem decimalItem(InfoText item, std::size_t offset) {
    return {ItemKind::decimal, {offset, 4}, item};
}

// In the order in which they are set: when memory runs out, the items above stay.
constexpr HeaderItem kHeaderItems[] = {
    textItem(InfoText::manufacturer, danraw::kManufacturer),
    {ItemKind::number, {danraw::kValue24, 4}, {}, InfoNumber::item210},
    textItem(InfoText::text63, danraw::kText304),
    textItem(InfoText::serialNo, danraw::kSerialNo),
    textItem(InfoText::modelName, danraw::kModelName),
    textItem(InfoText::text22, danraw::kText368),
    textItem(InfoText::project, danraw::kProject),
    textItem(InfoText::text23, danraw::kText772),
    decimalItem(InfoText::cameraIndex, danraw::kCameraIndex),
    decimalItem(InfoText::scene, danraw::kScene),
    decimalItem(InfoText::take, danraw::kTake),
    textItem(InfoText::directorName, danraw::kDirectorName),
    textItem(InfoText::text16, danraw::kText856),
    textItem(InfoText::text17, danraw::kText884),
    {ItemKind::note, {}, InfoText::text68},
    textItem(InfoText::text50, danraw::kText1380),
    textItem(InfoText::text51, danraw::kText1416),
};

// The note is stored in three pieces, to be joined in this order without separators.
constexpr danraw::TextField kNoteParts[] = {danraw::kNote1, danraw::kNote2, danraw::kNote3};
constexpr std::size_t kNoteSize = danraw::kNote1.size + danraw::kNote2.size + danraw::kNote3.size + 1;
static_assert(kNoteSize == 141);

const char* characters(std::span<const std::uint8_t> bytes) {
    return reinterpret_cast<const char*>(bytes.data());
}

/// Releases an item's text and gives it a fresh zero-filled one.
bool renewText(char*& item, std::size_t size) {
    PVFree(item);
    item = static_cast<char*>(PVAlloc(size));
    return item != nullptr;
}

bool setDecimal(char*& item, std::int32_t value) {
    if (!renewText(item, kDecimalTextSize)) return false;
    itoa(value, item, 10);
    return true;
}

bool setNote(char*& item, ByteView header) {
    if (!renewText(item, kNoteSize)) return false;
    for (const danraw::TextField part : kNoteParts)
        std::strncat(item, characters(header.bytes(part.offset, part.size)), part.size);
    return true;
}

bool setHeaderItem(QMXINFO& info, const HeaderItem& row, ByteView header) {
    const auto [offset, size] = row.field;
    switch (row.kind) {
    case ItemKind::text:
        return mfKrwSetInfoString(&info[row.text], characters(header.bytes(offset, size)),
                                  static_cast<unsigned>(size)) != 0;
    case ItemKind::decimal:
        return setDecimal(info[row.text], header.i32(offset));
    case ItemKind::number:
        info[row.number] = header.u32(offset);
        return true;
    case ItemKind::note:
        return setNote(info[row.text], header);
    }
    return true;
}

bool setHeaderItems(QMXINFO& info, ByteView header) {
    return std::ranges::all_of(kHeaderItems,
                               [&](const HeaderItem& row) { return setHeaderItem(info, row, header); });
}

/// Replaces the raw-development block by one at its defaults; null without memory.
RawParams* renewRawParams(QMXINFO& info) {
    char*& item = info[InfoText::rawParams];
    PVFree(item);
    item = nullptr;
    void* block = PVAlloc(sizeof(RawParams));
    if (block == nullptr) return nullptr;
    auto* params = new (block) RawParams{};
    params->size = sizeof(RawParams);
    params->gamma = 2.2F;
    std::ranges::fill(params->gains, 1.0F);
    params->whiteLevel = kUnknownWhite;
    for (float(*matrix)[16] : {&params->matrix1, &params->matrix2})
        for (std::size_t diagonal = 0; diagonal < 4; ++diagonal)
            (*matrix)[5 * diagonal] = 1.0F;
    params->host836 = 4;
    item = static_cast<char*>(block);
    return params;
}

/// 2^bits - 1, at most the largest 32-bit value: the field can name any bit depth.
std::uint32_t fullScale(std::uint16_t bits) {
    constexpr double kLargest = std::numeric_limits<std::uint32_t>::max();
    return static_cast<std::uint32_t>(std::min(std::pow(2.0, bits) - 1.0, kLargest));
}

/// Audio samples per video frame as a fraction, shortened by the powers of ten that rates come with.
void setAudioCadence(CAMediaFile::AudioCadence& cadence, std::uint32_t samplesPerSecond,
                     const QMXSTREAM& video) {
    constexpr std::uint32_t kWholeRates[] = {24, 25, 30, 50, 60, 2398, 2997};
    std::uint32_t numerator = samplesPerSecond * video.dwScale;
    std::uint32_t denominator = video.dwRate;
    const auto shorten = [&](std::uint32_t factor) {
        if (numerator % factor != 0 || denominator % factor != 0) return false;
        numerator /= factor;
        denominator /= factor;
        return true;
    };
    const bool whole = std::ranges::find(kWholeRates, video.dwRate) != std::end(kWholeRates);
    if (whole || !shorten(100)) shorten(10);
    cadence = {};
    cadence.m_audFrameDen = denominator;
    cadence.m_audFrameNum = numerator;
}

/// Announces the opened file when the host's configuration asks for it, as it does unless told otherwise.
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
    switch (readFileHeader(m_hFile, m_dngHeader)) {
    case HeaderRead::failed:
        return fail("Error: read DNG header\n", status::kBadHeader);
    case HeaderRead::shortRead:
        return fail("Error: read DNG header size\n", status::kBadHeader);
    case HeaderRead::ok:
        break;
    }
    const ByteView header{m_dngHeader};
    if (!isWalkable(header)) return fail("Endian mismatch!\n", status::kBadHeader);

    RawParams* rawParams = renewRawParams(m_info);
    if (rawParams == nullptr) return status::kOutOfMemory;
    m_info[InfoNumber::masterGamma] = 2200;
    m_info[InfoNumber::rGain] = 1000;
    m_info[InfoNumber::bGain] = 1000;

    const HeaderTags tags = walkDirectory(header);
    if (tags.bitsPerSample) m_vid.biBitCount = static_cast<std::uint16_t>(*tags.bitsPerSample);
    m_info[InfoNumber::rawBlackCodeValue] = tags.blackLevel.value_or(0);
    m_info[InfoNumber::rawWhiteCodeValue] = tags.whiteLevel.value_or(kUnknownWhite);
    if (tags.danrawOffset) m_danrawOffset = *tags.danrawOffset;
    if (!tags.compressionKnown) return fail("Unexpected compression.\n", status::kUnreadable);

    if (m_info[InfoNumber::rawWhiteCodeValue] == kUnknownWhite) {
        rawParams->whiteLevel = fullScale(m_vid.biBitCount);
        m_info[InfoNumber::rawWhiteCodeValue] = rawParams->whiteLevel;
    }
    if (m_danrawOffset <= 0) return fail("No DANRAW_HEADER!\n", status::kNoDanraw);
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
    std::uint32_t bytesRead = 0;
    if (pvOSSeek(m_hFile, place) == kSeekFailed ||
        pvOSReadFile(m_hFile, bytes.data(), danraw::kSize, &bytesRead, nullptr) == 0 ||
        bytesRead < danraw::kSize)
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

    const FrameRate& rate = frameRate(header.f32(danraw::kFramesPerSecond));
    m_vid.stream.dwRate = rate.rate;
    m_vid.stream.dwScale = rate.scale;
    setTimecodeFlags(m_info, rate.timecodeBase);
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
    StreamRecord*& stream = m_vidStream[0];
    if (stream == nullptr) stream = m_AllocAStream();
    if (stream == nullptr) {
        ErrOut("Open(0x%lX)", static_cast<unsigned long>(status::kOutOfMemory));
        return status::kOutOfMemory;
    }
    stream->video = m_vid;
    stream->kind = kVideoStreamKind;
    m_audChan = m_aud.nChannels == 0 ? 0 : (1U << m_aud.nChannels) - 1;

    setTimecodeFlags(m_info, timecodeBase(m_vid.stream.dwRate));
    setAudioCadence(m_audCadence, m_aud.nSamplesPerSec, m_vid.stream);
    m_info[InfoNumber::aspectRatio] = vidGetAspectRatio(m_vid);
    fccGetPvFlagsVideo(&m_vid);
    if (m_vid.pvFlags != 0) stream->video.pvFlags = m_vid.pvFlags;
    deriveSystemRecord();
    return status::kOk;
}
