// Fitting the prefix code and writing the bit stream of a plane.
#include "tools/plane_coder.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <fmt/format.h>
#include <stdexcept>

namespace {

/// Calls `take(category, difference)` for each sample in coding order. The first sample is predicted from 0,
/// the first of each later row from the first of the row above, every other one from its left neighbour.
template <typename Take>
void forEachDifference(std::span<const std::uint16_t> samples, std::size_t rowLength, Take take) {
    if (rowLength == 0 && !samples.empty()) throw std::runtime_error("a plane with rows of no samples");
    std::uint16_t rowPrediction = 0;
    for (std::size_t row = 0; row < samples.size(); row += rowLength) {
        std::uint16_t prediction = rowPrediction;
        rowPrediction = samples[row];
        for (const std::uint16_t sample : samples.subspan(row, std::min(rowLength, samples.size() - row))) {
            const int difference = static_cast<std::int16_t>(sample - prediction);
            const auto magnitude = static_cast<unsigned>(std::abs(difference));
            if (magnitude > kMaxDifference)
                throw std::runtime_error(
                    fmt::format("sample {} differs from its prediction {} by more than {}", sample,
                                prediction, kMaxDifference));
            take(static_cast<unsigned>(std::bit_width(magnitude)), difference);
            prediction = sample;
        }
    }
}

/// Bits of one coded category: its code, moved up to make room for the magnitude bits.
struct Symbol {
    std::uint32_t code = 0;
    unsigned bits = 0; // code and magnitude bits together; 0 where there is no code
};

std::array<Symbol, kCategories> makeSymbols(const CodeTable& table) {
    std::array<Symbol, kCategories> symbols;
    for (unsigned category = 0; category < kCategories; ++category)
        if (table.lengths[category] != 0)
            symbols[category] = {std::uint32_t{table.codes[category]} << category,
                                 table.lengths[category] + category};
    return symbols;
}

/// Most significant bit first, into a buffer that the caller made large enough.
class BitWriter {
  public:
    explicit BitWriter(std::uint8_t* out) : m_out(out) {}

    void put(std::uint32_t value, unsigned bits) {
        m_held = m_held << bits | value;
        m_bits += bits;
        if (m_bits < 32) return;
        m_bits -= 32;
        const auto word = static_cast<std::uint32_t>(m_held >> m_bits);
        for (const unsigned shift : {24U, 16U, 8U, 0U})
            *m_out++ = static_cast<std::uint8_t>(word >> shift);
    }

    /// Writes what is held, filled up with zero bits, and returns the end.
    std::uint8_t* finish() {
        for (; m_bits > 8; m_bits -= 8)
            *m_out++ = static_cast<std::uint8_t>(m_held >> (m_bits - 8));
        if (m_bits > 0) *m_out++ = static_cast<std::uint8_t>(m_held << (8 - m_bits));
        m_bits = 0;
        return m_out;
    }

  private:
    std::uint8_t* m_out;
    std::uint64_t m_held = 0;
    unsigned m_bits = 0;
};

} // namespace

CategoryHistogram countCategories(std::span<const std::uint16_t> samples, std::size_t rowLength) {
    CategoryHistogram histogram{};
    forEachDifference(samples, rowLength, [&](unsigned category, int) { ++histogram[category]; });
    return histogram;
}

// Huffman's construction. Among 13 categories no code gets longer than 12 bits, whatever the counts, so the
// format's limit of 13 needs no care here.
CodeTable fitCodeTable(const CategoryHistogram& histogram) {
    struct Tree {
        std::uint64_t count;
        std::uint32_t categories; // a bit for each category below this node
    };
    std::vector<Tree> forest;
    for (unsigned category = 0; category < kCategories; ++category)
        if (histogram[category] != 0) forest.push_back({histogram[category], 1U << category});

    CodeTable table;
    const auto deepen = [&table](std::uint32_t categories) {
        for (unsigned category = 0; category < kCategories; ++category)
            if ((categories >> category & 1U) != 0) ++table.lengths[category];
    };
    if (forest.size() == 1) deepen(forest.front().categories);
    while (forest.size() > 1) {
        std::ranges::stable_sort(forest, std::ranges::greater{}, &Tree::count);
        const Tree rarest = forest.back();
        forest.pop_back();
        forest.back().count += rarest.count;
        forest.back().categories |= rarest.categories;
        deepen(forest.back().categories);
    }
    assignCanonicalCodes(table);
    return table;
}

void assignCanonicalCodes(CodeTable& table) {
    const std::uint16_t longest = *std::ranges::max_element(table.lengths);
    unsigned next = 0;
    for (unsigned length = 1; length <= longest; ++length, next <<= 1U)
        for (std::size_t category = 0; category < kCategories; ++category)
            if (table.lengths[category] == length) table.codes[category] = static_cast<std::uint16_t>(next++);
}

std::vector<std::uint8_t> encodePlane(std::span<const std::uint16_t> samples, std::size_t rowLength,
                                      const CodeTable& table) {
    const std::array<Symbol, kCategories> symbols = makeSymbols(table);
    const std::size_t mostBits = std::ranges::max_element(symbols, {}, &Symbol::bits)->bits;
    std::vector<std::uint8_t> out(samples.size() * mostBits / 8 + 1);
    BitWriter writer(out.data());
    forEachDifference(samples, rowLength, [&](unsigned category, int difference) {
        const Symbol symbol = symbols[category];
        if (symbol.bits == 0) throw std::runtime_error(fmt::format("category {} has no code", category));
        // A negative difference is coded one less, in the low bits of its two's complement.
        const auto magnitude = static_cast<std::uint32_t>(difference - (difference < 0 ? 1 : 0));
        writer.put(symbol.code | (magnitude & ((1U << category) - 1)), symbol.bits);
    });
    out.resize(static_cast<std::size_t>(writer.finish() - out.data()));
    return out;
}
