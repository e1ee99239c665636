#include "tools/host_log.h"

#include "host/error_output.h"

#include <string_view>

struct LogRouter {
    static thread_local LogCapture* innermost;

    static void receive(void* /*context*/, std::uint32_t /*status*/, const char* line) {
        if (innermost == nullptr) return;
        std::string_view text(line);
        const std::size_t end = text.find_last_not_of("\r\n");
        try {
            innermost->m_lines.emplace_back(text.substr(0, end == std::string_view::npos ? 0 : end + 1));
        } catch (const std::bad_alloc&) {
            // The line goes missing; the failure that it explains is still reported.
            return;
        }
    }
};

thread_local LogCapture* LogRouter::innermost = nullptr;

LogCapture::LogCapture() : m_outer(LogRouter::innermost) {
    LogRouter::innermost = this;
}

LogCapture::~LogCapture() {
    LogRouter::innermost = m_outer;
}

void routeHostLog() {
    pvSetLogSink(LogRouter::receive, nullptr);
}
