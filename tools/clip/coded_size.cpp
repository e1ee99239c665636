#include "tools/clip/coded_size.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace {

constexpr std::size_t kPlanesInRow = 2;

using Words [[gnu::vector_size(16)]] = std::uint16_t;
using SignedWords [[gnu::vector_size(16)]] = std::int16_t;
using SignedBytes [[gnu::vector_size(16)]] = std::int8_t;
constexpr std::size_t kLanes = 8; // samples in a vector of words

// Categories whose magnitudes fit a signed byte. They are counted in vectors of bytes, at twice the speed.
// Most differences are in them.
constexpr std::size_t kByteCategories = 7;
constexpr std::int16_t kLargestByte = 127;
constexpr std::size_t kWordCategories = kKineCategories - kByteCategories; // the last one is beyond the code
// Samples that are counted together: the counts of a lane of bytes stay below 128.
constexpr std::size_t kStretch = std::size_t{120} * 2 * kLanes;

/// For each category, the number of differences in it or a higher one. The last entry counts differences
/// beyond all categories.
using CategoryCounts = std::array<std::uint64_t, kKineCategories + 1>;
/// Counts of the two planes that share a row of the mosaic.
using RowCounts = std::array<CategoryCounts, kPlanesInRow>;

/// The largest magnitude below a category.
constexpr int largestBelow(std::size_t category) {
    return (1 << (category - 1)) - 1;
}

template <class Vector, class Element>
[[nodiscard]] Vector load(const Element* from) {
    Vector vector;
    std::memcpy(&vector, from, sizeof vector);
    return vector;
}

/// Lane by lane, at most kLargestByte. Compilers turn the loop into one instruction.
[[nodiscard]] SignedWords limitToByte(SignedWords words) {
    std::array<std::int16_t, kLanes> lanes;
    std::memcpy(lanes.data(), &words, sizeof words);
    for (std::int16_t& lane : lanes)
        lane = std::min(lane, kLargestByte);
    return load<SignedWords>(lanes.data());
}

/// The low halves of the words of two vectors.
[[nodiscard]] SignedBytes pack(SignedWords first, SignedWords second) {
    return __builtin_shufflevector(reinterpret_cast<SignedBytes>(first),
                                   reinterpret_cast<SignedBytes>(second), 0, 2, 4, 6, 8, 10, 12, 14, 16, 18,
                                   20, 22, 24, 26, 28, 30);
}

/// Magnitudes of the differences between samples that were shifted to the left by `shift` and their
/// neighbours in the same plane.
template <bool kShifted>
class Magnitudes {
  public:
    explicit Magnitudes(std::int32_t shift)
        : m_sampleShift(shift <= kLargestExactShift ? 0 : shift),
          m_differenceShift(shift <= kLargestExactShift ? shift : 0) {}

    [[nodiscard]] int of(std::uint16_t sample, std::uint16_t prediction) const {
        const int difference = (sample >> m_sampleShift) - (prediction >> m_sampleShift);
        return std::abs(static_cast<std::int16_t>(difference) >> m_differenceShift);
    }
    /// Magnitudes for eight samples of a row. The neighbour of each lies two samples before it.
    [[nodiscard]] SignedWords ofRow(const std::uint16_t* samples) const {
        auto sample = load<Words>(samples);
        auto prediction = load<Words>(samples - kPlanesInRow);
        if constexpr (kShifted) {
            sample >>= m_sampleShift;
            prediction >>= m_sampleShift;
        }
        auto difference = reinterpret_cast<SignedWords>(sample - prediction);
        if constexpr (kShifted) difference >>= m_differenceShift;
        const SignedWords negative = difference >> 15;
        return (difference ^ negative) - negative;
    }

  private:
    int m_sampleShift;
    int m_differenceShift;
};

/// Counts, for each of some consecutive categories and each lane, the magnitudes that reach the category.
template <class Vector, class Element, std::size_t kFirst, std::size_t kCount>
class LaneCounts {
  public:
    [[gnu::always_inline]] void add(Vector magnitudes) {
        [&]<std::size_t... kStep>(std::index_sequence<kStep...>) {
            ((m_reached[kStep] -= magnitudes > static_cast<Element>(largestBelow(kFirst + kStep))), ...);
        }
        (std::make_index_sequence<kCount>());
    }
    void moveTo(RowCounts& counts) {
        for (std::size_t step = 0; step < kCount; ++step)
            for (std::size_t lane = 0; lane < sizeof(Vector) / sizeof(Element); ++lane)
                counts[lane % kPlanesInRow][kFirst + step] +=
                    static_cast<std::uint64_t>(m_reached[step][lane]);
    }

  private:
    std::array<Vector, kCount> m_reached{};
};

