// The frames that lists and parts of a command line select.

#include "tools/cli/frame_selection.h"
#include "tools/cli/usage_error.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <optional>
#include <vector>

namespace {

struct SelectionCase {
    const char* name;
    FrameSelection selection;
    std::uint32_t frames;                        // of the clip
    std::optional<std::vector<FrameRun>> wanted; // nothing: refused
};

/// Frame 0 has the timecode 00:59:59:20 at 25 frames per second.
FrameNames namesOf(std::uint32_t frames) {
    return {"clip", frames, 59 * 60 * 25 + 59 * 25 + 20, {25, false}};
}

class Selection : public testing::TestWithParam<SelectionCase> {};

TEST_P(Selection, NamesFramesOrIsRefused) {
    const auto& [name, selection, frames, wanted] = GetParam();
    if (wanted)
        EXPECT_EQ(selectedFrames(selection, namesOf(frames)).runs(), *wanted);
    else
        EXPECT_THROW((void)selectedFrames(selection, namesOf(frames)), UsageError);
}

using Runs = std::vector<FrameRun>;

INSTANTIATE_TEST_SUITE_P(
    Cases, Selection,
    testing::Values(
        SelectionCase{"All", {"", ""}, 10, Runs{{0, 10}}}, SelectionCase{"One", {"9", ""}, 10, Runs{{9, 1}}},
        SelectionCase{"BothEndsIncluded", {"2-4", ""}, 10, Runs{{2, 3}}},
        SelectionCase{"ToTheEnd", {"7-", ""}, 10, Runs{{7, 3}}},
        SelectionCase{"List", {"5-9,1,3", ""}, 10, Runs{{1, 1}, {3, 1}, {5, 5}}},
        SelectionCase{"Steps", {"0-:10,35-37", ""}, 40, Runs{{0, 4, 10}, {35, 3}}},
        SelectionCase{"EachFrameOnce", {"0-6:2,0-6:3,4", ""}, 10, Runs{{0, 2, 2}, {3, 2}, {6, 1}}},
        SelectionCase{
            "Timecodes", {"00:59:59:24-01:00:00:01:2,01:00:00:03", ""}, 10, Runs{{4, 2, 2}, {8, 1}}},
        SelectionCase{"TimecodeBeforeTheClip", {"00:59:59:19", ""}, 10, {}},
        SelectionCase{"TimecodeBehindTheClip", {"01:00:00:05", ""}, 10, {}},
        SelectionCase{"NoTimecode", {"00:59:59:25", ""}, 10, {}},
        SelectionCase{"BeyondTheEnd", {"7-10", ""}, 10, {}},
        SelectionCase{"OpenBeyondTheEnd", {"10-", ""}, 10, {}},
        SelectionCase{"Backwards", {"4-2", ""}, 10, {}}, SelectionCase{"Negative", {"-3", ""}, 10, {}},
        SelectionCase{"TrailingWord", {"3x", ""}, 10, {}}, SelectionCase{"TrailingComma", {"3,", ""}, 10, {}},
        SelectionCase{"StepOfNothing", {"0-:0", ""}, 10, {}},
        SelectionCase{"StepOfOneFrame", {"3:2", ""}, 10, {}},
        SelectionCase{"NumberOf33Bits", {"4294967296", ""}, 10, {}},
        SelectionCase{"NoFrames", {"", ""}, 0, {}}, SelectionCase{"FirstPart", {"", "1/3"}, 10, Runs{{0, 3}}},
        SelectionCase{"LastPart", {"", "3/3"}, 10, Runs{{6, 4}}},
        SelectionCase{"PartOfAList", {"1,4-5,7-9:2", "2/2"}, 10, Runs{{5, 1}, {7, 2, 2}}},
        SelectionCase{"EmptyPart", {"4-5", "1/3"}, 10, Runs{}},
        SelectionCase{"LargeClip", {"", "4000000000/4000000000"}, 4000000000, Runs{{3999999999, 1}}},
        SelectionCase{"PartZero", {"", "0/3"}, 10, {}}, SelectionCase{"PartBeyond", {"", "4/3"}, 10, {}},
        SelectionCase{"NoParts", {"", "1"}, 10, {}}),
    [](const auto& row) { return row.param.name; });

TEST(Selection, FindsTimecodesAfterMidnightAndRefusesSkippedNumbers) {
    const FrameNames overMidnight{"clip", 60, 24 * 3600 * 25 - 25, {25, false}};
    EXPECT_EQ(selectedFrames({"00:00:00:02", ""}, overMidnight).runs(), (Runs{{27, 1}}));
    const FrameNames dropFrame{"clip", 1798 * 9, 0, {30, true}};
    EXPECT_EQ(selectedFrames({"00:01:00;02-00:01:00;03", ""}, dropFrame).runs(), (Runs{{1800, 2}}));
    EXPECT_THROW((void)selectedFrames({"00:01:00;01", ""}, dropFrame), UsageError);
}

TEST(FrameSet, IsTheSameByRunsByIndexAndByFrame) {
    const FrameSet set({{2, 4, 3}, {4, 5, 2}, {30, 1}, {5, 1}});
    const std::vector<std::uint32_t> expected{2, 4, 5, 6, 8, 10, 11, 12, 30};
    EXPECT_EQ(std::vector(set.begin(), set.end()), expected);
    ASSERT_EQ(set.size(), expected.size());
    for (std::uint32_t index = 0; index < set.size(); ++index)
        EXPECT_EQ(set.at(index), expected[index]);
    for (std::uint32_t frame = 0; frame < 40; ++frame)
        EXPECT_EQ(set.contains(frame), std::ranges::count(expected, frame) == 1) << frame;
    const FrameSet part = set.part(3, 4);
    EXPECT_EQ(std::vector(part.begin(), part.end()), std::vector<std::uint32_t>({6, 8, 10, 11}));
}

} // namespace
