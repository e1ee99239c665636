#include "tools/clip/plane_tail.h"

#include "kinedec/magnitude.h"
#include "tools/clip/coded_size.h"

#include <optional>

namespace {

constexpr unsigned kComparedBits = 64;

/// The last bits of a plane's codes, made from the last samples of its last row.
std::optional<std::uint64_t> lastBits(const PlaneDescriptor& plane, std::size_t index,
                                      const MosaicView& picture) {
    if (plane.shift < 0 || plane.shift > kLargestExactShift || !plane.table.isPrefixCode())
        return std::nullopt;
    const std::size_t rowStart = (picture.height - 2 + index / 2) * std::size_t{picture.width};
    const auto row = picture.samples.subspan(rowStart, picture.width);
    std::uint64_t bits = 0;
    unsigned count = 0;
    for (std::size_t at = picture.width - 2 + index % 2; count < kComparedBits; at -= 2) {
        if (at < 2) return std::nullopt; // the first sample of a row depends on the row above
        const auto shifted = static_cast<std::int16_t>(row[at] - row[at - 2]);
        const std::int32_t difference = shifted >> plane.shift;
        const unsigned category = kinedec::magnitudeCategory(difference);
        if (category >= plane.table.lengths.size() || plane.table.lengths[category] == 0) return std::nullopt;
        const std::uint64_t code = std::uint64_t{plane.table.codes[category]} << category |
                                   kinedec::magnitudeBits(difference, category);
        bits |= code << count;
        count += plane.table.lengths[category] + category;
    }
    return bits;
}

} // namespace

bool endsInItsCodes(const PlaneDescriptor& plane, std::size_t index, const MosaicView& picture,
                    std::uint32_t mostLeft, std::span<const std::uint8_t> tail) {
    const auto wanted = lastBits(plane, index, picture);
    if (!wanted) return false;
    constexpr std::size_t kWhole = kComparedBits / 8;
    std::uint64_t bits = 0;       // the last 64 bits up to byte i's end
    std::uint64_t bitsBefore = 0; // those before
    std::size_t found = 0;
    bool foundInPlace = false;
    for (std::size_t i = 0; i < tail.size(); ++i) {
        bitsBefore = bitsBefore << 8 | bits >> (kComparedBits - 8);
        bits = bits << 8 | tail[i];
        // Codes can end at each bit of a byte.
        for (unsigned unused = 0; unused < 8 && i + 1 >= kWhole + (unused > 0 ? 1 : 0); ++unused) {
            const std::uint64_t here =
                unused == 0 ? bits : bits >> unused | bitsBefore << (kComparedBits - unused);
            if (here != *wanted) continue;
            ++found;
            foundInPlace = tail.size() - 1 - i <= mostLeft;
        }
    }
    return found == 1 && foundInPlace;
}
