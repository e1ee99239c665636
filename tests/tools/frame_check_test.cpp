// Whole frames and damaged ones: the state and the reason that reading a frame gives.

#include "tests/support/clip_builder.h"
#include "tests/support/temp_dir.h"
#include "tools/clip/clip.h"
#include "tools/clip/coded_size.h"
#include "tools/clip/plane_padding.h"
#include "tools/clip/plugin_messages.h"

#include <algorithm>
#include <fmt/format.h>
#include <functional>
#include <gmock/gmock.h>
#include <random>

namespace {

namespace plane = krwfile::plane;
using testing::HasSubstr;

struct ClipShape {
    std::size_t frames = 6;
    std::uint32_t padding = 1;
    unsigned shift = 0;
    std::uint16_t largest = 60; // sample
};

/// Pictures with enough samples for planes of some kilobytes, and small enough differences for 4096 bytes of
/// padding to fit.
TestClip makeShapedClip(const ClipShape& shape) {
    std::vector<Mosaic> mosaics;
    for (std::uint32_t seed = 1; seed <= shape.frames; ++seed)
        mosaics.push_back(randomMosaic(256, 192, seed, shape.largest));
    ClipDescription description;
    description.planePadding = shape.padding;
    description.shift = shape.shift;
    return makeClip(description, mosaics);
}

/// Reading every frame of a clip: empty for a whole frame, otherwise why it is not.
std::vector<std::string> readAll(const TestClip& bytes) {
    static const Plugin plugin(KRW_PLUGIN);
    collectPluginMessages();
    const TempDir directory;
    Clip clip(plugin, directory.write("clip.krw", bytes.bytes));
    Picture picture = clip.makePicture();
    std::vector<std::string> reasons;
    for (std::uint32_t frame = 0; frame < clip.frames(); ++frame) {
        const FrameReading reading = clip.read(frame, picture);
        reasons.push_back(reading.reason);
        EXPECT_EQ(reading.state == FrameReading::State::ok, reading.reason.empty());
    }
    return reasons;
}

class WholeClip : public testing::TestWithParam<ClipShape> {};

TEST_P(WholeClip, HasNoDamagedFrame) {
    TestClip clip = makeShapedClip(GetParam());
    EXPECT_THAT(readAll(clip), testing::Each(""));

    // The check ignores what the padding holds.
    for (std::size_t frame = 0; frame < GetParam().frames; ++frame)
        for (std::size_t k = 0; k < plane::kCount; ++k) {
            const auto data = clip.planeData(frame, k);
            const auto padding =
                std::find_if(data.rbegin(), data.rend(), [](auto byte) { return byte != 0; });
            if (GetParam().padding > 1) std::fill(data.rbegin(), padding, std::uint8_t{0xA7});
        }
    EXPECT_THAT(readAll(clip), testing::Each(""));
}

INSTANTIATE_TEST_SUITE_P(Shapes, WholeClip,
                         testing::Values(ClipShape{1, 1}, ClipShape{6, 1, 3}, ClipShape{6, 1, 4},
                                         ClipShape{1, 16}, ClipShape{2, 16}, ClipShape{1, 512},
                                         ClipShape{40, 512}, ClipShape{1, 4096}, ClipShape{2, 4096, 8},
                                         ClipShape{40, 4096}, ClipShape{3, 1000}, ClipShape{20, 1536}),
                         [](const auto& test) {
                             return fmt::format("{}FramesPaddedTo{}Shift{}", test.param.frames,
                                                test.param.padding, test.param.shift);
                         });

struct Damage {
    const char* name;
    ClipShape shape;
    std::function<void(TestClip&)> spoil; // frame 1
    std::vector<const char*> words;
};

void spoilBytes(TestClip& clip, std::size_t index, const std::function<std::uint8_t()>& byte) {
    const auto data = clip.planeData(1, index);
    std::ranges::generate(data.subspan(1000, 4000), byte);
}

void scaleSize(TestClip& clip, std::size_t index, std::uint32_t numerator, std::uint32_t denominator) {
    const auto size = static_cast<std::uint32_t>(clip.planeData(1, index).size());
    clip.setPlane(1, index, plane::kDataSize, size * numerator / denominator);
}

class DamagedFrame : public testing::TestWithParam<Damage> {};

TEST_P(DamagedFrame, IsNamedWithPlaneRowAndByte) {
    const Damage& damage = GetParam();
    TestClip clip = makeShapedClip(damage.shape);
    damage.spoil(clip);
    std::vector<std::string> reasons = readAll(clip);
    for (const char* words : damage.words)
        EXPECT_THAT(reasons[1], HasSubstr(words));
    reasons.erase(reasons.begin() + 1);
    EXPECT_THAT(reasons, testing::Each(""));
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, DamagedFrame,
    testing::Values(Damage{"Zeros",
                           {},
                           [](TestClip& clip) { spoilBytes(clip, 0, [] { return std::uint8_t{0}; }); },
                           {"plane 0 ends too early", "row, 190,", "file offset", "0 bytes at most"}},
                    Damage{"Ones",
                           {},
                           [](TestClip& clip) { spoilBytes(clip, 1, [] { return std::uint8_t{255}; }); },
                           {"plane 1 ends too early"}},
                    Damage{"Noise",
                           {6, 16, 4},
                           [](TestClip& clip) {
                               std::minstd_rand random(3);
                               spoilBytes(clip, 2, [&] { return static_cast<std::uint8_t>(random() >> 9U); });
                           },
                           {"plane 2 "}},
                    Damage{"SizeHalved",
                           {},
                           [](TestClip& clip) { scaleSize(clip, 3, 1, 2); },
                           {"plane 3 is cut short", "file offset", "in row 9"}},
                    Damage{"SizeHalvedWithPadding",
                           {2, 4096},
                           [](TestClip& clip) { scaleSize(clip, 3, 1, 2); },
                           {"plane 3 is cut short"}},
                    Damage{"SizeHalvedOfAnEvenPicture",
                           {6, 1, 0, 0},
                           [](TestClip& clip) { scaleSize(clip, 3, 1, 2); },
                           {"plane 3 is cut short"}},
                    Damage{"NoCodes",
                           {},
                           [](TestClip& clip) { clip.setCodeTable(1, 2, {}); },
                           {"plane 2 breaks off in row 1: no code at byte 0 of"}},
                    Damage{"TwoPlanes",
                           {},
                           [](TestClip& clip) {
                               scaleSize(clip, 0, 1, 4);
                               clip.setCodeTable(1, 2, {});
                           },
                           {"plane 0 is cut short", "; plane 2 breaks off"}}),
    [](const auto& test) { return std::string(test.param.name); });

// Decoding them would take as long as the picture that they state, however few bytes they have.
TEST(Padding, IsNotLearnedFromFramesThatCannotHoldTheirSamples) {
    TestClip clip = makeShapedClip({6, 16});
    std::ranges::fill(clip.planeData(0, 0).subspan(1000, 4000), std::uint8_t{0});
    for (std::size_t frame = 2; frame < 6; ++frame) {
        for (std::size_t k = 0; k < 3; ++k) {
            const auto size = static_cast<std::uint32_t>(clip.planeData(frame, k).size());
            clip.setPlane(frame, k, plane::kDataSize, size + 4000);
        }
        clip.setPlane(frame, 3, plane::kDataSize, 16U);
    }
    EXPECT_THAT(readAll(clip)[0], HasSubstr("plane 0 ends too early"));
}

struct PaddingCase {
    const char* name;
    std::vector<PlanePadding> planes;
    std::uint32_t atLeast; // the padding that must pass; not much more may
    std::uint32_t atMost;
};

TEST(ClipPadding, IsLearnedFromFewPlanes) {
    const PaddingCase cases[] = {
        {"no planes", {}, 0, 0},
        {"none", {{4711, 0}, {4802, 0}, {4963, 0}, {4500, 0}}, 0, 7},
        {"to 4096", {{8192, 4000}, {12288, 17}, {20480, 800}, {8192, 2100}}, 4095, 8000},
        {"to 4096, one size wrong", {{8192, 4000}, {12288, 17}, {20480, 800}, {4100, 90}}, 4095, 8000},
        {"all of one size",
         {{81 * 4096, 90}, {81 * 4096, 700}, {81 * 4096, 3000}, {81 * 4096, 39000}},
         4095,
         8000},
        {"alike without padding", {{60000, 0}, {60000, 0}, {60000, 0}, {60000, 0}}, 0, 300},
        {"eight bytes more", {{4719, 8}, {4810, 8}, {4971, 8}, {4508, 8}}, 8, 16},
        {"no rule", {{4719, 70}, {4810, 31}, {4971, 98}, {4508, 40}}, 98, 200},
        {"one damaged", {{4719, 0}, {4810, 0}, {4971, 0}, {4508, 800}}, 0, 7},
    };
    for (const PaddingCase& test : cases) {
        SCOPED_TRACE(test.name);
        const ClipPadding padding{std::span(test.planes)};
        EXPECT_TRUE(padding.isUsual(test.atLeast)) << padding.mostUsual();
        EXPECT_LE(padding.mostUsual(), test.atMost);
    }
}

TEST(CodedSize, IsWhatTheDecoderCounts) {
    struct Row {
        std::uint32_t width, height;
        std::uint16_t largest;
        std::int32_t shift;
    };
    // Rows shorter than a vector, with a rest, and longer than a stretch; steep edges and small differences.
    for (const Row& row : {Row{2, 2, 4095, 0}, Row{18, 4, 4095, 0}, Row{50, 6, 3000, 3}, Row{4100, 4, 200, 0},
                           Row{4006, 6, 4095, 4}, Row{130, 20, 7, 13}}) {
        SCOPED_TRACE(
            fmt::format("{} x {} up to {}, shift {}", row.width, row.height, row.largest, row.shift));
        const CodedPicture coded = encodePicture(randomMosaic(row.width, row.height, 5, row.largest));
        std::array<std::vector<std::uint8_t>, plane::kCount> bytes;
        std::array<kinedec::PlaneStream, plane::kCount> streams;
        FrameCoding coding;
        for (std::size_t k = 0; k < plane::kCount; ++k) {
            bytes[k] = coded.planes[k].data;
            bytes[k].resize(bytes[k].size() + kinedec::kPlanePadding);
            coding.tables[k] = coded.planes[k].table;
            coding.shifts[k] = row.shift;
            streams[k] = {coding.tables[k], std::span(bytes[k]).first(coded.planes[k].data.size()),
                          row.shift};
        }
        std::vector<std::uint16_t> samples(std::size_t{row.width} * row.height);
        const auto decoded = decodePicture(streams, row.width, row.height, samples.data());
        ASSERT_TRUE(decoded);
        EXPECT_EQ(countCodedBits({row.width, row.height, samples}, coding), decoded);
        coding.shifts[3] = 1 - std::min(row.shift, 1);
        EXPECT_FALSE(countCodedBits({row.width, row.height, samples}, coding));
    }
}

} // namespace
