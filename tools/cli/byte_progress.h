// The progress line of work that is counted in bytes: bytes done and time left.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

/// Draws the progress line on standard error, a few times a second. The destructor removes it.
class ByteProgress final {
  public:
    /// `what` begins the line, `bytes` is the amount of work. Nothing is drawn when `shown` is false or
    /// standard error is no terminal.
    ByteProgress(std::string what, std::uint64_t bytes, bool shown);
    ~ByteProgress();
    ByteProgress(const ByteProgress&) = delete;
    ByteProgress& operator=(const ByteProgress&) = delete;

    /// Counts bytes that were done after the ones before.
    void add(std::uint64_t bytes) { reach(m_done + bytes); }
    /// Sets the number of bytes that are done.
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
