// Decoding planes on all processors, without keeping a sample: do their codes end where their data end?
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
    std::uint64_t offset = 0; // its bytes lie inside the source
    std::uint32_t bytes = 0;
    kinedec::PlaneParameters parameters;
};

/// Threads that check planes, in any order. Each holds one plane's bytes.
class PlaneChecks final {
  public:
    /// `jobs` threads, 0 for one per processor. The source must outlive the object.
    PlaneChecks(const Source& source, unsigned jobs);
    /// Planes that were not begun are given up.
    ~PlaneChecks();
    PlaneChecks(const PlaneChecks&) = delete;
    PlaneChecks& operator=(const PlaneChecks&) = delete;

    /// The result, or what Source::read throws, is in the future.
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
