// Decoding planes on several threads, without keeping a sample, to find out whether their codes end where
// their data end.
#pragma once

#include "kinedec/plane_decoder.h"
#include "tools/recover/source.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

/// A plane in the source.
struct PlanePlace {
    std::uint64_t offset = 0; // in the source; all bytes of the plane lie inside it
    std::uint32_t bytes = 0;
    kinedec::PlaneParameters parameters;
};

/// Threads that check planes, in any order. Each thread has memory for one plane.
class PlaneChecks final {
  public:
    /// workerCount(jobs) threads. The source must outlive the object.
    PlaneChecks(const Source& source, unsigned jobs);
    /// Drops planes whose check has not begun.
    ~PlaneChecks();
    PlaneChecks(const PlaneChecks&) = delete;
    PlaneChecks& operator=(const PlaneChecks&) = delete;

    /// Queues a plane. The future holds the result, or what Source::read throws.
    [[nodiscard]] std::future<kinedec::PlaneResult> check(const PlanePlace& place);

  private:
    using Task = std::packaged_task<kinedec::PlaneResult(kinedec::LookupTable&)>;

    void work();

    const Source& m_source;
    std::mutex m_mutex;
    std::condition_variable m_waiting;
    std::deque<Task> m_tasks;
    bool m_ending = false;
    std::vector<std::thread> m_threads;
};
