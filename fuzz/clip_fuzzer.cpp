// Whole clips: the input is a .krw file, and a host does with it what hosts do. Which frames it reads in what
// order, what it applies in between and which of the host's functions fails it once comes from bytes 2 to 7
// of the file, which no reader looks at.
#include "fuzz/choices.h"
#include "fuzz/fuzz_support.h"
#include "fuzz/memory_files.h"
#include "host/info_records.h"
#include "host/media_file.h"
#include "host/memory.h"
#include "kinedec/log_curve.h"
#include "plugin/entry_points.h"
#include "plugin/status.h"
#include "tests/support/host_faults.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>

namespace {

// Bounds of the work for one input, for many inputs a second. A picture of this size has rows of several of
// the decoder's stretches.
constexpr std::uint32_t kMostReads = 2;
constexpr std::uint32_t kLargestPicture = 4096; // bytes

struct Destroy {
    void operator()(CAMediaFile* file) const { xMediaFile(file, CAMediaFile::MFX_DESTROY, nullptr); }
};
using Reader = std::unique_ptr<CAMediaFile, Destroy>;

Reader createReader(std::uint32_t code = CAMediaFile::MFX_CREATE) {
    MFXCmdV1 command{};
    // The interface hands the object out as a number.
    const std::uintptr_t object = xMediaFile(nullptr, code, &command);
    return Reader(reinterpret_cast<CAMediaFile*>(object)); // NOLINT(performance-no-int-to-ptr)
}

std::uint32_t open(CAMediaFile& reader, const std::string& path) {
    return reader.Open(path.c_str(), kAccessRead, kShareRead, nullptr, kOpenExisting, 0, 0);
}

/// What needs no clip: the plug-in's version and formats, an object that stays without a file, and the log
/// curves.
void askPlugIn(Choices& choices) {
    std::uint32_t formats = 0;
    require(xCheckVersionAndFile(nullptr, kVersionQuery, &formats) == kInterfaceVersion && formats == 1,
            "the version query counts the formats");
    FormatDescriptor format{};
    const std::uint32_t index = choices.below(3);
    require((xCheckVersionAndFile(nullptr, index, &format) == status::kOk) == (index < formats),
            "every format counted is described");
    require(xValidateFile() == 0, "files are not validated");
    const Reader reader = createReader(CAMediaFile::MFX_INIT);
    std::uint32_t flags = 1;
    MFXCmdV1 command{};
    require(xMediaFile(reader.get(), CAMediaFile::MFX_GETOPENFLAGS, &flags) == 0 && flags == 0,
            "nothing is open yet");
    const std::uintptr_t itself = xMediaFile(reader.get(), CAMediaFile::MFX_INIT, &command);
    require(itself == reinterpret_cast<std::uintptr_t>(reader.get()), "an object can be initialised again");
    xMediaFile(reader.get(), 1000 + choices.below(8), &command);

    const _kine_curve_param& curve = table[choices.below(std::size(table))];
    const auto light =
        std::bit_cast<float>(choices.below(0x7FFFFFFF)) * (choices.below(2) == 0 ? 1.0F : -1.0F);
    for (const float value : {lin2log(&curve, light), log2lin(&curve, light)})
        require(std::isnan(light) || (value >= 0 && value <= 1), "curves stay between 0 and 1");
}

/// In one of four runs one call fails that has nothing to do with the file. True then.
bool armFault(HostFaults& faults, Choices& choices) {
    constexpr std::array kCalls{HostCall::allocation, HostCall::heap, HostCall::open, HostCall::seek,
                                HostCall::read};
    if (choices.below(4) != 0) return false;
    const std::uint32_t kind = choices.below(kCalls.size() + 1);
    const std::uint32_t n = 1 + choices.below(64);
    if (kind < kCalls.size())
        faults.fail(kCalls[kind], n);
    else
        faults.shortenRead(n, choices.below(2000));
    return true;
}

/// Whether a probe and an open of the same file agree.
void compareVerdicts(std::uint32_t probed, std::uint32_t opened, std::uint32_t frames) {
    if (probed == status::kOk || probed == status::kNoFile)
        require(opened != status::kBadHeader && opened != status::kNoDanraw,
                "a header that passes the probe passes the open");
    else
        require(opened == probed, "a header that fails the probe fails the open with the same code");
    if (opened == status::kOk && frames >= 2)
        require(probed == status::kOk, "a clip of several frames that opens is probed as readable");
}

/// Asks all that a host asks of an open clip; what the records say must be readable as they say.
void describe(CAMediaFile& reader) {
    QMXSYSTEM system{};
    QMXVIDEO video{};
    QMXAUDIO audio{};
    QMXINFO info = makeDefaultInfo();
    std::uint32_t masks[3] = {};
    reader.GetFileInfo(0xFFFFFFFF, &system, &video, &audio, &info);
    reader.GetSysInfo(0xFFFFFFFF, &system, &video, &audio, nullptr);
    reader.OpenCopyFileInfo();
    reader.Channels(&masks[0], &masks[1], &masks[2]);
    reader.SetMode(nullptr);
    std::array<char, sizeof reader.m_fileName> path{};
    xMediaFile(&reader, CAMediaFile::MFX_GETNAME, path.data());
    require(path.data() == std::string_view(reader.m_fileName), "the reader knows its path");
    require(reader.Write(0, 1, 1, request::kVideo, nullptr, nullptr) == status::kOk, "writing does nothing");
    require(reader.GetOverlappedResult(nullptr, nullptr, 0) == 1, "reads are complete");
    xMediaFile(&reader, CAMediaFile::MFX_EXIT, nullptr);
    reader.m_GetfccCodec();
    std::size_t length = 0;
    for (const char* text : info.texts)
        length += text == nullptr ? 0 : std::strlen(text);
    require(length < (std::size_t{1} << 30), "texts end");
    const QMXINFO& described = info;
    require(described[InfoNumber::tcFlags] == info[InfoNumber::tcFlags],
            "numbers are read as they are written");
    qmxInfoDelete(&info);
}

/// Reads a frame into a block of exactly the size that the reader asked for. True when the picture is there.
/// A failure leaves the block alone.
bool readInto(CAMediaFile& reader, std::uint32_t frame, const ExactBlock& block, std::uint8_t filling) {
    DFRAME dframe{};
    dframe.picture.buffer = block.data();
    dframe.picture.bufferSize = static_cast<std::uint32_t>(block.bytes().size());
    const bool read = reader.Read(frame, 1, 1, request::kVideo, &dframe, nullptr) == status::kOk;
    require(read || block.isAll(filling), "a failed read leaves the picture alone");
    require(!read || dframe.picture.bytesUsed == dframe.picture.bufferSize,
            "a read delivers what the size query said");
    return read;
}

/// A picture that can be read is read twice over different fillings: every byte of it is written.
void readPicture(CAMediaFile& reader, std::uint32_t frame, std::uint32_t size, bool faulty) {
    constexpr std::array<std::uint8_t, 2> kFillings{0x5A, 0xA5};
    const ExactBlock first(size, kFillings[0]);
    if (!readInto(reader, frame, first, kFillings[0])) return;
    const ExactBlock second(size, kFillings[1]);
    const bool again = readInto(reader, frame, second, kFillings[1]);
    require(faulty || again, "reading a frame again gives the same result");
    require(!again || std::ranges::equal(first.bytes(), second.bytes()),
            "a read writes the whole picture, and the same one each time");
}

void readFrame(CAMediaFile& reader, std::uint32_t frame, bool faulty) {
    const std::uint32_t size = reader.Read(frame, 1, 1, request::kVideo, nullptr, nullptr);
    DFRAME dframe{};
    dframe.recordSize = sizeof dframe;
    if (reader.Read(frame, 1, 1, request::kVideo | request::kFileReference, &dframe, nullptr) == status::kOk)
        require(dframe.fileName == std::string_view(reader.m_fileName), "a reference names the clip");
    if (size > 0 && size <= kLargestPicture && frame != kCurrentFrame)
        return readPicture(reader, frame, size, faulty);
    dframe = {};
    require(reader.Read(frame, 1, 1, request::kVideo, &dframe, nullptr) != status::kOk,
            "no buffer, no picture");
}

void readFrames(CAMediaFile& reader, Choices& choices, bool faulty) {
    const std::uint32_t frames = reader.Length();
    for (std::uint32_t i = 0; i < std::min(frames + 1, kMostReads); ++i) {
        // The one frame and the place behind it; in a longer clip any frame, and the place behind the last.
        const std::uint32_t number = frames < kMostReads ? i : choices.below(frames + 1);
        readFrame(reader, choices.below(8) == 0 ? kCurrentFrame : number, faulty);
    }
}

} // namespace

