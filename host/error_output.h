// The host's error output: formatted lines handed to one log sink per process.
#pragma once

#include <cstdint>

extern "C" {

/// Status words of ErrFmtOut.
inline constexpr std::uint32_t kErrorStatus = 0xC0000000U;
inline constexpr std::uint32_t kWarningStatus = 0x80000000U;

/// Receives every finished line. The line is NUL-terminated and valid for the call only. Any thread may call,
/// but only one call runs at a time. The sink must not log itself. `status` is the status word of ErrFmtOut,
/// 0 for ErrOut, the code for ErrMsgOut.
using PvLogSink = void (*)(void* context, std::uint32_t status, const char* line);

/// Replaces the process-wide sink. Null restores the default, which writes to standard error. When the call
/// returns, no call of the previous sink is running.
[[gnu::visibility("default")]] void pvSetLogSink(PvLogSink sink, void* context);

/// Formats (printf conventions) and logs one line under a status word. The two words are the host's; pass 0.
[[gnu::visibility("default")]] [[gnu::format(printf, 4, 5)]] void
ErrFmtOut(std::uint32_t status, std::uint32_t word1, std::uint32_t word2, const char* format, ...);

/// Formats (printf conventions) and logs one line.
[[gnu::visibility("default")]] [[gnu::format(printf, 1, 2)]] void ErrOut(const char* format, ...);

/// Logs a host status code with a text.
[[gnu::visibility("default")]] void ErrMsgOut(std::uint32_t code, const char* text);
}
