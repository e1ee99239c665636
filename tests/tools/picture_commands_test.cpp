// Pictures that commands make, checked by their pixels: frame, sheet, stream and histogram.

#include "tests/tools/krw_tool.h"
#include "tools/export/pgm.h"
#include "tools/picture/contact_sheet.h"
#include "tools/picture/histogram.h"

#include <array>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::Gt;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

class PictureCommands : public KrwTool {
  protected:
    [[nodiscard]] RgbImage developed(const std::string& arguments) const {
        (void)krw("frame " + arguments + " -o frame.png --overwrite");
        return readPng("frame.png");
    }
};

std::vector<int> pixelAt(const RgbImage& image, std::size_t x, std::size_t y) {
    const std::uint8_t* pixel = &image.pixels[3 * (y * image.width + x)];
    return {pixel, pixel + 3};
}

/// The pixels of a part of an image, row after row.
std::vector<std::uint8_t> partOf(const RgbImage& image, std::uint32_t x, std::uint32_t y, std::uint32_t width,
                                 std::uint32_t height) {
    std::vector<std::uint8_t> pixels;
    for (std::uint32_t row = y; row < y + height; ++row) {
        const auto begin = image.pixels.begin() + 3 * (std::ptrdiff_t{row} * image.width + x);
        pixels.insert(pixels.end(), begin, begin + 3 * std::ptrdiff_t{width});
    }
    return pixels;
}

TEST_F(PictureCommands, FrameHasTheColoursTheRightWayUp) {
    // Quadrants: red, green / blue, white.
    Mosaic mosaic{64, 32, std::vector<std::uint16_t>(std::size_t{64} * 32)};
    for (std::size_t row = 0; row < 32; ++row)
        for (std::size_t column = 0; column < 64; ++column) {
            const std::size_t site = row % 2 * 2 + column % 2; // green, red, blue, green
            const std::size_t quadrant = row / 16 * 2 + column / 32;
            constexpr std::array<std::array<bool, 4>, 4> kLit{{{false, true, false, false},
                                                               {true, false, false, true},
                                                               {false, false, true, false},
                                                               {true, true, true, true}}};
            mosaic.samples[row * 64 + column] = kLit[quadrant][site] ? 4095 : 0;
        }
    writePgm(m_dir.path("quadrants.pgm"), mosaic);
    ASSERT_EQ(krw("-q synth clip.krw --from quadrants.pgm --frames 2").status, 0);
    const RgbImage image = developed("clip.krw 1 --balance clip");
    ASSERT_EQ(image.width, 32U);
    ASSERT_EQ(image.height, 16U);
    EXPECT_THAT(pixelAt(image, 8, 4), ElementsAre(255, 0, 0));
    EXPECT_THAT(pixelAt(image, 24, 4), ElementsAre(0, 255, 0));
    EXPECT_THAT(pixelAt(image, 8, 12), ElementsAre(0, 0, 255));
    EXPECT_THAT(pixelAt(image, 24, 12), ElementsAre(255, 255, 255));
}

TEST_F(PictureCommands, CurveOptionSelectsItsCurve) {
    // Light of a quarter: 1.055 x^(1/2.4) - 0.055 of IEC 61966-2-1, 1.099 x^0.45 - 0.099 of BT.709, x.
    writePgm(m_dir.path("grey.pgm"), Mosaic{16, 8, std::vector<std::uint16_t>(std::size_t{16} * 8, 1024)});
    ASSERT_EQ(krw("-q synth clip.krw --from grey.pgm --frames 2 --white 4095").status, 0);
    const auto samples = [this](const std::string& curve) {
        const std::string bytes =
            krw("stream clip.krw --frames 0 --as rgb24 --balance clip --curve " + curve).out;
        return std::vector<std::uint8_t>(bytes.begin(), bytes.end());
    };
    for (const auto& [curve, value] : {std::pair("gamma", 137), {"rec709", 125}, {"linear", 64}})
        EXPECT_THAT(samples(curve), AllOf(SizeIs(3 * 8 * 4), Each(value))) << curve;
    EXPECT_THAT(samples("log"), Each(Gt(140))) << "the logarithmic curve opens the shadows most";
}

TEST_F(PictureCommands, SheetHasTheFramesThatItNames) {
    writeSpoiltClip("spoilt.krw");
    const Outcome run = krw("sheet spoilt.krw -o sheet.png --balance clip --count 5");
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.err, HasSubstr("frame 3: its record carries no frame header"));
    const RgbImage sheet = readPng("sheet.png");
    const SheetLayout layout({5, 32, 16});
    ASSERT_EQ(sheet.width, layout.width());
    ASSERT_EQ(sheet.height, layout.height());
    for (const std::uint32_t frame : {0U, 1U, 2U, 4U})
        EXPECT_EQ(partOf(sheet, layout.x(frame), layout.y(frame), 32, 16),
                  developed(fmt::format("spoilt.krw {} --balance clip", frame)).pixels)
            << "frame " << frame;
    const auto missing = partOf(sheet, layout.x(3), layout.y(3), 32, 16);
    for (std::size_t at = 3; at < missing.size(); ++at)
        ASSERT_EQ(missing[at], missing[at - 3]) << "the area of the unreadable frame is plain";
}

TEST_F(PictureCommands, HistogramIsThatOfTheMiddleFrameWithItsLevels) {
    ASSERT_EQ(krw("-q synth clip.krw --size 64x32 --frames 3 --keep-mosaics kept").status, 0);
    ASSERT_EQ(krw("info clip.krw --histogram levels.png").status, 0);
    const RgbImage expected =
        drawHistograms(readPgm(m_dir.path("kept/000001.pgm")), 256, 4095, "clip.krw  frame 1  01:00:00:01");
    EXPECT_TRUE(readPng("levels.png").pixels == expected.pixels);
}

TEST_F(PictureCommands, WriteToStandardOutputPipesAndDescriptors) {
    write("good.krw", makeClip(3, 64, 32));
    const std::string frame = KRW_PROGRAM " frame good.krw 1 -o ";
    const Outcome run =
        shell(frame + "file.png; " + frame + "- > dash.png; " + frame + "/dev/stdout | cat > pipe.png; " +
              frame + "/dev/fd/3 3> descriptor.png; mkfifo named; cat named > fifo.png & " + frame +
              "named; wait; bash -c '" + frame +
              ">(cat > substituted.png; touch done)'; "
              "until [ -e done ]; do sleep 0.01; done; rm done named");
    EXPECT_EQ(run.err, "");
    const std::string expected = contents(m_dir.path("file.png"));
    for (const char* name : {"dash.png", "pipe.png", "descriptor.png", "fifo.png", "substituted.png"})
        EXPECT_TRUE(contents(m_dir.path(name)) == expected) << name;
    EXPECT_THAT(krw("sheet good.krw -o -").out, StartsWith("\x89PNG"));
}

} // namespace