void countOne(int magnitude, CategoryCounts& counts) {
    for (std::size_t category = 1; category <= kKineCategories && magnitude > largestBelow(category);
         ++category)
        ++counts[category];
}

/// Counts a stretch of whole vectors of bytes.
template <class Magnitudes>
void countStretch(std::span<const std::uint16_t> samples, const Magnitudes& magnitudes, RowCounts& counts) {
    LaneCounts<SignedBytes, std::int8_t, 1, kByteCategories> bytes;
    SignedWords large{};
    for (std::size_t i = 0; i < samples.size(); i += 2 * kLanes) {
        const SignedWords first = magnitudes.ofRow(samples.data() + i);
        const SignedWords second = magnitudes.ofRow(samples.data() + i + kLanes);
        large |= first | second;
        bytes.add(pack(limitToByte(first), limitToByte(second)));
    }
    bytes.moveTo(counts);
    std::int16_t any = 0;
    for (std::size_t lane = 0; lane < kLanes; ++lane)
        any = static_cast<std::int16_t>(any | large[lane]);
    if (any <= kLargestByte) return;
    LaneCounts<SignedWords, std::int16_t, kByteCategories + 1, kWordCategories> words;
    for (std::size_t i = 0; i < samples.size(); i += kLanes)
        words.add(magnitudes.ofRow(samples.data() + i));
    words.moveTo(counts);
}

/// Counts one row of the mosaic. `above` is the row of the same planes above it, empty for the first.
template <class Magnitudes>
void countRow(std::span<const std::uint16_t> row, std::span<const std::uint16_t> above,
              const Magnitudes& magnitudes, RowCounts& counts) {
    for (std::size_t i = 0; i < kPlanesInRow; ++i)
        countOne(magnitudes.of(row[i], above.empty() ? std::uint16_t{0} : above[i]), counts[i]);
    const std::size_t inVectors = (row.size() - kPlanesInRow) / (2 * kLanes) * (2 * kLanes) + kPlanesInRow;
    for (std::size_t i = kPlanesInRow; i < inVectors; i += kStretch)
        countStretch(row.subspan(i, std::min(kStretch, inVectors - i)), magnitudes, counts);
    for (std::size_t i = inVectors; i < row.size(); ++i)
        countOne(magnitudes.of(row[i], row[i - kPlanesInRow]), counts[i % kPlanesInRow]);
}

template <class Magnitudes>
[[nodiscard]] std::array<CategoryCounts, krwfile::plane::kCount> countMosaic(const MosaicView& mosaic,
                                                                             const Magnitudes& magnitudes) {
    std::array<RowCounts, 2> rows{};
    for (std::size_t row = 0; row < mosaic.height; ++row) {
        const auto samples = mosaic.samples.subspan(row * mosaic.width, mosaic.width);
        const auto above = row < 2 ? std::span<const std::uint16_t>{}
                                   : mosaic.samples.subspan((row - 2) * mosaic.width, mosaic.width);
        countRow(samples, above, magnitudes, rows[row % 2]);
    }
    std::array counts{rows[0][0], rows[0][1], rows[1][0], rows[1][1]};
    for (CategoryCounts& plane : counts)
        plane[0] = std::uint64_t{mosaic.width / 2} * (mosaic.height / 2);
    return counts;
}

/// Bits of a plane's codes; nothing when a difference has no code.
[[nodiscard]] std::optional<std::uint64_t> sumOfBits(const CategoryCounts& reached,
                                                     const kinedec::CodeTable& table) {
    if (reached.back() != 0) return std::nullopt;
    std::uint64_t bits = 0;
    for (std::size_t category = 0; category < kKineCategories; ++category) {
        const std::uint64_t count = reached[category] - reached[category + 1];
        if (count != 0 && table.lengths[category] == 0) return std::nullopt;
        bits += count * (table.lengths[category] + category);
    }
    return bits;
}

} // namespace

std::optional<kinedec::PlaneBits> countCodedBits(const MosaicView& mosaic, const FrameCoding& coding) {
    const std::int32_t shift = coding.shifts[0];
    const auto isSame = [shift](std::int32_t other) { return other == shift; };
    if (shift < 0 || shift > 15 || !std::ranges::all_of(coding.shifts, isSame)) return std::nullopt;
    if (!std::ranges::all_of(coding.tables, &kinedec::CodeTable::isPrefixCode)) return std::nullopt;
    const auto counts = shift == 0 ? countMosaic(mosaic, Magnitudes<false>(shift))
                                   : countMosaic(mosaic, Magnitudes<true>(shift));
    kinedec::PlaneBits bits{};
    for (std::size_t k = 0; k < bits.size(); ++k) {
        const auto sum = sumOfBits(counts[k], coding.tables[k]);
        if (!sum) return std::nullopt;
        bits[k] = *sum;
    }
    return bits;
}
