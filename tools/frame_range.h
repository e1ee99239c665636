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

struct FrameRange {
    std::uint32_t first = 0;
    std::uint32_t count = 0;
};

/// The frames that `text` names of a clip of `frames` frames; all for an empty text. Throws UsageError, with
/// the clip's name in the message, for a text that is no range and for frames that the clip does not have.
[[nodiscard]] FrameRange frameRange(const std::string& text, std::uint32_t frames, const std::string& clip);
