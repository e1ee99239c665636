#include "host/codec.h"

#include <algorithm>
#include <numeric>

std::uint32_t vidGetAspectRatio(QMXVIDEO video) {
    constexpr std::uint32_t kLargestTerm = 0xFFFF;
    if (video.biWidth <= 0 || video.biHeight == 0) return 0;
    const auto heightWord = static_cast<std::uint32_t>(video.biHeight);
    auto width = static_cast<std::uint32_t>(video.biWidth);
    auto height = video.biHeight < 0 ? 0U - heightWord : heightWord;
    const std::uint32_t divisor = std::gcd(width, height);
    width /= divisor;
    height /= divisor;
    while (std::max(width, height) > kLargestTerm) {
        width = std::max(width / 2, 1U);
        height = std::max(height / 2, 1U);
    }
    return width << 16 | height;
}

void fccGetPvFlagsVideo(QMXVIDEO* video) {
    const std::uint32_t codec = video->biCompression != 0 ? video->biCompression : video->stream.fccHandler;
    video->pvFlags = codec == kFccGrbg && video->biBitCount == 16 ? kPvFlagsMosaic16 : 0;
}
