// Exports that are stopped, resumed, split into parts and run at the same time: every file in the folder is
// whole, and the manifest agrees with the files.
#include "tests/tools/krw_tool.h"
#include "tools/export/output_file.h"

#include <array>
#include <chrono>
#include <csignal>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <random>
#include <thread>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::HasSubstr;

using Clock = std::chrono::steady_clock;

class Export : public KrwTool {
  protected:
    [[nodiscard]] std::map<std::string, std::string> files(const std::string& name) const {
        return directory(m_dir.path(name));
    }
    [[nodiscard]] json manifest(const std::string& folder, const std::string& clip = "clip") const {
        return json::parse(contents(m_dir.path(folder + "/" + clip + ".krw-export.json")));
    }

    /// Forty frames: frame 7 with a plane that breaks off, frame 23 with a record that is none.
    void writeLongClip(const std::string& name) const {
        TestClip clip = makeClip(40, 512, 256);
        clip.setCodeTable(7, 2, kinedec::CodeTable{});
        clip.setDanraw<std::uint32_t>(23, krwfile::danraw::kSignatureOffset, 0);
        write(name, clip);
    }

    /// Starts the program and ends it with SIGKILL after a while, or lets it end before that.
    void killAfter(std::chrono::microseconds delay, const std::vector<std::string>& arguments) const {
        const std::string root = m_dir.root().string();
        std::vector<std::string> words{KRW_PROGRAM};
        words.insert(words.end(), arguments.begin(), arguments.end());
        std::vector<char*> argv;
        argv.reserve(words.size() + 1);
        for (std::string& word : words)
            argv.push_back(word.data());
        argv.push_back(nullptr);
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            if (::chdir(root.c_str()) == 0) ::execv(argv[0], argv.data());
            ::_exit(127);
        }
        std::this_thread::sleep_for(delay);
        ::kill(child, SIGKILL);
        int status = 0;
        ::waitpid(child, &status, 0);
    }
};

TEST_F(Export, KilledAtAnyMomentResumesToTheSameFiles) {
    writeLongClip("clip.krw");
    const auto begin = Clock::now();
    EXPECT_EQ(krw("-q export clip.krw -o single --jobs 2").status, 1);
    const auto duration = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begin);
    const auto expected = files("single");
    ASSERT_EQ(expected.size(), 40U); // 39 frames and the manifest

    std::minstd_rand random(7);
    for (int round = 0; round < 10; ++round) {
        const std::string folder = fmt::format("killed-{}", round);
        killAfter(duration * static_cast<int>(random() % 1000) / 1000,
                  {"-q", "export", "clip.krw", "-o", folder, "--jobs", "2"});
        for (const auto& [name, content] : files(folder))
            EXPECT_TRUE(name.ends_with(".unfinished") || content == expected.at(name)) << name;
        const Outcome resumed = krw("-q export clip.krw --resume --jobs 2 -o " + folder);
        EXPECT_EQ(resumed.status, 1);
        EXPECT_THAT(resumed.err, HasSubstr("frame 7: plane 2 breaks off"));
        EXPECT_THAT(resumed.err, HasSubstr("frame 23: its record carries no frame header"));
        EXPECT_TRUE(files(folder) == expected) << "round " << round;
    }
}

TEST_F(Export, ResumeTellsOfFailedFramesAgainAndMendsFiles) {
    writeSpoiltClip("clip.krw");
    ASSERT_EQ(krw("-q export clip.krw -o out").status, 1);
    const auto expected = files("out");
    const json frames = manifest("out")["frames"];
    ASSERT_EQ(frames.size(), 5U);
    EXPECT_EQ(frames[1]["status"], "damaged");
    EXPECT_EQ(frames[1]["file"]["name"], "clip_000001.dng");
    EXPECT_EQ(frames[3]["status"], "unreadable");
    EXPECT_FALSE(frames[3].contains("file"));

    const Outcome again = krw("export clip.krw -o out --resume");
    EXPECT_EQ(again.status, 1);
    EXPECT_THAT(again.err, HasSubstr("0 exported, 1 damaged, 1 unreadable, 3 skipped"));
    EXPECT_TRUE(files("out") == expected);

    // Lost, cut short, and changed without changing the size: only --check sees the last one.
    const auto spoil = [&] {
        fs::remove(m_dir.path("out/clip_000000.dng"));
        fs::resize_file(m_dir.path("out/clip_000002.dng"), 100);
        std::string changed = expected.at("clip_000004.dng");
        changed.back() ^= 1;
        (void)m_dir.write("out/clip_000004.dng",
                          {reinterpret_cast<const std::uint8_t*>(changed.data()), changed.size()});
    };
    spoil();
    EXPECT_EQ(krw("-q export clip.krw -o out --resume").status, 1);
    EXPECT_FALSE(files("out") == expected);
    spoil();
    EXPECT_EQ(krw("-q export clip.krw -o out --resume --check").status, 1);
    EXPECT_TRUE(files("out") == expected);

    // The manifest is lost: files are compared with what would be written.
    fs::remove(m_dir.path("out/clip.krw-export.json"));
    EXPECT_EQ(krw("-q export clip.krw -o out --resume").status, 1);
    EXPECT_TRUE(files("out") == expected);
}

