// Sweeps over a small clip: the clip cut at every byte, each bit of its descriptions flipped, each call into
// the host and each allocation failing in turn; and headers with false sizes. Each failure has a status code
// and its message. A failing read leaves the picture untouched. No memory and no handle is lost.
#include "krw/byte_view.h"
#include "plugin/entry_points.h"
#include "plugin/status.h"
#include "tests/support/host_faults.h"
#include "tests/support/open_clip.h"

#include <algorithm>
#include <array>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <set>

namespace {

namespace danraw = krwfile::danraw;
namespace plane = krwfile::plane;
namespace trailer = krwfile::trailer;

constexpr std::uint32_t kFrames = 3;
constexpr std::uint32_t kWidth = 8;
constexpr std::uint32_t kHeight = 4;

using Answers = std::map<std::uint32_t, std::set<std::string>>; // code -> messages, "" for none

const Answers kOpenAnswers{
    {status::kOk, {""}},
    {status::kNoFile, {""}},
    {status::kBadHeader, {"Error: read DNG header\n", "Error: read DNG header size\n", "Endian mismatch!\n"}},
    {status::kNoDanraw, {"No DANRAW_HEADER!\n"}},
    {status::kUnreadable, {"Unexpected compression.\n", "Error: read DANRAW\n"}},
    {status::kBadRecord, {"Error: signature.\n", "Invalid KRW frame dimensions\n"}},
    {status::kOutOfMemory, {"", "Open(0xE8022007)"}},
};
const Answers kReadAnswers{
    {status::kOk, {""}},
    {status::kNoFile,
     {"", "Invalid KRW frame offset", "Unable to seek to table pos", "Unable to read frame header"}},
    {status::kBadRecord,
     {"KRW frame signature bad", "KRW frame dimensions changed or are invalid",
      "Invalid KRW plane size or offset\n", "error read plan data\n"}},
    {status::kPlaneRead, {"error read plan data\n"}},
    {status::kFrameBuffer, {""}},
    {status::kOutOfMemory, {""}},
};

// Messages that are no errors: rejected planes, the opened file, a slate's document.
constexpr std::string_view kNoErrors[] = {"codec error: ", "\npvx_krw(", "<PVDeviceMetadata>"};

enum class Pictures { kept, changed };

/// A host that opens a clip and reads it. Its memory is allocated before the first call.
struct Session {
    LogCapture log;
    std::uint32_t opened = 0;
    std::array<std::uint32_t, kFrames> reads{};
    std::array<std::size_t, kFrames + 2> lines{}; // logged before open, before each read, and after the last
    std::vector<FrameRequest> requests;

    Session() {
        requests.reserve(kFrames);
        while (requests.size() < kFrames)
            requests.emplace_back(std::size_t{kWidth} * kHeight);
    }

    void run(const char* path) {
        xCheckVersionAndFile(path, 0, nullptr);
        lines[0] = log.lines().size();
        CMFKrw reader(0);
        opened = reader.Open(path, kAccessRead, kShareRead, nullptr, kOpenExisting, 0, 0);
        for (std::uint32_t n = 0; n < kFrames; ++n) {
            lines[n + 1] = log.lines().size();
            reads[n] = requests[n].read(reader, n);
        }
        lines.back() = log.lines().size();
        reader.SetFileInfo(0xFF, nullptr, nullptr, &reader.m_aud, &reader.m_info);
        reader.OpenCopyFileInfo();
    }

    void expectGoodAnswers(Pictures pictures) const {
        static const std::vector<Mosaic> mosaics = randomMosaics(kFrames, kWidth, kHeight);
        expectAnswer(kOpenAnswers, opened, 0);
        for (std::size_t n = 0; n < kFrames; ++n) {
            expectAnswer(kReadAnswers, reads[n], n + 1);
            const bool kept =
                reads[n] != status::kOk ? requests[n].untouched() : requests[n].picture == mosaics[n].samples;
            EXPECT_TRUE(kept || (reads[n] == status::kOk && pictures == Pictures::changed)) << "frame " << n;
        }
    }

