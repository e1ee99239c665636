// Ctrl-C and the signals of a job queue: work under way is given up in good order, so that no partial file
// stays behind. That takes no longer than the frames under way; queues send their signal twice, so a second
// one does no more than the first.
#pragma once

#include <stdexcept>

/// Thrown where long work notices that it was asked to stop.
class Interrupted final : public std::runtime_error {
  public:
    Interrupted() : std::runtime_error("interrupted") {}
};

namespace interrupt {

/// Notices SIGINT, SIGTERM and SIGHUP from here on.
void listen();

/// From here on, a system call that waits ends with EINTR when a signal comes. For output to a pipe that
/// nobody reads for a while.
void endWaits();

[[nodiscard]] bool requested();

/// Throws Interrupted when a signal has come.
void check();

/// 128 + the signal's number, as a shell reports it.
[[nodiscard]] int exitStatus();

} // namespace interrupt
