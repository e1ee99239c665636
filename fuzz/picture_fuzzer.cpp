// The picture decoder against the plane decoder: whenever it does not decline, the picture is the one that
// four calls of KineDec::decode and their interleaving give.
#include "fuzz/coded_plane_input.h"
#include "fuzz/fuzz_support.h"
#include "kinedec/kinedec.h"
#include "kinedec/picture_decoder.h"

#include <algorithm>
#include <array>
#include <vector>

using kinedec::kPlanePadding;
using kinedec::PlaneStream;

namespace {

constexpr std::size_t kPlanes = 4;
constexpr std::uint32_t kMostColumns = 400;  // of a plane: several of the decoder's stretches
constexpr std::uint32_t kMostRows = 48;      // enough for the decoder to find a low bit rate
constexpr std::uint32_t kMostSamples = 2400; // of a plane
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

/// The plane as KineDec decodes it; nothing when it is rejected.
std::vector<std::uint16_t> decodePlane(const PlaneStream& plane, std::uint32_t columns, std::uint32_t rows) {
    static KineDec decoder;
    const std::uint32_t count = columns * rows;
    std::vector<std::uint16_t> samples(count);
    const int result = decoder.decode(
        plane.table.lengths.data(), plane.table.codes.data(), plane.bytes.data(), plane.bytes.size(),
        samples.data(), static_cast<std::int32_t>(count), plane.shift, static_cast<std::int32_t>(columns));
    if (result == 0) samples.clear();
    return samples;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    beQuiet();
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
        expected = expected && !samples.empty() && planes[k].table.isPrefixCode();
        if (!decoded) continue;
        require(!samples.empty(), "a picture decodes only when its planes do");
        const std::uint16_t* const first = picture + k / 2 * rowLength + k % 2;
        for (std::uint32_t row = 0; row < rows; ++row)
            for (std::uint32_t column = 0; column < columns; ++column)
                require(first[2 * rowLength * row + std::size_t{2} * column] ==
                            samples[std::size_t{row} * columns + column],
                        "every sample is the plane decoder's");
    }
    require(decoded == expected, "planes with prefix codes and without errors are not declined");
    static_cast<void>(takeLog());
    return 0;
}
