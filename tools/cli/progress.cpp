#include "tools/cli/progress.h"

#include "tools/cli/console.h"

#include <algorithm>
#include <cstdio>
#include <fmt/format.h>

namespace {

constexpr double kInterval = 0.2; // seconds between two drawings
constexpr double kShortest = 1e-6;
constexpr double kMega = 1e6;

} // namespace

Progress::Progress(std::uint32_t frames, std::uint64_t bytesPerFrame, bool shown)
    : m_frames(frames), m_bytesPerFrame(bytesPerFrame), m_shown(shown && console::errorIsTerminal()) {}

Progress::~Progress() {
    clear();
}

void Progress::clear() {
    if (m_drawn > 0) std::fputs("\r\x1b[K", stderr);
    m_shown = false;
    m_drawn = 0;
}

double Progress::elapsed() const {
    return std::max(std::chrono::duration<double>(Clock::now() - m_start).count(), kShortest);
}

void Progress::frameDone() {
    ++m_done;
    if (!m_shown) return;
    const double seconds = elapsed();
    if (seconds - m_drawn >= kInterval) draw(seconds);
}

void Progress::draw(double seconds) {
    m_drawn = seconds;
    const double rate = m_done / seconds;
    const auto left = static_cast<unsigned>((m_frames - m_done) / rate);
    const double megabytes = rate * static_cast<double>(m_bytesPerFrame) / kMega;
    const std::string line =
        fmt::format("\r\x1b[K  {}/{} frames  {:.1f} frames/s  {:.0f} MB/s  {}:{:02} left", m_done, m_frames,
                    rate, megabytes, left / 60, left % 60);
    std::fputs(line.c_str(), stderr);
}

std::string Progress::speed() const {
    const double seconds = elapsed();
    const double rate = m_done / seconds;
    return fmt::format("{} frames in {:.2f} s: {:.1f} frames/s, {:.0f} MB/s", m_done, seconds, rate,
                       rate * static_cast<double>(m_bytesPerFrame) / kMega);
}
