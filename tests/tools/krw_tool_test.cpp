// The built command `krw`: its output, its files and its exit status. Other programs check the files.

#include "host/timecode.h"
#include "tests/tools/krw_tool.h"
#include "tools/clip/binary_timecode.h"
#include "tools/clip/rational_rate.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <set>

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

struct BadInput {
    const char* name;
    const char* arguments;
    int status;
    const char* words; // what the one line on standard error says
};

class KrwBadInput : public KrwTool, public testing::WithParamInterface<BadInput> {};

TEST_P(KrwBadInput, SaysWhyInOneLineAndLeavesNothing) {
    const BadInput& bad = GetParam();
    const TestClip good = makeClip(3, 64, 32);
    write("good.krw", good);
    fs::create_directory(m_dir.path("directory.krw"));
    (void)m_dir.write("empty.krw", {});
    (void)m_dir.write("short.krw", std::span(good.bytes).first(1951));
    (void)m_dir.write("picture.png", {});
    (void)m_dir.write("text.krw", std::vector<std::uint8_t>(4000, 'x'));
    TestClip spoilt = good;
    spoilt.setDanraw<std::uint32_t>(0, krwfile::danraw::kSignatureOffset, 0);
    write("nosignature.krw", spoilt);
    const auto before = directory(m_dir.root());

    const Outcome run = krw(bad.arguments);
    EXPECT_EQ(run.status, bad.status);
    EXPECT_EQ(run.out, "");
    const std::vector<std::string> complaints = lines(run.err);
    ASSERT_EQ(complaints.size(), 1U) << run.err;
    EXPECT_THAT(complaints[0], StartsWith("krw: "));
    EXPECT_THAT(complaints[0], HasSubstr(bad.words));
    auto after = directory(m_dir.root());
    for (const char* own : {".out", ".err"})
        after.erase(own);
    EXPECT_TRUE(after == before);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, KrwBadInput,
    testing::Values(
        BadInput{"Missing", "info none.krw", 1, "none.krw: No such file"},
        BadInput{"Directory", "verify directory.krw", 1, "directory.krw: is a directory"},
        BadInput{"Empty", "probe empty.krw", 1, "empty.krw: is empty"},
        BadInput{"Short", "info short.krw", 1, "short.krw: too short"},
        BadInput{"NotAClip", "export text.krw -o directory.krw --format pgm", 1, "text.krw: not a KRW clip"},
        BadInput{"NotAClipProbed", "probe text.krw", 1, "text.krw: not a KRW clip"},
        BadInput{"NoSignature", "sheet nosignature.krw -o s.png", 1,
                 "nosignature.krw: the first frame header"},
        BadInput{"BeyondTheClip", "verify good.krw --frames 1-3", 2, "good.krw: frames 1-3 are outside"},
        BadInput{"BackwardsRange", "verify good.krw --frames 2-1", 2,
                 "good.krw: \"2-1\" is no list of frames"},
        BadInput{"NoPart", "verify good.krw --part 3/2", 2, "--part: \"3/2\" is no part"},
        BadInput{"TimecodeBeyond", "verify good.krw --frames 02:00:00:00", 2,
                 "good.krw: timecode 02:00:00:00"},
        BadInput{"NoClipsInAFolder", "export -r directory.krw -o d", 1, "directory.krw: no clips"},
        BadInput{"OneFolderForTwo", "export good.krw ./good.krw -o d", 2, "would both go to good"},
        BadInput{"NoSuchFrame", "frame good.krw 3 -o f.png", 2, "good.krw: frames 3 are outside"},
        BadInput{"OutputUnderAFile", "export good.krw -o empty.krw/d --format dng", 1,
                 "empty.krw/d: Not a dir"},
        BadInput{"PictureUnderAFile", "frame good.krw 0 -o empty.krw/f.png", 1, "empty.krw/f.png: Not a dir"},
        BadInput{"PictureInTheWay", "sheet good.krw -o picture.png", 1, "picture.png: exists already"},
        BadInput{"PictureOfAnotherKind", "frame good.krw 0 -o f.JPG", 2,
                 "f.JPG: the name of a PNG file ends"},
        BadInput{"ExportToStandardOutput", "export good.krw -o -", 2, "-o: an export is a folder"},
        BadInput{"ClipToStandardOutput", "synth -", 2, "a clip is written into a file"},
        BadInput{"SheetsToStandardOutput", "sheet good.krw good.krw -o /dev/stdout", 2, "-o: several clips"},
        BadInput{"HistogramToStandardOutput", "info good.krw --histogram -", 2,
                 "--histogram: standard output"},
        BadInput{"MisspeltCommand", "-q exprot good.krw -o d", 2,
                 "exprot: no such command; did you mean export?"},
        BadInput{"UnknownCommand", "transcode good.krw", 2, "transcode: no such command (krw --help"},
        BadInput{"UnknownFormat", "export good.krw -o . --format jpg", 2, "--format: jpg not in"},
        BadInput{"NoList", "verify good.krw -q --against text.krw", 1, "text.krw: line 1 is no line"},
        BadInput{"NotAPlugin", "--plugin text.krw info good.krw", 1, "text.krw: cannot be loaded"}),
    [](const auto& row) { return row.param.name; });

