// Media hash lists: against the published schemas and example, against other programs, and over generations.
#include "tests/tools/krw_tool.h"
#include "tools/export/media_hash_list.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;

class HashLists : public KrwTool {
  protected:
    /// Validates every list and the chain of a folder. Fails where the program or the schemas that the build
    /// was configured with are missing.
    void expectValid(const std::string& folder) const {
        const std::string schemas = KRW_MHL_SCHEMAS;
        const std::string lists = folder + "/ascmhl/*.mhl";
        const std::string chain = folder + "/ascmhl/ascmhl_chain.xml";
        const Outcome run =
            shell(schemas.empty() ? fmt::format("xmllint --noout {} {}", lists, chain)
                                  : fmt::format("xmllint --noout --schema '{0}/ASCMHL.xsd' {1} && "
                                                "xmllint --noout --schema '{0}/ASCMHLDirectory.xsd' {2}",
                                                schemas, lists, chain));
        EXPECT_EQ(run.status, 0) << run.err;
    }
    [[nodiscard]] std::string list(const std::string& folder, int generation) const {
        for (const auto& [name, content] : directory(m_dir.path(folder + "/ascmhl")))
            if (name.starts_with(fmt::format("{:04}_", generation))) return content;
        return {};
    }
};

TEST(FolderHash, IsThatOfThePublishedExample) {
    constexpr HashKind kKind = HashKind::xxh64;
    const std::string a = "0ea03b369a463d9d";
    const std::string b = "7680e5f98f4a80fd";
    const std::string text = "3ab5a4166b9bde44";
    const std::string clips = folderHash(kKind, {b, a});
    EXPECT_EQ(clips, "4c226b42e27d7af3");
    const std::string structure = folderHash(kKind, {structureHash(kKind, "A002C006_141024_R2EC.mov", a),
                                                     structureHash(kKind, "A002C007_141024_R2EC.mov", b)});
    EXPECT_EQ(structure, "906faa843d591a9f");
    EXPECT_EQ(folderHash(kKind, {text, clips}), "8d02114c32e28cbe");
    EXPECT_EQ(folderHash(kKind, {structureHash(kKind, "Sidecar.txt", text),
                                 structureHash(kKind, "Clips", structure)}),
              "f557f8ca8e5a88ef");
}

TEST(MediaHash, EveryKindHasItsPublishedText) {
    const std::map<HashKind, std::string> ofNothing{
        // SHA-512 of no bytes in base 58 (SMPTE ST 2114).
        {HashKind::c4,
         "c459dsjfscH38cYeXXYogktxf4Cd9ibshE3BHUo6a58hBXmRQdZrAkZzsWcbWtDg5oQstpDuni4Hirj75GEmTc1sFT"},
        {HashKind::md5, "d41d8cd98f00b204e9800998ecf8427e"},
        {HashKind::sha1, "da39a3ee5e6b4b0d3255bfef95601890afd80709"},
        {HashKind::xxh128, "99aa06d3014798d86001c324468d497f"},
        {HashKind::xxh3, "2d06800538d394c2"},
        {HashKind::xxh64, "ef46db3751d8e999"}};
    for (const auto& [kind, text] : ofNothing) {
        EXPECT_EQ(MediaHash(kind).text(), text) << hashName(kind);
        MediaHash hash(kind);
        hash.update(hashBytes(kind, text)); // throws for a text that is none
    }
    for (const auto& [kind, text] : {std::pair{HashKind::md5, "d41g"},
                                     {HashKind::sha1, ""},
                                     {HashKind::c4, "c4"},
                                     {HashKind::xxh64, "123"}})
        EXPECT_THROW((void)hashBytes(kind, text), std::runtime_error) << text;
}

