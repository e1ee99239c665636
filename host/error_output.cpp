#include "host/error_output.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <mutex>
#include <new>

namespace {

void writeToStandardError(void* /*context*/, std::uint32_t /*status*/, const char* line) {
    std::fputs(line, stderr);
}

struct Log {
    std::mutex mutex;
    PvLogSink sink = writeToStandardError;
    void* context = nullptr;
};

// Constant-initialised and never destroyed, because other libraries may log while the process starts or ends.
constinit Log theLog;

void deliver(std::uint32_t status, const char* line) {
    const std::scoped_lock lock(theLog.mutex);
    theLog.sink(theLog.context, status, line);
}

/// Formats a line of any length. When memory runs out, only the beginning of a long line is logged.
[[gnu::format(printf, 2, 0)]] void deliverFormatted(std::uint32_t status, const char* format,
                                                    std::va_list arguments) {
    std::array<char, 1024> line{};
    std::va_list again;
    va_copy(again, arguments);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): every caller has started the list
    const int length = std::vsnprintf(line.data(), line.size(), format, arguments);
    const std::size_t size = length < 0 ? 0 : static_cast<std::size_t>(length) + 1;
    const std::unique_ptr<char[]> longLine(size > line.size() ? new (std::nothrow) char[size] : nullptr);
    if (longLine != nullptr) std::vsnprintf(longLine.get(), size, format, again);
    va_end(again);
    deliver(status, longLine != nullptr ? longLine.get() : line.data());
}

} // namespace

void pvSetLogSink(PvLogSink sink, void* context) {
    const std::scoped_lock lock(theLog.mutex);
    theLog.sink = sink != nullptr ? sink : writeToStandardError;
    theLog.context = context;
}

void ErrFmtOut(std::uint32_t status, std::uint32_t /*word1*/, std::uint32_t /*word2*/, const char* format,
               ...) {
    std::va_list arguments;
    va_start(arguments, format);
    deliverFormatted(status, format, arguments);
    va_end(arguments);
}

void ErrOut(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    deliverFormatted(0, format, arguments);
    va_end(arguments);
}

void ErrMsgOut(std::uint32_t code, const char* text) {
    ErrFmtOut(code, 0, 0, "%s (0x%08X)\n", text, code);
}
