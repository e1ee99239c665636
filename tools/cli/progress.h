// The progress line of long work on a terminal: how far, how fast, how long still.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

/// Frames done against the clock. Writes to standard error, on a terminal alone, a few times a second.
class Progress final {
  public:
    /// `bytesPerFrame` is the size of a frame's mosaic; `shown` false keeps the line away.
    Progress(std::uint32_t frames, std::uint64_t bytesPerFrame, bool shown);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void frameDone();

    /// Takes the line away; the destructor does it too.
    void clear();

    /// "12 frames in 0.5 s: 24.0 frames/s, 424 MB/s" of mosaic.
    [[nodiscard]] std::string speed() const;

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
