// What is open, by the numbers that the kernel gives back.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>

/// Any thread may call.
template <class Thing>
class HandleTable final {
  public:
    [[nodiscard]] std::uint64_t add(std::shared_ptr<Thing> thing) {
        const std::scoped_lock lock(m_mutex);
        m_things.emplace(++m_last, std::move(thing));
        return m_last;
    }
    [[nodiscard]] std::shared_ptr<Thing> at(std::uint64_t handle) {
        const std::scoped_lock lock(m_mutex);
        return m_things.at(handle);
    }
    void remove(std::uint64_t handle) {
        const std::scoped_lock lock(m_mutex);
        m_things.erase(handle);
    }

  private:
    std::mutex m_mutex;
    std::uint64_t m_last = 0;
    std::unordered_map<std::uint64_t, std::shared_ptr<Thing>> m_things;
};
