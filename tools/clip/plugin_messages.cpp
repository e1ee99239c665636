#include "tools/clip/plugin_messages.h"

#include "host/error_output.h"

#include <string_view>

struct MessageRouter {
    static thread_local PluginMessages* innermost;

    static void receive(void* /*context*/, std::uint32_t /*status*/, const char* line) {
        if (innermost == nullptr) return;
        std::string_view text(line);
        const std::size_t end = text.find_last_not_of("\r\n");
        try {
            innermost->m_lines.emplace_back(text.substr(0, end == std::string_view::npos ? 0 : end + 1));
        } catch (const std::bad_alloc&) {
            // The line is lost. The failure that it explains is still reported by its status.
            return;
        }
    }
};

thread_local PluginMessages* MessageRouter::innermost = nullptr;

PluginMessages::PluginMessages() : m_outer(MessageRouter::innermost) {
    MessageRouter::innermost = this;
}

PluginMessages::~PluginMessages() {
    MessageRouter::innermost = m_outer;
}

void collectPluginMessages() {
    pvSetLogSink(MessageRouter::receive, nullptr);
}
