#include "tools/cli/byte_progress.h"

#include "tools/cli/console.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace {

constexpr double kInterval = 0.2; // seconds between two drawings
constexpr double kMega = 1e6;

} // namespace

ByteProgress::ByteProgress(std::string what, std::uint64_t bytes, bool shown)
    : m_what(std::move(what)), m_bytes(bytes), m_shown(shown && console::errorIsTerminal()) {}

ByteProgress::~ByteProgress() {
    console::showProgress({});
}

void ByteProgress::reach(std::uint64_t done) {
    m_done = done;
    if (!m_shown) return;
    const double seconds = std::chrono::duration<double>(Clock::now() - m_start).count();
    if (seconds - m_drawn < kInterval) return;
    m_drawn = seconds;
    const double rate = std::max(static_cast<double>(m_done) / seconds, 1.0);
    const auto left =
        static_cast<std::uint64_t>(static_cast<double>(m_bytes - std::min(m_done, m_bytes)) / rate);
    console::showProgress(fmt::format("{} {:.0f}/{:.0f} MB {}:{:02} left", m_what,
                                      static_cast<double>(m_done) / kMega,
                                      static_cast<double>(m_bytes) / kMega, left / 60, left % 60));
}
