// Fitting the prefix code and writing the bit stream of a plane.
#include "tools/synth/plane_encoder.h"

#include "kinedec/magnitude.h"
#include "tools/export/huffman.h"

#include <algorithm>
#include <fmt/format.h>
#include <stdexcept>

using kinedec::CodeTable;

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
            const unsigned category = kinedec::magnitudeCategory(difference);
            if (category >= kKineCategories)
                throw std::runtime_error(
                    fmt::format("sample {} differs from its prediction {} by more than {}", sample,
                                prediction, kMaxDifference));
            take(category, difference);
            prediction = sample;
        }
    }
}

/// The bits for one category: its code, shifted to make room for the magnitude bits.
struct Symbol {
    std::uint32_t code = 0;
    unsigned bits = 0; // code and magnitude bits together; 0 where there is no code
};

std::array<Symbol, kKineCategories> makeSymbols(const CodeTable& table) {
    std::array<Symbol, kKineCategories> symbols;
    for (unsigned category = 0; category < kKineCategories; ++category)
        if (table.lengths[category] != 0)
            symbols[category] = {std::uint32_t{table.codes[category]} << category,
                                 table.lengths[category] + category};
    return symbols;
}

/// Writes bits, the most significant first, to a buffer that the caller made large enough.
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

    /// Writes the last bits, filled up with zeros, and returns the end.
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

// Among 13 categories no code is longer than 12 bits, so none exceeds the 13 bits of the format.
CodeTable fitCodeTable(const CategoryHistogram& histogram) {
    CodeTable table;
    fitCodeLengths(histogram, table.lengths);
    assignCanonicalCodes(table);
    return table;
}

std::vector<std::uint8_t> encodePlane(std::span<const std::uint16_t> samples, std::size_t rowLength,
                                      const CodeTable& table) {
    const std::array<Symbol, kKineCategories> symbols = makeSymbols(table);
    const std::size_t mostBits = std::ranges::max_element(symbols, {}, &Symbol::bits)->bits;
    std::vector<std::uint8_t> out(samples.size() * mostBits / 8 + 1);
    BitWriter writer(out.data());
    forEachDifference(samples, rowLength, [&](unsigned category, int difference) {
        const Symbol symbol = symbols[category];
        if (symbol.bits == 0) throw std::runtime_error(fmt::format("category {} has no code", category));
        writer.put(symbol.code | kinedec::magnitudeBits(difference, category), symbol.bits);
    });
    out.resize(static_cast<std::size_t>(writer.finish() - out.data()));
    return out;
}
