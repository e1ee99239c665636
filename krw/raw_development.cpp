#include "krw/raw_development.h"

#include "host/memory.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

namespace {

constexpr float kGamma = 2.2F;
constexpr std::uint32_t kHost836 = 4;

void setIdentity(float (&matrix)[16]) {
    for (std::size_t diagonal = 0; diagonal < 4; ++diagonal)
        matrix[5 * diagonal] = 1.0F;
}

} // namespace

RawParams* renewRawParams(QMXINFO& info) {
    char*& item = info[InfoText::rawParams];
    if (item != nullptr) PVFree(item);
    item = nullptr;
    void* block = PVAlloc(sizeof(RawParams));
    if (block == nullptr) return nullptr;
    auto* params = new (block) RawParams{};
    params->size = sizeof(RawParams);
    params->gamma = kGamma;
    std::ranges::fill(params->gains, 1.0F);
    params->whiteLevel = kUnknownWhite;
    setIdentity(params->matrix1);
    setIdentity(params->matrix2);
    params->host836 = kHost836;
    item = static_cast<char*>(block);
    return params;
}

std::uint32_t fullScale(std::uint16_t bits) {
    constexpr double kLargest = std::numeric_limits<std::uint32_t>::max();
    return static_cast<std::uint32_t>(std::min(std::pow(2.0, bits) - 1.0, kLargest));
}
