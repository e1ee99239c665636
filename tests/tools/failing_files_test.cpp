// `krw` on a file system that fails: every run ends with the right status, names what went wrong, leaves no
// partial file under a final name, and keeps what was done.
#include "tests/tools/krw_tool.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <thread>

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

/// The folder "real" of the test, seen as "failing" through the pass-through.
class FailingFiles : public KrwTool {
  protected:
    FailingFiles() {
        for (const char* name : {"real", "failing"})
            fs::create_directory(m_dir.path(name));
    }
    ~FailingFiles() override { unmount(); }

    /// Runs a shell command while the pass-through has these faults.
    [[nodiscard]] Outcome under(const std::string& faults, const std::string& command) {
        EXPECT_EQ(shell("(" KRW_FAILING_FILES " real failing " + faults + " > .mount 2>&1 &)").status, 0);
        const auto deviceOf = [this](const char* name) {
            struct stat information {};
            (void)stat(m_dir.path(name).c_str(), &information);
            return information.st_dev;
        };
        // Waits for the mount, which takes milliseconds, and not for ever.
        for (int i = 0; i < 3000 && deviceOf("failing") == deviceOf("real"); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        EXPECT_NE(deviceOf("failing"), deviceOf("real")) << contents(m_dir.path(".mount"));
        Outcome outcome = shell(command);
        unmount();
        return outcome;
    }
    void unmount() const { (void)shell("fusermount3 -u failing"); }
};

// A run that hangs ends after a minute, with another status.
constexpr const char* kKrw = "timeout 60 " KRW_PROGRAM " -q ";

struct Faults {
    const char* call;
    const char* effect;
    const char* reason; // in the message of a run that fails
};

class FailingExport : public FailingFiles, public testing::WithParamInterface<Faults> {};

TEST_P(FailingExport, TellsTheTruthAndCanBeResumed) {
    const auto& [call, effect, reason] = GetParam();
    write("real/clip.krw", makeClip(4, 64, 32));
    const std::string command =
        std::string(kKrw) + "export failing/clip.krw -o failing/out --neutral clip --sync --jobs 1";
    ASSERT_EQ(under("", command).status, 0);
    const auto expected = directory(m_dir.path("real/out"));
    ASSERT_EQ(expected.size(), 5U); // with the manifest

    int failed = 0;
    // The calls of a whole run and more, one in three.
    for (int number = 1; number < 36; number += 3) {
        SCOPED_TRACE(fmt::format("{} {}", call, number));
        fs::remove_all(m_dir.path("real/out"));
        const Outcome run = under(fmt::format("{}={}:{}", call, number, effect), command);
        EXPECT_EQ(run.status, run.err.empty() ? 0 : 1) << run.err;
        if (run.status != 0) {
            ++failed;
            EXPECT_THAT(run.err, testing::ContainsRegex(reason));
        }
        std::size_t whole = 0;
        for (const auto& [name, bytes] : directory(m_dir.path("real/out"))) {
            EXPECT_THAT(name, testing::Not(HasSubstr("krw-part")));
            if (!name.ends_with(".dng")) continue;
            ++whole;
            EXPECT_EQ(bytes, expected.at(name)) << name;
        }
        EXPECT_EQ(whole == 4 && directory(m_dir.path("real/out")) == expected, run.status == 0);
        ASSERT_EQ(under("", command + " --resume").status, 0);
        EXPECT_EQ(directory(m_dir.path("real/out")), expected);
    }
    EXPECT_GE(failed, 2);
}

INSTANTIATE_TEST_SUITE_P(Calls, FailingExport,
                         testing::Values(Faults{"read", "EIO", "cannot be read|Input/output error"},
                                         Faults{"write", "ENOSPC", "No space left on device"},
                                         Faults{"close", "EIO", "Input/output error"},
                                         Faults{"fsync", "EIO", "Input/output error"},
                                         Faults{"rename", "EIO", "Input/output error"},
                                         Faults{"create", "EACCES", "Permission denied"}));

/// A card with two clips, recovered into a folder beside it.
class FailingCard : public FailingFiles {
  protected:
    FailingCard() {
        ClipDescription second;
        second.take = 2;
        TestClip card = makeClip(4, 64, 32);
        const TestClip other = makeClip(second, randomMosaics(3, 64, 32));
        card.bytes.insert(card.bytes.end(), other.bytes.begin(), other.bytes.end());
        write("real/card.img", card);
        m_card = contents(m_dir.path("real/card.img"));
    }
    [[nodiscard]] std::map<std::string, std::string> clips() const {
        return directory(m_dir.path("real/out"));
    }

