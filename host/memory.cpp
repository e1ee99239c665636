#include "host/memory.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>

void* PVAlloc(std::size_t size) {
    return std::calloc(std::max<std::size_t>(size, 1), 1);
}

void PVFree(void* block) {
    std::free(block);
}

void pvOSCopyMemory(void* destination, const void* source, std::size_t size) {
    if (size != 0) std::memcpy(destination, source, size);
}

void pvOSZeroMemory(void* destination, std::size_t size) {
    if (size != 0) std::memset(destination, 0, size);
}

void ZeroMemoryFast(void* destination, std::size_t size) {
    pvOSZeroMemory(destination, size);
}

char* itoa(std::int32_t value, char* text, int radix) {
    if (radix < 2 || radix > 36) {
        *text = '\0';
        return text;
    }
    char digits[33];
    char* const end = digits + sizeof digits;
    const char* const last = radix == 10
                                 ? std::to_chars(digits, end, value).ptr
                                 : std::to_chars(digits, end, static_cast<std::uint32_t>(value), radix).ptr;
    *std::copy(static_cast<const char*>(digits), last, text) = '\0';
    return text;
}