// A host with secondary files, which the stand-in host has not: the first one has a path, the last one a path
// that no record holds, those between have none.
std::uint32_t CAMediaFile::m_totalSecondaryFiles() const {
    return 4;
}
const char* CAMediaFile::m_getSecondaryFile(std::uint32_t index) const {
    static const std::string tooLong(sizeof DFRAME::fileName, 'x');
    if (index == 0) return "second.wav";
    return index == 3 ? tooLong.c_str() : nullptr;
}

namespace {

/// What may differ after a host has changed something: a frame, and the kinds of reads without a picture.
void readAgain(CAMediaFile& reader, Choices& choices, bool faulty) {
    readFrame(reader, choices.below(reader.Length() + 1), faulty);
    DFRAME dframe{};
    dframe.recordSize = sizeof dframe;
    const std::uint32_t channel = 1U << choices.below(9);
    require(reader.Read(0, 1, 1, 2, &dframe, nullptr) == status::kOk, "other kinds are passed over");
    reader.Read(choices.below(4), 1, channel, request::kAudio | request::kFileReference, &dframe, nullptr);
    reader.Read(choices.below(4), 1, channel, request::kAudio, nullptr, nullptr);
    const std::uint32_t referred = reader.Read(
        choices.below(4), 1, channel, request::kSecondaryFile | request::kFileReference, &dframe, nullptr);
    require((referred == status::kOk) == (channel == 1), "the secondary file that has a path is referred to");
}

/// Hands the reader its own descriptions back, some of them changed.
void applyInfo(CAMediaFile& reader, Choices& choices) {
    QMXSYSTEM system{};
    QMXVIDEO video{};
    QMXAUDIO audio{};
    QMXINFO info = makeDefaultInfo();
    reader.GetFileInfo(0xFFFFFFFF, &system, &video, &audio, &info);
    if (choices.below(2) == 0) video.biHeight = -video.biHeight;
    if (choices.below(4) == 0) info[InfoNumber::tcFlags] = QMXINFO::kUnset;
    const std::uint32_t parts = choices.below(16);
    const auto chosen = [parts](std::uint32_t part, auto& record) {
        return (parts >> part & 1U) != 0 ? &record : nullptr;
    };
    reader.SetFileInfo(choices.below(256), chosen(0, system), chosen(1, video), chosen(2, audio),
                       chosen(3, info));
    reader.SetSysInfo(1, nullptr, chosen(1, video), nullptr, nullptr);
    qmxInfoDelete(&info);
}

/// No file is ever opened for writing.
void refuseWriting(const std::string& path) {
    const Reader reader = createReader();
    require(reader->Open(path.c_str(), kAccessWrite, 0, nullptr, kOpenExisting, 0, 0) == status::kNoFile,
            "a clip is not written");
}

/// One clip from creation to destruction. The heap of this program fails only while the reader has the word.
void useClip(const std::string& path, std::span<const std::uint8_t> clip, HostFaults& faults) {
    Choices choices(clip);
    if (choices.below(8) == 0) refuseWriting(path);
    if (choices.below(8) == 0) askPlugIn(choices);
    const Reader reader = createReader();
    require(reader != nullptr, "a reader can be had");
    const bool faulty = armFault(faults, choices);
    const std::uint32_t probed = xCheckVersionAndFile(path.c_str(), 0, nullptr);
    const std::uint32_t opened = open(*reader, path);
    faults.disarm(HostCall::heap);
    if (!faulty) compareVerdicts(probed, opened, reader->Length());
    // A host that overlooks a failed open goes on all the same.
    readFrames(*reader, choices, faulty);
    applyInfo(*reader, choices);
    readAgain(*reader, choices, faulty);
    describe(*reader);
    if (choices.below(2) == 0) reader->Close();
    if (choices.below(2) == 0) return;
    // A second open finds what the first one left behind.
    const std::uint32_t reopened = open(*reader, path);
    if (opened == status::kOk && !faulty) require(reopened != status::kNoFile, "a clip opens again");
    readAgain(*reader, choices, faulty);
    reader->Close();
    readAgain(*reader, choices, faulty);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    beQuiet();
    static MemoryFile file("clip.krw");
    file.assign({data, size});
    HostFaults faults;
    useClip(file.path(), {data, size}, faults);
    require(faults.openHandles() == 0, "no file stays open");
    require(faults.liveBlocks() == 0 && faults.liveHeapBlocks() == 0, "no block is left behind");
    static_cast<void>(takeLog());
    return 0;
}
