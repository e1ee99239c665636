#include "tools/export/lossless_jpeg.h"

#include "kinedec/magnitude.h"
#include "tools/export/huffman.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <endian.h>

namespace {

constexpr std::size_t kComponents = 2;
constexpr std::uint32_t kLargestSide = 65535;
constexpr std::size_t kDifferences = 65536; // modulo 65536
constexpr std::size_t kCategories = 16;     // 0 to 15
constexpr std::size_t kLongestCode = 16;
constexpr std::size_t kHeaderRoom = 128; // more than all marker segments of a stream take

// Markers (T.81, table B.1).
constexpr std::uint8_t kStartOfImage = 0xD8;
constexpr std::uint8_t kStartOfLosslessFrame = 0xC3; // SOF3
constexpr std::uint8_t kDefineHuffmanTable = 0xC4;
constexpr std::uint8_t kStartOfScan = 0xDA;
constexpr std::uint8_t kEndOfImage = 0xD9;

/// The predictions of the first two samples of a row.
using RowPrediction = std::array<std::uint16_t, kComponents>;

/// One tile of a mosaic, row by row.
class Tile final {
  public:
    Tile(const MosaicView& mosaic, const TileGrid& grid, std::size_t index)
        : m_mosaic(mosaic), m_left(static_cast<std::uint32_t>(index % grid.columns) * grid.tileWidth),
          m_top(static_cast<std::uint32_t>(index / grid.columns) * grid.tileHeight), m_width(grid.tileWidth),
          m_height(grid.tileHeight) {}

    /// The samples of a row that lie in the mosaic, an even number. Beyond the edges of the mosaic every
    /// sample equals its prediction.
    [[nodiscard]] std::span<const std::uint16_t> samplesOf(std::uint32_t row) const {
        if (m_top + row >= m_mosaic.height) return {};
        return m_mosaic.samples.subspan(std::size_t{m_top + row} * m_mosaic.width + m_left,
                                        std::min(m_width, m_mosaic.width - m_left));
    }

    /// The predictions of the first samples of a row (H.1.2.1). Every other sample is predicted from the one
    /// before it of the same component.
    [[nodiscard]] RowPrediction predictionOf(std::uint32_t row, unsigned precision) const {
        const auto half = static_cast<std::uint16_t>(1U << (precision - 1));
        if (row == 0) return {half, half};
        const auto above = samplesOf(row - 1);
        return above.empty() ? RowPrediction{} : RowPrediction{above[0], above[1]};
    }

    [[nodiscard]] std::uint32_t width() const { return m_width; }
    [[nodiscard]] std::uint32_t height() const { return m_height; }

