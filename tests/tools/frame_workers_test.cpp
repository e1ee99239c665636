// Work on several threads: how many there are.

#include "tests/support/clip_builder.h"
#include "tests/support/temp_dir.h"
#include "tools/clip/frame_workers.h"
#include "tools/clip/worker_count.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <mutex>
#include <sched.h>
#include <set>
#include <thread>

namespace {

/// While this lives, the thread and those that it starts may use one processor only.
class OneProcessor final {
  public:
    OneProcessor() {
        EXPECT_EQ(::sched_getaffinity(0, sizeof m_before, &m_before), 0);
        int first = 0;
        while (!CPU_ISSET(first, &m_before))
            ++first;
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(first, &one);
        EXPECT_EQ(::sched_setaffinity(0, sizeof one, &one), 0);
    }
    ~OneProcessor() { EXPECT_EQ(::sched_setaffinity(0, sizeof m_before, &m_before), 0); }
    OneProcessor(const OneProcessor&) = delete;
    OneProcessor& operator=(const OneProcessor&) = delete;

    [[nodiscard]] unsigned before() const { return static_cast<unsigned>(CPU_COUNT(&m_before)); }

  private:
    cpu_set_t m_before{};
};

TEST(FrameWorkers, AreNoMoreThanTheProcessorsThatMayBeUsed) {
    const Plugin plugin(KRW_PLUGIN);
    const TempDir directory;
    Clip clip(plugin, directory.write("clip.krw", makeClip(40).bytes));
    unsigned processors = 0;
    {
        const OneProcessor only;
        processors = only.before();
        std::set<std::thread::id> workers;
        std::mutex mutex;
        std::uint32_t taken = 0;
        forEachFrame(
            plugin, clip, FrameRange{0, 40}, 8,
            [&](Clip& own, Picture& picture, std::uint32_t frame) {
                const std::scoped_lock lock(mutex);
                workers.insert(std::this_thread::get_id());
                return FrameOutcome{own.read(frame, picture)};
            },
            [&](std::uint32_t frame, const FrameOutcome&) { EXPECT_EQ(frame, taken++); });
        EXPECT_EQ(workers.size(), 1);
        EXPECT_EQ(taken, 40);
        EXPECT_EQ(workerCount(0), 1);
    }
    EXPECT_EQ(workerCount(0), processors);
    EXPECT_EQ(workerCount(1), 1);
    EXPECT_EQ(workerCount(processors + 1), processors);
}

} // namespace