TEST_F(KrwTool, ReportsAResultThatCannotBeWritten) {
    write("good.krw", makeClip(3, 64, 32));
    const Outcome run = krw("verify -q good.krw > /dev/full");
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.err, HasSubstr("standard output"));
}

TEST_F(KrwTool, ExportsWhatWentIntoAClip) {
    ASSERT_EQ(krw("-q synth scene.krw --size 64x32 --frames 4 --keep-mosaics kept").status, 0);
    ASSERT_EQ(krw("-q export scene.krw -o out --format pgm --frames 1- --jobs 2").status, 0);
    const auto kept = directory(m_dir.path("kept"));
    auto out = directory(m_dir.path("out"));
    EXPECT_EQ(out.erase("scene.krw-export.json"), 1U);
    ASSERT_EQ(kept.size(), 4U);
    ASSERT_EQ(out.size(), 3U);
    auto original = std::next(kept.begin());
    for (const auto& [name, bytes] : out)
        EXPECT_EQ(bytes, (original++)->second) << name;
    EXPECT_TRUE(out.contains("scene_000001.pgm"));

    ASSERT_EQ(krw("-q export scene.krw -o tc --format pgm --names timecode --frames 3").status, 0);
    EXPECT_EQ(directory(m_dir.path("tc")).at("scene_01-00-00-03.pgm"), out.at("scene_000003.pgm"));
}

TEST_F(KrwTool, NamesDamagedFramesAndDeliversTheOthers) {
    writeSpoiltClip("spoilt.krw");
    const Outcome verified = krw("verify spoilt.krw");
    EXPECT_EQ(verified.status, 1);
    std::vector<std::string> statuses;
    for (const std::string& line : lines(verified.out))
        statuses.push_back(line.substr(line.rfind(' ') + 1));
    EXPECT_THAT(statuses, ElementsAre("ok", "damaged", "ok", "unreadable", "ok"));
    EXPECT_THAT(verified.err, HasSubstr("frame 1: plane 2 breaks off in row 1: no code at byte 0"));
    EXPECT_THAT(verified.err, HasSubstr("frame 3: its record carries no frame header"));
    EXPECT_THAT(verified.err, HasSubstr("3 ok, 1 damaged, 1 unreadable"));

    for (const char* format : {"dng", "tiff", "pgm", "png"}) {
        const std::string out = std::string("out-") + format;
        const Outcome exported = krw("export spoilt.krw --format " + (std::string(format) + " -o " + out));
        EXPECT_EQ(exported.status, 1) << format;
        EXPECT_EQ(directory(m_dir.path(out)).size(), 4U + 1U) << format << ", and a manifest";
        EXPECT_THAT(exported.err, HasSubstr("3 exported, 1 damaged, 1 unreadable"));
    }
    EXPECT_EQ(krw("export spoilt.krw --strict --format pgm -o strict").status, 1);
    EXPECT_EQ(directory(m_dir.path("strict")).size(), 1U + 1U)
        << "and what tells that the export did not end";

    const Outcome told = krw("info spoilt.krw --frames 0-3");
    EXPECT_EQ(told.status, 1);
    EXPECT_THAT(told.out, HasSubstr("frame 1 damaged"));
    EXPECT_THAT(told.out, HasSubstr("frame 3 unreadable"));
    const Outcome grey = krw("frame spoilt.krw 0 -o grey.png --balance grey");
    EXPECT_EQ(grey.status, 0);
    EXPECT_THAT(grey.err, HasSubstr("krw: spoilt.krw: the white balance is estimated from 3 of 5 frames; "
                                    "frame 1: plane 2 breaks off"));
}

