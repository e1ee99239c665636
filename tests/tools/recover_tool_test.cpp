// `krw recover` as its users run it: the files that it writes, its messages, and the files that it never
// touches.

#include "tests/tools/krw_tool.h"

#include <algorithm>
#include <functional>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Key;

class RecoverTool : public KrwTool {
  protected:
    /// Two clips without trailers, the first with a damaged frame, as one file.
    void writeCard(const std::string& name) const {
        ClipDescription description;
        description.storedTable = false;
        TestClip first = makeClip(description, randomMosaics(5, 64, 32));
        first.setCodeTable(1, 2, kinedec::CodeTable{});
        description.take = 2;
        const TestClip second = makeClip(description, randomMosaics(3, 64, 32));
        first.bytes.insert(first.bytes.end(), second.bytes.begin(), second.bytes.end());
        write(name, first);
    }
};

TEST_F(RecoverTool, WritesEachClipIntoAFolder) {
    writeCard("card.img");
    const std::string before = contents(m_dir.path("card.img"));
    const Outcome outcome = krw("recover card.img -o out/");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(directory(m_dir.path("out")), ElementsAre(Key("card_001.krw"), Key("card_002.krw")));
    EXPECT_THAT(outcome.out, HasSubstr("clip 1: 4 frames whole, 1 damaged, 0 missing"));
    EXPECT_THAT(outcome.out, HasSubstr("clip 2: 3 frames whole, 0 damaged, 0 missing"));
    EXPECT_THAT(outcome.err, HasSubstr("krw: card.img: clip 1: frame 01:00:00:01 at byte "));
    EXPECT_THAT(outcome.err, HasSubstr("plane 2 breaks off in row 1"));
    EXPECT_THAT(outcome.err, HasSubstr("card.img: 2 clips: 7 frames whole, 1 damaged, 0 missing"));
    EXPECT_EQ(contents(m_dir.path("card.img")), before);
    EXPECT_EQ(krw("verify out/card_001.krw").status, 0);

    EXPECT_EQ(krw("recover card.img -o out/ --keep-damaged --overwrite").status, 1);
    EXPECT_THAT(krw("verify -q out/card_001.krw").out, HasSubstr("damaged"));
}

TEST_F(RecoverTool, SaysWhatItFindsAsJson) {
    writeCard("card.img");
    const Outcome outcome = krw("recover card.img --list --json -q");
    EXPECT_EQ(outcome.status, 1);
    const nlohmann::json document = nlohmann::json::parse(outcome.out);
    EXPECT_EQ(document["schema"], "krw-recover-1");
    EXPECT_FALSE(document["complete"]);
    ASSERT_EQ(document["clips"].size(), 2U);
    EXPECT_EQ(document["clips"][0]["whole"], 4);
    EXPECT_EQ(document["clips"][0]["damaged"][0]["timecode"], "01:00:00:01");
    EXPECT_TRUE(document["clips"][0]["output"].is_null());
    EXPECT_EQ(document["clips"][1]["timecode"]["last"], "01:00:00:02");
    EXPECT_EQ(directory(m_dir.root()).count("card_001.krw"), 0U);
}

TEST_F(RecoverTool, NeverReplacesAFileUnasked) {
    write("whole.krw", makeClip(3));
    EXPECT_EQ(krw("recover whole.krw -o copy.krw").status, 0);
    EXPECT_EQ(contents(m_dir.path("copy.krw")), contents(m_dir.path("whole.krw")));
    (void)m_dir.write("copy.krw", std::vector<std::uint8_t>{1, 2, 3});
    const Outcome again = krw("recover whole.krw -o copy.krw");
    EXPECT_EQ(again.status, 1);
    EXPECT_THAT(again.err, HasSubstr("copy.krw: exists already and is not replaced"));
    EXPECT_EQ(contents(m_dir.path("copy.krw")).size(), 3U);
}