struct Refusal {
    const char* name;
    const char* before; // done first
    const char* arguments;
    const char* words;
};

class ExportRefusal : public Export, public testing::WithParamInterface<Refusal> {};

TEST_P(ExportRefusal, ReplacesNothing) {
    write("clip.krw", makeClip(3, 64, 32));
    fs::create_directory(m_dir.path("other"));
    write("other/clip.krw", makeClip(4, 64, 32));
    ASSERT_EQ(krw("-q export clip.krw -o out --frames 0-1").status, 0);
    ASSERT_EQ(shell(GetParam().before).status, 0);
    const auto before = files("out");
    const Outcome refused = krw(std::string("-q export -o out ") + GetParam().arguments);
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.err, HasSubstr(GetParam().words));
    EXPECT_TRUE(files("out") == before);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ExportRefusal,
    testing::Values(
        Refusal{"SecondExport", "true", "clip.krw", "exists already"},
        Refusal{"OtherFrames", "true", "clip.krw --frames 2", "clip.krw-export.json: exists already"},
        Refusal{"OtherClipOfTheName", "true", "other/clip.krw --resume", "is of another clip: clip.krw"},
        Refusal{"OtherOptions", "true", "clip.krw --compression none --resume", "compression \"lossless\""},
        Refusal{"SomebodyElsesFile", "echo mine > out/clip_000002.dng", "clip.krw --resume",
                "out/clip_000002.dng: exists already and is not replaced"},
        Refusal{"Unfinished", "rm out/*; touch out/x; echo '{}' > out/clip.krw-export.unfinished", "clip.krw",
                "an export did not end"},
        Refusal{"SpoiltManifest", "echo '{' > out/clip.krw-export.json", "clip.krw --resume",
                "is no manifest of an export"}),
    [](const auto& row) { return row.param.name; });

TEST_F(Export, OverwriteReplacesAndKeepsTrackOfTheOthers) {
    write("clip.krw", makeClip(3, 64, 32));
    ASSERT_EQ(krw("-q export clip.krw -o out").status, 0);
    const auto expected = files("out");
    ASSERT_EQ(shell("echo spoilt > out/clip_000001.dng").status, 0);
    ASSERT_EQ(krw("-q export clip.krw -o out --overwrite --frames 1").status, 0);
    EXPECT_TRUE(files("out") == expected);
    ASSERT_EQ(krw("-q export clip.krw -o out --overwrite --format tiff").status, 0);
    EXPECT_EQ(manifest("out")["options"]["format"], "tiff");
}

TEST_F(Export, OverwriteLeavesNoOldFileOfAnUnreadableFrame) {
    write("clip.krw", makeClip(5, 64, 32));
    ASSERT_EQ(krw("-q export clip.krw -o out").status, 0);
    writeSpoiltClip("clip.krw");
    EXPECT_EQ(krw("-q export clip.krw -o out --overwrite").status, 1);
    EXPECT_EQ(krw("-q export clip.krw -o single").status, 1);
    EXPECT_TRUE(files("out") == files("single"));
}

