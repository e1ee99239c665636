#include "bench/lossless_jpeg.h"

#include "tools/little_endian.h"
#include "tools/plane_coder.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <stdexcept>
#include <string_view>

namespace {

constexpr std::size_t kMaxSide = 65535;

class JpegWriter final {
  public:
    [[nodiscard]] std::vector<std::uint8_t> take() { return std::move(m_bytes); }

    void byte(std::size_t value) { m_bytes.push_back(static_cast<std::uint8_t>(value)); }
    void word(std::size_t value) {
        byte(value >> 8);
        byte(value);
    }
    void marker(std::size_t code) { word(0xFF00 | code); }

    void bits(std::uint32_t value, unsigned count) {
        m_buffer = m_buffer << count | value;
        for (m_held += count; m_held >= 8; m_held -= 8) {
            const std::size_t next = m_buffer >> (m_held - 8) & 0xFF;
            byte(next);
            if (next == 0xFF) byte(0);
        }
    }
    void fillByte() {
        if (m_held > 0) bits((1U << (8 - m_held)) - 1, 8 - m_held);
    }

  private:
    std::vector<std::uint8_t> m_bytes;
    std::uint64_t m_buffer = 0;
    unsigned m_held = 0;
};

/// Calls `use` with each difference in coding order (T.81 H.1.2.1, predictor 1).
template <typename Use>
void forEachDifference(const JpegSource& source, Use&& use) {
    const std::size_t rowLength = source.width * source.components;
    for (std::size_t i = 0; i < source.samples.size(); ++i) {
        int prediction = 1 << (kJpegPrecision - 1);
        if (i % rowLength >= source.components)
            prediction = source.samples[i - source.components];
        else if (i >= rowLength)
            prediction = source.samples[i - rowLength];
        use(source.samples[i] - prediction);
    }
}

unsigned category(int difference) {
    return static_cast<unsigned>(std::bit_width(static_cast<unsigned>(std::abs(difference))));
}

/// A code in which no code word is all ones, as the format wants it.
CodeTable fitJpegTable(const JpegSource& source) {
    CategoryHistogram histogram{};
    forEachDifference(source, [&](int difference) { ++histogram.at(category(difference)); });
    CodeTable table = fitCodeTable(histogram);
    const auto longest = std::ranges::max_element(table.lengths);
    // The last of the longest codes may be the one of all ones.
    const auto last = std::find(table.lengths.rbegin(), table.lengths.rend(), *longest);
    ++*last;
    assignCanonicalCodes(table);
    return table;
}

void writeTable(JpegWriter& out, const CodeTable& table) {
    constexpr std::size_t kLengths = 16;
    const auto used = static_cast<std::size_t>(
        std::ranges::count_if(table.lengths, [](auto length) { return length != 0; }));
    out.marker(0xC4);
    out.word(3 + kLengths + used);
    out.byte(0);
    for (std::size_t length = 1; length <= kLengths; ++length)
        out.byte(static_cast<std::size_t>(std::ranges::count(table.lengths, length)));
    for (std::size_t length = 1; length <= kLengths; ++length)
        for (std::size_t s = 0; s < table.lengths.size(); ++s)
            if (table.lengths[s] == length) out.byte(s);
}

void writeFrameAndScanHeaders(JpegWriter& out, const JpegSource& source, const CodeTable& table) {
    out.marker(0xC3);
    out.word(8 + 3 * source.components);
    out.byte(kJpegPrecision);
    out.word(source.height);
    out.word(source.width);
    out.byte(source.components);
    for (std::size_t c = 0; c < source.components; ++c) {
        out.byte(c + 1);
        out.byte(0x11);
        out.byte(0);
    }
    writeTable(out, table);
    out.marker(0xDA);
    out.word(6 + 2 * source.components);
    out.byte(source.components);
    for (std::size_t c = 0; c < source.components; ++c) {
        out.byte(c + 1);
        out.byte(0);
    }
    out.byte(1); // predictor
    out.byte(0);
    out.byte(0);
}

} // namespace

std::vector<std::uint8_t> encodeLosslessJpeg(const JpegSource& source) {
    if (source.width == 0 || source.components == 0 || source.width > kMaxSide || source.height > kMaxSide)
        throw std::runtime_error("not a size that a JPEG stream can have");
    if (std::ranges::any_of(source.samples,
                            [](std::uint16_t sample) { return sample >> kJpegPrecision != 0; }))
        throw std::runtime_error("more than 12 bits a sample");
    const CodeTable table = fitJpegTable(source);
    JpegWriter out;
    out.marker(0xD8);
    writeFrameAndScanHeaders(out, source, table);
    forEachDifference(source, [&](int difference) {
        const unsigned s = category(difference);
        out.bits(table.codes[s], table.lengths[s]);
        const int magnitude = difference < 0 ? difference + (1 << s) - 1 : difference;
        out.bits(static_cast<std::uint32_t>(magnitude), s);
    });
    out.fillByte();
    out.marker(0xD9);
    return out.take();
}
