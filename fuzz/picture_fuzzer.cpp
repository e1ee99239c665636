// The picture decoder against the coding's definition: whenever it does not decline, the picture is the one
// that four planes decoded bit by bit and their interleaving give.
#include "fuzz/coded_plane_input.h"
#include "fuzz/fuzz_support.h"
#include "kinedec/picture_decoder.h"
#include "tests/support/reference_decoder.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

using kinedec::kPlanePadding;
using kinedec::PlaneStream;

namespace {

constexpr std::size_t kPlanes = 4;
constexpr std::uint32_t kMostColumns = 400;  // of a plane: several of the decoder's stretches
constexpr std::uint32_t kMostRows = 48;      // enough for the decoder to find a low bit rate
constexpr std::uint32_t kMostSamples = 1000; // of a plane
constexpr std::uint32_t kMostBytes = 2048;   // of a plane
constexpr std::uint8_t kFilling = 0x5A;

struct Plane {
    std::int32_t shift;
    kinedec::CodeTable table;
    ExactBlock block; // the stream and its padding

    /// The last plane's stream takes what is left of the input.
    Plane(FuzzInput& input, bool last)
        : shift(readShift(input)), table(readCodeTable(input)), block(readStream(input, last)) {}

    [[nodiscard]] PlaneStream stream() const {
        return {table, block.bytes().first(block.bytes().size() - kPlanePadding), shift};
    }

  private:
    static ExactBlock readStream(FuzzInput& input, bool last) {
        const auto bytes = input.take(last ? SIZE_MAX : input.u16() % kMostBytes);
        std::vector<std::uint8_t> padded(bytes.begin(), bytes.end());
        padded.resize(bytes.size() + kPlanePadding);
        return ExactBlock(padded);
    }
};

/// The plane by definition; nothing when it is rejected.
std::vector<std::uint16_t> decodePlane(const PlaneStream& plane, std::uint32_t columns, std::uint32_t rows) {
    if (!plane.table.isPrefixCode() || plane.shift < 0 || plane.shift > 31) return {};
    ReferencePlane reference =
        decodeByDefinition(plane.table, plane.bytes, static_cast<std::int32_t>(columns * rows),
                           static_cast<std::int32_t>(columns));
    if (reference.samplesLeft > 0) return {};
    for (std::uint16_t& sample : reference.samples)
        sample = static_cast<std::uint16_t>(std::uint32_t{sample} << plane.shift);
    return std::move(reference.samples);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input({data, size});
    const std::uint32_t columns = 1 + input.u16() % kMostColumns;
    const std::uint32_t rows = 1 + input.u8() % std::min(kMostRows, std::max(kMostSamples / columns, 1U));
    const std::array<Plane, kPlanes> planes{Plane(input, false), Plane(input, false), Plane(input, false),
                                            Plane(input, true)};
    const std::array<PlaneStream, kPlanes> coded{planes[0].stream(), planes[1].stream(), planes[2].stream(),
                                                 planes[3].stream()};
    const ExactBlock block(std::size_t{8} * columns * rows, kFilling);
    auto* const picture = reinterpret_cast<std::uint16_t*>(block.data());
    const bool decoded = decodePicture(coded, 2 * columns, 2 * rows, picture).has_value();

    const std::size_t rowLength = std::size_t{2} * columns;
    bool expected = true;
    for (std::size_t k = 0; k < kPlanes; ++k) {
        const std::vector<std::uint16_t> samples = decodePlane(coded[k], columns, rows);
        expected = expected && !samples.empty();
        if (!decoded) continue;
        require(!samples.empty(), "a picture decodes only when its planes do");
        const std::uint16_t* const first = picture + k / 2 * rowLength + k % 2;
        for (std::uint32_t row = 0; row < rows; ++row)
            for (std::uint32_t column = 0; column < columns; ++column)
                require(first[2 * rowLength * row + std::size_t{2} * column] ==
                            samples[std::size_t{row} * columns + column],
                        "every sample is the definition's");
    }
    require(decoded == expected, "planes with prefix codes and without errors are not declined");
    return 0;
}