  private:
    const MosaicView& m_mosaic;
    std::uint32_t m_left;
    std::uint32_t m_top;
    std::uint32_t m_width;
    std::uint32_t m_height;
};

using Histogram = std::array<std::uint64_t, kCategories>;

/// A difference modulo 65536.
std::uint16_t difference(std::uint16_t sample, std::uint16_t prediction) {
    return static_cast<std::uint16_t>(sample - prediction);
}

/// Bits that hold every sample; the format has at least 2. Samples of a mosaic come in groups of four.
unsigned precisionOf(std::span<const std::uint16_t> samples) {
    std::uint64_t all = 0;
    for (; samples.size() >= 4; samples = samples.subspan(4)) {
        std::uint64_t group = 0;
        std::memcpy(&group, samples.data(), sizeof group);
        all |= group;
    }
    const std::uint64_t folded = all | all >> 32U;
    return std::max(2U, static_cast<unsigned>(std::bit_width((folded | folded >> 16U) & 0xFFFFU)));
}

/// Counts the categories of the differences in two of every eight rows; two rows have all colours. A code
/// that fits a quarter of the samples is within a thousandth of the best one. The other rows may have
/// categories that were not counted, so every category that the precision allows gets a code. With 16 bits
/// all rows are counted, and there is no result when a difference of 32768 occurs.
std::optional<Histogram> countCategories(const std::vector<Tile>& tiles, unsigned precision) {
    constexpr std::uint32_t kPeriod = 8;
    const std::uint32_t counted = precision < kCategories ? 2 : kPeriod;
    // Counting differences first and categories afterwards is faster than finding the category of each
    // sample. Each component has its own counts, so that an increment does not wait for that of its
    // neighbour.
    using Counts = std::array<std::uint32_t, kDifferences>;
    const auto counts = std::make_unique<std::array<Counts, kComponents>>();
    for (const Tile& tile : tiles)
        for (std::uint32_t row = 0; row < tile.height(); ++row) {
            const std::span<const std::uint16_t> samples = tile.samplesOf(row);
            if (row % kPeriod >= counted || samples.empty()) continue;
            RowPrediction prediction = tile.predictionOf(row, precision);
            for (std::size_t column = 0; column < samples.size(); column += kComponents)
                for (std::size_t component = 0; component < kComponents; ++component) {
                    const std::uint16_t sample = samples[column + component];
                    ++(*counts)[component][difference(sample, prediction[component])];
                    prediction[component] = sample;
                }
        }
    Histogram histogram{};
    std::fill_n(histogram.begin(), std::min<std::size_t>(precision + 1, kCategories), 1);
    for (std::size_t step = 0; step < kDifferences; ++step) {
        const std::uint64_t count = std::uint64_t{(*counts)[0][step]} + (*counts)[1][step];
        const unsigned category = kinedec::magnitudeCategory(static_cast<std::int16_t>(step));
        if (category < kCategories)
            histogram[category] += count;
        else if (count > 0)
            return std::nullopt;
    }
    return histogram;
}

struct HuffmanCode {
    std::array<std::uint16_t, kCategories> lengths{}; // 0: no code
    std::array<std::uint16_t, kCategories> codes{};
};

/// The shortest code in which no codeword is all ones, because the format forbids that codeword. A reserved
/// symbol takes it: the symbol is the rarest, so its codeword is among the longest, and it comes last. Among
/// 17 symbols no codeword is longer than 16 bits.
HuffmanCode fitCode(const Histogram& histogram) {
    // The reserved symbol has the lowest count, 1: the others are doubled.
    std::array<std::uint64_t, kCategories + 1> counts{};
    std::ranges::transform(histogram, counts.begin(), [](std::uint64_t count) { return 2 * count; });
    counts.back() = 1;
    std::array<std::uint16_t, kCategories + 1> lengths{};
    fitCodeLengths(counts, lengths);

    HuffmanCode code;
    std::copy_n(lengths.begin(), kCategories, code.lengths.begin());
    unsigned next = 0; // codes in the order of Annex C
    for (std::size_t length = 1; length <= kLongestCode; ++length, next <<= 1U)
        for (std::size_t category = 0; category < kCategories; ++category)
            if (code.lengths[category] == length) code.codes[category] = static_cast<std::uint16_t>(next++);
    return code;
}

/// The bits for each difference modulo 65536: the code of its category and the magnitude bits.
class DifferenceCodes final {
  public:
    struct Bits {
        std::uint32_t value;
        std::uint32_t count;
    };

    explicit DifferenceCodes(const HuffmanCode& code)
        : m_table(std::make_unique_for_overwrite<Bits[]>(kDifferences)) {
        // Entries of categories without a code stay unset: their differences do not occur.
        for (unsigned category = 0; category < kCategories; ++category) {
            const std::uint32_t length = code.lengths[category];
            if (length == 0) continue;
            const std::uint32_t base = std::uint32_t{code.codes[category]} << category;
            for (std::uint32_t magnitude = 0; magnitude < 1U << category; ++magnitude)
                m_table[static_cast<std::uint16_t>(kinedec::extendMagnitude(magnitude, category))] = {
                    base | magnitude, length + category};
            m_longest = std::max(m_longest, length + category);
        }
    }

