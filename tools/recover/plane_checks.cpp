#include "tools/recover/plane_checks.h"

#include "tools/clip/worker_count.h"

#include <memory>
#include <utility>

PlaneChecks::PlaneChecks(const Source& source, unsigned jobs) : m_source(source) {
    for (unsigned i = workerCount(jobs); i > 0; --i)
        m_threads.emplace_back([this] { work(); });
}

PlaneChecks::~PlaneChecks() {
    {
        const std::lock_guard lock(m_mutex);
        m_ending = true;
    }
    m_waiting.notify_all();
    for (std::thread& thread : m_threads)
        thread.join();
}

std::future<kinedec::PlaneResult> PlaneChecks::check(const PlanePlace& place) {
    Task task([this, place](kinedec::LookupTable& lookup) {
        const auto bytes = std::make_unique_for_overwrite<std::uint8_t[]>(place.bytes);
        const std::span<std::uint8_t> data(bytes.get(), place.bytes);
        m_source.read(static_cast<std::int64_t>(place.offset), data);
        return kinedec::checkPlane(lookup, kinedec::BoundedBitReader(data), place.parameters);
    });
    std::future<kinedec::PlaneResult> result = task.get_future();
    {
        const std::lock_guard lock(m_mutex);
        m_tasks.push_back(std::move(task));
    }
    m_waiting.notify_one();
    return result;
}

void PlaneChecks::work() {
    const auto lookup = std::make_unique<kinedec::LookupTable>();
    while (true) {
        std::unique_lock lock(m_mutex);
        m_waiting.wait(lock, [this] { return m_ending || !m_tasks.empty(); });
        if (m_ending) return;
        Task task = std::move(m_tasks.front());
        m_tasks.pop_front();
        lock.unlock();
        task(*lookup);
    }
}
