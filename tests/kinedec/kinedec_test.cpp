// KineDec and the plane decoder behind it, compared with a bit-by-bit reference decoder.
#include "kinedec/kinedec.h"
#include "kinedec/plane_decoder.h"
#include "tests/support/guarded_bytes.h"
#include "tests/support/host_faults.h"
#include "tests/support/prefix_codes.h"
#include "tests/support/reference_decoder.h"
#include "tools/synth/plane_encoder.h"

#include <algorithm>
#include <functional>
#include <gmock/gmock.h>
#include <memory>
#include <random>
#include <sstream>
#include <tuple>

namespace {

using kinedec::BoundedBitReader;
using kinedec::CodeTable;
using kinedec::StoredRows;
using testing::ElementsAre;
using Samples = std::vector<std::uint16_t>;
using Bytes = std::vector<std::uint8_t>;
using Random = std::mt19937;

constexpr std::uint16_t kUntouched = 0xA55A;

int draw(Random& random, int low, int high) {
    return std::uniform_int_distribution(low, high)(random);
}

CodeTable codeTable(std::initializer_list<std::uint16_t> lengths,
                    std::initializer_list<std::uint16_t> codes) {
    CodeTable table;
    std::ranges::copy(lengths, table.lengths.begin());
    std::ranges::copy(codes, table.codes.begin());
    return table;
}

const CodeTable kFourCategories = codeTable({2, 2, 2, 3}, {0b00, 0b01, 0b10, 0b110});

struct Plane {
    CodeTable table;
    Bytes stream;
    std::int32_t count = 0;
    std::int32_t shift = 0;
    std::int32_t rowLength = 0;
};

enum class Call { decode, decodeBounded, decode2, decode2Bounded };
constexpr Call kAllCalls[] = {Call::decode, Call::decodeBounded, Call::decode2, Call::decode2Bounded};
constexpr bool isBounded(Call call) {
    return call == Call::decodeBounded || call == Call::decode2Bounded;
}
constexpr bool isHalfHeight(Call call) {
    return call == Call::decode2 || call == Call::decode2Bounded;
}

int run(Call call, KineDec& decoder, const Plane& plane, const std::uint8_t* src, std::size_t srcSize,
        std::uint16_t* dst) {
    const std::uint16_t* lengths = plane.table.lengths.data();
    const std::uint16_t* codes = plane.table.codes.data();
    const auto [count, shift, rowLength] = std::tuple(plane.count, plane.shift, plane.rowLength);
    switch (call) {
    case Call::decode:
        return decoder.decode(lengths, codes, src, dst, count, shift, rowLength);
    case Call::decodeBounded:
        return decoder.decode(lengths, codes, src, srcSize, dst, count, shift, rowLength);
    case Call::decode2:
        return decoder.decode2(lengths, codes, src, dst, count, shift, rowLength);
    default:
        return decoder.decode2(lengths, codes, src, srcSize, dst, count, shift, rowLength);
    }
}

CodeTable randomPrefixCode(Random& random) {
    return drawPrefixCode([&random](std::uint32_t limit) { return random() % limit; });
}

// Legal lengths and codes that are drawn independently, so that their ranges overlap.
CodeTable randomOverlappingCode(Random& random) {
    CodeTable table;
    for (std::size_t category = 0; category < kKineCategories; ++category) {
        const int length = draw(random, 0, kKineIndexBits);
        table.lengths[category] = static_cast<std::uint16_t>(length);
        table.codes[category] = static_cast<std::uint16_t>(draw(random, 0, (1 << length) - 1));
    }
    return table;
}

// A plane whose every difference has a code.
Samples randomSamples(Random& random, const CodeTable& table, std::size_t size, std::size_t rowLength) {
    std::vector<int> categories;
    for (int category = 0; category < kKineCategories; ++category)
        if (table.lengths[static_cast<std::size_t>(category)] != 0) categories.push_back(category);
    Samples samples(size);
    for (std::size_t i = 0; i < size; ++i) {
        const int prediction = i == 0 ? 0 : samples[i % rowLength == 0 ? i - rowLength : i - 1];
        const int category =
            categories[static_cast<std::size_t>(draw(random, 0, 1 << 20)) % categories.size()];
        const int magnitude = category == 0 ? 0 : draw(random, 1 << (category - 1), (1 << category) - 1);
        const int difference = draw(random, 0, 1) == 0 ? magnitude : -magnitude;
        samples[i] = static_cast<std::uint16_t>(prediction + difference);
    }
    return samples;
}

std::size_t wholeRows(const Plane& plane) {
    const auto width = static_cast<std::size_t>(plane.rowLength);
    return (static_cast<std::size_t>(plane.count) + width - 1) / width * width;
}

// The content after a call of a buffer for all rows that held kUntouched before.
Samples expectedOutput(const ReferencePlane& reference, const Plane& plane, bool halfHeight) {
    const auto width = static_cast<std::size_t>(plane.rowLength);
    Samples output;
    for (std::size_t i = 0; i < reference.samples.size(); ++i)
        if (!halfHeight || i / width % 2 == 0) output.push_back(reference.samples[i]);
    if (reference.samplesLeft == 0)
        for (std::size_t i = 0; i < std::min(output.size(), static_cast<std::size_t>(plane.count)); ++i)
            output[i] = static_cast<std::uint16_t>(std::uint32_t{output[i]} << plane.shift);
    output.resize(wholeRows(plane), kUntouched);
    return output;
}

std::vector<std::string> expectedMessages(std::int32_t samplesLeft) {
    if (samplesLeft == 0) return {};
    std::ostringstream text;
    text << "codec error: " << std::hex << std::uppercase << samplesLeft << "!\n";
    return {text.str()};
}

// Runs a call on a stream whose last byte is followed by memory that cannot be read.
void expectAsReference(Call call, KineDec& decoder, const Plane& plane, const ReferencePlane& reference) {
    SCOPED_TRACE(testing::Message() << "call " << static_cast<int>(call) << " count " << plane.count
                                    << " rowLength " << plane.rowLength << " shift " << plane.shift);
    Bytes readable = plane.stream;
    if (!isBounded(call)) readable.resize((reference.bitsUsed + 7) / 8 + 2, 0xFF);
    const GuardedBytes guarded(readable);
    Samples output(wholeRows(plane), kUntouched);
    const LogCapture log;
    EXPECT_EQ(run(call, decoder, plane, guarded.data(), plane.stream.size(), output.data()),
              reference.samplesLeft == 0 ? 1 : 0);
    EXPECT_EQ(output, expectedOutput(reference, plane, isHalfHeight(call)));
    EXPECT_EQ(log.texts(), expectedMessages(reference.samplesLeft));
}

ReferencePlane referenceOf(const Plane& plane) {
    return decodeByDefinition(plane.table, plane.stream, plane.count, plane.rowLength);
}

void drawGeometry(Random& random, Plane& plane) {
    constexpr std::int32_t shifts[] = {0, 0, 4, 15, 16, 31};
    plane.rowLength = draw(random, 1, draw(random, 0, 1) == 0 ? 3 : 40);
    plane.count = draw(random, 1, 12 * plane.rowLength);
    plane.shift = shifts[draw(random, 0, 5)];
}

class KineDecTest : public testing::Test {
  protected:
    const std::unique_ptr<KineDec> decoder = std::make_unique<KineDec>();
};

TEST_F(KineDecTest, WorkedPlane) {
    const Plane plain{kFourCategories, {0xB4, 0x48, 0x00, 0x00}, 4, 0, 2};
    Samples output(4);
    EXPECT_EQ(run(Call::decode, *decoder, plain, plain.stream.data(), 4, output.data()), 1);
    EXPECT_THAT(output, ElementsAre(3, 2, 3, 1));
    Plane shifted = plain;
    shifted.shift = 4;
    EXPECT_EQ(run(Call::decodeBounded, *decoder, shifted, plain.stream.data(), 2, output.data()), 1);
    EXPECT_THAT(output, ElementsAre(48, 32, 48, 16));
}

TEST_F(KineDecTest, WorkedTableEntries) {
    const auto entry = [&](const CodeTable& table, std::size_t index) {
        decoder->decode(table.lengths.data(), table.codes.data(), nullptr, nullptr, 0, 0, 1);
        const KineDecEntry& found = decoder->m_table[index];
        return std::array{found.bits, found.value, found.signBit, found.negFill};
    };
    EXPECT_THAT(entry(kFourCategories, 0b1011000000000), ElementsAre(4, 3, 0, 0));
    EXPECT_THAT(entry(kFourCategories, 0b0100000000000), ElementsAre(3, 65535, 0, 0));
    EXPECT_THAT(entry(kFourCategories, 0b1100000000000), ElementsAre(6, 65529, 0, 0));
    EXPECT_THAT(entry(kFourCategories, 0b1110000000000), ElementsAre(0, 0, 0, 0));

    const CodeTable deferred = codeTable({0, 0, 0, 0, 0, 10}, {0, 0, 0, 0, 0, 0b1000000000});
    EXPECT_THAT(entry(deferred, 4095), ElementsAre(0, 0, 0, 0));
    EXPECT_THAT(entry(deferred, 4096), ElementsAre(15, 31, 16, 65504));
    EXPECT_THAT(entry(deferred, 4103), ElementsAre(15, 31, 16, 65504));
    EXPECT_THAT(entry(deferred, 4104), ElementsAre(0, 0, 0, 0));
    const Plane plane{deferred, {0b10000000, 0b00001010, 0, 0}, 1, 0, 1};
    std::uint16_t sample = 0;
    EXPECT_EQ(run(Call::decode, *decoder, plane, plane.stream.data(), 2, &sample), 1);
    EXPECT_EQ(sample, 65536 - 26);
}

TEST_F(KineDecTest, RandomPlanesRoundTripInEveryCall) {
    // Codes that random drawing misses: a single code, and categories whose code and magnitude bits together
    // have 13, 14 and 25 bits.
    const CodeTable special[] = {
        codeTable({1}, {0}), codeTable({0, 0, 0, 0, 0, 8, 8}, {0, 0, 0, 0, 0, 2, 3}),
        codeTable({0, 0, 0, 10, 0, 0, 0, 0, 0, 0, 0, 0, 13}, {0, 0, 0, 5, 0, 0, 0, 0, 0, 0, 0, 0, 0x1FFF})};
    Random random(1);
    for (std::size_t i = 0; i < 500; ++i) {
        Plane plane;
        plane.table = i < 60 ? special[i % 3] : randomPrefixCode(random);
        drawGeometry(random, plane);
        const auto width = static_cast<std::size_t>(plane.rowLength);
        const Samples samples = randomSamples(random, plane.table, wholeRows(plane), width);
        plane.stream = encodePlane(samples, width, plane.table);
        const ReferencePlane reference = referenceOf(plane);
        ASSERT_EQ(reference.samples, samples);
        for (const Call call : kAllCalls)
            expectAsReference(call, *decoder, plane, reference);
        if (HasFailure()) return;
    }
}

// Random bytes under codes that overlap or leave gaps: patterns without a code in even and odd rows, and
// streams that end inside a code. The calls without a length get a stream with zeros behind its end, which
// the other calls assume there.
TEST_F(KineDecTest, RandomBytesGiveWhatTheDefinitionGives) {
    Random random(2);
    int rejected = 0;
    for (int i = 0; i < 1500; ++i) {
        Plane plane;
        plane.table = i % 3 == 0 ? randomOverlappingCode(random) : randomPrefixCode(random);
        drawGeometry(random, plane);
        plane.stream.resize(static_cast<std::size_t>(draw(random, 0, 2 * plane.count)));
        std::ranges::generate(plane.stream, [&] { return static_cast<std::uint8_t>(random()); });
        const ReferencePlane reference = referenceOf(plane);
        if (reference.samplesLeft > plane.rowLength) ++rejected;
        expectAsReference(Call::decodeBounded, *decoder, plane, reference);
        expectAsReference(Call::decode2Bounded, *decoder, plane, reference);
        plane.stream.resize((reference.bitsUsed + 7) / 8 + 2);
        expectAsReference(Call::decode, *decoder, plane, referenceOf(plane));
        if (HasFailure()) return;
    }
    EXPECT_GT(rejected, 300);
}

// The bits of its codes and the rows that its bytes hold tell a plane that was cut short from a whole one.
TEST_F(KineDecTest, CheckSaysHowFarThePlaneReaches) {
    Random random(3);
    int cutShort = 0;
    for (int i = 0; i < 300; ++i) {
        Plane plane;
        plane.table = randomPrefixCode(random);
        drawGeometry(random, plane);
        plane.stream.resize(static_cast<std::size_t>(draw(random, 0, plane.count)));
        std::ranges::generate(plane.stream, [&] { return static_cast<std::uint8_t>(random()); });
        const ReferencePlane reference = referenceOf(plane);
        const kinedec::PlaneResult result =
            checkPlane(decoder->m_table, BoundedBitReader(plane.stream),
                       {plane.table, plane.count, plane.shift, plane.rowLength});
        ASSERT_EQ(result.decoded, reference.samplesLeft == 0);
        ASSERT_EQ(result.samplesLeft, reference.samplesLeft);
        ASSERT_EQ(result.bitsUsed, reference.bitsUsed);
        Plane rows = plane;
        std::int32_t rowsInData = 0;
        for (rows.count = plane.rowLength; rows.count < plane.count + plane.rowLength;
             rows.count += rows.rowLength) {
            const ReferencePlane top = referenceOf(rows);
            if (top.samplesLeft != 0 || top.bitsUsed > 8 * plane.stream.size()) break;
            ++rowsInData;
        }
        ASSERT_EQ(result.rowsInData, rowsInData);
        if (result.bitsUsed > 8 * plane.stream.size()) ++cutShort;
    }
    EXPECT_THAT(cutShort, testing::AllOf(testing::Gt(30), testing::Lt(270)));
}

TEST_F(KineDecTest, WrongCodeInAnOddRowNamesThatRow) {
    // Seven zero differences in rows of four, then a bit that starts no code.
    const Plane plane{codeTable({1}, {0}), {0b00000001, 0, 0}, 46, 4, 4};
    for (const Call call : kAllCalls) {
        Samples output(48, kUntouched);
        const LogCapture log;
        EXPECT_EQ(run(call, *decoder, plane, plane.stream.data(), plane.stream.size(), output.data()), 0);
        EXPECT_THAT(log.texts(), ElementsAre("codec error: 2A!\n"));
        EXPECT_EQ(std::ranges::count(output, 0), isHalfHeight(call) ? 4 : 7);
    }
}

struct Refusal {
    const char* name;
    std::function<void(Plane&)> spoil;
    const char* message;
};

TEST_F(KineDecTest, ArgumentsOutsideTheContractTouchNothing) {
    const Refusal refusals[] = {
        {"code length 14", [](Plane& plane) { plane.table.lengths[12] = 14; }, "codec error: 4!\n"},
        {"code as long as 16 bits", [](Plane& plane) { plane.table.lengths[4] = 65535; },
         "codec error: 4!\n"},
        {"code not below 2^length", [](Plane& plane) { plane.table.codes[3] = 8; }, "codec error: 4!\n"},
        {"negative count", [](Plane& plane) { plane.count = -2; }, "codec error: FFFFFFFE!\n"},
        {"rows of no samples", [](Plane& plane) { plane.rowLength = 0; }, "codec error: 4!\n"},
        {"rows of fewer", [](Plane& plane) { plane.rowLength = -2147483647 - 1; }, "codec error: 4!\n"},
        {"negative shift", [](Plane& plane) { plane.shift = -1; }, "codec error: 4!\n"},
        {"shift 32", [](Plane& plane) { plane.shift = 32; }, "codec error: 4!\n"},
        {"no code at all", [](Plane& plane) { plane.table = {}; }, "codec error: 4!\n"},
    };
    for (const Refusal& refusal : refusals)
        for (const Call call : kAllCalls) {
            SCOPED_TRACE(refusal.name);
            Plane plane{kFourCategories, {0xB4, 0x48, 0x00, 0x00}, 4, 0, 2};
            refusal.spoil(plane);
            Samples output(4, kUntouched);
            const LogCapture log;
            EXPECT_EQ(run(call, *decoder, plane, plane.stream.data(), 4, output.data()), 0);
            EXPECT_THAT(log.texts(), ElementsAre(refusal.message));
            EXPECT_THAT(output, testing::Each(kUntouched));
        }
}

TEST_F(KineDecTest, NoSamplesNeedNoStream) {
    for (const Call call : kAllCalls)
        for (const CodeTable& table :
             {CodeTable{}, kFourCategories, codeTable({14}, {0}), codeTable({1}, {2})})
            for (const std::int32_t shift : {4, 32, -1})
                EXPECT_EQ(run(call, *decoder, {table, {}, 0, shift, 0}, nullptr, 0, nullptr), 1);
}

TEST_F(KineDecTest, PlaneGoesStraightIntoAMosaicOrNowhere) {
    const Bytes stream = {0xB4, 0x48};
    const kinedec::PlaneParameters plane{kFourCategories, 4, 4, 2};
    Samples mosaic(16, kUntouched);
    const auto into = [&](const Bytes& bytes) {
        return decodePlane(decoder->m_table, BoundedBitReader(bytes), plane, StoredRows::all,
                           {&mosaic[5], 2, 8});
    };
    EXPECT_TRUE(into(stream).decoded);
    constexpr std::uint16_t kFree = kUntouched;
    EXPECT_THAT(mosaic, ElementsAre(kFree, kFree, kFree, kFree, kFree, 48, kFree, 32, kFree, kFree, kFree,
                                    kFree, kFree, 48, kFree, 16));
    const Bytes wrong = {0xB4, 0x70}; // the last sample's code does not exist
    const kinedec::PlaneResult result = kinedec::checkPlane(decoder->m_table, BoundedBitReader(wrong), plane);
    EXPECT_FALSE(result.decoded);
    EXPECT_EQ(result.samplesLeft, 2);
}

} // namespace
