#include "tools/recover/signature_search.h"

#include "krw/byte_view.h"
#include "krw/format.h"

#include <cstring>

namespace {

using Bytes [[gnu::vector_size(16)]] = std::uint8_t;
using Words [[gnu::vector_size(16)]] = std::uint64_t;

constexpr std::size_t kVector = sizeof(Bytes);
constexpr std::size_t kUnrolled = 8; // vectors that are searched before the result is looked at

constexpr std::uint8_t byteOf(std::uint32_t signature, unsigned index) {
    return static_cast<std::uint8_t>(signature >> 8 * index);
}

[[nodiscard]] Bytes load(const std::uint8_t* from) {
    Bytes vector;
    std::memcpy(&vector, from, sizeof vector);
    return vector;
}

/// Lanes that are not zero mark places that have the first and the last byte of a signature.
[[nodiscard]] inline Bytes matches(const std::uint8_t* at) {
    constexpr std::uint32_t kFrame = krwfile::danraw::kSignature;
    constexpr std::uint32_t kTrailer = krwfile::trailer::kMagic;
    const Bytes first = load(at);
    const Bytes last = load(at + kSignatureSize - 1);
    const auto frame = (first ^ byteOf(kFrame, 0)) | (last ^ byteOf(kFrame, 3));
    const auto trailer = (first ^ byteOf(kTrailer, 0)) | (last ^ byteOf(kTrailer, 3));
    return reinterpret_cast<Bytes>((frame == 0) | (trailer == 0));
}

[[nodiscard]] bool isSignature(ByteView bytes, std::size_t at) {
    const std::uint32_t word = bytes.u32(at);
    return word == krwfile::danraw::kSignature || word == krwfile::trailer::kMagic;
}

} // namespace

std::size_t findSignature(std::span<const std::uint8_t> bytes, std::size_t from) {
    constexpr std::size_t kStretch = kUnrolled * kVector;
    const ByteView view(bytes);
    const auto findIn = [view](std::size_t begin, std::size_t end) {
        while (begin < end && !isSignature(view, begin))
            ++begin;
        return begin;
    };
    while (from + kStretch + kSignatureSize <= bytes.size()) {
        Bytes any{};
        for (std::size_t i = 0; i < kUnrolled; ++i)
            any |= matches(bytes.data() + from + i * kVector);
        const auto halves = reinterpret_cast<Words>(any);
        if ((halves[0] | halves[1]) != 0) {
            const std::size_t found = findIn(from, from + kStretch);
            if (found < from + kStretch) return found;
        }
        from += kStretch;
    }
    const std::size_t rest = bytes.size() < kSignatureSize ? 0 : bytes.size() - kSignatureSize + 1;
    const std::size_t found = findIn(from, rest);
    return found < rest ? found : bytes.size();
}
