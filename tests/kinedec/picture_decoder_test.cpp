// The picture decoder against KineDec: the same picture, or declined.
#include "kinedec/kinedec.h"
#include "kinedec/picture_decoder.h"
#include "kinedec/plane_decoder.h"
#include "tests/support/prefix_codes.h"
#include "tools/synth/plane_encoder.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <gmock/gmock.h>
#include <memory>
#include <optional>
#include <random>
#include <vector>

using kinedec::CodeTable;
using kinedec::kPlanePadding;
using kinedec::PlaneBits;
using kinedec::PlaneStream;

namespace {

struct Plane {
    CodeTable table;
    std::vector<std::uint8_t> bytes;
    std::int32_t shift = 0;
};
using Planes = std::array<Plane, 4>;

/// Decodes into an odd address in a block of exactly the picture's size, so that a sanitizer sees every stray
/// access.
std::optional<PlaneBits> decode(const Planes& planes, std::uint32_t width, std::uint32_t height,
                                std::vector<std::uint16_t>& picture) {
    std::array<std::vector<std::uint8_t>, 4> padded;
    std::array<PlaneStream, 4> streams{};
    for (std::size_t k = 0; k < 4; ++k) {
        const Plane& plane = planes[k];
        padded[k] = plane.bytes;
        padded[k].resize(plane.bytes.size() + kPlanePadding);
        streams[k] = {plane.table, std::span(padded[k]).first(plane.bytes.size()), plane.shift};
    }
    picture.assign(std::size_t{width} * height, 0);
    const auto block = std::make_unique<std::uint8_t[]>(picture.size() * 2 + 1);
    void* const place = block.get() + 1;
    const auto bits = decodePicture(streams, width, height, static_cast<std::uint16_t*>(place));
    std::memcpy(picture.data(), place, picture.size() * 2);
    return bits;
}

std::optional<PlaneBits> decodeByPlanes(const Planes& planes, std::uint32_t width, std::uint32_t height,
                                        std::vector<std::uint16_t>& picture) {
    const auto decoder = std::make_unique<KineDec>();
    const std::size_t columns = width / 2;
    picture.assign(std::size_t{width} * height, 0);
    bool good = true;
    PlaneBits bits{};
    for (std::size_t k = 0; k < 4; ++k) {
        const Plane& plane = planes[k];
        std::vector<std::uint16_t> samples(picture.size() / 4);
        good = decoder->decode(plane.table.lengths.data(), plane.table.codes.data(), plane.bytes.data(),
                               plane.bytes.size(), samples.data(), static_cast<std::int32_t>(samples.size()),
                               plane.shift, static_cast<std::int32_t>(columns)) == 1 &&
               good;
        bits[k] = checkPlane(decoder->m_table, kinedec::BoundedBitReader(plane.bytes),
                             {plane.table, static_cast<std::int32_t>(samples.size()), plane.shift,
                              static_cast<std::int32_t>(columns)})
                      .bitsUsed;
        for (std::size_t i = 0; i < samples.size(); ++i)
            picture[(i / columns * 2 + k / 2) * width + i % columns * 2 + k % 2] = samples[i];
    }
    return good ? std::optional(bits) : std::nullopt;
}

TEST(PictureDecoder, AgreesWithThePlaneDecoderOnAnyStream) {
    CodeTable shortAndLong;
    shortAndLong.lengths = {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 2};
    assignCanonicalCodes(shortAndLong);
    std::mt19937 random(5);
    const auto below = [&random](std::uint32_t limit) { return random() % limit; };
    std::array<int, 2> outcomes{};
    for (int round = 0; round < 400; ++round) {
        const auto width = static_cast<std::uint32_t>(2 + random() % (round % 4 == 0 ? 600 : 40) * 2);
        const auto height = static_cast<std::uint32_t>(2 + random() % (round % 4 == 0 ? 4 : 40) * 2);
        const bool lowRate = round % 4 == 1; // mostly a bit a sample, with bursts of 14
        Planes planes;
        for (Plane& plane : planes) {
            plane.table = lowRate ? shortAndLong : drawPrefixCode(below);
            plane.shift = static_cast<std::int32_t>(random() % 3 == 0 ? random() % 32 : 0);
            // About enough bytes, far too few, none.
            plane.bytes.resize(std::size_t{width} * height / (random() % 8 == 0 ? 20 : 1) *
                               (random() % 16 != 0));
            const auto noise = random() % 3;
            for (std::size_t i = 0; i < plane.bytes.size(); ++i) {
                const auto any = noise == 0 ? random() : noise == 1 ? random() & random() >> 9 : 255;
                plane.bytes[i] = static_cast<std::uint8_t>(lowRate && i % 100 < 80 ? 0 : any);
            }
        }
        std::vector<std::uint16_t> picture;
        std::vector<std::uint16_t> expected;
        const std::optional<PlaneBits> bits = decode(planes, width, height, picture);
        ASSERT_EQ(bits, decodeByPlanes(planes, width, height, expected)) << "round " << round;
        if (!bits) picture = expected;
        ASSERT_EQ(picture, expected) << "round " << round << ", " << width << " x " << height;
        ++outcomes.at(bits.has_value());
    }
    EXPECT_THAT(outcomes, testing::Each(testing::Gt(40)));
}

// No index of the look-up begins with such a code, in no plane of a picture's only column.
TEST(PictureDecoder, FindsLongCodesInAllPlanesAtOnce) {
    const Plane plane{CodeTable{{12, 1}, {0, 1}}, std::vector<std::uint8_t>(16), 0};
    std::vector<std::uint16_t> picture;
    std::vector<std::uint16_t> expected;
    const std::optional<PlaneBits> bits = decode({plane, plane, plane, plane}, 2, 2, picture);
    ASSERT_TRUE(bits);
    EXPECT_EQ(bits, decodeByPlanes({plane, plane, plane, plane}, 2, 2, expected));
    EXPECT_EQ(picture, expected);
}

TEST(PictureDecoder, DeclinesTablesOutsideItsContract) {
    const Plane legal{CodeTable{{1, 2, 3}, {0b0, 0b10, 0b110}}, {}, 0};
    const Plane spoilt[] = {
        {legal.table, {}, 32},                              // shift
        {legal.table, {}, -1},                              // shift
        {CodeTable{{1, 2, 14}, {0b0, 0b10, 0b110}}, {}, 0}, // length
        {CodeTable{{1, 2, 3}, {0b0, 0b10, 0b1000}}, {}, 0}, // code not below 2^length
        {CodeTable{{1, 2, 3}, {0b0, 0b10, 0b101}}, {}, 0},  // starts with an earlier category's code
        {CodeTable{{1, 2, 1}, {0b0, 0b10, 0b1}}, {}, 0},    // an earlier category's code starts with it
    };
    std::vector<std::uint16_t> picture;
    EXPECT_TRUE(decode({legal, legal, legal, legal}, 4, 4, picture));
    for (const Plane& plane : spoilt)
        EXPECT_FALSE(decode({legal, legal, plane, legal}, 4, 4, picture)) << &plane - spoilt;
}

} // namespace
