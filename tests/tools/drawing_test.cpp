// Canvas, contact sheet and histogram, checked pixel by pixel.

#include "tools/picture/canvas.h"
#include "tools/picture/contact_sheet.h"
#include "tools/picture/histogram.h"

#include <algorithm>
#include <array>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using Pixel = std::array<int, 3>;
using testing::Each;

Pixel pixelAt(const RgbImage& image, std::uint32_t x, std::uint32_t y) {
    const std::uint8_t* at = &image.pixels[3 * (std::size_t{y} * image.width + x)];
    return {at[0], at[1], at[2]};
}

/// Number of pixels in an area that are not `background`.
std::size_t inked(const RgbImage& image, std::uint32_t x, std::uint32_t y, std::uint32_t width,
                  std::uint32_t height, const Pixel& background) {
    std::size_t count = 0;
    for (std::uint32_t row = y; row < std::min(y + height, image.height); ++row)
        for (std::uint32_t column = x; column < std::min(x + width, image.width); ++column)
            count += pixelAt(image, column, row) != background ? 1 : 0;
    return count;
}

/// The columns in which one of the rows from `top` to `bottom` - 1 has a pixel of that colour.
std::vector<std::uint32_t> columnsWith(const RgbImage& image, const Pixel& colour, std::uint32_t top,
                                       std::uint32_t bottom) {
    std::vector<std::uint32_t> columns;
    for (std::uint32_t x = 0; x < image.width; ++x)
        for (std::uint32_t y = top; y < bottom; ++y)
            if (pixelAt(image, x, y) == colour && (columns.empty() || columns.back() != x))
                columns.push_back(x);
    return columns;
}

RgbImage plainImage(std::uint32_t width, std::uint32_t height, const Pixel& colour) {
    RgbImage image{width, height, {}};
    for (std::size_t pixel = 0; pixel < std::size_t{width} * height; ++pixel)
        for (const int sample : colour)
            image.pixels.push_back(static_cast<std::uint8_t>(sample));
    return image;
}

TEST(Canvas, LeavesOutWhatFallsOutside) {
    Canvas canvas(8, 6, {1, 2, 3});
    canvas.fill(6, 4, 100, 100, {200, 0, 0});
    canvas.place(5, 0, plainImage(10, 2, {0, 200, 0}));
    canvas.place(100, 100, plainImage(1, 1, {9, 9, 9}));
    canvas.lineDown(0, -5, 100, {0, 0, 200}, false);
    const RgbImage image = canvas.image();
    EXPECT_EQ(pixelAt(image, 7, 5), (Pixel{200, 0, 0}));
    EXPECT_EQ(pixelAt(image, 5, 4), (Pixel{1, 2, 3}));
    EXPECT_EQ(pixelAt(image, 5, 1), (Pixel{0, 200, 0}));
    EXPECT_EQ(pixelAt(image, 5, 2), (Pixel{1, 2, 3}));
    EXPECT_EQ(pixelAt(image, 0, 5), (Pixel{0, 0, 200}));
    EXPECT_THROW(Canvas(40000, 1, {}), std::runtime_error);
}

TEST(Canvas, WritesAnyScriptWithinItsWidth) {
    // Two scripts, each with glyphs of its own: a missing font draws the same box for every character.
    constexpr std::array kTexts{"ab", "\xE5\xA4\x9C\xE8\xA1\x8C", "\xE5\x88\x97\xE8\xBB\x8A"};
    std::vector<std::vector<std::uint8_t>> pictures;
    for (const char* text : kTexts) {
        Canvas canvas(200, 40, {0, 0, 0});
        canvas.write(4, 4, text, {20, {255, 255, 255}, 100});
        const RgbImage image = canvas.image();
        EXPECT_GT(inked(image, 0, 0, 104, 40, {}), 30U) << text;
        EXPECT_EQ(inked(image, 104, 0, 96, 40, {}), 0U) << text;
        pictures.push_back(image.pixels);
    }
    EXPECT_NE(pictures[1], pictures[2]);

    Canvas canvas(200, 40, {0, 0, 0});
    canvas.write(4, 4, std::string(200, 'W') + "\xFF\n", {20, {255, 255, 255}, 100});
    EXPECT_EQ(inked(canvas.image(), 104, 0, 96, 40, {}), 0U) << "a long text loses its middle";
}

