// The reasons for failures. Each row makes a reader fail, and compares the reason made of the real status and
// log.

#include "krw/byte_view.h"
#include "plugin/status.h"
#include "tests/support/host_faults.h"
#include "tests/support/open_clip.h"
#include "tools/clip/failure_reasons.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

namespace danraw = krwfile::danraw;
namespace plane = krwfile::plane;
namespace trailer = krwfile::trailer;
using testing::HasSubstr;

struct FailureCase {
    const char* name;
    void (*spoil)(TestClip& clip); // of three frames with a stored table
    void (*arm)(HostFaults& faults);
    std::size_t bufferSamples; // for reading frame 1
    const char* words;
};

constexpr std::size_t kSamples = std::size_t{16} * 8;

void spoilNothing(TestClip& /*clip*/) {}
void armNothing(HostFaults& /*faults*/) {}

void setTableEntry(TestClip& clip, std::size_t frame, std::uint64_t place) {
    const ByteView bytes{clip.bytes};
    clip.set<std::uint64_t>(bytes.u64(clip.trailerAt() + trailer::kTableOffset) + frame * trailer::kEntrySize,
                            place);
}

class OpenFailure : public testing::TestWithParam<FailureCase> {};
class ReadFailure : public testing::TestWithParam<FailureCase> {};

TEST_P(OpenFailure, IsPutIntoWords) {
    TestClip clip = makeClip(3);
    GetParam().spoil(clip);
    const TempDir directory;
    const std::string path = directory.write("clip.krw", clip.bytes);
    CMFKrw reader(0);
    const LogCapture log;
    HostFaults faults;
    GetParam().arm(faults);
    const std::uint32_t status = openForReading(reader, path);
    faults.disarm();
    ASSERT_NE(status, status::kOk);
    EXPECT_THAT(explainOpenFailure(status, log.texts()), HasSubstr(GetParam().words));
}

INSTANTIATE_TEST_SUITE_P(
    Cases, OpenFailure,
    testing::Values(
        FailureCase{"NoTable",
                    [](TestClip& clip) { clip.setTrailer<std::uint32_t>(trailer::kFrameCount, 0); },
                    armNothing, 0, "no frame table"},
        FailureCase{"Short", [](TestClip& clip) { clip.cut(1951); }, armNothing, 0, "too short for"},
        FailureCase{"Unreadable", spoilNothing, [](HostFaults& faults) { faults.fail(HostCall::read, 1); }, 0,
                    "file header cannot be read"},
        FailureCase{"OtherByteOrder", [](TestClip& clip) { clip.set<std::uint16_t>(0, 0x4D4D); }, armNothing,
                    0, "is no KRW file header"},
        FailureCase{"NoHeaderPlace", [](TestClip& clip) { clip.renameTag(krwfile::kTagDngPrivateData, 0); },
                    armNothing, 0, "names no frame header"},
        FailureCase{"Compression", [](TestClip& clip) { clip.setTag(krwfile::kTagCompression, 7); },
                    armNothing, 0, "a compression that KRW clips do not have"},
        FailureCase{"HeaderBeyondTheFile",
                    [](TestClip& clip) { clip.setTag(krwfile::kTagDngPrivateData, 0x7FFFFFFF); }, armNothing,
                    0, "first frame header cannot be read"},
        FailureCase{"Signature",
                    [](TestClip& clip) { clip.setDanraw<std::uint32_t>(0, danraw::kSignatureOffset, 0); },
                    armNothing, 0, "carries no signature"},
        FailureCase{"OddWidth", [](TestClip& clip) { clip.setDanraw<std::uint32_t>(0, danraw::kWidth, 17); },
                    armNothing, 0, "zero, odd or too large"},
        FailureCase{"NoMemory", spoilNothing,
                    [](HostFaults& faults) { faults.fail(HostCall::allocation, 1); }, 0, "out of memory"}),
    [](const auto& row) { return row.param.name; });

TEST_P(ReadFailure, IsPutIntoWords) {
    TestClip clip = makeClip(3);
    GetParam().spoil(clip);
    OpenClip open(clip);
    ASSERT_EQ(open.result, status::kOk);
    FrameRequest request(GetParam().bufferSamples);
    const LogCapture log;
    HostFaults faults;
    GetParam().arm(faults);
    const std::uint32_t status = request.read(open.reader, 1);
    faults.disarm();
    ASSERT_NE(status, status::kOk);
    EXPECT_THAT(explainReadFailure(status, log.texts()), HasSubstr(GetParam().words));
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ReadFailure,
    testing::Values(
        FailureCase{"BeyondAnyFile", [](TestClip& clip) { setTableEntry(clip, 1, ~std::uint64_t{0}); },
                    armNothing, kSamples, "beyond any file"},
        FailureCase{"NoSeek", spoilNothing, [](HostFaults& faults) { faults.fail(HostCall::seek, 1); },
                    kSamples, "record cannot be reached"},
        FailureCase{"BeyondTheFile", [](TestClip& clip) { setTableEntry(clip, 1, std::uint64_t{1} << 40); },
                    armNothing, kSamples, "past the end of the file"},
        FailureCase{"Signature",
                    [](TestClip& clip) { clip.setDanraw<std::uint32_t>(1, danraw::kSignatureOffset, 0); },
                    armNothing, kSamples, "its record carries no frame header"},
        FailureCase{"OtherSize",
                    [](TestClip& clip) { clip.setDanraw<std::uint32_t>(1, danraw::kHeight, 10); }, armNothing,
                    kSamples, "is not the clip's"},
        FailureCase{"PlaneTooLarge",
                    [](TestClip& clip) { clip.setPlane<std::uint32_t>(1, 2, plane::kDataSize, kSamples); },
                    armNothing, kSamples, "size or place is impossible"},
        FailureCase{"PlaneOutOfReach", spoilNothing,
                    [](HostFaults& faults) { faults.fail(HostCall::seek, 2); }, kSamples,
                    "colour plane cannot be reached"},
        FailureCase{
            "PlaneCutShort",
            [](TestClip& clip) { clip.setPlane<std::uint32_t>(1, 3, plane::kDataOffset, 0x7FFFFFFF); },
            armNothing, kSamples, "cannot be read to its end"},
        FailureCase{"NoMemory", spoilNothing, [](HostFaults& faults) { faults.fail(HostCall::heap, 1); },
                    kSamples, "out of memory"},
        FailureCase{"SmallBuffer", spoilNothing, armNothing, kSamples - 1, "does not fit the clip's"}),
    [](const auto& row) { return row.param.name; });

TEST(ReadFailureBeyondTheClip, IsPutIntoWords) {
    OpenClip open(makeClip(3));
    FrameRequest request(kSamples);
    const LogCapture log;
    EXPECT_EQ(explainReadFailure(request.read(open.reader, 3), log.texts()), "the clip has no such frame");
}

} // namespace
