// DNG files of every kind of mosaic, decoded by LibRaw, dcraw and FFmpeg.
#include "tests/support/clip_builder.h"
#include "tests/tools/krw_tool.h"
#include "tools/export/lossless_jpeg.h"
#include "tools/export/output_file.h"
#include "tools/export/pgm.h"
#include "tools/export/tiff_files.h"
#include "tools/synth/scene.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <functional>
#include <gtest/gtest.h>

namespace {

/// Levels that leave samples as they are.
DngMetadata plainMetadata() {
    DngMetadata metadata;
    metadata.exif.make = "Maker";
    metadata.exif.model = "Model";
    metadata.uniqueCameraModel = "Maker Model";
    metadata.white = 4095; // FFmpeg scales to 16 bits: two samples must not become equal
    metadata.exif.frameRate = {25, 1};
    return metadata;
}

Mosaic filled(std::uint32_t width, std::uint32_t height,
              const std::function<std::uint16_t(std::size_t)>& sample) {
    Mosaic mosaic{width, height, {}};
    for (std::size_t index = 0; index < std::size_t{width} * height; ++index)
        mosaic.samples.push_back(sample(index));
    return mosaic;
}

Mosaic shifted(Mosaic mosaic, unsigned shift) {
    for (std::uint16_t& sample : mosaic.samples)
        sample = static_cast<std::uint16_t>(sample << shift);
    return mosaic;
}

/// Each category is half as frequent as the next lower one, so the largest have the longest codes and
/// magnitudes.
Mosaic rareLargeSteps() {
    return filled(512, 512, [](std::size_t index) {
        const std::size_t rarity =
            index % 65536 == 0 ? 15 : static_cast<std::size_t>(std::countr_zero(index));
        return static_cast<std::uint16_t>((index / 2 % 2 == 0 ? 1U : 0U)
                                          << std::min<std::size_t>(rarity, 14));
    });
}

struct MosaicCase {
    const char* name;
    Mosaic (*make)();
    bool compressed; // whether lossless JPEG carries it to every decoder
};

class DngReaders : public KrwTool, public testing::WithParamInterface<MosaicCase> {
  protected:
    std::uint64_t writeDng(const std::string& name, const Mosaic& mosaic, Compression compression) const {
        const EncodedFile content = encodeCinemaDng(plainMetadata(), mosaic, {}, compression);
        OutputFile file(m_dir.path(name));
        file.write(content.parts());
        file.finish();
        return content.size();
    }
    /// What FFmpeg decodes, as far as it is a picture.
    [[nodiscard]] std::string ffmpeg(const std::string& name) const {
        const Outcome run = shell("ffmpeg -v error -i " + name + " -f rawvideo -");
        EXPECT_EQ(run.status, 0) << run.err;
        return run.out;
    }
};

TEST_P(DngReaders, GiveTheMosaicBitForBit) {
    const Mosaic mosaic = GetParam().make();
    writePgm(m_dir.path("mosaic.pgm"), mosaic);
    const std::string expected = contents(m_dir.path("mosaic.pgm"));
    const std::uint64_t plain = writeDng("none.dng", mosaic, Compression::none);
    const std::uint64_t coded = writeDng("lossless.dng", mosaic, Compression::lossless);
    EXPECT_EQ(coded != plain, GetParam().compressed);
    const bool largeEnough = std::min(mosaic.width, mosaic.height) >= 22; // for LibRaw and dcraw
    for (const std::string name : {"none.dng", "lossless.dng"}) {
        if (!largeEnough) continue;
        ASSERT_EQ(shell("unprocessed_raw " + name).status, 0);
        EXPECT_TRUE(contents(m_dir.path(name + ".pgm")) == expected) << "LibRaw, " << name;
        EXPECT_TRUE(shell("dcraw -D -4 -t 0 -c " + name).out == expected) << "dcraw, " << name;
    }
    const std::string picture = ffmpeg("none.dng");
    EXPECT_EQ(picture.size(), 2 * mosaic.samples.size());
    EXPECT_TRUE(ffmpeg("lossless.dng") == picture);
}

INSTANTIATE_TEST_SUITE_P(
    Mosaics, DngReaders,
    testing::Values(
        MosaicCase{"OneStrip", [] { return drawScene(510, 202, 0, kNoisyNoise); }, true},
        MosaicCase{"TilesThatFit", [] { return drawScene(1024, 512, 0, kCleanNoise); }, true},
        MosaicCase{"TilesThatReachBeyond", [] { return drawScene(998, 566, 0, kCleanNoise); }, true},
        MosaicCase{"RandomTwelveBits", [] { return randomMosaic(96, 62, 1); }, true},
        MosaicCase{"SixteenBits", [] { return shifted(randomMosaic(96, 62, 2, 2000), 4); }, true},
        MosaicCase{"OneValue", [] { return filled(64, 32, [](std::size_t) { return 4095; }); }, true},
        MosaicCase{"Zeros", [] { return filled(64, 32, [](std::size_t) { return 0; }); }, true},
        MosaicCase{"LongestCodes", rareLargeSteps, true},
        MosaicCase{"LargestStep",
                   [] { return filled(64, 32, [](std::size_t i) { return i % 64 == 40 ? 32767 : 0; }); },
                   true},
        MosaicCase{"StepOf32767",
                   [] { return filled(64, 32, [](std::size_t i) { return i % 64 == 40 ? 32768 : 1; }); },
                   true},
        MosaicCase{"StepOfExactly32768",
                   [] { return filled(64, 32, [](std::size_t i) { return i % 64 == 40 ? 32769 : 1; }); },
                   false},
        MosaicCase{"OneCell", [] { return randomMosaic(2, 2, 3); }, true},
        MosaicCase{"OneColumnOfCells", [] { return randomMosaic(2, 64, 4); }, true}),
    [](const auto& row) { return row.param.name; });

// T.81 forbids the code of all ones. Decoders that take it for a marker's fill bits go wrong.
TEST(LosslessJpeg, HasNoCodeOfAllOnes) {
    const Mosaic mosaic = randomMosaic(64, 32, 5);
    const auto jpeg = encodeLosslessJpeg({64, 32, mosaic.samples}, {64, 32, 1, 1});
    ASSERT_TRUE(jpeg);
    constexpr std::array<std::uint8_t, 2> kTable{0xFF, 0xC4};
    const auto stream = jpeg->streams.at(0);
    const auto table = std::search(stream.begin(), stream.end(), kTable.begin(), kTable.end());
    ASSERT_GT(stream.end() - table, 21);
    constexpr unsigned kLongest = 16;
    std::uint32_t taken = 0; // of all codes of 16 bits
    for (unsigned length = 1; length <= kLongest; ++length)
        taken += std::uint32_t{table[4 + length]} << (kLongest - length);
    EXPECT_LT(taken, 1U << kLongest);
}

TEST(LosslessJpeg, TakesNoMoreThanTheClipsOwnPlanes) {
    for (const double noise : {kCleanNoise, kNoisyNoise}) {
        const Mosaic mosaic = drawScene(2048, 1080, 0, noise);
        std::size_t planes = 0;
        for (const CodedPlane& plane : encodePicture(mosaic).planes)
            planes += plane.data.size();
        const std::uint64_t size = encodeCinemaDng({}, mosaic, {}, Compression::lossless).size();
        EXPECT_LT(static_cast<double>(size), 1.03 * static_cast<double>(planes)) << "noise " << noise;
    }
}

} // namespace
