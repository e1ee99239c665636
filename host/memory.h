// The host's heap and the plain byte utilities that go with it.
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" {

/// Zero-filled block from the host's heap, null when there is none. Released with PVFree.
[[gnu::visibility("default")]] void* PVAlloc(std::size_t size);

/// Releases a block of PVAlloc; null is allowed.
[[gnu::visibility("default")]] void PVFree(void* block);

/// Copies `size` bytes; the areas do not overlap.
[[gnu::visibility("default")]] void pvOSCopyMemory(void* destination, const void* source, std::size_t size);

[[gnu::visibility("default")]] void pvOSZeroMemory(void* destination, std::size_t size);

[[gnu::visibility("default")]] void ZeroMemoryFast(void* destination, std::size_t size);

/// Writes a signed 32-bit value as text in a radix of 2 to 36, NUL-terminated. Only radix 10 writes a minus
/// sign. `text` must hold 33 characters and the terminator, or 12 bytes in all in radix 10. Returns `text`.
[[gnu::visibility("default")]] char* itoa(std::int32_t value, char* text, int radix);
}

/// Bytes that itoa needs in radix 10, terminator included: "-2147483648".
inline constexpr std::size_t kDecimalTextSize = 12;
