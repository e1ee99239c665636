// The plane decoder by definition.
#include "tests/support/reference_decoder.h"

#include <optional>

namespace {

class Bits {
  public:
    explicit Bits(std::span<const std::uint8_t> bytes) : m_bytes(bytes) {}

    [[nodiscard]] unsigned peek(std::size_t width) const {
        unsigned value = 0;
        for (std::size_t at = position; at < position + width; ++at) {
            const unsigned byte = at / 8 < m_bytes.size() ? m_bytes[at / 8] : 0U;
            value = value << 1 | (byte >> (7 - at % 8) & 1U);
        }
        return value;
    }

    std::size_t position = 0;

  private:
    std::span<const std::uint8_t> m_bytes;
};

std::optional<int> takeDifference(Bits& bits, const kinedec::CodeTable& table) {
    const unsigned next = bits.peek(13);
    for (std::size_t category = 13; category-- > 0;) {
        const std::size_t length = table.lengths[category];
        if (length == 0 || next >> (13 - length) != table.codes[category]) continue;
        bits.position += length;
        const int magnitude = static_cast<int>(bits.peek(category));
        bits.position += category;
        const int span = 1 << category;
        return 2 * magnitude >= span || category == 0 ? magnitude : magnitude + 1 - span;
    }
    return std::nullopt;
}

} // namespace

ReferencePlane decodeByDefinition(const kinedec::CodeTable& table, std::span<const std::uint8_t> stream,
                                  std::int32_t count, std::int32_t rowLength) {
    ReferencePlane plane;
    Bits bits(stream);
    const auto width = static_cast<std::size_t>(rowLength);
    const std::size_t wholeRows = (static_cast<std::size_t>(count) + width - 1) / width * width;
    for (std::size_t place = 0; place < wholeRows; ++place) {
        const int prediction = place == 0           ? 0
                               : place % width == 0 ? plane.samples[place - width]
                                                    : plane.samples[place - 1];
        const std::optional<int> difference = takeDifference(bits, table);
        if (!difference) {
            plane.samplesLeft = count - static_cast<std::int32_t>(place - place % width);
            break;
        }
        plane.samples.push_back(static_cast<std::uint16_t>(prediction + *difference));
        plane.bitsUsed = bits.position;
    }
    return plane;
}
