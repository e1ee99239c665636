// The list that `krw verify` writes, one line a frame, and reads back to compare with.
#pragma once

#include "tools/clip/frame_workers.h"

#include <cstdint>
#include <map>
#include <string>

/// One frame in the list. Columns: frame number, timecode, hash of the mosaic (16 hexadecimal digits, or '-'
/// 16 times for an unreadable frame), status.
struct VerifyLine {
    std::uint32_t frame = 0;
    std::string timecode;
    std::string hash;
    std::string status; // "ok", "damaged", "unreadable"

    [[nodiscard]] std::string text() const;
};

[[nodiscard]] VerifyLine verifyLine(const Clip& clip, std::uint32_t frame, const FrameOutcome& outcome);

/// The line before the lines of a clip, in a list of several clips.
[[nodiscard]] std::string headingOf(const std::string& clipName);

/// The frames of one clip in an earlier run's list.
class VerifyList final {
  public:
    void add(VerifyLine line) { m_lines.insert_or_assign(line.frame, std::move(line)); }

    /// How a frame differs from its line in the list, in words; empty when it does not.
    [[nodiscard]] std::string difference(const VerifyLine& line) const;

    /// Number of lines for frame number `frames` and above: frames that a clip of that length has lost.
    [[nodiscard]] std::size_t linesFrom(std::uint32_t frames) const;

  private:
    std::map<std::uint32_t, VerifyLine> m_lines;
};

/// The lists in a file by the names of their clips. A list of one clip has an empty name. Throws
/// std::runtime_error, "PATH: reason", for a file that cannot be read or holds anything but lists.
[[nodiscard]] std::map<std::string, VerifyList> readVerifyLists(const std::string& path);
