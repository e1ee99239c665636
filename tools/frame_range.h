// Ranges of frames as the command line names them: "A-B", "A-", "A", 0-based, both ends included.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

/// A wish that the program cannot fulfil because of how it was called: exit status 2.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Consecutive frames; none for a count of 0.
struct FrameRange {
    std::uint32_t first = 0;
    std::uint32_t count = 0;
};

/// Which of a clip's frames a command is to work on, in the words of the command line.
struct FrameChoice {
    std::string range; // "A-B", "A-" or "A"; empty for all
    std::string part;  // "I/N", I from 1: the I-th of N equal parts of the range; empty for the whole
};

/// The frames chosen of a clip of `frames` frames; none for a part of a range with fewer frames than parts.
/// Throws UsageError, with the clip's name in the message, for words that are no range or no part, and for
/// frames that the clip does not have.
[[nodiscard]] FrameRange chosenFrames(const FrameChoice& choice, std::uint32_t frames,
                                      const std::string& clip);

/// The same for a range alone.
[[nodiscard]] FrameRange frameRange(const std::string& range, std::uint32_t frames, const std::string& clip);
