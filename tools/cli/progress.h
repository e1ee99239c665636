// The progress line of long work on a terminal: frames done, speed, time left.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

/// Work that has been done, and the time that it took.
struct Throughput {
    std::uint32_t frames = 0;
    std::uint64_t bytes = 0; // of mosaic
    double seconds = 0;

    void add(const Throughput& other) {
        frames += other.frames;
        bytes += other.bytes;
        seconds += other.seconds;
    }

    /// "12 frames in 0.5 s: 24.0 frames/s, 424 MB/s"
    [[nodiscard]] std::string text() const;
};

/// Counts frames and measures time. Draws a progress line on standard error when that is a terminal, a few
/// times a second.
class Progress final {
  public:
    /// `bytesPerFrame` is the size of a frame's mosaic. With `shown` false no line is drawn.
    Progress(std::uint32_t frames, std::uint64_t bytesPerFrame, bool shown);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void frameDone();

    /// Removes the line for good. The destructor does so too.
    void clear();

    /// Frames, bytes and time up to now.
    [[nodiscard]] Throughput throughput() const;

  private:
    using Clock = std::chrono::steady_clock;

    void draw(double seconds);
    [[nodiscard]] double elapsed() const;

    std::uint32_t m_frames;
    std::uint64_t m_bytesPerFrame;
    bool m_shown;
    std::uint32_t m_done = 0;
    Clock::time_point m_start = Clock::now();
    double m_drawn = 0; // seconds after the start
};
