// Commands that take several clips and folders: one run for a whole card.
#include "tests/tools/krw_tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

using Card = KrwTool;

TEST_F(Card, IsDoneAtOnceAndABadClipDoesNotEndTheRun) {
    for (const char* folder : {"card", "card/A", "card/B"})
        fs::create_directory(m_dir.path(folder));
    write("card/A/one.krw", makeClip(4, 64, 32));
    write("card/B/Two.KRW", makeClip(7, 64, 32));
    ASSERT_EQ(shell("echo text > card/notes.txt").status, 0);
    const Outcome listed = krw("verify -r card > list; cat list");
    EXPECT_EQ(listed.status, 0);
    EXPECT_THAT(listed.err, StartsWith("2 clips: 11 ok, 0 damaged, 0 unreadable\n11 frames in"));
    const std::vector<std::string> list = lines(listed.out);
    ASSERT_EQ(list.size(), 13U);
    EXPECT_EQ(list[0], "# A/one.krw");
    EXPECT_EQ(list[5], "# B/Two.KRW");
    EXPECT_EQ(krw("verify -q -r card --against list").out, "");
    EXPECT_EQ(krw("verify -q card/B/Two.KRW --against list").status, 0) << "one clip of the card";

    write("card/B/Two.KRW", makeClip(6, 64, 32));
    ASSERT_EQ(
        shell("cp -r card copy; mv copy/A/one.krw copy/A/other.krw; echo spoilt > copy/A/spoilt.krw").status,
        0);
    const Outcome different = krw("verify -q -r copy --against list --json");
    EXPECT_EQ(different.status, 1);
    EXPECT_THAT(lines(different.err),
                ElementsAre(HasSubstr("A/other.krw: list has no list of this clip"),
                            HasSubstr("spoilt.krw: "), HasSubstr("has 6 frames, the list has 1 more"),
                            HasSubstr("A/one.krw: is in the list, but not among the clips")));
    const auto clips = nlohmann::json::parse(different.out)["clips"];
    EXPECT_EQ(clips[1]["file"], "copy/A/spoilt.krw");
    EXPECT_THAT(clips[1]["error"], HasSubstr("too short"));
    EXPECT_EQ(clips[2]["lost"], 1);
    EXPECT_EQ(clips[2]["frames"][5]["status"], "ok");

    const Outcome exported = krw("export -r copy -o out --frames 1-:2 --format pgm");
    EXPECT_EQ(exported.status, 1);
    EXPECT_THAT(exported.err, HasSubstr("3 clips: 5 exported, 0 damaged, 0 unreadable, 0 skipped"));
    EXPECT_TRUE(fs::exists(m_dir.path("out/A/other/other_000003.pgm")));
    EXPECT_EQ(directory(m_dir.path("out/B/Two")).size(), 3U + 1U);
    EXPECT_EQ(krw("sheet -r card -o sheets").status, 0);
    EXPECT_GT(readPng("sheets/B/Two.png").width, 0U);
    EXPECT_EQ(nlohmann::json::parse(krw("info -r card --json").out)["clips"][1]["video"]["frames"], 6);
}

} // namespace