  private:
    void expectAnswer(const Answers& answers, std::uint32_t code, std::size_t step) const {
        std::string message;
        for (std::size_t line = lines[step]; line < lines[step + 1]; ++line) {
            std::string text = log.lines()[line].text;
            if (std::ranges::any_of(kNoErrors, [&](auto start) { return text.starts_with(start); })) continue;
            EXPECT_EQ(message, "") << "a second message: " << text;
            constexpr std::string_view kPrefix = "ERROR(pvx_krw): ";
            message = text.starts_with(kPrefix)
                          ? text.substr(kPrefix.size(), text.size() - kPrefix.size() - 2)
                          : text;
        }
        const auto answer = answers.find(code);
        const bool written = answer != answers.end() && answer->second.contains(message);
        EXPECT_TRUE(written) << "step " << step << ": " << std::hex << code << " " << message;
    }
};

class Sweep : public testing::Test {
  protected:
    static TestClip makeSmallClip(bool storedTable) {
        ClipDescription description;
        description.danrawOffset = 640;
        description.storedTable = storedTable;
        return makeClip(description, randomMosaics(kFrames, kWidth, kHeight));
    }

    void write(const TestClip& clip) { m_path = m_directory.write("clip.krw", clip.bytes); }

    struct Use {
        std::uint64_t calls; // of the kind counted
        std::set<std::uint32_t> failures;
    };

    /// Runs a session on the file that was written last.
    Use use(Pictures pictures, HostCall counted = HostCall::read,
            const std::function<void(HostFaults&)>& arm = {}) const {
        HostFaults faults;
        Session session;
        if (arm) arm(faults);
        const std::uint64_t before = faults.calls(counted);
        session.run(m_path.c_str());
        const std::uint64_t calls = faults.calls(counted) - before;
        faults.disarm();
        session.expectGoodAnswers(pictures);
        EXPECT_EQ(faults.liveBlocks(), 0);
        EXPECT_EQ(faults.nullReleases(), 0);
        EXPECT_EQ(faults.liveHeapBlocks(), 0);
        EXPECT_EQ(faults.openHandles(), 0);
        // Without an open clip no frame can be read.
        std::set<std::uint32_t> failures{session.opened};
        if (session.opened == status::kOk) failures.insert(session.reads.begin(), session.reads.end());
        failures.erase(status::kOk);
        return {calls, failures};
    }

    void flipBits(const TestClip& clip, std::size_t offset, std::size_t bytes) {
        write(clip);
        // The file is changed in place. If it were truncated and written anew, the file system would write to
        // the disk each time.
        std::fstream file(m_path, std::ios::binary | std::ios::in | std::ios::out);
        const auto put = [&file](std::size_t at, int byte) {
            file.seekp(static_cast<std::streamoff>(at)).put(static_cast<char>(byte)).flush();
        };
        for (std::size_t at = offset; at < offset + bytes && !HasFailure(); ++at) {
            for (int bit = 0; bit < 8; ++bit) {
                SCOPED_TRACE(testing::Message() << "bit " << bit << " of byte " << at);
                put(at, clip.bytes.at(at) ^ 1 << bit);
                use(Pictures::changed);
            }
            put(at, clip.bytes.at(at));
        }
    }

