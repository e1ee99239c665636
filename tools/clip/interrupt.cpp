#include "tools/clip/interrupt.h"

#include <csignal>

namespace interrupt {

namespace {

volatile std::sig_atomic_t signalSeen = 0;

void notice(int signal) {
    signalSeen = signal;
}

void noticeSignals(int flags) {
    struct sigaction action {};
    action.sa_handler = notice;
    action.sa_flags = flags;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaction(signal, &action, nullptr);
}

} // namespace

void listen() {
    noticeSignals(SA_RESTART);
    std::signal(SIGPIPE,
                SIG_IGN); // a closed pipe becomes an error, so that files are cleaned up
}

void endWaits() {
    noticeSignals(0);
}

bool requested() {
    return signalSeen != 0;
}

void check() {
    if (requested()) throw Interrupted();
}

int exitStatus() {
    constexpr int kShellBase = 128;
    return kShellBase + signalSeen;
}

} // namespace interrupt