TEST(ContactSheet, HasEachThumbnailInItsPlace) {
    const SheetFormat format{5, 200, 100};
    const SheetLayout layout(format);
    ContactSheet sheet(format, "heading");
    const std::array<Pixel, 4> colours{{{250, 10, 10}, {10, 250, 10}, {10, 10, 250}, {250, 250, 10}}};
    for (const Pixel& colour : colours)
        sheet.add(plainImage(200, 100, colour), "caption", false);
    sheet.addMissing("caption");
    const RgbImage image = sheet.image();
    const Pixel background = pixelAt(image, 0, 0);
    for (std::uint32_t index = 0; index < colours.size(); ++index) {
        EXPECT_EQ(pixelAt(image, layout.x(index), layout.y(index)), colours[index]) << index;
        EXPECT_EQ(pixelAt(image, layout.x(index) + 199, layout.y(index) + 99), colours[index]) << index;
        EXPECT_EQ(pixelAt(image, layout.x(index) + 200, layout.y(index) + 50), background) << index;
        EXPECT_GT(inked(image, layout.x(index), layout.y(index) + 100, 200, 12, background), 20U) << index;
    }
    const Pixel missing = pixelAt(image, layout.x(4) + 100, layout.y(4) + 50);
    EXPECT_THAT(colours, Each(testing::Ne(missing)));
    EXPECT_NE(missing, background);
    EXPECT_GT(inked(image, 0, 0, image.width, layout.y(0), background), 50U) << "the heading";
}

TEST(Histogram, HasABarWhereSamplesAreAndMarksTheLevels) {
    // Every sample of the even rows' green plane is 1024, of the other planes 3072.
    Mosaic mosaic{64, 32, std::vector<std::uint16_t>(std::size_t{64} * 32, 3072)};
    for (std::size_t row = 0; row < 32; row += 2)
        for (std::size_t column = 0; column < 64; column += 2)
            mosaic.samples[row * 64 + column] = 1024;
    const RgbImage image =
        drawHistograms({mosaic.width, mosaic.height, mosaic.samples}, 256, 4095, "one value a plane");
    // The columns in which a plane's chart has its colour from top to bottom.
    const auto barAt = [&](std::uint32_t top, std::uint32_t bottom) {
        std::vector<std::uint32_t> columns;
        for (std::uint32_t x = 0; x < image.width; ++x) {
            bool solid = pixelAt(image, x, top) != pixelAt(image, 0, 0);
            for (std::uint32_t y = top; y < bottom; ++y)
                solid = solid && pixelAt(image, x, y) == pixelAt(image, x, bottom) &&
                        std::ranges::max(pixelAt(image, x, y)) > 150;
            if (solid) columns.push_back(x);
        }
        return columns;
    };
    const std::uint32_t chart = image.height / 4;
    const auto green = barAt(chart / 2, chart / 2 + 20);
    const auto red = barAt(chart + chart / 2, chart + chart / 2 + 20);
    ASSERT_FALSE(green.empty());
    ASSERT_FALSE(red.empty());
    const double width = image.width;
    EXPECT_NEAR(green.front() / width, 0.25, 0.03);
    EXPECT_NEAR(red.front() / width, 0.75, 0.03);
    const auto levels = columnsWith(image, {255, 210, 70}, chart + chart / 2, chart + chart / 2 + 20);
    ASSERT_EQ(levels.size(), 2U);
    EXPECT_NEAR(levels[0] / width, 256 / 4096.0, 0.03) << "the black level";
    EXPECT_NEAR(levels[1] / width, 1, 0.03) << "the white level";
}

} // namespace