TEST_F(HashLists, EveryGenerationIsValidAndCheckedByOthers) {
    write("clip.krw", makeClip(3, 64, 32));
    ASSERT_EQ(krw("-q export clip.krw -o 'out' --frames 0-1 --mhl").status, 0);
    EXPECT_EQ(shell(KRW_PROGRAM " verify -q --mhl out > list && cd out && xxhsum -c ../list").status, 0);
    fs::create_directories(m_dir.path("out/notes/empty"));
    ASSERT_EQ(shell("echo 'a < b & c' > 'out/notes/read me.txt'").status, 0);
    ASSERT_EQ(krw("-q export clip.krw -o out --resume --mhl --mhl-hash c4").status, 0);
    ASSERT_EQ(krw("-q export clip.krw -o out --resume --mhl --mhl-hash md5").status, 0);
    expectValid("out");
    EXPECT_THAT(list("out", 1), HasSubstr("xxh64 action=\"original\""));
    EXPECT_THAT(list("out", 2), HasSubstr("c4 action=\"original\""));
    EXPECT_THAT(list("out", 2), HasSubstr("xxh64 action=\"verified\""));
    EXPECT_THAT(list("out", 3), HasSubstr("c4 action=\"verified\""));
    EXPECT_THAT(list("out", 3), HasSubstr("<path lastmodificationdate="));

    const Outcome verified = krw("verify --mhl out");
    EXPECT_EQ(verified.status, 0) << verified.err;
    EXPECT_THAT(verified.err, HasSubstr("4 files in 3 generations, 0 wrong"));
}

TEST_F(HashLists, NameWhatChanged) {
    write("clip.krw", makeClip(3, 64, 32));
    ASSERT_EQ(krw("-q export clip.krw -o out --mhl").status, 0);
    ASSERT_EQ(shell("printf x >> out/clip_000000.dng; rm out/clip_000001.dng; echo new > out/new.txt").status,
              0);
    const Outcome changed = krw("verify -q --mhl out");
    EXPECT_EQ(changed.status, 1);
    EXPECT_THAT(lines(changed.err), ElementsAre(HasSubstr("out/clip_000000.dng: xxh64 is "),
                                                HasSubstr("out/clip_000001.dng: is missing"),
                                                HasSubstr("out/new.txt: is in no list")));
    // A further generation reports the damage too, and keeps the original hash.
    const Outcome added = krw("-q export clip.krw -o out --frames 2 --resume --mhl");
    EXPECT_EQ(added.status, 1);
    EXPECT_THAT(list("out", 2), HasSubstr("xxh64 action=\"failed\""));
    expectValid("out");
    EXPECT_THAT(krw("verify -q --mhl out").err, HasSubstr("out/clip_000000.dng: xxh64 is "));

    ASSERT_EQ(shell("sed -i s/krw/KRW/ out/ascmhl/0001*").status, 0);
    EXPECT_THAT(krw("verify -q --mhl out").err, HasSubstr("is not the list that the chain names"));
    ASSERT_EQ(shell("mkdir bare").status, 0);
    EXPECT_THAT(krw("verify --mhl bare").err, HasSubstr("bare: has no ASC MHL history"));
    EXPECT_EQ(krw("export clip.krw -o out --mhl --part 1/2").status, 2);
}

TEST_F(HashLists, DoNotLeadOutOfTheirFolder) {
    write("clip.krw", makeClip(2, 64, 32));
    ASSERT_EQ(krw("-q export clip.krw -o out --mhl").status, 0);
    ASSERT_EQ(shell("sed -i s,clip_000001.dng,../clip.krw, out/ascmhl/0001*").status, 0);
    for (const auto& entry : fs::directory_iterator(m_dir.path("out/ascmhl"))) {
        if (entry.path().extension() != ".mhl") continue;
        const std::string c4 = fileHashes(entry.path().string(), {HashKind::c4}).at(HashKind::c4);
        EXPECT_EQ(shell("sed -i 's,<c4>.*</c4>,<c4>" + c4 + "</c4>,' out/ascmhl/ascmhl_chain.xml").status, 0);
    }
    const MediaHashHistory history(m_dir.path("out"));
    EXPECT_EQ(history.originals().size(), 1U);
    ASSERT_EQ(history.findings().size(), 1U);
    EXPECT_THAT(history.findings()[0].text, HasSubstr("a file outside the folder: ../clip.krw"));
}

} // namespace
