// The frame cache of a mount with clips that exist in the test only: the frames that it reads and their
// order, waiting readers, and the memory that it holds.
#include "tools/mount/frame_cache.h"

#include <algorithm>
#include <atomic>
#include <gmock/gmock.h>
#include <random>
#include <stdexcept>
#include <thread>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t kWidth = 8;
constexpr std::uint32_t kHeight = 4;
constexpr std::uint64_t kFrameBytes = std::uint64_t{2} * kWidth * kHeight;

/// A clip whose samples are its id and the number of the frame. It records which frames were read, and can
/// delay a read.
class MadeUpClip final : public FrameSource {
  public:
    explicit MadeUpClip(std::uint64_t id, std::uint32_t frames = 100) : m_id(id), m_frames(frames) {}

    [[nodiscard]] std::uint64_t id() const override {
        ++timesNamed;
        return m_id;
    }
    [[nodiscard]] std::uint32_t frames() const override { return m_frames; }
    [[nodiscard]] std::uint32_t width() const override { return kWidth; }
    [[nodiscard]] std::uint32_t height() const override { return kHeight; }
    [[nodiscard]] bool isGone() const override { return gone; }
    [[nodiscard]] FrameReader openReader() override {
        return
            [this, open = m_readers](std::uint32_t frame, Picture& picture) { return read(frame, picture); };
    }
    void note(std::uint32_t frame, const FrameReading& /*reading*/) override {
        const std::scoped_lock lock(m_mutex);
        m_read.push_back(frame);
        m_changed.notify_all();
    }

    /// The frames that were read, in order, once there are `count` of them.
    [[nodiscard]] std::vector<std::uint32_t> read(std::size_t count) {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return m_read.size() >= count; });
        return m_read;
    }
    void holdUp(std::uint32_t frame) { setHeld(frame); }
    void letGo() { setHeld(m_frames); }
    void waitUntilHeldUp() {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_isWaiting; });
    }
    [[nodiscard]] long openReaders() const { return m_readers.use_count() - 1; }
    [[nodiscard]] std::uint16_t sample(std::uint32_t frame) const {
        return static_cast<std::uint16_t>(1000 * m_id + frame);
    }

    mutable std::atomic<int> timesNamed = 0;
    std::atomic<bool> gone = false;
    std::atomic<std::uint32_t> unreadable = ~0U;

  private:
    void setHeld(std::uint32_t frame) {
        const std::scoped_lock lock(m_mutex);
        m_held = frame;
        m_changed.notify_all();
    }
    FrameReading read(std::uint32_t frame, Picture& picture) {
        {
            std::unique_lock lock(m_mutex);
            m_isWaiting = m_held == frame;
            m_changed.notify_all();
            m_changed.wait(lock, [&] { return m_held != frame; });
        }
        if (frame == unreadable) throw std::runtime_error("there is a hole");
        std::ranges::fill(picture.samples(), sample(frame));
        return {};
    }

    std::uint64_t m_id;
    std::uint32_t m_frames;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::uint32_t> m_read;
    std::uint32_t m_held = ~0U;
    bool m_isWaiting = false;
    std::shared_ptr<int> m_readers = std::make_shared<int>();
};

TEST(FrameCache, ReadsAheadWhereNeighboursAreAskedFor) {
    const auto clip = std::make_shared<MadeUpClip>(1);
    FrameCache cache(100 * kFrameBytes, 1);
    for (const std::uint32_t frame : {20U, 30U, 31U}) // 20 and 30 have no neighbours
        (void)cache.get(clip, frame);
    EXPECT_THAT(clip->read(5), ElementsAre(20, 30, 31, 32, 33));
    (void)cache.get(clip, 19); // backwards
    EXPECT_THAT(clip->read(8), ElementsAre(20, 30, 31, 32, 33, 19, 18, 17));
    (void)cache.get(clip, 32); // there already: two more behind it
    EXPECT_EQ(clip->read(9).back(), 34);
    for (const std::uint32_t frame : {98U, 99U, 1U, 0U}) // no further than the clip
        (void)cache.get(clip, frame);
    EXPECT_EQ(clip->read(13).back(), 0);
}