TEST_F(Export, TwoAtOnceDoNotMix) {
    writeLongClip("clip.krw");
    const Outcome both = shell(KRW_PROGRAM " -q export clip.krw -o out & " KRW_PROGRAM
                                           " -q export clip.krw -o out; echo $?; wait $!; echo $?");
    // Either of the two may have written a file. Each file was written once.
    EXPECT_THAT(both.err,
                testing::AnyOf(HasSubstr("another export is writing"), HasSubstr("exists already")));
    ASSERT_EQ(krw("-q export clip.krw -o single").status, 1);
    EXPECT_TRUE(files("out") == files("single"));
}

TEST_F(Export, PartsAddUpToASingleRun) {
    writeLongClip("clip.krw");
    ASSERT_EQ(krw("-q export clip.krw -o single").status, 1);
    const std::string part = KRW_PROGRAM " -q export clip.krw -o parts --part ";
    ASSERT_EQ(shell(part + "3/3").status, 0);
    ASSERT_EQ(shell(part + "1/3").status, 1);
    EXPECT_TRUE(files("parts").contains("clip.part-1-of-3.krw-export.json"));
    ASSERT_EQ(shell(part + "2/3").status, 1);
    EXPECT_TRUE(files("parts") == files("single"));
    // A part that is run again goes into the whole.
    fs::remove(m_dir.path("parts/clip_000001.dng"));
    ASSERT_EQ(shell(part + "1/3 --resume").status, 1);
    EXPECT_TRUE(files("parts") == files("single"));
    // All at once.
    ASSERT_EQ(
        shell("for i in 1 2 3 4; do " KRW_PROGRAM " -q export clip.krw -o farm --part $i/4 & done; wait")
            .status,
        0);
    EXPECT_TRUE(files("farm") == files("single"));
}

TEST_F(Export, FullDiskEndsWithTheNumberOfFiles) {
    // Noise hardly compresses: each picture takes some 24 kB.
    write("clip.krw", makeClip(20, 256, 128));
    const std::string disk =
        "unshare -rm sh -c 'mkdir disk && mount -t tmpfs -o size=200k tmpfs disk && " KRW_PROGRAM;
    const Outcome early =
        shell(disk + " -q export clip.krw -o disk/out --format tiff; s=$?; find disk -type f; exit $s'");
    EXPECT_EQ(early.status, 1);
    EXPECT_THAT(early.err, HasSubstr("the export needs 0.001 GB, but only 0.000 GB are free"));
    EXPECT_EQ(early.out, "");
    fs::remove_all(m_dir.path("disk"));

    const Outcome late =
        shell(disk + " -q export clip.krw -o disk/out --format png; s=$?; ls disk/out; exit $s'");
    EXPECT_EQ(late.status, 1);
    EXPECT_THAT(late.err, HasSubstr("No space left on device"));
    const auto left = lines(late.out);
    EXPECT_THAT(late.err, HasSubstr(fmt::format("stopped after {} of 20 files", left.size() - 1)))
        << late.out;
    EXPECT_EQ(left.back(), "clip_00000" + std::to_string(left.size() - 2) + ".png");
}

TEST_F(Export, InterruptedEndsWithTheNumberOfFiles) {
    write("clip.krw", makeLongClip());
    const Outcome run = shell(KRW_PROGRAM " -q export clip.krw -o out --sync & "
                                          "until [ -e out/clip_000005.dng ]; do sleep 0.01; done; "
                                          "kill -INT $!; wait $!; ls out | grep -c dng");
    EXPECT_THAT(run.err, HasSubstr(fmt::format("stopped after {} of 98304 files", lines(run.out).back())));
}

TEST_F(Export, TemporaryNamesWhereFilesCannotBeUnnamed) {
    const std::string path = m_dir.path("a.bin");
    const std::vector<std::uint8_t> bytes(100, 7);
    const auto names = [&] { return directory(m_dir.root()); };
    for (const bool named : {false, true}) {
        {
            OutputFile unfinished(path, {.named = named});
            unfinished.write(bytes);
            EXPECT_EQ(names().size(), named ? 1U : 0U);
            removeLeftovers(m_dir.root().string(), [](const std::string& name) { return name == "a.bin"; });
            EXPECT_EQ(names().size(), named ? 1U : 0U) << "a live process writes it";
        }
        EXPECT_EQ(names().size(), 0U);
        OutputFile first(path, {.sync = true, .named = named});
        OutputFile second(path, {.named = named});
        first.write(bytes);
        first.finish();
        EXPECT_THROW(second.finish(), std::runtime_error);
        OutputFile third(path, {.existing = Existing::replace, .named = named});
        third.finish();
        EXPECT_EQ(fs::file_size(path), 0U);
        fs::remove(path);
    }
    for (const char* name : {"a.bin.77-0.krw-part", "b.bin.77-0.krw-part"})
        (void)m_dir.write(name, bytes);
    removeLeftovers(m_dir.root().string(), [](const std::string& name) { return name == "a.bin"; });
    EXPECT_THAT(names(), testing::ElementsAre(testing::Key("b.bin.77-0.krw-part")));
}

