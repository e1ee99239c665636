#include "tools/frame_workers.h"

#include "tools/interrupt.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace {

/// How often the waiting thread looks whether a signal has come.
constexpr std::chrono::milliseconds kSignalPoll{100};

/// The frames still to be handed out, and the outcomes that have not been taken yet.
class FrameQueue final {
  public:
    explicit FrameQueue(const FrameRange& range) : m_range(range) {}

    /// The next frame to work on; none when all are handed out or the work has been stopped.
    std::optional<std::uint32_t> next() {
        if (m_stopped || interrupt::requested()) return std::nullopt;
        const std::uint64_t index = m_handedOut++;
        if (index >= m_range.count) return std::nullopt;
        return m_range.first + static_cast<std::uint32_t>(index);
    }

    void deliver(std::uint32_t frame, FrameOutcome outcome) {
        {
            const std::scoped_lock lock(m_mutex);
            if (outcome.isLast) m_stopped = true;
            m_outcomes.emplace(frame, std::move(outcome));
        }
        m_changed.notify_one();
    }

    void fail(std::exception_ptr failure) {
        {
            const std::scoped_lock lock(m_mutex);
            if (!m_failure) m_failure = std::move(failure);
            m_stopped = true;
        }
        m_changed.notify_one();
    }

    void stop() { m_stopped = true; }

    /// Waits for a frame's outcome and hands it over. Throws what a worker threw, or Interrupted.
    FrameOutcome take(std::uint32_t frame) {
        std::unique_lock lock(m_mutex);
        auto delivered = m_outcomes.find(frame);
        for (; delivered == m_outcomes.end() && !m_failure; delivered = m_outcomes.find(frame)) {
            interrupt::check();
            m_changed.wait_for(lock, kSignalPoll);
        }
        if (m_failure) std::rethrow_exception(m_failure);
        FrameOutcome outcome = std::move(delivered->second);
        m_outcomes.erase(delivered);
        return outcome;
    }

  private:
    FrameRange m_range;
    std::map<std::uint32_t, FrameOutcome> m_outcomes; // by frame
    std::exception_ptr m_failure;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::atomic<std::uint64_t> m_handedOut = 0;
    std::atomic<bool> m_stopped = false;
};

void workOn(FrameQueue& queue, Clip& clip, const FrameWork& work) {
    Picture picture = clip.makePicture();
    while (const auto frame = queue.next())
        queue.deliver(*frame, work(clip, picture, *frame));
}

/// Joins its threads on every way out, after telling them to stop.
class Workers final {
  public:
    explicit Workers(FrameQueue& queue) : m_queue(queue) {}
    ~Workers() {
        m_queue.stop();
        for (std::thread& thread : m_threads)
            thread.join();
    }
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

    void start(const Plugin& plugin, Clip& clip, unsigned count, const FrameWork& work) {
        for (unsigned index = 0; index < count; ++index)
            m_threads.emplace_back([this, &plugin, &clip, &work, index] {
                try {
                    if (index == 0) return workOn(m_queue, clip, work);
                    Clip own(plugin, clip.path());
                    workOn(m_queue, own, work);
                } catch (...) {
                    m_queue.fail(std::current_exception());
                }
            });
    }

  private:
    FrameQueue& m_queue;
    std::vector<std::thread> m_threads;
};

} // namespace

void forEachFrame(const Plugin& plugin, Clip& clip, const FrameRange& range, unsigned jobs,
                  const FrameWork& work, const OutcomeTaker& take) {
    if (range.count == 0) return;
    FrameQueue queue(range);
    Workers workers(queue);
    const unsigned wanted = jobs > 0 ? jobs : std::thread::hardware_concurrency();
    workers.start(plugin, clip, std::clamp(wanted, 1U, range.count), work);
    for (std::uint32_t index = 0; index < range.count; ++index) {
        const std::uint32_t frame = range.first + index;
        const FrameOutcome outcome = queue.take(frame);
        take(frame, outcome);
        if (outcome.isLast) return;
    }
}
