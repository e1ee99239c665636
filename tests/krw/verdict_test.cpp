// Opening and probing: the status codes and messages for each spoilt clip and each failure of the host.
#include "host/error_output.h"
#include "krw/format.h"
#include "krw/probe.h"
#include "plugin/status.h"
#include "tests/support/host_faults.h"
#include "tests/support/open_clip.h"

#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

namespace danraw = krwfile::danraw;
using testing::ElementsAre;

constexpr char kError[] = "ERROR(pvx_krw): ";
constexpr char kWarning[] = "WARNING(pvx_krw): ";

/// The line that a message becomes; none for an empty message.
std::vector<LogLine> logged(std::uint32_t status, const char* prefix, const std::string& message) {
    if (message.empty()) return {};
    return {{status, prefix + message + "\n\r"}};
}

/// Entry `index` of the directory gets this tag and value.
void setEntry(TestClip& clip, std::size_t index, std::uint16_t tag, std::uint32_t value) {
    const std::size_t entry = krwfile::kEntriesOffset + index * krwfile::kEntrySize;
    clip.set(entry, tag);
    clip.set(entry + krwfile::kEntryValueOffset, value);
}

std::uint16_t entryCount(const TestClip& clip) {
    return static_cast<std::uint16_t>(clip.bytes[8] | clip.bytes[9] << 8);
}

/// One more directory entry, behind the others.
void appendEntry(TestClip& clip, std::uint16_t tag, std::uint32_t value) {
    const std::uint16_t count = entryCount(clip);
    setEntry(clip, count, tag, value);
    clip.set(krwfile::kEntryCountOffset, static_cast<std::uint16_t>(count + 1));
}

struct Verdict {
    const char* name;
    std::function<void(TestClip&)> spoil;
    std::uint32_t open;
    std::string openMessage; // error
    std::uint32_t probe;
    std::string probeMessage;
    const char* probeLevel = kError;
};

/// One row for each way to spoil a clip of three frames.
std::vector<Verdict> verdicts() {
    using Clip = TestClip;
    const std::string header = "Error: read DNG header\n";
    const std::string endian = "Endian mismatch!\n";
    const std::string compression = "Unexpected compression.\n";
    const std::string noDanraw = "No DANRAW_HEADER!\n";
    const std::string dimensions = "Invalid KRW frame dimensions\n";
    const auto size = [](std::uint32_t width, std::uint32_t height) {
        return [=](Clip& clip) {
            clip.setDanraw(0, danraw::kWidth, width);
            clip.setDanraw(0, danraw::kHeight, height);
        };
    };
    const auto tag = [](std::uint16_t number, std::uint32_t value) {
        return [=](Clip& clip) { clip.setTag(number, value); };
    };
    return {
        {"good", [](Clip&) {}, 0, "", 0, ""},
        {"1951 bytes", [](Clip& c) { c.cut(1951); }, status::kBadHeader, "Error: read DNG header size\n",
         status::kBadHeader, header, kWarning},
        {"empty", [](Clip& c) { c.cut(0); }, status::kBadHeader, "Error: read DNG header size\n",
         status::kBadHeader, header, kWarning},
        {"big-endian", [](Clip& c) { c.set(0, std::uint16_t{0x4D4D}); }, status::kBadHeader, endian,
         status::kBadHeader, endian, kWarning},
        {"27 entries", [](Clip& c) { c.set(8, std::uint16_t{27}); }, status::kBadHeader, endian,
         status::kBadHeader, endian, kWarning},
        {"26 entries", [](Clip& c) { c.set(8, std::uint16_t{26}); }, 0, "", 0, ""},
        {"no entries", [](Clip& c) { c.set(8, std::uint16_t{0}); }, status::kNoDanraw, noDanraw,
         status::kNoDanraw, noDanraw},
        {"directory said to be elsewhere", [](Clip& c) { c.set(4, std::uint32_t{4000}); }, 0, "", 0, ""},
        {"compression 1", tag(259, 1), 0, "", 0, ""},
        {"compression 10", tag(259, 10), 0, "", 0, ""},
        {"compression 7", tag(259, 7), status::kUnreadable, compression, status::kUnreadable, compression},
        {"compression 7 as the last entry", [](Clip& c) { appendEntry(c, 259, 7); }, status::kUnreadable,
         compression, status::kUnreadable, compression},
        {"no private data", [](Clip& c) { c.renameTag(50740, 60000); }, status::kNoDanraw, noDanraw,
         status::kNoDanraw, noDanraw},
        {"negative private data", tag(50740, 0x80000000), status::kNoDanraw, noDanraw, status::kNoDanraw,
         noDanraw},
        {"later private data wins", [](Clip& c) { appendEntry(c, 50740, 0); }, status::kNoDanraw, noDanraw,
         status::kNoDanraw, noDanraw},
        {"private data past the end", tag(50740, 0x7FFFFFFF), status::kUnreadable, "Error: read DANRAW\n", 0,
         ""},
        {"stored table refused",
         [](Clip& c) { c.setTrailer(krwfile::trailer::kFrameCount, std::uint32_t{0}); }, status::kNoFile, "",
         status::kNoFile, ""},
        {"stored table of one frame",
         [](Clip& c) { c.setTrailer(krwfile::trailer::kFrameCount, std::uint32_t{1}); }, 0, "",
         status::kNoFile, ""},
        {"stored table of two frames",
         [](Clip& c) { c.setTrailer(krwfile::trailer::kFrameCount, std::uint32_t{2}); }, 0, "", 0, ""},
        {"no trailer", [](Clip& c) { c.setTrailer(krwfile::trailer::kMagicOffset, std::uint32_t{0}); }, 0, "",
         0, ""},
        {"signature", [](Clip& c) { c.setDanraw(0, danraw::kSignatureOffset, std::uint32_t{0}); },
         status::kBadRecord, "Error: signature.\n", 0, ""},
        {"width 0", size(0, 8), status::kBadRecord, dimensions, 0, ""},
        {"negative height", size(16, 0xFFFFFFF8), status::kBadRecord, dimensions, 0, ""},
        {"odd width", size(15, 8), status::kBadRecord, dimensions, 0, ""},
        {"odd height", size(16, 7), status::kBadRecord, dimensions, 0, ""},
        {"2^32 bytes", size(65536, 32768), status::kBadRecord, dimensions, 0, ""},
        {"just below 2^32 bytes", size(65534, 32768), 0, "", 0, ""},
    };
}