TEST_F(KrwTool, ListsTheSameForAnyNumberOfJobsAndComparesLists) {
    TestClip clip = makeClip(13, 64, 32);
    write("clip.krw", clip);
    const Outcome one = krw("verify -q clip.krw > list; cat list");
    EXPECT_EQ(lines(one.out).size(), 13U);
    EXPECT_EQ(krw("verify -q clip.krw --jobs 2").out, one.out);
    EXPECT_EQ(krw("verify -q clip.krw --jobs 8").out, one.out);
    EXPECT_EQ(krw("verify -q clip.krw --against list").status, 0);
    EXPECT_EQ(shell("for i in 1 2 3; do " KRW_PROGRAM " verify -q clip.krw --part $i/3; done").out, one.out);
    EXPECT_EQ(krw("verify -q clip.krw --frames 4-5 --part 1/3").out, "");

    clip.planeData(7, 0)[0] ^= 0x80;
    write("other.krw", clip);
    const Outcome other = krw("verify -q other.krw --jobs 2 --against list");
    EXPECT_EQ(other.status, 1);
    EXPECT_THAT(other.err, HasSubstr("frame 7: "));
    write("fewer.krw", makeClip(12, 64, 32));
    EXPECT_THAT(krw("verify -q fewer.krw --against list").err,
                HasSubstr("has 12 frames, the list has 1 more"));
}

TEST_F(KrwTool, ResumesAnExportToTheSameFiles) {
    write("clip.krw", makeClip(6, 64, 32));
    for (const std::string format : {"dng", "tiff", "pgm", "png"}) {
        const auto exportTo = [&](const char* out, const char* options) {
            return krw(fmt::format("export -q clip.krw --format {0} -o {1}-{0} {2}", format, out, options))
                .status;
        };
        ASSERT_EQ(exportTo("whole", ""), 0);
        ASSERT_EQ(exportTo("part", "--frames 0-3"), 0);
        const fs::path part = m_dir.path("part-" + format);
        const fs::path cut = part / ("clip_000002." + format);
        fs::resize_file(cut, fs::file_size(cut) - 1);
        EXPECT_EQ(exportTo("part", ""), 1) << "files are in the way";
        ASSERT_EQ(exportTo("part", "--resume --jobs 2"), 0);
        EXPECT_TRUE(directory(part) == directory(m_dir.path("whole-" + format))) << format;
    }
}

TEST_F(KrwTool, TellsWhereItemsComeFrom) {
    ASSERT_EQ(krw("-q synth scene.krw --size 64x32 --frames 3 --no-trailer --side-car sony").status, 0);
    const Outcome run = krw("info --json scene.krw");
    ASSERT_EQ(run.status, 0);
    const auto document =
        nlohmann::json::parse(run.out); // a rebuilt frame table must not announce itself here
    EXPECT_EQ(document["schema"], "krw-info-1");
    EXPECT_EQ(document["video"]["frames"], 3);
    std::map<std::string, std::string> sources;
    for (const auto& item : document["items"])
        sources.emplace(item["name"], item["source"]);
    EXPECT_EQ(sources.at("manufacturer"), "side-car");
    EXPECT_EQ(sources.at("isoSensitivity"), "side-car");
    EXPECT_EQ(sources.at("text68"), "header");
    EXPECT_EQ(sources.at("rGain"), "reader");
    EXPECT_THAT(document["deviceMetadata"]["text"], StartsWith("<PVDeviceMetadata>"));
    EXPECT_EQ(nlohmann::json::parse(krw("probe --json scene.krw .out").out)["files"][1]["readable"], false);
}

TEST_F(KrwTool, BelievesWhatAReaderTellsItsHostAndNothingElse) {
    write("clip.krw", makeClip(3, 64, 32));
    const Outcome run = krw("--plugin " KRW_OTHER_READER " info --json clip.krw");
    ASSERT_EQ(run.status, 0) << run.err;
    const auto document = nlohmann::json::parse(run.out);
    EXPECT_EQ(document["video"]["mosaic"], "bgrg");
    EXPECT_EQ(document["audio"]["samplesPerFrame"]["numerator"], 48000);
    EXPECT_EQ(document["audio"]["samplesPerFrame"]["denominator"], 25);
}