    TempDir m_directory;
    std::string m_path;
};

TEST_F(Sweep, ClipCutAtEveryByte) {
    const TestClip clip = makeSmallClip(true);
    write(clip);
    for (std::size_t size = clip.bytes.size(); size-- > 0 && !HasFailure();) {
        SCOPED_TRACE(size);
        std::filesystem::resize_file(m_path, size);
        use(Pictures::kept);
    }
}

TEST_F(Sweep, EveryBitThatDescribesAClipFlipped) {
    const TestClip clip = makeSmallClip(true);
    constexpr std::size_t kDirectory = krwfile::kEntriesOffset + krwfile::kMaxEntries * krwfile::kEntrySize;
    flipBits(clip, 0, kDirectory);
    flipBits(clip, clip.danrawAt(0), danraw::kSize);
    flipBits(clip, clip.trailerAt(), trailer::kTableOffset + 8);
    flipBits(clip, ByteView(clip.bytes).u64(clip.trailerAt() + trailer::kTableOffset),
             kFrames * trailer::kEntrySize);
    const TestClip chain = makeSmallClip(false);
    flipBits(chain, chain.danrawAt(1) + danraw::kRecordLength, 4);
}

TEST_F(Sweep, EveryCallFailsInTurn) {
    using Codes = std::set<std::uint32_t>; // that this fault may be answered with
    struct Fault {
        const char* name;
        HostCall call;
        Codes codes;
        std::function<void(HostFaults&, std::uint64_t)> arm;
    };
    const auto failing = [](HostCall call) {
        return [call](HostFaults& faults, std::uint64_t n) { faults.fail(call, n); };
    };
    const auto shortened = [](std::uint32_t bytes) {
        return [bytes](HostFaults& faults, std::uint64_t n) { faults.shortenRead(n, bytes); };
    };
    const Codes memory{status::kOutOfMemory, status::kNoFile}; // the latter when there is no table
    const Codes reading{status::kNoFile, status::kBadHeader, status::kUnreadable, status::kPlaneRead};
    const Fault faults[] = {
        {"allocation", HostCall::allocation, memory, failing(HostCall::allocation)},
        {"heap", HostCall::heap, memory, failing(HostCall::heap)},
        {"open", HostCall::open, {status::kNoFile}, failing(HostCall::open)},
        {"seek",
         HostCall::seek,
         {status::kNoFile, status::kUnreadable, status::kBadRecord},
         failing(HostCall::seek)},
        {"read", HostCall::read, reading, failing(HostCall::read)},
        {"nothing read", HostCall::read, reading, shortened(0)},
        {"a few bytes read", HostCall::read, reading, shortened(7)},
    };
    for (const char* sideCar : {"clipM01.xml", "slate.txt"})
        for (const bool storedTable : {true, false}) {
            std::ofstream(m_directory.path(sideCar))
                << "<P2Main><Device><ModelName>x</ModelName></Device></P2Main>";
            write(makeSmallClip(storedTable));
            for (const Fault& fault : faults) {
                const std::uint64_t calls = use(Pictures::kept, fault.call).calls;
                for (std::uint64_t n = 1; n <= calls && !HasFailure(); ++n) {
                    SCOPED_TRACE(testing::Message()
                                 << fault.name << " " << n << " " << sideCar << " " << storedTable);
                    const Use faulty =
                        use(Pictures::kept, fault.call, [&](HostFaults& host) { fault.arm(host, n); });
                    for (const std::uint32_t code : faulty.failures)
                        EXPECT_TRUE(fault.codes.contains(code)) << std::hex << code;
                }
            }
            std::filesystem::remove(m_directory.path(sideCar));
        }
}

/// Turns a clip into the closest chain of records with equal steps: ten bytes apart, the signature and the
/// length of each record lie in gaps of the others.
void chainRecords(TestClip& clip) {
    constexpr std::uint32_t kStep = 10;
    constexpr std::uint32_t kRecords = 50'000;
    clip.bytes.resize(clip.danrawOffset + danraw::kSize + std::size_t{kRecords - 1} * kStep);
    clip.recordStarts.resize(kRecords);
    for (std::uint32_t record = 0; record < kRecords; ++record) {
        clip.recordStarts[record] = std::uint64_t{record} * kStep;
        clip.setDanraw(record, danraw::kSignatureOffset, danraw::kSignature);
        clip.setDanraw(record, danraw::kRecordLength, kStep);
    }
}

TEST_F(Sweep, HeadersThatLieTakeNoMoreMemoryThanTheFile) {
    const auto everyFrame = [](std::size_t field, std::uint32_t value) {
        return [=](TestClip& clip) {
            for (std::size_t frame = 0; frame < kFrames; ++frame)
                clip.setDanraw(frame, field, value);
        };
    };
    const auto inTrailer = [](std::size_t field, auto value) {
        return [=](TestClip& clip) { clip.setTrailer(field, value); };
    };
    const std::pair<const char*, std::function<void(TestClip&)>> rows[] = {
        {"largest count", inTrailer(trailer::kFrameCount, 0x1FFFFFFFU)},
        {"too large a count", inTrailer(trailer::kFrameCount, 0x20000000U)},
        {"table far away", inTrailer(trailer::kTableOffset, ~std::uint64_t{0})},
        {"largest picture",
         [&](TestClip& c) {
             everyFrame(danraw::kWidth, 65534)(c);
             everyFrame(danraw::kHeight, 32768)(c);
         }},
        {"largest planes", everyFrame(danraw::kPlanes + plane::kDataSize, 0xFFFFFFFF)},
        {"table over the records", inTrailer(trailer::kTableOffset, std::uint64_t{0})},
        {"closest records", chainRecords},
    };
    for (const auto& [name, spoil] : rows) {
        SCOPED_TRACE(name);
        TestClip clip = makeSmallClip(true);
        spoil(clip);
        write(clip);
        Session session;
        const HostFaults faults; // counts from here, without the session's own blocks
        session.run(m_path.c_str());
        session.expectGoodAnswers(Pictures::changed);
        constexpr std::size_t kGrowth = 4096 * krwfile::trailer::kEntrySize; // step of a rebuilt table
        EXPECT_LE(faults.largestBlock(), std::max(clip.bytes.size(), kGrowth));
    }
}

} // namespace
