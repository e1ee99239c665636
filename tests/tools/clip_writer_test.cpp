// The clip writer: the prefix code that it fits, input that it refuses, and the files that it writes.
#include "krw/byte_view.h"
#include "krw/stored_table.h"
#include "tests/support/clip_builder.h"
#include "tests/support/temp_dir.h"
#include "tools/export/pgm.h"
#include "tools/synth/scene.h"

#include <cmath>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <numeric>
#include <random>

namespace {

using kinedec::CodeTable;
using testing::HasSubstr;
using Lengths = decltype(CodeTable::lengths);

std::uint64_t cost(const CategoryHistogram& histogram, const Lengths& lengths) {
    return std::inner_product(histogram.begin(), histogram.end(), lengths.begin(), std::uint64_t{0});
}

/// Sum of 2^(13 - length) over the codes: 8192 for a complete code.
unsigned kraftSum(const Lengths& lengths) {
    unsigned sum = 0;
    for (const std::uint16_t length : lengths)
        if (length != 0) sum += 8192U >> length;
    return sum;
}

/// The fewest bits of any prefix code for the categories from `next` to `end`, found by trying all lengths.
std::uint64_t cheapest(const CategoryHistogram& histogram, Lengths& lengths, std::size_t next,
                       std::size_t end) {
    if (next == end) return kraftSum(lengths) <= 8192 ? cost(histogram, lengths) : ~std::uint64_t{0};
    std::uint64_t best = ~std::uint64_t{0};
    for (lengths[next] = 1; lengths[next] <= end; ++lengths[next])
        best = std::min(best, cheapest(histogram, lengths, next + 1, end));
    return best;
}

TEST(FitCodeTable, NoPrefixCodeIsCheaper) {
    std::minstd_rand random(1);
    for (std::size_t categories = 2; categories <= 6; ++categories)
        for (int round = 0; round < 8; ++round) {
            CategoryHistogram histogram{};
            for (std::size_t category = 0; category < categories; ++category)
                histogram[category] = 1 + (random() >> (10 + 3 * (random() % 6)));
            const Lengths fitted = fitCodeTable(histogram).lengths;
            Lengths tried{};
            EXPECT_EQ(cost(histogram, fitted), cheapest(histogram, tried, 0, categories));
            EXPECT_EQ(kraftSum(fitted), 8192U);
        }
}

TEST(FitCodeTable, ExtremeHistograms) {
    CategoryHistogram fibonacci{1, 1};
    for (std::size_t category = 2; category < kKineCategories; ++category)
        fibonacci[category] = fibonacci[category - 1] + fibonacci[category - 2];
    const Lengths deepest = fitCodeTable(fibonacci).lengths;
    EXPECT_EQ(deepest[0], 12);
    EXPECT_EQ(kraftSum(deepest), 8192U);
    EXPECT_EQ(fitCodeTable({0, 0, 0, 9}).lengths, (Lengths{0, 0, 0, 1}));
    EXPECT_EQ(fitCodeTable({}).lengths, (Lengths{}));
}

TEST(EncodePlane, BitsAndReachOfTheCoding) {
    using Samples = std::vector<std::uint16_t>;
    // Codes 00, 01, 10, 110; differences +3, -1, then from the first sample 0, -2.
    CodeTable table{{2, 2, 2, 3}, {}};
    assignCanonicalCodes(table);
    EXPECT_EQ(encodePlane(Samples{3, 2, 3, 1}, 2, table), (std::vector<std::uint8_t>{0xB4, 0x48}));

    EXPECT_EQ(countCategories(Samples{4095, 0, 65535, 61441}, 4)[12], 3U);
    EXPECT_EQ(countCategories(Samples{65535}, 1)[1], 1U); // 0 - 1, modulo 65536
    for (const Samples& tooFar :
         {Samples{4096}, Samples{61440}, Samples{0, 32768}, Samples{4000, 1, 9000, 2}})
        EXPECT_THROW((void)countCategories(tooFar, 2), std::runtime_error);
    EXPECT_THROW((void)encodePlane(Samples{5}, 1, fitCodeTable({1, 1})), std::runtime_error); // no code
    EXPECT_THROW((void)encodePlane(Samples{5}, 0, {}), std::runtime_error);
}

std::string messageOf(const std::function<void()>& work) {
    try {
        work();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "nothing thrown";
}

std::string writeText(const TempDir& directory, const std::string& text) {
    return directory.write("text.pgm", std::vector<std::uint8_t>(text.begin(), text.end()));
}

TEST(Pgm, RoundTripAndOtherWritersFiles) {
    const TempDir directory;
    const Mosaic mosaic = randomMosaic(6, 4, 1);
    writePgm(directory.path("a.pgm"), mosaic);
    EXPECT_EQ(readPgm(directory.path("a.pgm")).samples, mosaic.samples);

    const std::string commented =
        writeText(directory, "P5 # a comment\n2#and\n #more\n2 255 \x01\x02\x03\xFF");
    EXPECT_EQ(readPgm(commented).samples, (std::vector<std::uint16_t>{1, 2, 3, 255}));
}

TEST(Pgm, HostileFilesAreNamedWithTheReason) {
    using Case = std::pair<std::string, std::string>;
    const TempDir directory;
    for (const auto& [text, reason] : {
             Case{"", "not a binary PGM"},
             {"P2\n2 2\n255\n1 2 3 4", "not a binary PGM"},
             {"P5\n2 2\n", "header is damaged"},
             {"P5\n-2 2\n255\nabcd", "header is damaged"},
             {"P5\n2 2\n255", "header is damaged"},
             {"P5\n2 2\n0\nabcd", "maxval 0"},
             {"P5\n2 2\n65536\nabcd", "maxval 65536"},
             {"P5\n2 2\n65535\nabcdefg", "need 8 bytes, the file holds 7"},
             {"P5\n2147483647 2147483647\n65535\nab", "the file holds 2"},
             {"P5\n99999999999999999999 2\n255\nab", "too large"},
         }) {
        const std::string path = writeText(directory, text);
        const std::string message = messageOf([&] { (void)readPgm(path); });
        EXPECT_THAT(message, testing::AllOf(HasSubstr(path), HasSubstr(reason))) << text;
    }
    EXPECT_THAT(messageOf([&] { (void)readPgm(directory.path("none")); }), HasSubstr("No such file"));
    EXPECT_THAT(messageOf([&] { (void)readPgm("/dev/zero"); }), HasSubstr("not a regular file"));
}

std::size_t filesIn(const TempDir& directory) {
    const std::filesystem::directory_iterator files(directory.root());
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

TEST(ClipWriter, LeavesAWholeFileOrNone) {
    const TempDir directory;
    const std::string path = directory.path("a.krw");
    const CodedPicture picture = encodePicture(randomMosaic(8, 4, 1));
    {
        ClipWriter unfinished(path, {});
        unfinished.append(picture);
    }
    EXPECT_EQ(filesIn(directory), 0U);

    ClipWriter writer(path, {});
    writer.append(picture);
    EXPECT_THROW(writer.append(encodePicture(randomMosaic(4, 8, 1))), std::runtime_error);
    EXPECT_FALSE(std::filesystem::exists(path));
    writer.append(encodePicture(randomMosaic(8, 4, 2)));
    writer.finish();
    EXPECT_EQ(filesIn(directory), 1U);
    EXPECT_EQ(std::filesystem::file_size(path), makeClip(2, 8, 4).bytes.size());

    EXPECT_THAT(messageOf([&] { ClipWriter(directory.root().string(), {}); }), HasSubstr("Is a directory"));
    EXPECT_THAT(messageOf([] { ClipWriter("/dev/null", {}); }), HasSubstr("Not a regular file"));
    EXPECT_THAT(messageOf([&] { ClipWriter(directory.path("no/a.krw"), {}); }), HasSubstr("No such file"));
}

TEST(ClipWriter, RefusesWhatTheRecordCannotHold) {
    const auto refusal = [](const std::function<void(ClipDescription&)>& change) {
        ClipDescription description;
        change(description);
        return messageOf([&] { (void)makeClip(description, randomMosaics(1, 8, 4)); });
    };
    const std::string fits = "nothing thrown";
    EXPECT_EQ(refusal([](auto& clip) { clip.manufacturer = std::string(20, 'm'); }), fits);
    EXPECT_THAT(refusal([](auto& clip) { clip.manufacturer = std::string(21, 'm'); }),
                HasSubstr("manufacturer"));
    EXPECT_EQ(refusal([](auto& clip) { clip.note = std::string(140, 'n'); }), fits);
    EXPECT_THAT(refusal([](auto& clip) { clip.note = std::string(141, 'n'); }), HasSubstr("note"));
    EXPECT_EQ(refusal([](auto& clip) { clip.shift = 4; }), fits); // of 12-bit samples
    EXPECT_THAT(refusal([](auto& clip) { clip.shift = 5; }), HasSubstr("16 bits"));
    EXPECT_THAT(refusal([](auto& clip) { clip.danrawOffset = 300; }), HasSubstr("overlap"));
    EXPECT_THAT(refusal([](auto& clip) { clip.start.frames = 25; }), HasSubstr("timecode"));
    for (const auto& [width, height] : {std::pair{0U, 2U}, {3U, 2U}, {2U, 5U}, {65536U, 65536U}})
        EXPECT_THROW(checkPictureSize(width, height), std::runtime_error) << width << " x " << height;
}

TEST(MakeStoredTable, TrailerOpensTheBlockOfTheFilesLastByte) {
    for (const std::uint64_t end : {2006UL, 4096UL, 8191UL, 8192UL, 8193UL, (5UL << 32U) + 77})
        for (const std::size_t frames : {1U, 2U, 511U, 512U, 513U, 1000U}) {
            const std::vector<std::uint64_t> starts(frames, end - 1);
            const std::vector<std::uint8_t> bytes = makeStoredTable(starts, end);
            const std::uint64_t size = end + bytes.size();
            const std::uint64_t block = (size - 1) / 4096 * 4096;
            ASSERT_GE(block, end + 8 * frames);
            ASSERT_GE(size - block, 256U);
            const ByteView view(bytes);
            EXPECT_EQ(view.u32(block - end), 0x5457524BU);
            EXPECT_EQ(view.u32(block - end + 4), frames);
            EXPECT_EQ(view.u64(block - end + 8), end);
            EXPECT_EQ(view.u64(8 * (frames - 1)), starts.back());
        }
}

TEST(DrawScene, AnyEvenSizeAndEveryFrameItsOwn) {
    for (const auto& [width, height] : {std::pair{2U, 2U}, {4U, 2U}, {2U, 30U}, {62U, 48U}})
        EXPECT_EQ(drawScene(width, height, 99, kNoisyNoise).samples.size(), width * height);
    EXPECT_EQ(drawScene(64, 48, 5, kCleanNoise).samples, drawScene(64, 48, 5, kCleanNoise).samples);
    EXPECT_NE(drawScene(64, 48, 5, 0).samples, drawScene(64, 48, 30, 0).samples);
    for (const double level : {-1.0, kMaxNoise + 1, std::nan("")})
        EXPECT_THROW((void)drawScene(8, 8, 0, level), std::runtime_error) << level;
}

} // namespace