    const std::string m_command = std::string(kKrw) + "recover failing/card.img -o failing/out/ --jobs 1";
    std::string m_card;
};

class FailingRecover : public FailingCard, public testing::WithParamInterface<Faults> {};

TEST_P(FailingRecover, WritesWholeClipsOrNoneAndLeavesTheSourceAlone) {
    const auto& [call, effect, reason] = GetParam();
    ASSERT_EQ(under("", m_command).status, 0);
    const auto expected = clips();
    ASSERT_EQ(expected.size(), 2U);

    int failed = 0;
    // Of the calls of a whole run and more, 1, 2, 3, 5, 8 and so on.
    for (int number = 1; number < 60; number += (number + 1) / 2) {
        SCOPED_TRACE(fmt::format("{} {}", call, number));
        fs::remove_all(m_dir.path("real/out"));
        const Outcome run = under(fmt::format("{}={}:{}", call, number, effect), m_command);
        EXPECT_EQ(run.status, run.err.empty() ? 0 : 1) << run.err;
        if (run.status != 0) {
            ++failed;
            EXPECT_THAT(run.err, testing::ContainsRegex(reason));
        }
        for (const auto& [name, bytes] : clips())
            EXPECT_TRUE(expected.contains(name) && bytes == expected.at(name)) << name;
        EXPECT_EQ(clips() == expected, run.status == 0);
        // A clip that cannot be written keeps no other from being written.
        EXPECT_TRUE(clips().size() == 1 || run.status == 0 || run.out.empty()) << run.out;
        EXPECT_EQ(contents(m_dir.path("real/card.img")), m_card);
    }
    EXPECT_GE(failed, 1);
    ASSERT_EQ(under("", m_command + " --overwrite").status, 0);
    EXPECT_EQ(clips(), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Calls, FailingRecover,
    testing::Values(Faults{"read", "EIO", "byte [0-9]+ cannot be read: Input/output error"},
                    Faults{"write", "ENOSPC", "out/card_00[12].krw: No space left on device"},
                    Faults{"close", "EIO", "Input/output error"},
                    Faults{"rename", "EIO", "out/card_00[12].krw: Input/output error"},
                    Faults{"create", "EACCES", "Permission denied"}));

TEST_F(FailingCard, SlowAndShortTransfersAreNoFailure) {
    for (const char* faults : {"read=1-300:short write=1-300:short", "read=3-5:slow write=2:slow"}) {
        const Outcome run = under(faults, m_command + " --overwrite");
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(clips().at("card_001.krw") + clips().at("card_002.krw"), m_card);
    }
}

TEST_F(FailingFiles, SlowAndShortTransfersAreNoFailure) {
    write("real/clip.krw", makeClip(2, 32, 16));
    for (const char* faults : {"read=1-:short write=1-:short", "read=9-10:slow write=2:slow"}) {
        const Outcome run =
            under(faults, std::string(kKrw) + "export failing/clip.krw -o failing/out --overwrite");
        EXPECT_EQ(run.status, 0) << run.err;
        const Outcome other = krw("-q export real/clip.krw -o other --overwrite");
        EXPECT_EQ(contents(m_dir.path("real/out/clip_000001.dng")),
                  contents(m_dir.path("other/clip_000001.dng")));
    }
}

TEST_F(FailingFiles, AMountGoesOnWhenFramesCannotBeRead) {
    write("real/clip.krw", makeClip(4, 64, 32));
    ASSERT_EQ(krw("-q export real/clip.krw -o whole --compression none").status, 0);
    bool goesOn = false;
    // The disk fails for good, from a read that opens the clip to one behind its last frame.
    for (int number = 5; number < 80; number += 8) {
        SCOPED_TRACE(number);
        const Outcome run =
            under(fmt::format("read={}-:EIO", number),
                  "mkdir -p mnt && " + std::string(kKrw) +
                      "mount failing/clip.krw mnt && { for i in 0 1 2 3; do timeout 60 cat "
                      "mnt/clip/clip_00000$i.dng > $i.dng; echo $?; done; cat mnt/clip/clip.unreadable.txt; "
                      "fusermount3 -u mnt; }");
        const std::vector<std::string> said = lines(run.out);
        std::size_t delivered = 0;
        for (std::size_t i = 0; i < std::min<std::size_t>(said.size(), 4); ++i) {
            const std::string name = fmt::format("clip_00000{}.dng", i);
            // Not 124, the end of the patience with a mount that hangs.
            ASSERT_THAT(said[i], testing::AnyOf("0", "1")) << run.out << run.err;
            if (said[i] == "0") {
                ++delivered;
                // The mosaic; the white balance in front of it may come from fewer frames.
                constexpr std::size_t kMosaic = 4096;
                const std::string bytes = contents(m_dir.path(fmt::format("{}.dng", i)));
                const std::string whole = contents(m_dir.path("whole/" + name));
                ASSERT_EQ(bytes.size(), whole.size());
                EXPECT_TRUE(bytes.substr(bytes.size() - kMosaic) == whole.substr(whole.size() - kMosaic));
            }
        }
        goesOn = goesOn || (delivered > 0 && delivered < said.size() && said.size() > 4);
    }
    EXPECT_TRUE(goesOn);
}

} // namespace