    [[nodiscard]] const Bits& operator[](std::uint16_t difference) const { return m_table[difference]; }
    [[nodiscard]] std::uint32_t longest() const { return m_longest; }

  private:
    std::unique_ptr<Bits[]> m_table;
    std::uint32_t m_longest = 0;
};

/// Appends codes to memory that is large enough. Use it as a local variable whose address nobody has: a
/// stored byte could otherwise be one of the members, and the compiler would not keep them in registers.
class BitWriter final {
  public:
    using Bits = DifferenceCodes::Bits;

    explicit BitWriter(std::uint8_t* out) : m_out(out) {}

    void put(const Bits& bits) { append(bits.value, bits.count); }

    /// Combines four codes before it appends them, because each append waits for the one before it.
    void put(const Bits& first, const Bits& second, const Bits& third, const Bits& fourth) {
        constexpr unsigned kMost = 57; // with up to 7 bits of an unfinished byte they fit 64 bits
        const std::uint64_t left = std::uint64_t{first.value} << second.count | second.value;
        const std::uint64_t right = std::uint64_t{third.value} << fourth.count | fourth.value;
        const std::uint32_t rightCount = third.count + fourth.count;
        const std::uint32_t count = first.count + second.count + rightCount;
        if (count <= kMost) return append(left << rightCount | right, count);
        put(first);
        put(second);
        put(third);
        put(fourth);
    }

    /// One bits fill the last byte (F.1.2.3).
    [[nodiscard]] std::uint8_t* finish() {
        if (m_bits > 0) putBytes(~(~m_held << (64 - m_bits)), 1);
        return m_out;
    }

  private:
    void append(std::uint64_t value, std::uint32_t count) {
        m_held = m_held << count | value;
        m_bits += count;
        putBytes(m_held << (64 - m_bits), m_bits / 8);
        m_bits %= 8;
    }

    /// Writes the first `count` bytes of a word; a zero byte follows each byte 0xFF. May store 8 bytes,
    /// whatever the count.
    void putBytes(std::uint64_t word, unsigned count) {
        constexpr std::uint64_t kOnes = 0x0101010101010101;
        const bool mayHaveFullByte = ((~word - kOnes) & word & (kOnes << 7U)) != 0;
        if (!mayHaveFullByte) [[likely]] {
            const std::uint64_t bytes = htobe64(word);
            std::memcpy(m_out, &bytes, sizeof bytes);
            m_out += count;
            return;
        }
        for (unsigned index = 0; index < count; ++index) {
            const auto next = static_cast<std::uint8_t>(word >> (56 - 8 * index));
            *m_out++ = next;
            if (next == 0xFF) *m_out++ = 0;
        }
    }

    std::uint8_t* m_out;
    std::uint64_t m_held = 0; // its last bits are the unfinished byte
    unsigned m_bits = 0;      // number of these
};

/// Writes streams one after the other into memory that is large enough.
class JpegWriter final {
  public:
    explicit JpegWriter(std::uint8_t* out) : m_out(out) {}

    [[nodiscard]] std::uint8_t* position() const { return m_out; }

    void byte(std::size_t value) { *m_out++ = static_cast<std::uint8_t>(value); }
    void word(std::size_t value) {
        byte(value >> 8U);
        byte(value);
    }
    void marker(std::uint8_t code) {
        byte(0xFF);
        byte(code);
    }

    /// Codes a tile's samples.
    void code(const Tile& tile, unsigned precision, const DifferenceCodes& codes) {
        BitWriter out(m_out);
        for (std::uint32_t row = 0; row < tile.height(); ++row) {
            const std::span<const std::uint16_t> samples = tile.samplesOf(row);
            const RowPrediction prediction = tile.predictionOf(row, precision);
            std::size_t column = 0;
            for (; column < std::min(samples.size(), kComponents); ++column)
                out.put(codes[difference(samples[column], prediction[column])]);
            const auto next = [&](std::size_t index) -> const DifferenceCodes::Bits& {
                return codes[difference(samples[column + index], samples[column + index - kComponents])];
            };
            for (; column + 4 <= samples.size(); column += 4)
                out.put(next(0), next(1), next(2), next(3));
            for (; column < samples.size(); ++column)
                out.put(next(0));
            for (; column < tile.width(); ++column)
                out.put(codes[0]);
        }
        m_out = out.finish();
    }

