// Which frames the words of a command line select.

#include "tools/cli/frame_selection.h"
#include "tools/cli/usage_error.h"

#include <gtest/gtest.h>
#include <optional>

namespace {

struct SelectionCase {
    const char* name;
    FrameSelection selection;
    std::uint32_t frames; // of the clip
    std::optional<FrameRange> selected;
};

class Selection : public testing::TestWithParam<SelectionCase> {};

TEST_P(Selection, NamesFramesOrIsRefused) {
    const auto& [name, selection, frames, selected] = GetParam();
    if (!selected) {
        EXPECT_THROW((void)selectedFrames(selection, frames, "clip"), UsageError);
        return;
    }
    const FrameRange range = selectedFrames(selection, frames, "clip");
    EXPECT_EQ(range.first, selected->first);
    EXPECT_EQ(range.count, selected->count);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, Selection,
    testing::Values(
        SelectionCase{"All", {"", ""}, 10, FrameRange{0, 10}},
        SelectionCase{"One", {"9", ""}, 10, FrameRange{9, 1}},
        SelectionCase{"BothEndsIncluded", {"2-4", ""}, 10, FrameRange{2, 3}},
        SelectionCase{"ToTheEnd", {"7-", ""}, 10, FrameRange{7, 3}},
        SelectionCase{"BeyondTheEnd", {"7-10", ""}, 10, {}},
        SelectionCase{"OpenBeyondTheEnd", {"10-", ""}, 10, {}},
        SelectionCase{"Backwards", {"4-2", ""}, 10, {}}, SelectionCase{"Negative", {"-3", ""}, 10, {}},
        SelectionCase{"TrailingWord", {"3x", ""}, 10, {}},
        SelectionCase{"ThirtyThreeBits", {"4294967296", ""}, 10, {}},
        SelectionCase{"NoFrames", {"", ""}, 0, {}},
        SelectionCase{"FirstPart", {"", "1/3"}, 10, FrameRange{0, 3}},
        SelectionCase{"LastPart", {"", "3/3"}, 10, FrameRange{6, 4}},
        SelectionCase{"PartOfARange", {"4-5", "2/2"}, 10, FrameRange{5, 1}},
        SelectionCase{"EmptyPart", {"4-5", "1/3"}, 10, FrameRange{4, 0}},
        SelectionCase{"LargeClip", {"", "4000000000/4000000000"}, 4000000000, FrameRange{3999999999, 1}},
        SelectionCase{"PartZero", {"", "0/3"}, 10, {}}, SelectionCase{"PartBeyond", {"", "4/3"}, 10, {}},
        SelectionCase{"NoParts", {"", "1"}, 10, {}}),
    [](const auto& row) { return row.param.name; });

} // namespace
