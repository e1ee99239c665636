#include "tools/clip/frame_range.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace {

/// The first frame of the run at or above `from`.
std::optional<std::uint32_t> firstFrom(const FrameRun& run, std::uint32_t from) {
    if (from <= run.first) return run.first;
    if (from > run.last()) return std::nullopt;
    return run.first + (from - run.first + run.step - 1) / run.step * run.step;
}

/// The smallest frame of all runs at or above `from`.
std::optional<std::uint32_t> firstFrom(const std::vector<FrameRun>& runs, std::uint32_t from) {
    std::optional<std::uint32_t> least;
    for (const FrameRun& run : runs)
        if (const auto frame = firstFrom(run, from); frame && (!least || *frame < *least)) least = frame;
    return least;
}

bool overlap(const std::vector<FrameRun>& runs) {
    return std::ranges::adjacent_find(runs, [](const FrameRun& one, const FrameRun& next) {
               return next.first <= one.last();
           }) != runs.end();
}

} // namespace

FrameSet::FrameSet(const FrameRange& range) : FrameSet(std::vector{FrameRun{range.first, range.count}}) {}

FrameSet::FrameSet(std::vector<FrameRun> runs) {
    std::erase_if(runs, [](const FrameRun& run) { return run.count == 0; });
    std::ranges::sort(runs, {}, &FrameRun::first);
    if (!overlap(runs)) {
        m_runs = std::move(runs);
        for (const FrameRun& run : m_runs)
            m_size += run.count;
        return;
    }
    for (auto frame = firstFrom(runs, 0); frame; frame = firstFrom(runs, *frame + 1))
        append(*frame);
}

/// Adds a frame: lengthens the last run when the frame continues it.
void FrameSet::append(std::uint32_t frame) {
    ++m_size;
    if (!m_runs.empty()) {
        FrameRun& run = m_runs.back();
        if (run.count == 1) run.step = frame - run.first;
        if (frame == run.last() + run.step) {
            ++run.count;
            return;
        }
    }
    m_runs.push_back({frame, 1, 1});
}

bool FrameSet::contains(std::uint32_t frame) const {
    return std::ranges::any_of(m_runs, [frame](const FrameRun& run) {
        return frame >= run.first && frame <= run.last() && (frame - run.first) % run.step == 0;
    });
}

std::uint32_t FrameSet::at(std::uint32_t index) const {
    std::size_t run = 0;
    for (; index >= m_runs.at(run).count; ++run)
        index -= m_runs[run].count;
    return m_runs[run].first + index * m_runs[run].step;
}

FrameSet FrameSet::part(std::uint32_t index, std::uint32_t count) const {
    std::vector<FrameRun> runs;
    for (const FrameRun& run : m_runs) {
        const std::uint32_t skipped = std::min(index, run.count);
        const std::uint32_t taken = std::min(count, run.count - skipped);
        runs.push_back({run.first + skipped * run.step, taken, run.step});
        index -= skipped;
        count -= taken;
    }
    return FrameSet(std::move(runs));
}
