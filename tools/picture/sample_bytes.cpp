#include "tools/picture/sample_bytes.h"

#include <bit>
#include <cstring>

namespace {

/// Eight samples at once.
using Samples [[gnu::vector_size(16)]] = std::uint16_t;
constexpr std::size_t kLanes = sizeof(Samples) / sizeof(std::uint16_t);

} // namespace

void storeBigEndian(std::span<const std::uint16_t> samples, std::uint8_t* bytes) {
    if constexpr (std::endian::native == std::endian::big) {
        if (!samples.empty()) std::memcpy(bytes, samples.data(), samples.size_bytes());
        return;
    }
    std::size_t i = 0;
    for (; i + kLanes <= samples.size(); i += kLanes) {
        Samples some;
        std::memcpy(&some, &samples[i], sizeof some);
        some = some >> 8 | some << 8;
        std::memcpy(bytes + 2 * i, &some, sizeof some);
    }
    for (; i < samples.size(); ++i) {
        bytes[2 * i] = static_cast<std::uint8_t>(samples[i] >> 8);
        bytes[2 * i + 1] = static_cast<std::uint8_t>(samples[i]);
    }
}
