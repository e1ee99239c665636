// The progress line of work that is counted in bytes: how far, how fast, how long still.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

/// Bytes done against the clock. Writes to standard error, on a terminal alone, a few times a second.
class ByteProgress final {
  public:
    ByteProgress(std::string what, std::uint64_t bytes, bool shown);
    ~ByteProgress();
    ByteProgress(const ByteProgress&) = delete;
    ByteProgress& operator=(const ByteProgress&) = delete;

    void add(std::uint64_t bytes) { reach(m_done + bytes); }
    void reach(std::uint64_t done);

  private:
    using Clock = std::chrono::steady_clock;

    std::string m_what;
    std::uint64_t m_bytes;
    bool m_shown;
    std::uint64_t m_done = 0;
    Clock::time_point m_start = Clock::now();
    double m_drawn = 0; // seconds after the start
};