TEST(FrameCache, ReadsFirstWhatSomebodyWaitsFor) {
    const auto clip = std::make_shared<MadeUpClip>(1);
    FrameCache cache(100 * kFrameBytes, 1);
    clip->holdUp(3);
    (void)cache.get(clip, 1);
    (void)cache.get(clip, 2); // 3 and 4 are to be read ahead
    clip->waitUntilHeldUp();
    const int before = clip->timesNamed;
    std::thread reader([&] { (void)cache.get(clip, 50); });
    while (clip->timesNamed == before)
        std::this_thread::yield();
    (void)cache.mostBytesHeld(); // returns after the reader has made its request
    clip->letGo();
    reader.join();
    EXPECT_THAT(clip->read(5), ElementsAre(1, 2, 3, 50, 4));
}

TEST(FrameCache, TriesFramesAgainThatCouldNotBeRead) {
    const auto clip = std::make_shared<MadeUpClip>(1);
    FrameCache cache(100 * kFrameBytes, 2);
    clip->unreadable = 7;
    {
        const FrameCache::Lease lease = cache.get(clip, 7);
        EXPECT_EQ(lease.reading().state, FrameReading::State::unreadable);
        EXPECT_EQ(lease.reading().reason, "there is a hole");
        EXPECT_THAT(lease.samples(), IsEmpty());
    }
    clip->unreadable = ~0U;
    EXPECT_EQ(cache.get(clip, 7).samples().front(), clip->sample(7));
}

TEST(FrameCache, ClosesWhatItHasOpenOfClipsThatAreGone) {
    const auto clip = std::make_shared<MadeUpClip>(1);
    FrameCache cache(100 * kFrameBytes, 1);
    (void)cache.get(clip, 0);
    (void)cache.get(clip, 50);
    clip->gone = true;
    cache.forget(1);
    EXPECT_EQ(clip->openReaders(), 0);
    // A file that is still open can be read on, and leaves no reader behind.
    EXPECT_EQ(cache.get(clip, 50).samples().front(), clip->sample(50));
    (void)cache.get(clip, 60); // the worker has done with 50
    EXPECT_LE(clip->openReaders(), 1);
}

/// More readers than frames fit, in two clips, some in order and some not: each gets its frame, and nothing
/// is held beyond the limit.
TEST(ThreadsFrameCache, StaysWithinItsLimit) {
    for (const std::uint64_t fits : {1U, 3U, 10U}) {
        const std::array clips{std::make_shared<MadeUpClip>(1), std::make_shared<MadeUpClip>(2)};
        FrameCache cache(fits * kFrameBytes, 3);
        std::atomic<int> wrong = 0;
        std::vector<std::thread> readers;
        for (std::uint32_t number = 0; number < 8; ++number)
            readers.emplace_back([&, number] {
                std::mt19937 random(number);
                for (std::uint32_t turn = 0; turn < 200; ++turn) {
                    const auto& clip = clips[number % 2];
                    const std::uint32_t frame =
                        number < 4 ? turn % 100 : static_cast<std::uint32_t>(random() % 100);
                    const FrameCache::Lease lease = cache.get(clip, frame);
                    if (!std::ranges::all_of(lease.samples(),
                                             [&](auto sample) { return sample == clip->sample(frame); }))
                        ++wrong;
                    if (turn == 100 && number == 0) cache.forget(2);
                }
            });
        for (std::thread& reader : readers)
            reader.join();
        EXPECT_EQ(wrong, 0) << fits;
        EXPECT_LE(cache.mostBytesHeld(), fits * kFrameBytes);
        EXPECT_GT(cache.mostBytesHeld(), (fits - 1) * kFrameBytes);
    }
}

} // namespace
