// Developing: the interpolation against the kernels as they are published, sizes, curves and files.

#include "tests/support/clip_builder.h"
#include "tests/support/temp_dir.h"
#include "tools/export/output_file.h"
#include "tools/export/rgb_tiff.h"
#include "tools/picture/develop.h"
#include "tools/picture/png_file.h"
#include "tools/picture/sample_bytes.h"

#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <numeric>
#include <png.h>
#include <random>
#include <tiffio.h>

namespace {

using testing::ElementsAre;

using Kernel = std::array<std::array<double, 5>, 5>; // in eighths

constexpr Kernel kItself{{{}, {}, {0, 0, 8, 0, 0}, {}, {}}};
constexpr Kernel kGreenAtColour{
    {{0, 0, -1, 0, 0}, {0, 0, 2, 0, 0}, {-1, 2, 4, 2, -1}, {0, 0, 2, 0, 0}, {0, 0, -1, 0, 0}}};
constexpr Kernel kBesideGreen{
    {{0, 0, 0.5, 0, 0}, {0, -1, 0, -1, 0}, {-1, 4, 5, 4, -1}, {0, -1, 0, -1, 0}, {0, 0, 0.5, 0, 0}}};
constexpr Kernel kAboveGreen{
    {{0, 0, -1, 0, 0}, {0, -1, 4, -1, 0}, {0.5, 0, 5, 0, 0.5}, {0, -1, 4, -1, 0}, {0, 0, -1, 0, 0}}};
constexpr Kernel kAcrossColour{
    {{0, 0, -1.5, 0, 0}, {0, 2, 0, 2, 0}, {-1.5, 0, 6, 0, -1.5}, {0, 2, 0, 2, 0}, {0, 0, -1.5, 0, 0}}};

/// Red, green and blue of the four sites of a cell, row after row.
constexpr std::array<std::array<const Kernel*, 3>, 4> kKernels{{{&kBesideGreen, &kItself, &kAboveGreen},
                                                                {&kItself, &kGreenAtColour, &kAcrossColour},
                                                                {&kAcrossColour, &kGreenAtColour, &kItself},
                                                                {&kAboveGreen, &kItself, &kBesideGreen}}};

std::uint32_t mirrored(std::int64_t place, std::uint32_t size) {
    const std::int64_t last = std::int64_t{size} - 1;
    while (place < 0 || place > last)
        place = place < 0 ? -place : 2 * last - place;
    return static_cast<std::uint32_t>(place);
}

double filtered(const Mosaic& mosaic, std::uint32_t x, std::uint32_t y, const Kernel& kernel) {
    double sum = 0;
    for (std::size_t row = 0; row < kernel.size(); ++row)
        for (std::size_t column = 0; column < kernel.size(); ++column) {
            const std::uint32_t line =
                mirrored(std::int64_t{y} + static_cast<std::int64_t>(row) - 2, mosaic.height);
            const std::uint32_t place =
                mirrored(std::int64_t{x} + static_cast<std::int64_t>(column) - 2, mosaic.width);
            sum += kernel[row][column] / 8 * mosaic.samples[std::size_t{line} * mosaic.width + place];
        }
    return sum;
}

/// Levels at which samples are light: the gains alone come between.
constexpr Levels kOpen{0, kWhite16};

struct Size {
    std::uint32_t width;
    std::uint32_t height;
};

TEST(Demosaic, IsThePublishedInterpolation) {
    for (const Size size : {Size{2, 2}, Size{4, 2}, Size{2, 6}, Size{18, 10}, Size{42, 8}}) {
        const Mosaic mosaic = randomMosaic(size.width, size.height, size.width);
        const Developer developer(kOpen, {1, 1, 1}, DisplayCurve::linear);
        const RgbImage16 picture = developer.developAs<std::uint16_t>(mosaic, {PictureSize::full});
        ASSERT_EQ(picture.width, size.width);
        ASSERT_EQ(picture.height, size.height);
        for (std::uint32_t y = 0; y < size.height; ++y)
            for (std::uint32_t x = 0; x < size.width; ++x)
                for (std::size_t colour = 0; colour < 3; ++colour) {
                    const double value = filtered(mosaic, x, y, *kKernels[y % 2 * 2 + x % 2][colour]);
                    const double shown = picture.pixels[3 * (std::size_t{y} * size.width + x) + colour];
                    ASSERT_NEAR(shown, std::clamp(value, 0.0, 65535.0), 0.501)
                        << size.width << "x" << size.height << ": " << x << ", " << y << ", " << colour;
                }
    }
}

/// A mosaic of one colour.
Mosaic flatMosaic(std::uint32_t width, std::uint32_t height, const std::array<std::uint16_t, 3>& colour) {
    Mosaic mosaic{width, height, std::vector<std::uint16_t>(std::size_t{width} * height)};
    for (std::size_t i = 0; i < mosaic.samples.size(); ++i)
        mosaic.samples[i] = colour[static_cast<std::size_t>(kCfaCell[i / width % 2 * 2 + i % width % 2])];
    return mosaic;
}

// Near black the published curves are straight lines.
TEST(DisplayCurve, IsALineInTheDark) {
    EXPECT_NEAR(onDisplay(0.002, DisplayCurve::gamma), 0.02584, 1e-9);
    EXPECT_NEAR(onDisplay(0.01, DisplayCurve::rec709), 0.045, 1e-9);
}

TEST(Developer, AppliesLevelsGainsAndCurveAtEverySize) {
    // Light of 1/2, 1/4 and 1/8 after gains; then clipped highlights and samples below black.
    const Levels levels{100, 1100};
    const Gains gains{2, 1, 0.5};
    const Mosaic mosaic = flatMosaic(20, 12, {350, 350, 350});
    struct Case {
        DisplayCurve curve;
        std::array<double, 3> shown;
    };
    for (const Case& each : {Case{DisplayCurve::linear, {0.5, 0.25, 0.125}},
                             Case{DisplayCurve::gamma, {0.735357, 0.537099, 0.388573}},
                             Case{DisplayCurve::rec709, {0.705515, 0.489940, 0.332129}},
                             Case{DisplayCurve::log, {0.875703, 0.752101, 0.629865}}})
        for (const PictureForm& form :
             {PictureForm{PictureSize::half, 1}, PictureForm{PictureSize::half, 3},
              PictureForm{PictureSize::half, 99}, PictureForm{PictureSize::full, 1}}) {
            const Developer developer(levels, gains, each.curve);
            const RgbImage16 fine = developer.developAs<std::uint16_t>(mosaic, form);
            const RgbImage coarse = developer.developAs<std::uint8_t>(mosaic, form);
            ASSERT_EQ(fine.pixels.size(), std::size_t{3} * fine.width * fine.height);
            ASSERT_EQ(coarse.pixels.size(), fine.pixels.size());
            for (std::size_t i = 0; i < fine.pixels.size(); ++i) {
                ASSERT_NEAR(fine.pixels[i] / 65535.0, each.shown[i % 3], 2e-5);
                ASSERT_NEAR(coarse.pixels[i] / 255.0, each.shown[i % 3], 0.501 / 255);
            }
        }
    const Developer developer(levels, gains, DisplayCurve::gamma);
    EXPECT_THAT(developer.develop(flatMosaic(2, 2, {4000, 4000, 50})).pixels, ElementsAre(255, 255, 0));
}

TEST(SampleBytes, MostSignificantByteComesFirstWhateverLengthAndPlace) {
    std::vector<std::uint16_t> samples(41);
    std::iota(samples.begin(), samples.end(), std::uint16_t{0x1FE8});
    for (std::size_t count = 0; count <= samples.size(); ++count)
        for (const std::size_t place : {0U, 1U, 3U}) {
            std::vector<std::uint8_t> bytes(place + 2 * count + 1, 0xEE);
            storeBigEndian(std::span(samples).first(count), bytes.data() + place);
            for (std::size_t i = 0; i < count; ++i)
                ASSERT_EQ(bytes[place + 2 * i] << 8 | bytes[place + 2 * i + 1], samples[i]) << count;
            ASSERT_EQ(bytes.back(), 0xEE);
        }
}

/// Cells that differ, in pictures of every width around the vectors' four pixels.
TEST(HalfSize, EveryPixelIsTheLightOfItsOwnCell) {
    for (std::uint32_t width = 2; width <= 23; ++width) {
        Mosaic mosaic{width, 5, std::vector<std::uint16_t>(std::size_t{5} * width)};
        std::minstd_rand noise(width);
        std::ranges::generate(mosaic.samples, [&] { return static_cast<std::uint16_t>(noise() >> 8); });
        const LightScale scale{256, {1.75F, 1.25F, 40.0F}};
        for (std::uint32_t y = 0; y < 2; ++y) {
            LightRow row(width / 2);
            cellRow(mosaic, scale, 1, y, row);
            for (std::uint32_t x = 0; x < width / 2; ++x) {
                const std::uint16_t* const top = &mosaic.samples[std::size_t{2} * y * width + 2 * x];
                const std::uint16_t* const bottom = top + width;
                const auto light = [&](float sample, std::size_t colour) {
                    return std::clamp((sample - scale.black) * scale.factors[colour], -65535.0F, 65535.0F);
                };
                ASSERT_EQ(row.red[x], light(top[1], 0)) << width;
                ASSERT_EQ(row.green[x], light(static_cast<float>(top[0] + bottom[1]) / 2, 1)) << width;
                ASSERT_EQ(row.blue[x], light(bottom[0], 2)) << width;
            }
        }
    }
}

/// What libpng reads in a file, in the machine's byte order, and whether the file names the sRGB curve.
struct ReadPng {
    std::vector<std::uint8_t> bytes;
    bool isSrgb;
};
ReadPng readPng(std::span<const std::uint8_t> file) {
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_set_read_fn(png, &file, [](png_structp reader, png_bytep data, png_size_t size) {
        auto& left = *static_cast<std::span<const std::uint8_t>*>(png_get_io_ptr(reader));
        ASSERT_LE(size, left.size());
        std::copy_n(left.begin(), size, data);
        left = left.subspan(size);
    });
    png_read_png(png, info, PNG_TRANSFORM_SWAP_ENDIAN, nullptr);
    ReadPng read{{}, png_get_valid(png, info, PNG_INFO_sRGB) != 0};
    for (std::size_t row = 0; row < png_get_image_height(png, info); ++row) {
        const png_bytep bytes = png_get_rows(png, info)[row];
        read.bytes.insert(read.bytes.end(), bytes, bytes + png_get_rowbytes(png, info));
    }
    png_destroy_read_struct(&png, &info, nullptr);
    EXPECT_TRUE(file.empty());
    return read;
}

/// The large picture takes several strips of rows and several chunks, the wide one a strip for each row.
template <class Sample>
void expectWholePngs() {
    for (const auto& [width, height] : {std::pair{5U, 3U}, std::pair{701U, 603U}, std::pair{100'001U, 3U}}) {
        RgbPicture<Sample> picture{width, height, std::vector<Sample>(std::size_t{3} * width * height)};
        std::minstd_rand noise(width);
        std::ranges::generate(picture.pixels, [&] { return static_cast<Sample>(0xFEDC + (noise() >> 8)); });
        for (const DisplayCurve curve : {DisplayCurve::gamma, DisplayCurve::rec709, DisplayCurve::log}) {
            const ReadPng read = readPng(encodePng(picture, curve));
            const std::span<const Sample> expected(picture.pixels);
            ASSERT_EQ(read.bytes.size(), expected.size_bytes());
            EXPECT_EQ(std::memcmp(read.bytes.data(), expected.data(), expected.size_bytes()), 0) << width;
            EXPECT_EQ(read.isSrgb, curve == DisplayCurve::gamma);
        }
    }
}

TEST(Png, HoldsBothDepths) {
    expectWholePngs<std::uint8_t>();
    expectWholePngs<std::uint16_t>();
}

TEST(Tiff, HoldsBothDepthsForOtherReaders) {
    const TempDir directory;
    RgbImage16 fine{5, 3, std::vector<std::uint16_t>(45)};
    std::iota(fine.pixels.begin(), fine.pixels.end(), std::uint16_t{0xFEDC});
    RgbImage coarse{5, 3, std::vector<std::uint8_t>(45)};
    std::iota(coarse.pixels.begin(), coarse.pixels.end(), std::uint8_t{0xDC});
    const auto rowOf = [&](const EncodedFile& content, std::uint32_t row, std::size_t size) {
        OutputFile file(directory.path("picture.tif"), {.existing = Existing::replace});
        file.write(content.parts());
        file.finish();
        std::vector<std::uint8_t> samples(size);
        TIFF* const tiff = TIFFOpen(file.path().c_str(), "r");
        EXPECT_EQ(TIFFScanlineSize(tiff), static_cast<tmsize_t>(size));
        EXPECT_EQ(TIFFReadScanline(tiff, samples.data(), row), 1);
        TIFFClose(tiff);
        return samples;
    };
    const auto bytes = rowOf(encodeRgbTiff(coarse), 1, 15);
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), &coarse.pixels[15]));
    const auto words = rowOf(encodeRgbTiff(fine), 2, 30);
    EXPECT_EQ(std::memcmp(words.data(), &fine.pixels[30], 30), 0);
}

} // namespace