TEST_F(KrwTool, WritesDropFrameTimecodesAsTheCameraCountsThem) {
    TestClip clip = makeClip(3, 64, 32);
    clip.setFramesPerSecond(0, 29.97F);
    // 01:00:59;28 drop-frame: frames with the flag, seconds, minutes, hours.
    clip.setDanraw<std::uint32_t>(0, krwfile::danraw::kTimecode, 0x01005968);
    write("clip.krw", clip);
    const auto timecode = nlohmann::json::parse(krw("info --json clip.krw").out)["video"]["timecode"];
    EXPECT_EQ(timecode["dropFrame"], true);
    EXPECT_EQ(timecode["first"]["text"], "01:00:59;28");
    EXPECT_EQ(timecode["last"]["text"], "01:01:00;02");
}

TEST(TimecodeText, CountsAsTheHostConverts) {
    struct Base {
        std::uint32_t code;
        TimecodeCounting counting;
        std::uint32_t framesADay;
    };
    for (const Base& base : {Base{tcbase::k24, {24, false}, 2073600}, Base{tcbase::k25, {25, false}, 2160000},
                             Base{tcbase::k2997, {30, true}, 2589408}})
        for (std::uint32_t frame = 0; frame < base.framesADay; ++frame) {
            std::uint32_t back = 0;
            ASSERT_EQ(tc2Frame(binaryTimecode(frame, base.counting).data(), base.code, &back), 1) << frame;
            ASSERT_EQ(back, frame);
        }
    EXPECT_EQ(timecodeText(3600, {60, true}), "00:01:00;04");
    EXPECT_EQ(timecodeText(2073600, {24, false}), "00:00:00:00");
    EXPECT_THAT(binaryTimecode(61, {60, false}), ElementsAre(0, 0x81, 0, 0, 0, 0, 0, 0));
    EXPECT_THAT(binaryTimecode(49, {50, false}), ElementsAre(0x24, 0x80, 0, 0, 0, 0, 0, 0));
}

TEST_F(KrwTool, WritesDngFilesThatOtherDecodersRead) {
    ASSERT_EQ(krw("-q synth scene.krw --size 128x64 --frames 3 --fps 29.97 --side-car sony").status, 0);
    ASSERT_EQ(krw("-q export scene.krw -o . --format dng").status, 0);
    ASSERT_EQ(krw("-q export scene.krw -o pgm --format pgm").status, 0);
    const std::string mosaic = contents(m_dir.path("pgm/scene_000002.pgm"));
    ASSERT_EQ(shell("unprocessed_raw scene_000002.dng").status, 0);
    EXPECT_TRUE(contents(m_dir.path("scene_000002.dng.pgm")) == mosaic);

    const Outcome tags =
        shell("exiftool -s3 -Make -Model -CameraSerialNumber -TimeCodes -FrameRate -BlackLevel -WhiteLevel "
              "-DateTime -ModifyDate scene_000002.dng");
    EXPECT_THAT(lines(tags.out), ElementsAre("Sony", "CAM-1", "S042", "01:00:00.02", "29.97", "256", "4095",
                                             "2017:05:06 10:20:30"));
    EXPECT_TRUE(shell("dcraw -D -4 -t 0 -c scene_000002.dng").out == mosaic);
}

