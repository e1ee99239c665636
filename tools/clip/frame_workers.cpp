#include "tools/clip/frame_workers.h"

#include "tools/clip/interrupt.h"
#include "tools/clip/worker_count.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

/// Interval at which the waiting thread looks for a signal.
constexpr std::chrono::milliseconds kSignalPoll{100};

/// The frames that no worker has begun, and the outcomes that have not been taken.
class FrameQueue final {
  public:
    FrameQueue(const FrameSet& frames, std::uint32_t ahead)
        : m_next(frames.begin()), m_count(frames.size()), m_ahead(ahead) {}

    /// Waits until the taker is near enough to the next frame, and returns that frame. Nothing is returned
    /// when no frame is left or the work has been stopped.
    std::optional<std::uint32_t> next() {
        std::unique_lock lock(m_mutex);
        m_room.wait(lock, [this] { return m_stopped || m_handedOut - m_taken < m_ahead; });
        if (m_stopped || m_handedOut == m_count || interrupt::requested()) return std::nullopt;
        ++m_handedOut;
        const std::uint32_t frame = *m_next;
        ++m_next;
        return frame;
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

    void stop() {
        {
            const std::scoped_lock lock(m_mutex);
            m_stopped = true;
        }
        m_room.notify_all();
    }

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
        ++m_taken;
        m_room.notify_one();
        return outcome;
    }

  private:
    FrameSet::Iterator m_next; // the frame to hand out
    std::uint32_t m_count;
    std::uint32_t m_ahead;
    std::map<std::uint32_t, FrameOutcome> m_outcomes; // by frame
    std::exception_ptr m_failure;
    std::mutex m_mutex;
    std::condition_variable m_changed; // an outcome or a failure is there
    std::condition_variable m_room;    // a worker may begin a frame, or has to end
    std::uint32_t m_handedOut = 0;
    std::uint32_t m_taken = 0;
    bool m_stopped = false;
};

void workOn(FrameQueue& queue, Clip& clip, const FrameWork& work) {
    Picture picture = clip.makePicture();
    while (const auto frame = queue.next())
        queue.deliver(*frame, work(clip, picture, *frame));
}

/// Threads that are told to stop and joined when this object goes.
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
                    Clip own(plugin, clip);
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

/// The number of workers that take no more than a quarter of the machine's memory, at least one. A worker
/// holds a picture, its coded planes and what it makes of them.
unsigned mostWorkers(const Clip& clip) {
    constexpr std::uint64_t kShare = 4;
    constexpr std::uint64_t kPictures = 3;
    const auto memory = static_cast<std::uint64_t>(::sysconf(_SC_PHYS_PAGES)) *
                        static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
    const std::uint64_t workers = memory / kShare / std::max<std::uint64_t>(kPictures * clip.frameBytes(), 1);
    return static_cast<unsigned>(std::clamp<std::uint64_t>(workers, 1, 4096));
}

} // namespace

void forEachFrame(const Plugin& plugin, Clip& clip, const FrameSet& frames, unsigned jobs,
                  const FrameWork& work, const OutcomeTaker& take) {
    if (frames.size() == 0) return;
    const unsigned count = std::min({workerCount(jobs), frames.size(), mostWorkers(clip)});
    FrameQueue queue(frames, kFramesAhead * count);
    Workers workers(queue);
    workers.start(plugin, clip, count, work);
    for (const std::uint32_t frame : frames) {
        FrameOutcome outcome = queue.take(frame);
        take(frame, outcome);
        if (outcome.isLast) return;
    }
}