TEST(OpenAndProbe, VerdictOnEachSpoiltClip) {
    const TestClip good = makeClip(3);
    for (const Verdict& row : verdicts()) {
        SCOPED_TRACE(row.name);
        TestClip clip = good;
        row.spoil(clip);
        HostFaults faults;
        {
            const LogCapture log;
            OpenClip open(clip);
            EXPECT_EQ(open.result, row.open);
            if (row.open != 0) {
                EXPECT_EQ(log.lines(), logged(kErrorStatus, kError, row.openMessage));
            }
        }
        {
            const TempDir directory;
            const std::string path = directory.write("clip.krw", clip.bytes);
            const LogCapture log;
            EXPECT_EQ(mfPlugInCheckFile(path.c_str(), 0), row.probe);
            const std::uint32_t level = row.probeLevel == kWarning ? kWarningStatus : kErrorStatus;
            EXPECT_EQ(log.lines(), logged(level, row.probeLevel, row.probeMessage));
        }
        EXPECT_EQ(faults.liveBlocks(), 0);
        EXPECT_EQ(faults.openHandles(), 0);
    }
}

TEST(OpenAndProbe, FailingHostIsAnsweredAndLeavesNothing) {
    struct Row {
        const char* name;
        std::function<void(HostFaults&)> arm;
        std::uint32_t open;
        std::string message;
    };
    const auto memory = [](std::uint64_t n) {
        return [n](HostFaults& f) { f.fail(HostCall::allocation, n); };
    };
    const Row rows[] = {
        {"no file", [](HostFaults& f) { f.fail(HostCall::open, 1); }, status::kNoFile, ""},
        {"header read", [](HostFaults& f) { f.fail(HostCall::read, 1); }, status::kBadHeader,
         "Error: read DNG header\n"},
        {"header short", [](HostFaults& f) { f.shortenRead(1, 1951); }, status::kBadHeader,
         "Error: read DNG header size\n"},
        {"table", [](HostFaults& f) { f.fail(HostCall::read, 2); }, status::kNoFile, ""},
        {"record seek", [](HostFaults& f) { f.fail(HostCall::seek, 3); }, status::kUnreadable,
         "Error: read DANRAW\n"},
        {"record read", [](HostFaults& f) { f.fail(HostCall::read, 4); }, status::kUnreadable,
         "Error: read DANRAW\n"},
        {"record short", [](HostFaults& f) { f.shortenRead(4, 1493); }, status::kUnreadable,
         "Error: read DANRAW\n"},
        {"raw parameters", memory(1), status::kOutOfMemory, ""},
        {"first text", memory(2), status::kOutOfMemory, ""},
        {"camera index", memory(9), status::kOutOfMemory, ""},
        {"note", memory(15), status::kOutOfMemory, ""},
        {"last text", memory(17), status::kOutOfMemory, ""},
    };
    const TestClip clip = makeClip(2);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const TempDir directory;
        const std::string path = directory.write("clip.krw", clip.bytes);
        HostFaults faults;
        {
            const LogCapture log;
            CMFKrw reader(0);
            row.arm(faults);
            EXPECT_EQ(openForReading(reader, path), row.open);
            EXPECT_EQ(log.lines(), logged(kErrorStatus, kError, row.message));
            EXPECT_EQ(reader.Close(), 0U);
            EXPECT_EQ(faults.openHandles(), 0);
        }
        EXPECT_EQ(faults.liveBlocks(), 0);
    }

    // The one allocation left is the stream record's, after the side-car search.
    const TempDir directory;
    const std::string path = directory.write("clip.krw", clip.bytes);
    const LogCapture log;
    HostFaults faults;
    CMFKrw reader(0);
    faults.fail(HostCall::allocation, 18);
    EXPECT_EQ(openForReading(reader, path), status::kOutOfMemory);
    EXPECT_THAT(log.texts(), ElementsAre("Open(0xE8022007)"));
}

} // namespace