TEST_F(RecoverTool, RefusesArgumentsThatMakeNoSense) {
    struct Row {
        const char* arguments;
        int status;
        const char* words;
    };
    writeCard("card.img");
    for (const Row& row : {Row{"recover card.img", 2, "--list"},
                           Row{"recover card.img -o card.img --overwrite", 2, "is the source"},
                           Row{"recover card.img -o out --list", 2, "leave -o out"},
                           Row{"recover card.img -o one.krw", 1, "2 clips were found; -o FOLDER/"},
                           Row{"recover absent.krw --list", 1, "absent.krw: No such file"},
                           Row{"recover . --list", 1, "neither a regular file nor a"},
                           Row{"recover /dev/null --list", 1, "neither a regular file nor a"}}) {
        const Outcome outcome = krw(row.arguments);
        EXPECT_EQ(outcome.status, row.status) << row.arguments;
        EXPECT_THAT(outcome.err, HasSubstr(row.words)) << row.arguments;
    }
}

struct WrongTable {
    const char* name;
    std::function<void(TestClip&)> spoil;
    bool storedTable;
    int status;
    std::vector<const char*> words; // of info, on either output
    std::uint64_t outside = 0;      // in the JSON document; not asked for clips that do not open
};

TEST_F(RecoverTool, OtherCommandsPointToItWhenTheFrameTableIsWrong) {
    namespace trailer = krwfile::trailer;
    const auto zeroRecord = [](TestClip& clip) {
        clip.setDanraw<std::uint32_t>(4, krwfile::danraw::kSignatureOffset, 0);
    };
    const std::vector<WrongTable> rows{
        {"stored", [](TestClip&) {}, true, 0, {"Frame table  stored\n"}},
        {"no trailer", [](TestClip&) {}, false, 0, {"rebuilt by following", "does not end with a trailer\n"}},
        {"records behind a zeroed one",
         zeroRecord,
         false,
         1,
         {"bytes behind the last frame",
          "3 frame records of the file are not in the frame table; krw recover"},
         3},
        {"an entry without a record", zeroRecord, true, 1, {"1 of 8 entries lead to no frame record"}},
        {"a record without a picture size",
         [](TestClip& clip) { clip.setDanraw<std::uint32_t>(3, krwfile::danraw::kWidth, 0); },
         false,
         1,
         {"1 of 8 entries lead to no frame record"}},
        {"too few entries",
         [](TestClip& clip) { clip.setTrailer<std::uint32_t>(trailer::kFrameCount, 7); },
         true,
         1,
         {"1 frame record of the file is not in the frame table"},
         1},
        {"count out of range",
         [](TestClip& clip) { clip.setTrailer<std::uint32_t>(trailer::kFrameCount, 0xFFFFFFFF); },
         true,
         1,
         {"the trailer counts -1 frames", "krw recover"}},
        {"table behind the file",
         [](TestClip& clip) { clip.setTrailer<std::uint64_t>(trailer::kTableOffset, 1U << 30); },
         true,
         1,
         {"a table of 64 bytes at byte 1073741824 of", "krw recover"}},
        {"file header zeroed",
         [](TestClip& clip) { std::fill_n(clip.bytes.begin(), 100, std::uint8_t{0}); },
         true,
         1,
         {"it holds frame records, which krw recover gets out"}},
    };
    for (const WrongTable& row : rows) {
        SCOPED_TRACE(row.name);
        ClipDescription description;
        description.storedTable = row.storedTable;
        TestClip clip = makeClip(description, randomMosaics(8, 64, 32));
        row.spoil(clip);
        write("clip.krw", clip);
        const Outcome info = krw("info clip.krw");
        EXPECT_EQ(info.status, row.status);
        EXPECT_EQ(krw("verify -q clip.krw").status, row.status);
        for (const char* words : row.words)
            EXPECT_THAT(info.out + info.err, HasSubstr(words));
        const Outcome json = krw("info --json clip.krw");
        if (json.out.empty()) continue;
        const nlohmann::json table = nlohmann::json::parse(json.out)["frameTable"];
        EXPECT_EQ(table["origin"], row.storedTable ? "stored" : "rebuilt");
        EXPECT_EQ(table["recordsOutside"], row.outside);
    }
}

} // namespace