  private:
    std::uint8_t* m_out;
};

void writeFrameHeader(JpegWriter& out, unsigned precision, const Tile& tile) {
    out.marker(kStartOfLosslessFrame);
    out.word(8 + 3 * kComponents);
    out.byte(precision);
    out.word(tile.height());
    out.word(tile.width() / kComponents);
    out.byte(kComponents);
    for (std::size_t component = 0; component < kComponents; ++component) {
        out.byte(component);
        out.byte(0x11); // sampling factors
        out.byte(0);    // quantisation table: none in this process
    }
}

void writeHuffmanTable(JpegWriter& out, const HuffmanCode& code) {
    const auto used = static_cast<std::size_t>(
        std::ranges::count_if(code.lengths, [](std::uint16_t length) { return length != 0; }));
    out.marker(kDefineHuffmanTable);
    out.word(3 + kLongestCode + used);
    out.byte(0); // table 0
    for (std::size_t length = 1; length <= kLongestCode; ++length)
        out.byte(static_cast<std::size_t>(std::ranges::count(code.lengths, length)));
    for (std::size_t length = 1; length <= kLongestCode; ++length)
        for (std::size_t category = 0; category < kCategories; ++category)
            if (code.lengths[category] == length) out.byte(category);
}

void writeScanHeader(JpegWriter& out) {
    out.marker(kStartOfScan);
    out.word(6 + 2 * kComponents);
    out.byte(kComponents);
    for (std::size_t component = 0; component < kComponents; ++component) {
        out.byte(component);
        out.byte(0); // table 0
    }
    out.byte(1); // predictor: the left neighbour
    out.byte(0);
    out.byte(0); // no point transform
}

void writeStream(JpegWriter& out, const Tile& tile, unsigned precision, const HuffmanCode& code,
                 const DifferenceCodes& codes) {
    out.marker(kStartOfImage);
    writeFrameHeader(out, precision, tile);
    writeHuffmanTable(out, code);
    writeScanHeader(out);
    out.code(tile, precision, codes);
    out.marker(kEndOfImage);
}

} // namespace

std::optional<JpegStreams> encodeLosslessJpeg(const MosaicView& mosaic, const TileGrid& grid) {
    if (grid.tileWidth / kComponents > kLargestSide || grid.tileHeight > kLargestSide) return std::nullopt;
    std::vector<Tile> tiles;
    for (std::size_t index = 0; index < std::size_t{grid.columns} * grid.rows; ++index)
        tiles.emplace_back(mosaic, grid, index);
    const unsigned precision = precisionOf(mosaic.samples);
    const std::optional<Histogram> histogram = countCategories(tiles, precision);
    if (!histogram) return std::nullopt;
    const HuffmanCode code = fitCode(*histogram);
    const DifferenceCodes codes(code);

    // Every byte may be followed by a zero byte. Memory that is not written to takes no room.
    const std::uint64_t samples = std::uint64_t{grid.tileWidth} * grid.tileHeight * tiles.size();
    const std::uint64_t room = 2 * (samples * codes.longest() / 8 + tiles.size() * kHeaderRoom);
    JpegStreams coded{std::make_unique_for_overwrite<std::uint8_t[]>(room), {}};
    JpegWriter out(coded.memory.get());
    for (const Tile& tile : tiles) {
        const std::uint8_t* const begin = out.position();
        writeStream(out, tile, precision, code, codes);
        coded.streams.emplace_back(begin, out.position());
    }
    return coded;
}
