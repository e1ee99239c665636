#include "tools/cli/progress.h"

#include "tools/cli/console.h"

#include <algorithm>
#include <fmt/format.h>

namespace {

constexpr double kInterval = 0.2; // seconds between two drawings
constexpr double kShortest = 1e-6;
constexpr double kMega = 1e6;
constexpr unsigned kMinute = 60;
constexpr unsigned kHour = 3600;

std::string durationText(double seconds) {
    constexpr double kMost = 1e6;
    const auto whole = static_cast<unsigned>(std::min(seconds, kMost));
    const unsigned minutes = whole / kMinute % kMinute;
    return whole < kHour ? fmt::format("{}:{:02}", minutes, whole % kMinute)
                         : fmt::format("{}:{:02}:{:02}", whole / kHour, minutes, whole % kMinute);
}

} // namespace

std::string Throughput::text() const {
    const double time = std::max(seconds, kShortest);
    return fmt::format("{} frames in {:.2f} s: {:.1f} frames/s, {:.0f} MB/s", frames, seconds, frames / time,
                       static_cast<double>(bytes) / time / kMega);
}

Progress::Progress(std::uint32_t frames, std::uint64_t bytesPerFrame, bool shown)
    : m_frames(frames), m_bytesPerFrame(bytesPerFrame), m_shown(shown && console::errorIsTerminal()) {}

Progress::~Progress() {
    clear();
}

void Progress::clear() {
    console::showProgress({});
    m_shown = false;
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

/// Short enough for a terminal of 30 columns.
void Progress::draw(double seconds) {
    m_drawn = seconds;
    const double rate = m_done / seconds;
    console::showProgress(fmt::format("{}/{} {:.1f}/s {} left", m_done, m_frames, rate,
                                      durationText((m_frames - m_done) / rate)));
}

Throughput Progress::throughput() const {
    return {m_done, m_done * m_bytesPerFrame, elapsed()};
}
