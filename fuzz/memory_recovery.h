// What recovery reads and writes, in memory, and its checks of planes on the thread that asks: no input costs
// a system call or a thread. The definitions stand in for those of tools/recover/ and tools/export/.
#pragma once

#include <cstdint>
#include <span>

/// The bytes of the file that was finished last. They stay until the next one is begun.
[[nodiscard]] std::span<const std::uint8_t> writtenByRecovery();
