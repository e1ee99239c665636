// The list that `krw verify` writes, one line a frame, and reads back to compare with.
#pragma once

#include "tools/clip/frame_workers.h"

#include <cstdint>
#include <map>
#include <string>

/// One frame in the list. Columns: frame number, timecode, hash of the mosaic (16 hexadecimal digits, '-'
/// where nothing could be read), status.
struct VerifyLine {
    std::uint32_t frame = 0;
    std::string timecode;
    std::string hash;
    std::string status; // "ok", "damaged", "unreadable"

    [[nodiscard]] std::string text() const;
};

[[nodiscard]] VerifyLine verifyLine(const Clip& clip, std::uint32_t frame, const FrameOutcome& outcome);

/// An earlier run's list.
class VerifyList final {
  public:
    /// Throws std::runtime_error, "PATH: reason", for a file that cannot be read or holds anything but lines
    /// of a list.
    explicit VerifyList(const std::string& path);

    /// How a frame differs from its line in the list, in words; empty when it does not.
    [[nodiscard]] std::string difference(const VerifyLine& line) const;

    /// Number of lines for frames from `frames` on: frames that a clip of that length has lost.
    [[nodiscard]] std::size_t linesFrom(std::uint32_t frames) const;

  private:
    std::map<std::uint32_t, VerifyLine> m_lines;
};
