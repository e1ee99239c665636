// One plane: the four decodes of KineDec against a reference that works bit by bit from the coding's
// definition: results, messages, samples, which samples stay untouched, and how far the stream is read.
#include "fuzz/coded_plane_input.h"
#include "fuzz/fuzz_support.h"
#include "kinedec/kinedec.h"
#include "kinedec/magnitude.h"
#include "kinedec/plane_decoder.h"
#include "tests/support/reference_decoder.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr std::uint8_t kFilling = 0x5A;
constexpr std::uint16_t kUntouched = 0x5A5A;
constexpr std::int32_t kMostSamples = 4096;
constexpr std::size_t kLookAhead = 2; // bytes that a decode may fetch behind the last one it uses

struct PlaneInput {
    kinedec::CodeTable table;
    std::int32_t count = 0;
    std::int32_t rowLength = 0;
    std::int32_t shift = 0;

    explicit PlaneInput(FuzzInput& input) {
        if (input.u8() % 16 == 0) { // anything goes
            count = static_cast<std::int32_t>(input.u32());
            rowLength = static_cast<std::int32_t>(input.u32());
        } else {
            count = input.u16() % 512;
            rowLength = 1 + input.u8() % 96;
        }
        shift = readShift(input);
        table = readCodeTable(input);
    }

    [[nodiscard]] bool isLegal() const {
        if (count == 0) return true;
        return count > 0 && rowLength >= 1 && shift >= 0 && shift <= 31 && table.isLegal();
    }
    [[nodiscard]] bool isSmall() const { return count <= kMostSamples && rowLength <= kMostSamples; }
};

std::string codecError(std::int32_t samples) {
    char line[64];
    std::snprintf(line, sizeof line, "codec error: %X!\n", static_cast<unsigned>(samples));
    return line;
}

/// What a decode leaves in its samples.
std::vector<std::uint16_t> expectSamples(const ReferencePlane& reference, const PlaneInput& plane,
                                         std::size_t rowStep) {
    const auto columns = static_cast<std::size_t>(std::max(plane.rowLength, 1));
    const std::size_t rows = (static_cast<std::size_t>(plane.count) + columns - 1) / columns;
    std::vector<std::uint16_t> samples;
    for (std::size_t i = 0; i < reference.samples.size(); ++i)
        if (i / columns % rowStep == 0) samples.push_back(reference.samples[i]);
    if (reference.samplesLeft == 0)
        for (std::size_t i = 0;
             i < std::min<std::size_t>(samples.size(), static_cast<std::size_t>(plane.count)); ++i)
            samples[i] = static_cast<std::uint16_t>(std::uint32_t{samples[i]} << plane.shift);
    samples.resize((rows + rowStep - 1) / rowStep * columns, kUntouched);
    return samples;
}

/// Calls `decode` with samples of exactly the size expected and compares all that can be seen of it.
template <typename Decode>
void compare(const std::vector<std::uint16_t>& expected, int result, const std::string& log, Decode decode) {
    const ExactBlock block(2 * expected.size(), kFilling);
    auto* const samples = reinterpret_cast<std::uint16_t*>(block.data());
    require(decode(samples) == result, "the result is the reference's");
    require(takeLog() == log, "the message is the reference's");
    require(std::equal(expected.begin(), expected.end(), samples), "the samples are the reference's");
}

void decodeLegal(const PlaneInput& plane, std::span<const std::uint8_t> bytes) {
    static KineDec decoder;
    const std::uint16_t* const lengths = plane.table.lengths.data();
    const std::uint16_t* const codes = plane.table.codes.data();
    const ReferencePlane reference =
        decodeByDefinition(plane.table, bytes, plane.count, std::max(plane.rowLength, 1));
    const int result = reference.samplesLeft == 0 ? 1 : 0;
    const std::string log = result == 1 ? std::string() : codecError(reference.samplesLeft);

    const ExactBlock bounded(bytes);
    std::vector<std::uint8_t> used(bytes.begin(), bytes.end());
    used.resize((reference.bitsUsed + 7) / 8 + kLookAhead);
    const ExactBlock unbounded(used);

    const kinedec::PlaneResult checked =
        checkPlane(decoder.m_table, kinedec::BoundedBitReader(bounded.bytes()),
                   {plane.table, plane.count, plane.shift, std::max(plane.rowLength, 1)});
    require(checked.decoded == (result == 1) && checked.bitsUsed == reference.bitsUsed,
            "a check says what a decode does");

    const std::vector<std::uint16_t> all = expectSamples(reference, plane, 1);
    compare(all, result, log, [&](std::uint16_t* samples) {
        return decoder.decode(lengths, codes, bounded.data(), bytes.size(), samples, plane.count, plane.shift,
                              plane.rowLength);
    });
    compare(all, result, log, [&](std::uint16_t* samples) {
        return decoder.decode(lengths, codes, unbounded.data(), samples, plane.count, plane.shift,
                              plane.rowLength);
    });
    const std::vector<std::uint16_t> even = expectSamples(reference, plane, 2);
    compare(even, result, log, [&](std::uint16_t* samples) {
        return decoder.decode2(lengths, codes, bounded.data(), bytes.size(), samples, plane.count,
                               plane.shift, plane.rowLength);
    });
    compare(even, result, log, [&](std::uint16_t* samples) {
        return decoder.decode2(lengths, codes, unbounded.data(), samples, plane.count, plane.shift,
                               plane.rowLength);
    });
}

/// What an encoder writes of a difference, a decoder reads.
void extendWhatWasCoded(std::int16_t difference) {
    const unsigned category = kinedec::magnitudeCategory(difference);
    const std::uint32_t bits = kinedec::magnitudeBits(difference, category);
    require(kinedec::extendMagnitude(bits, category) == difference,
            "magnitude bits lead back to the difference");
}

void decodeIllegal(const PlaneInput& plane) {
    static KineDec decoder;
    const std::uint16_t* const lengths = plane.table.lengths.data();
    const std::uint16_t* const codes = plane.table.codes.data();
    const std::string log = codecError(plane.count);
    // Neither a byte to read nor a sample to write.
    compare({}, 0, log, [&](std::uint16_t* samples) {
        return decoder.decode(lengths, codes, nullptr, 0, samples, plane.count, plane.shift, plane.rowLength);
    });
    compare({}, 0, log, [&](std::uint16_t* samples) {
        return decoder.decode(lengths, codes, nullptr, samples, plane.count, plane.shift, plane.rowLength);
    });
    compare({}, 0, log, [&](std::uint16_t* samples) {
        return decoder.decode2(lengths, codes, nullptr, samples, plane.count, plane.shift, plane.rowLength);
    });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    beQuiet();
    FuzzInput input({data, size});
    const PlaneInput plane(input);
    extendWhatWasCoded(static_cast<std::int16_t>(plane.rowLength));
    if (!plane.isLegal())
        decodeIllegal(plane);
    else if (plane.isSmall())
        decodeLegal(plane, input.take(SIZE_MAX));
    return 0;
}
