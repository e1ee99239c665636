// The output of `krw stream`, compared with that of other commands and with FFmpeg's conversion.

#include "tests/tools/krw_tool.h"
#include "tools/export/pgm.h"

#include <array>
#include <cmath>
#include <cstring>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <numeric>

namespace {

using testing::HasSubstr;
using testing::StartsWith;

std::vector<std::uint16_t> words(const std::string& bytes) {
    std::vector<std::uint16_t> values(bytes.size() / 2);
    std::memcpy(values.data(), bytes.data(), 2 * values.size());
    return values;
}

class KrwStream : public KrwTool {
  protected:
    /// What a command writes to standard output.
    [[nodiscard]] std::string output(const std::string& command) const {
        const Outcome run = shell(command);
        EXPECT_EQ(run.status, 0) << command << "\n" << run.err;
        return run.out;
    }
    [[nodiscard]] std::string stream(const std::string& arguments) const {
        return output(KRW_PROGRAM " stream " + arguments);
    }
};

TEST_F(KrwStream, HoldsWhatFrameAndExportWrite) {
    ASSERT_EQ(krw("-q synth clip.krw --size 64x32 --frames 3").status, 0);
    ASSERT_EQ(krw("-q export clip.krw -o pgm --format pgm").status, 0);
    EXPECT_EQ(stream("clip.krw --as mosaic"),
              output("ffmpeg -v error -i pgm/clip_%06d.pgm -pix_fmt gray16le -f rawvideo -"));
    for (const char* const look : {"--size half --curve rec709", "--size full --curve log --balance clip"}) {
        ASSERT_EQ(krw(fmt::format("frame clip.krw 1 -o 8.png --overwrite {}", look)).status, 0);
        ASSERT_EQ(krw(fmt::format("frame clip.krw 1 -o 16.png --depth 16 --overwrite {}", look)).status, 0);
        EXPECT_EQ(stream(fmt::format("clip.krw --frames 1 --as rgb24 {}", look)),
                  output("ffmpeg -v error -i 8.png -pix_fmt rgb24 -f rawvideo -"));
        EXPECT_EQ(stream(fmt::format("clip.krw --frames 1 --as rgb48 {}", look)),
                  output("ffmpeg -v error -i 16.png -pix_fmt rgb48le -f rawvideo -"));
    }
}

TEST_F(KrwStream, GivesTheSameFramesForAnyNumberOfJobs) {
    ASSERT_EQ(krw("-q synth clip.krw --size 64x32 --frames 19").status, 0);
    const std::string one = stream("clip.krw --as rgb24 --jobs 1");
    constexpr std::size_t kThree = 4608; // bytes of three frames of 32 x 16 pixels
    ASSERT_EQ(one.size(), kThree / 3 * 19);
    EXPECT_EQ(stream("clip.krw --as rgb24 --jobs 7"), one);
    EXPECT_EQ(stream("clip.krw --as rgb24 --frames 3-5"), one.substr(kThree, kThree));
}

/// A mosaic whose colours change slowly, so that coarser chroma loses nothing.
Mosaic smoothMosaic(std::uint32_t width, std::uint32_t height) {
    Mosaic mosaic{width, height, std::vector<std::uint16_t>(std::size_t{width} * height)};
    for (std::uint32_t y = 0; y < height; ++y)
        for (std::uint32_t x = 0; x < width; ++x) {
            const double across = static_cast<double>(x) / width;
            const double down = static_cast<double>(y) / height;
            const std::array<double, 3> light{across, down, 1 - (across + down) / 2};
            const auto colour = static_cast<std::size_t>(kCfaCell[y % 2 * 2 + x % 2]);
            mosaic.samples[std::size_t{y} * width + x] =
                static_cast<std::uint16_t>(std::lround(400 + 3000 * light[colour]));
        }
    return mosaic;
}

struct YuvCase {
    const char* word;
    const char* pixelFormat;
    double bytesPerPixel;
    double meanError; // of 16-bit values after FFmpeg's conversion back to RGB
};

TEST_F(KrwStream, ConvertsToYuvAsFfmpegConvertsBack) {
    writePgm(m_dir.path("smooth.pgm"), smoothMosaic(256, 128));
    ASSERT_EQ(krw("-q synth clip.krw --from smooth.pgm --frames 2 --fps 29.97").status, 0);
    const auto rgb = words(stream("clip.krw --as rgb48"));
    for (const YuvCase& yuv :
         {YuvCase{"420", "yuv420p", 1.5, 250}, YuvCase{"444", "yuv444p", 3, 250},
          YuvCase{"420p10", "yuv420p10le", 3, 250}, YuvCase{"444p10", "yuv444p10le", 6, 250}}) {
        const std::string y4m =
            stream(fmt::format("clip.krw --yuv {} > {}.y4m; cat {}.y4m", yuv.word, yuv.word, yuv.word));
        const std::string header = y4m.substr(0, y4m.find('\n') + 1);
        EXPECT_THAT(header, StartsWith("YUV4MPEG2 W128 H64 F30000:1001 Ip A1:1 C"));
        EXPECT_EQ(y4m.size(),
                  header.size() + 2 * (6 + static_cast<std::size_t>(128 * 64 * yuv.bytesPerPixel)));
        EXPECT_EQ(output(fmt::format("ffprobe -v error -show_entries stream=pix_fmt,color_range,r_frame_rate "
                                     "-of csv=p=0 {}.y4m",
                                     yuv.word)),
                  fmt::format("{},tv,30000/1001\n", yuv.pixelFormat));
        const auto back = words(output(fmt::format(
            "ffmpeg -v error -i {}.y4m -vf scale=in_color_matrix=bt709:in_range=tv:flags=accurate_rnd+"
            "full_chroma_int,format=rgb48le -f rawvideo -",
            yuv.word)));
        ASSERT_EQ(back.size(), rgb.size());
        double error = 0;
        for (std::size_t i = 0; i < rgb.size(); ++i)
            error += std::abs(static_cast<double>(back[i]) - rgb[i]);
        EXPECT_LT(error / static_cast<double>(rgb.size()), yuv.meanError) << yuv.word;
    }
}

/// Flat colours in 4:2:0, of a picture whose sides are odd: every sample is one value of its plane.
TEST_F(KrwStream, MakesChromaOfOddSizes) {
    Mosaic mosaic{6, 10, std::vector<std::uint16_t>(60)};
    for (std::size_t i = 0; i < 60; ++i) // red
        mosaic.samples[i] = i / 6 % 2 == 0 && i % 2 == 1 ? 4095 : 0;
    writePgm(m_dir.path("red.pgm"), mosaic);
    ASSERT_EQ(krw("-q synth clip.krw --from red.pgm --frames 2").status, 0);
    const std::string y4m = stream("clip.krw --frames 0 --balance clip");
    const std::string planes = y4m.substr(y4m.find("FRAME\n") + 6);
    ASSERT_EQ(planes.size(), 3U * 5 + 2 * (2 * 3));
    EXPECT_EQ(planes,
              std::string(15, '\x3F') + std::string(6, '\x66') + std::string(6, '\xF0')); // 63, 102, 240
}

TEST_F(KrwStream, KeepsItsLengthWhenFramesAreNotWhole) {
    writeSpoiltClip("spoilt.krw");     // 1 and 3
    constexpr std::size_t size = 4096; // bytes of 64 x 32 samples
    const auto frame = [](const std::string& all, std::size_t index) {
        return all.substr(index * size, size);
    };
    const Outcome repeated = krw("stream spoilt.krw --as mosaic");
    EXPECT_EQ(repeated.status, 1);
    EXPECT_THAT(repeated.err, HasSubstr("spoilt.krw: frame 1: plane 2 breaks off"));
    EXPECT_THAT(repeated.err, HasSubstr("spoilt.krw: frame 3: "));
    ASSERT_EQ(repeated.out.size(), 5 * size);
    EXPECT_EQ(frame(repeated.out, 1), frame(repeated.out, 0));
    EXPECT_EQ(frame(repeated.out, 3), frame(repeated.out, 2));
    EXPECT_NE(frame(repeated.out, 4), frame(repeated.out, 2));

    const Outcome black = krw("stream spoilt.krw --as mosaic --damaged black");
    EXPECT_EQ(frame(black.out, 2), frame(repeated.out, 2));
    EXPECT_EQ(words(frame(black.out, 3)),
              std::vector<std::uint16_t>(size / 2, words(frame(black.out, 1))[0]));
    // No frame before it can be repeated.
    EXPECT_EQ(krw("stream spoilt.krw --as mosaic --frames 1-2").out,
              frame(black.out, 1) + frame(repeated.out, 2));
    EXPECT_EQ(krw("stream spoilt.krw --frames 1 | tail -c 3").out, "\x80\x80\x80");
}

TEST_F(KrwStream, EndsWhenTheReaderOrASignalSaysSo) {
    ASSERT_EQ(krw("-q synth clip.krw --size 512x256 --frames 40").status, 0);
    const Outcome gone =
        shell("bash -c 'set -o pipefail; " KRW_PROGRAM " stream clip.krw | head -c 1000 | wc -c'");
    EXPECT_EQ(gone.status, 0);
    EXPECT_EQ(gone.out, "1000\n");
    EXPECT_EQ(gone.err, "");
    const Outcome full = krw("stream clip.krw > /dev/full");
    EXPECT_EQ(full.status, 1);
    EXPECT_THAT(full.err, HasSubstr("standard output: No space left"));
    // Nobody reads the pipe. The signal ends the wait all the same.
    const Outcome stopped =
        shell("bash -c 'mkfifo pipe; sleep 60 < pipe & reader=$!; " KRW_PROGRAM
              " stream clip.krw > pipe & sleep 0.5; kill -TERM $!; wait $!; echo $?; kill $reader'");
    EXPECT_EQ(stopped.out, "143\n") << stopped.err;
    EXPECT_THAT(stopped.err, HasSubstr("krw: interrupted"));
}

TEST_F(KrwStream, DoesNotGoToATerminal) {
    write("clip.krw", makeClip(3, 64, 32));
    const Outcome run = shell("script -qec '" KRW_PROGRAM " stream clip.krw' /dev/null");
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.out, HasSubstr("standard output is a terminal"));
}

} // namespace
