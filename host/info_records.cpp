#include "host/info_records.h"

#include "host/memory.h"
#include "plugin/status.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace {

constexpr auto kRawParams = static_cast<std::uint32_t>(InfoText::rawParams);

/// Bytes of a pointer item. A text's terminator counts.
std::size_t itemSize(std::uint32_t number, const char* item) {
    if (number != kRawParams) return std::strlen(item) + 1;
    std::uint32_t size = 0;
    std::memcpy(&size, item, sizeof size);
    return std::max<std::size_t>(size, sizeof size);
}

} // namespace

std::uint32_t qmxInfoSet(QMXINFO* destination, const QMXINFO* source) {
    if (destination == nullptr || source == nullptr) return status::kMissingArgument;
    if (destination == source) return status::kOk;

    // Everything is copied before anything is released: the two records may share texts.
    QMXINFO copy = *source;
    std::uint32_t result = status::kOk;
    for (std::uint32_t number = 0; number < QMXINFO::kTexts; ++number) {
        const char* const item = source->texts[number];
        if (item == nullptr) continue;
        const std::size_t size = itemSize(number, item);
        void* const block = PVAlloc(size);
        copy.texts[number] = static_cast<char*>(block);
        if (block == nullptr)
            result = status::kOutOfMemory;
        else
            pvOSCopyMemory(block, item, size);
    }
    qmxInfoDelete(destination);
    *destination = copy;
    return result;
}

void qmxInfoDelete(QMXINFO* info) {
    for (char* const item : info->texts)
        if (item != nullptr) PVFree(item);
    *info = {};
}

std::uint32_t findChannel(std::uint32_t mask, std::uint32_t /*word1*/, std::uint32_t /*word2*/) {
    return mask == 0 ? 0xFFFFFFFFU : static_cast<std::uint32_t>(std::countr_zero(mask));
}

std::uint32_t totalChannels(std::uint32_t mask) {
    return static_cast<std::uint32_t>(std::popcount(mask));
}