/// A picture of greys of many brightnesses under a light that makes red and blue weak, of which
/// `coloured` tenths are a red thing.
Mosaic underLight(double red, double blue, int coloured) {
    Mosaic mosaic{256, 160, std::vector<std::uint16_t>(std::size_t{256} * 160)};
    for (std::size_t row = 0; row < mosaic.height; ++row)
        for (std::size_t column = 0; column < mosaic.width; ++column) {
            const bool isThing = static_cast<int>(column * 10 / mosaic.width) < coloured;
            const double grey = 200.0 + 18.75 * static_cast<double>(row);
            const std::array<double, 3> light{red, isThing ? 0.12 : 1, blue * (isThing ? 0.15 : 1)};
            const auto colour = static_cast<std::size_t>(kCfaCell[row % 2 * 2 + column % 2]);
            mosaic.samples[row * mosaic.width + column] = static_cast<std::uint16_t>(grey * light[colour]);
        }
    return mosaic;
}

TEST_F(Export, BalancesTheWholeClipAlikeAndNotToTheComplement) {
    const auto neutral = [&](const std::string& options) {
        EXPECT_EQ(krw("-q export clip.krw --overwrite -o out " + options).status, 0);
        std::istringstream text(shell("exiftool -s3 -AsShotNeutral out/clip_000001.dng").out);
        std::array<double, 3> values{};
        for (double& value : values)
            text >> value;
        return values;
    };
    for (const int coloured : {0, 5, 8}) {
        const std::vector<Mosaic> frames(3, underLight(0.5, 0.7, coloured));
        ClipDescription description;
        description.blackLevel = 0;
        write("clip.krw", makeClip(description, frames));
        const auto white = neutral("");
        EXPECT_NEAR(white[0], 0.5, 0.05) << coloured;
        EXPECT_NEAR(white[2], 0.7, 0.07) << coloured;
        EXPECT_EQ(neutral("--frames 1 --neutral auto"), white)
            << "frames of other runs belong to the same clip";
    }
    EXPECT_THAT(neutral("--neutral clip"), testing::ElementsAre(1, 1, 1));
    EXPECT_THAT(neutral("--neutral 0.4,0.8,0.6"), testing::ElementsAre(0.5, 1, 0.75));
    (void)shell("printf '1 0 0 # red\\n0,1,0\\n0 0 0.5\\n' > matrix");
    (void)neutral("--matrix matrix");
    EXPECT_EQ(shell("exiftool -s3 -ColorMatrix1 out/clip_000001.dng").out, "1 0 0 0 1 0 0 0 0.5\n");
    EXPECT_EQ(krw("export clip.krw -o other --neutral 1,2").status, 2);
    (void)shell("printf '1 2 3' > matrix");
    EXPECT_THAT(krw("export clip.krw -o other --matrix matrix").err, HasSubstr("matrix: 3 numbers"));
}

TEST_F(Export, SynthesizedSideCarsAgreeWithTheirClip) {
    const auto levels = [&](const std::string& kind) {
        EXPECT_EQ(krw("-q synth s.krw --overwrite --size 64x32 --frames 3 --fps 50 --shift 2 --black 100 "
                      "--white 900 " +
                      (kind.empty() ? kind : "--side-car " + kind))
                      .status,
                  0);
        const json video = json::parse(krw("info --json s.krw").out)["video"];
        return json{video["levels"], video["frameRate"], video["timecode"]["first"]};
    };
    const json alone = levels("");
    EXPECT_EQ(alone[0]["white"], 3600);
    for (const char* kind : {"sony", "p2", "gh5", "slate"}) {
        EXPECT_EQ(levels(kind), alone) << kind;
        (void)shell("rm -f sM01.XML slate.txt");
    }
}

} // namespace
