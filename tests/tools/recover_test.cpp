// Frames that come back from broken sources: each frame whose bytes are all there, bit for bit, and no other.

#include "tests/support/clip_builder.h"
#include "tests/support/temp_dir.h"
#include "tools/clip/clip.h"
#include "tools/clip/plugin_messages.h"
#include "tools/recover/clip_rebuilder.h"
#include "tools/recover/findings.h"
#include "tools/recover/signature_search.h"

#include <algorithm>
#include <functional>
#include <gmock/gmock.h>
#include <numeric>
#include <random>
#include <set>

namespace {

namespace danraw = krwfile::danraw;
namespace plane = krwfile::plane;
namespace trailer = krwfile::trailer;
using Bytes = std::vector<std::uint8_t>;
using Frames = std::vector<int>; // numbers of frames of the original

constexpr std::size_t kFrames = 12;

/// All frames but these.
Frames allBut(const std::set<int>& lost) {
    Frames frames;
    for (int frame = 0; frame < static_cast<int>(kFrames); ++frame)
        if (!lost.contains(frame)) frames.push_back(frame);
    return frames;
}

Bytes noise(std::size_t size, std::uint32_t seed) {
    std::minstd_rand random(seed);
    Bytes bytes(size);
    std::ranges::generate(bytes, [&random] { return static_cast<std::uint8_t>(random() >> 9U); });
    return bytes;
}

Bytes operator+(Bytes first, const Bytes& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

class Recover : public testing::Test {
  protected:
    Findings find(const std::vector<Bytes>& parts) {
        std::vector<std::string> paths;
        for (const Bytes& part : parts)
            paths.push_back(m_dir.write("part" + std::to_string(paths.size()), part));
        m_source.emplace(paths);
        return findClips(*m_source, 2, [](std::uint64_t) {});
    }

    /// Writes a clip as a new file, opens that file, and returns the numbers of the mosaics that its frames
    /// have.
    Frames rebuild(const Findings& findings, const ClipFindings& found, const std::vector<Mosaic>& mosaics,
                   bool keepDamaged = false) {
        static const Plugin plugin(KRW_PLUGIN);
        collectPluginMessages();
        const std::string path = m_dir.path("out.krw");
        const auto records = recordsToWrite(*m_source, findings, found, keepDamaged);
        rebuildClip(*m_source, findings, found, records, path, {Existing::replace}, [](std::uint64_t) {});
        Clip clip(plugin, path);
        EXPECT_EQ(clip.frames(), records.size());
        Picture picture = clip.makePicture();
        Frames frames;
        for (std::uint32_t frame = 0; frame < clip.frames(); ++frame) {
            const FrameReading reading = clip.read(frame, picture);
            EXPECT_TRUE(keepDamaged || reading.state == FrameReading::State::ok) << reading.reason;
            const auto original = std::ranges::find_if(mosaics, [&picture](const Mosaic& mosaic) {
                return std::ranges::equal(mosaic.samples, picture.samples());
            });
            frames.push_back(original == mosaics.end() ? -1 : static_cast<int>(original - mosaics.begin()));
        }
        return frames;
    }

    TempDir m_dir;
    std::optional<Source> m_source;
};

struct Damage {
    const char* name;
    std::function<void(TestClip&)> spoil;
    Frames frames; // that come back
    bool isComplete = false;
    bool needsTrailer = false;
    std::uint32_t padding = 1;
    friend void PrintTo(const Damage& damage, std::ostream* out) { *out << damage.name; }
};

std::span<std::uint8_t> recordOf(TestClip& clip, std::size_t frame) {
    const std::uint64_t begin = clip.recordStarts[frame];
    const std::uint64_t length = ByteView(clip.bytes).u32(clip.danrawAt(frame) + danraw::kRecordLength);
    return std::span(clip.bytes).subspan(begin, length);
}

void zero(std::span<std::uint8_t> bytes) {
    std::ranges::fill(bytes, std::uint8_t{0});
}

void zeroFileHeaders(TestClip& clip, std::size_t first) {
    for (std::size_t frame = first; frame < kFrames; ++frame)
        zero(recordOf(clip, frame).first(krwfile::kHeaderSize));
}

void erase(TestClip& clip, std::uint64_t begin, std::uint64_t end) {
    clip.bytes.erase(clip.bytes.begin() + static_cast<std::ptrdiff_t>(begin),
                     clip.bytes.begin() + static_cast<std::ptrdiff_t>(end));
}

void fillPlane(TestClip& clip, const Bytes& bytes) {
    std::ranges::copy(bytes, clip.planeData(5, 2).subspan(200).begin());
}

void halvePlaneSize(TestClip& clip) {
    const auto half = static_cast<std::uint32_t>(clip.planeData(5, 1).size() / 2);
    clip.setPlane(5, 1, plane::kDataSize, half);
}

const Damage kDamages[] = {
    {"Nothing", [](TestClip&) {}, allBut({}), true},
    {"NothingPadded", [](TestClip&) {}, allBut({}), true, false, 256},
    {"ZerosInPlane", [](TestClip& clip) { fillPlane(clip, Bytes(300)); }, allBut({5})},
    {"OnesInPlane", [](TestClip& clip) { fillPlane(clip, Bytes(300, 255)); }, allBut({5})},
    {"NoiseInPlane", [](TestClip& clip) { fillPlane(clip, noise(300, 4)); }, allBut({5})},
    {"PlaneSizeHalved", halvePlaneSize, allBut({5})},
    {"PaddedPlaneSizeHalved", halvePlaneSize, allBut({5}), false, false, 64},
    {"PlaneBehindTheFile", [](TestClip& clip) { clip.setPlane(5, 1, plane::kDataOffset, 0x7FFFFFFFU); },
     allBut({5})},
    {"RecordZeroed", [](TestClip& clip) { zero(recordOf(clip, 5)); }, allBut({5})},
    {"RecordsZeroed",
     [](TestClip& clip) {
         for (const std::size_t frame : {2U, 3U, 4U, 9U})
             zero(recordOf(clip, frame));
     },
     allBut({2, 3, 4, 9})},
    {"SignatureZeroed", [](TestClip& clip) { clip.setDanraw<std::uint32_t>(5, danraw::kSignatureOffset, 0); },
     allBut({5})},
    {"HeaderZeroedFromItsTextsOn",
     [](TestClip& clip) {
         const std::uint64_t texts = clip.danrawAt(5) - clip.recordStarts[5] + danraw::kModelName.offset;
         zero(recordOf(clip, 5).subspan(texts));
     },
     allBut({5})},
    {"FirstRecordZeroed", [](TestClip& clip) { zero(recordOf(clip, 0)); }, allBut({0})},
    {"LastRecordZeroed", [](TestClip& clip) { zero(recordOf(clip, kFrames - 1)); }, allBut({kFrames - 1})},
    {"AllButOneZeroed",
     [](TestClip& clip) {
         zero(std::span(clip.bytes).first(clip.recordStarts[7]));
         zero(std::span(clip.bytes).subspan(clip.recordStarts[8]));
     },
     {7}},
    {"FileHeaderZeroed", [](TestClip& clip) { zero(std::span(clip.bytes).first(krwfile::kHeaderSize)); },
     allBut({}), true},
    {"AllFileHeadersZeroed", [](TestClip& clip) { zeroFileHeaders(clip, 0); }, allBut({}), true},
    {"FirstRecordZeroedWithTheOnlyFileHeader",
     [](TestClip& clip) {
         zeroFileHeaders(clip, 1);
         zero(recordOf(clip, 0));
     },
     allBut({0})},
    {"RecordLengthsZeroed",
     [](TestClip& clip) {
         for (std::size_t frame = 0; frame < kFrames; ++frame)
             clip.setDanraw<std::uint32_t>(frame, danraw::kRecordLength, 0);
     },
     allBut({}), true},
    {"FirstPart", [](TestClip& clip) { clip.cut(clip.recordStarts[7] + 4000); }, allBut({7, 8, 9, 10, 11})},
    {"LastPart", [](TestClip& clip) { erase(clip, 0, clip.recordStarts[3] + 4000); }, allBut({0, 1, 2, 3})},
    {"LastPartWithoutTheStartOfItsRecord",
     [](TestClip& clip) { erase(clip, 0, clip.recordStarts[3] + 1999); }, allBut({0, 1, 2})},
    {"MiddleTornOut",
     [](TestClip& clip) { erase(clip, clip.recordStarts[4] + 4000, clip.recordStarts[6] + 4000); },
     allBut({4, 5, 6})},
    {"TrailerZeroed", [](TestClip& clip) { zero(std::span(clip.bytes).subspan(clip.trailerAt())); },
     allBut({}), true, true},
    {"TrailerCountTooLow", [](TestClip& clip) { clip.setTrailer<std::uint32_t>(trailer::kFrameCount, 3); },
     allBut({}), true, true},
    {"TrailerCountTooHigh", [](TestClip& clip) { clip.setTrailer<std::uint32_t>(trailer::kFrameCount, 40); },
     allBut({}), true, true},
    {"TrailerCountNegative",
     [](TestClip& clip) { clip.setTrailer<std::uint32_t>(trailer::kFrameCount, 0xFFFFFFFF); }, allBut({}),
     true, true},
    {"TableOffsetWrong",
     [](TestClip& clip) { clip.setTrailer<std::uint64_t>(trailer::kTableOffset, std::uint64_t{1} << 60); },
     allBut({}), true, true},
    {"LastRecordCutOut",
     [](TestClip& clip) {
         erase(clip, clip.recordStarts[11], clip.recordStarts[11] + recordOf(clip, 11).size());
     },
     allBut({11}), false, true},
};

class RecoverDamaged : public Recover, public testing::WithParamInterface<std::tuple<Damage, bool>> {};

TEST_P(RecoverDamaged, GivesEveryWholeFrameBack) {
    const auto& [damage, storedTable] = GetParam();
    ClipDescription description;
    description.storedTable = storedTable;
    description.planePadding = damage.padding;
    const std::vector<Mosaic> mosaics = randomMosaics(kFrames, 64, 32);
    TestClip clip = makeClip(description, mosaics);
    damage.spoil(clip);

    const Findings findings = find({clip.bytes});
    EXPECT_EQ(findings.isComplete(), damage.isComplete);
    ASSERT_EQ(findings.clips.size(), 1U);
    EXPECT_EQ(rebuild(findings, findings.clips[0], mosaics), damage.frames);

    // The same file as part of a disk image: it begins on a sector, with foreign data around it.
    const Findings inImage = find({noise(512 * 9, 1) + clip.bytes + noise(5000, 2)});
    ASSERT_EQ(inImage.clips.size(), 1U);
    EXPECT_EQ(rebuild(inImage, inImage.clips[0], mosaics), damage.frames);
}

/// Every damage in a clip with a trailer, and in one without where it does not need the trailer.
std::vector<std::tuple<Damage, bool>> damagesOfBothClips() {
    std::vector<std::tuple<Damage, bool>> cases;
    for (const Damage& damage : kDamages) {
        cases.emplace_back(damage, true);
        if (!damage.needsTrailer) cases.emplace_back(damage, false);
    }
    return cases;
}

INSTANTIATE_TEST_SUITE_P(Cases, RecoverDamaged, testing::ValuesIn(damagesOfBothClips()),
                         [](const auto& test) {
                             return std::string(std::get<0>(test.param).name) +
                                    (std::get<1>(test.param) ? "" : "WithoutTrailer");
                         });

/// Two takes that differ in one field; both start at the same timecode.
std::array<TestClip, 2> makeTakes(const std::vector<Mosaic>& mosaics, bool storedTable) {
    ClipDescription first;
    first.storedTable = storedTable;
    ClipDescription second = first;
    second.take = 2;
    return {makeClip(first, std::span(mosaics).first(6)), makeClip(second, std::span(mosaics).subspan(6))};
}

TEST_F(Recover, TellsClipsApart) {
    const std::vector<Mosaic> mosaics = randomMosaics(kFrames, 64, 32);
    for (const bool storedTable : {true, false}) {
        SCOPED_TRACE(storedTable);
        auto [first, second] = makeTakes(mosaics, storedTable);
        const auto expectBoth = [&](const std::vector<Bytes>& parts, bool complete) {
            const Findings findings = find(parts);
            ASSERT_EQ(findings.clips.size(), 2U);
            EXPECT_EQ(findings.isComplete(), complete);
            EXPECT_EQ(rebuild(findings, findings.clips[0], mosaics), (Frames{0, 1, 2, 3, 4, 5}));
            EXPECT_EQ(rebuild(findings, findings.clips[1], mosaics), (Frames{6, 7, 8, 9, 10, 11}));
        };
        expectBoth({first.bytes + second.bytes}, true);
        expectBoth({first.bytes, second.bytes}, true);

        // Pieces of two files by turns, as on a full card.
        Bytes inTurns(512, 1);
        for (std::size_t frame = 0; frame < 6; ++frame)
            for (TestClip* clip : {&first, &second}) {
                const auto record = recordOf(*clip, frame);
                inTurns.insert(inTurns.end(), record.begin(), record.end());
                inTurns.resize((inTurns.size() + 511) / 512 * 512);
            }
        expectBoth({inTurns}, true);

        // The same take twice: the timecode goes back.
        const Findings twice = find({first.bytes + first.bytes});
        EXPECT_EQ(twice.clips.size(), 2U);
        EXPECT_TRUE(twice.isComplete());
    }
}

TEST_F(Recover, JoinsFragments) {
    const std::vector<Mosaic> mosaics = randomMosaics(kFrames, 64, 32);
    const TestClip clip = makeClip(ClipDescription{}, mosaics);
    const auto at = [&clip](std::uint64_t offset) {
        return clip.bytes.begin() + static_cast<std::ptrdiff_t>(offset);
    };
    // Cut inside a record: its frame is whole again.
    const std::uint64_t cut = clip.recordStarts[4] + 3000;
    const Findings joined = find({Bytes(clip.bytes.begin(), at(cut)), Bytes(at(cut), clip.bytes.end())});
    ASSERT_EQ(joined.clips.size(), 1U);
    EXPECT_TRUE(joined.isComplete());
    EXPECT_EQ(rebuild(joined, joined.clips[0], mosaics), allBut({}));

    const Findings gap =
        find({Bytes(clip.bytes.begin(), at(cut)), Bytes(at(clip.recordStarts[8] - 9), clip.bytes.end())});
    ASSERT_EQ(gap.clips.size(), 1U);
    EXPECT_FALSE(gap.isComplete());
    EXPECT_EQ(rebuild(gap, gap.clips[0], mosaics), allBut({4, 5, 6, 7}));
}

TEST_F(Recover, KeepsDamagedFramesWhenAsked) {
    const std::vector<Mosaic> mosaics = randomMosaics(kFrames, 64, 32);
    TestClip clip = makeClip(ClipDescription{}, mosaics);
    zero(clip.planeData(5, 2));
    clip.cut(clip.recordStarts[10] + 6000);
    const Findings findings = find({clip.bytes});
    ASSERT_EQ(findings.clips.size(), 1U);
    EXPECT_EQ(rebuild(findings, findings.clips[0], mosaics, true),
              (Frames{0, 1, 2, 3, 4, -1, 6, 7, 8, 9, -1}));
    EXPECT_EQ(findings.clips[0].frames.damaged.size(), 2U);
}

TEST_F(Recover, FindsOneFrameAndNone) {
    const std::vector<Mosaic> mosaics = randomMosaics(1, 64, 32);
    const TestClip clip = makeClip(ClipDescription{}, mosaics);
    const Findings one = find({clip.bytes});
    ASSERT_EQ(one.clips.size(), 1U);
    EXPECT_EQ(rebuild(one, one.clips[0], mosaics), Frames{0});
    for (const Bytes& nothing :
         {Bytes{}, Bytes(3), noise(100'000, 7), Bytes(clip.bytes.begin(), clip.bytes.begin() + 3000)})
        EXPECT_FALSE(find({nothing}).isComplete());
}

// A source is searched in pieces of a megabyte. In front of the clip is what moves its records over their
// borders.
TEST_F(Recover, FindsHeadersThatLieAcrossTwoPieces) {
    constexpr std::size_t kMany = 700;
    const Bytes clip = makeClip(kMany, 8, 4).bytes;
    for (const std::size_t place : {1U, 500U, 1000U, 1500U, 2000U, 2500U, 3000U, 3500U, 4000U, 4500U, 5000U})
        EXPECT_EQ(find({Bytes(place, 0xF6) + clip}).records.size(), kMany) << place;
}

TEST_F(Recover, ReachesBeyondFourGibibytes) {
    ClipDescription description;
    description.storedTable = false;
    const std::vector<Mosaic> mosaics = randomMosaics(3, 64, 32);
    const TestClip clip = makeClip(description, mosaics);
    constexpr std::uint32_t kGap = 0x90000000U;
    const auto starts = writeSparseClip(m_dir.path("sparse"), clip, kGap, true);
    ASSERT_GT(starts.back(), std::uint64_t{1} << 32);
    m_source.emplace(std::vector<std::string>{m_dir.path("sparse")});
    const Findings findings = findClips(*m_source, 2, [](std::uint64_t) {});
    ASSERT_EQ(findings.clips.size(), 1U);
    EXPECT_TRUE(findings.isComplete());
    EXPECT_EQ(rebuild(findings, findings.clips[0], mosaics), (Frames{0, 1, 2}));
}

TEST(SignatureSearch, FindsBothKindsAtEveryPlace) {
    for (const char* word : {"DCMH", "KRWT"})
        for (std::size_t size : {4U, 131U, 132U, 400U})
            for (std::size_t at = 0; at + kSignatureSize <= size; ++at) {
                Bytes bytes(size, static_cast<std::uint8_t>(word[0])); // half of what the search compares
                std::copy_n(word, kSignatureSize, bytes.begin() + static_cast<std::ptrdiff_t>(at));
                ASSERT_EQ(findSignature(bytes, 0), at) << word << " in " << size;
                ASSERT_EQ(findSignature(bytes, at + 1), size);
            }
}

} // namespace
