#include "tools/clip/worker_count.h"

#include <algorithm>
#include <sched.h>
#include <thread>

namespace {

unsigned usableProcessors() {
    cpu_set_t usable;
    CPU_ZERO(&usable);
    // Fails where there are more processors than the set has room for.
    if (::sched_getaffinity(0, sizeof usable, &usable) != 0) return std::thread::hardware_concurrency();
    return static_cast<unsigned>(CPU_COUNT(&usable));
}

} // namespace

unsigned workerCount(unsigned jobs) {
    const unsigned processors = std::max(usableProcessors(), 1U);
    return jobs > 0 ? std::min(jobs, processors) : processors;
}