TEST_F(KrwTool, WritesHowAClipWasShotIntoItsDngFiles) {
    const Outcome synth =
        krw("-q synth fast.krw --size 64x32 --frames 2 --fps 48 --side-car sony; "
            "for k in p2 slate; do mkdir $k; " KRW_PROGRAM
            " -q synth $k/$k.krw --size 64x32 --frames 2 --fps 50 --side-car $k; done; "
            "for c in fast.krw p2/p2.krw slate/slate.krw; do " KRW_PROGRAM " -q export $c -o .; done");
    ASSERT_EQ(synth.status, 0);
    EXPECT_THAT(synth.err, HasSubstr("--fps 48: readers of the clip deliver 30 frames/s"));
    EXPECT_THAT(krw("info fast.krw").out, HasSubstr("(30/1); the header states 48\n"));
    EXPECT_EQ(nlohmann::json::parse(krw("info --json fast.krw").out)["video"]["headerFrameRate"], 48);
    const auto tags = [&](const char* file) {
        return lines(shell(std::string("exiftool -s3 -f -ExifIFD:ISO -ExposureTime -FNumber -FocalLength "
                                       "-DateTimeOriginal -FrameRate -TimeCodes -CameraLabel -ReelName ") +
                           file)
                         .out);
    };
    EXPECT_THAT(tags("fast_000001.dng"), ElementsAre("800", "1/96", "2.8", "35.0 mm", "2017:05:06 10:20:30",
                                                     "48", "01:00:00.01", "A", "A001"));
    EXPECT_THAT(tags("p2_000001.dng"),
                ElementsAre("800", "-", "-", "-", "2017:05:06 10:20:30", "50", "01:00:00.00", "1", "-"));
    EXPECT_THAT(tags("slate_000000.dng"), ElementsAre("-", "-", "-", "35.0 mm", "2017:05:06 10:20:30", "50",
                                                      "01:00:00.00", "1", "A001"));
    EXPECT_THAT(shell("exiftool -n -s3 -TimeCodes -ImageDescription fast_000001.dng").out,
                testing::AllOf(StartsWith("01.00.00.01.78.56.34.12\n"), HasSubstr("white balance 5600 K")));
}

TEST(RationalRate, TakesTheNearestFractionThatCamerasUse) {
    using Rate = std::optional<Rational>;
    for (const auto& [stated, expected] :
         {std::pair(24.0, Rate({24, 1})), std::pair(23.98, Rate({24000, 1001})),
          std::pair(23.976, Rate({24000, 1001})), std::pair(47.952, Rate({48000, 1001})),
          std::pair(59.94, Rate({60000, 1001})), std::pair(12.5, Rate({25, 2})), std::pair(0.0, Rate()),
          std::pair(std::nan(""), Rate()), std::pair(HUGE_VAL, Rate())})
        EXPECT_EQ(rationalRate(stated), expected) << stated;
}

TEST_F(KrwTool, EndsInGoodOrderWhenInterrupted) {
    write("long.krw", makeLongClip());
    const Outcome run = shell(KRW_PROGRAM " export long.krw -o out --format pgm --jobs 2 & "
                                          "until [ -e out/long_000005.pgm ]; do sleep 0.01; done; "
                                          "kill -INT $!; wait $!");
    EXPECT_EQ(run.status, 130) << run.err;
    EXPECT_THAT(run.err, HasSubstr("interrupted"));
    std::set<std::size_t> sizes;
    for (const auto& [name, bytes] : directory(m_dir.path("out"))) {
        EXPECT_THAT(name, StartsWith("long")) << "a temporary file stays behind";
        if (name.ends_with(".pgm")) sizes.insert(bytes.size());
    }
    EXPECT_EQ(sizes.size(), 1U) << "every picture is whole";
}

TEST_F(KrwTool, CompletesItsOwnCommandLine) {
    const Outcome run =
        shell("bash -c 'source <(" KRW_PROGRAM " completion bash); COMP_CWORD=4; "
              "COMP_WORDS=(krw export a.krw --format p); _krw; echo ${COMPREPLY[@]}; "
              "COMP_CWORD=5; COMP_WORDS=(krw export a.krw --format = p); _krw; echo ${COMPREPLY[@]}; "
              "COMP_CWORD=1; COMP_WORDS=(krw s); _krw; echo ${COMPREPLY[@]}'");
    EXPECT_THAT(lines(run.out), ElementsAre("pgm png", "pgm png", "stream sheet synth")) << run.err;
    ASSERT_EQ(shell("mkdir f; " KRW_PROGRAM " completion zsh > f/_krw").status, 0);
    const auto zsh = [&](const std::string& line) {
        return shell("zsh -f " KRW_ZSH_COMPLETION " f '" + line + "'").out;
    };
    EXPECT_EQ(zsh("krw exp"), "export ");
    EXPECT_EQ(zsh("krw export a.krw --format p"), "pgm png ");
    EXPECT_EQ(zsh("krw export a.krw --format=p"), "pgm png ");
    EXPECT_EQ(zsh("krw sheet --thumb"), " --thumb-width ");
    EXPECT_THAT(krw("manual").out, HasSubstr("\\fBkrw export\\fR [options] \\fICLIP\\fR..."));
}

} // namespace
