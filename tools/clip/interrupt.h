// Ctrl-C and the signals of a job queue. Work ends as soon as the frames under way are done, so that no
// partial file stays behind. Queues send their signal twice, so a second signal does no more than the first.
#pragma once

#include <stdexcept>

/// Thrown by long work that was asked to stop.
class Interrupted final : public std::runtime_error {
  public:
    Interrupted() : std::runtime_error("interrupted") {}
};

namespace interrupt {

/// Notices SIGINT, SIGTERM and SIGHUP from here on.
void listen();

/// From here on, a signal ends a waiting system call with EINTR. Without this, a write to a pipe that nobody
/// reads would not end.
void endWaits();

[[nodiscard]] bool requested();

/// Throws Interrupted when a signal has come.
void check();

/// 128 + the signal's number, as a shell reports it.
[[nodiscard]] int exitStatus();

} // namespace interrupt
