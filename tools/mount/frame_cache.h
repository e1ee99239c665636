// Decoded frames of any number of clips: a cache that is bounded in bytes, and workers that read ahead in the
// direction in which frames are asked for.
#pragma once

#include "tools/clip/clip.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <thread>
#include <utility>
#include <vector>

/// Reads a frame of one clip into a picture of the clip's size. One call at a time.
using FrameReader = std::function<FrameReading(std::uint32_t frame, Picture& picture)>;

/// A clip whose frames a cache holds. Any thread may call, but only after size and length are known.
class FrameSource {
  public:
    FrameSource() = default;
    FrameSource(const FrameSource&) = delete;
    FrameSource& operator=(const FrameSource&) = delete;
    virtual ~FrameSource() = default;

    /// Tells clips apart; never used again for another one.
    [[nodiscard]] virtual std::uint64_t id() const = 0;
    [[nodiscard]] virtual std::uint32_t frames() const = 0;
    [[nodiscard]] virtual std::uint32_t width() const = 0;
    [[nodiscard]] virtual std::uint32_t height() const = 0;
    /// True when nobody will ask for frames any more.
    [[nodiscard]] virtual bool isGone() const = 0;
    /// May throw.
    [[nodiscard]] virtual FrameReader openReader() = 0;
    /// Told how reading a frame went, on a worker's thread. Throws nothing.
    virtual void note(std::uint32_t frame, const FrameReading& reading) = 0;

    [[nodiscard]] std::uint64_t frameBytes() const { return std::uint64_t{2} * width() * height(); }
};

/// Any thread may call.
class FrameCache final {
  private:
    struct Entry;

  public:
    /// Holds frames of up to `limit` bytes altogether, frames under way included, and a single frame in any
    /// case. workerCount(jobs) workers read.
    FrameCache(std::uint64_t limit, unsigned jobs);
    /// Call when no frame is requested any more and no lease is left.
    ~FrameCache();
    FrameCache(const FrameCache&) = delete;
    FrameCache& operator=(const FrameCache&) = delete;

    /// Keeps a frame in memory while it lives.
    class Lease final {
      public:
        Lease(Lease&& other) noexcept
            : m_cache(other.m_cache), m_entry(std::exchange(other.m_entry, nullptr)) {}
        Lease& operator=(Lease&&) = delete;
        ~Lease() {
            if (m_entry != nullptr) m_cache.release(*m_entry);
        }
        [[nodiscard]] const FrameReading& reading() const { return m_entry->reading; }
        /// The mosaic; empty when the frame is unreadable.
        [[nodiscard]] std::span<const std::uint16_t> samples() const;

      private:
        friend class FrameCache;
        Lease(FrameCache& cache, Entry& entry) : m_cache(cache), m_entry(&entry) {}

        FrameCache& m_cache;
        Entry* m_entry;
    };

    /// Waits for a frame. `frame` is one of the clip's.
    [[nodiscard]] Lease get(const std::shared_ptr<FrameSource>& source, std::uint32_t frame);

    /// Gives up what is held of a clip that is gone, as far as nobody uses it.
    void forget(std::uint64_t id);

    /// Workers that read.
    [[nodiscard]] unsigned jobs() const { return m_jobs; }
    /// The most bytes of frames that were ever held at a time.
    [[nodiscard]] std::uint64_t mostBytesHeld();

  private:
    using Key = std::pair<std::uint64_t, std::uint32_t>; // clip and frame

    struct Entry {
        Key key;
        std::uint64_t bytes = 0;        // of the frame, once a worker has begun it
        std::optional<Picture> picture; // of a frame that is done and readable
        FrameReading reading;
        bool isDone = false;
        std::uint64_t askedAt = 0;         // counts requests; 0 for a frame that was only read ahead
        unsigned users = 0;                // waiting readers and leases
        std::list<Entry*>::iterator place; // in the order of use, for one with a picture
    };
    struct Task {
        std::shared_ptr<FrameSource> source;
        std::uint32_t frame;
    };
    struct IdleReader {
        std::uint64_t id;
        FrameReader read;
    };

    [[nodiscard]] std::uint64_t askedAt(const Key& key) const;
    void planAhead(const std::shared_ptr<FrameSource>& source, std::uint32_t frame);
    [[nodiscard]] bool makeRoom(const FrameSource& source, std::optional<Picture>& spare);
    void work();
    [[nodiscard]] std::optional<Task> nextTask(std::unique_lock<std::mutex>& lock,
                                               std::optional<Picture>& spare);
    void workOn(const Task& task, std::optional<Picture>& picture, std::unique_lock<std::mutex>& lock);
    [[nodiscard]] FrameReading read(const Task& task, std::optional<Picture>& picture);
    [[nodiscard]] FrameReader takeReader(FrameSource& source);
    void keepReader(const FrameSource& source, FrameReader reader);
    void release(Entry& entry);
    void drop(Entry& entry);

    const std::uint64_t m_limit;
    const unsigned m_jobs;
    std::mutex m_mutex; // of all that follows but the threads
    std::map<Key, Entry> m_entries;
    std::list<Entry*> m_order; // entries with a picture, the longest unused first
    std::deque<Task> m_asked;  // somebody waits for these
    std::deque<Task> m_ahead;
    std::list<IdleReader> m_idle; // the last used first
    std::uint64_t m_requests = 0;
    std::uint64_t m_held = 0; // bytes of pictures
    std::uint64_t m_mostHeld = 0;
    bool m_stopped = false;
    std::condition_variable m_work; // there is a task
    std::condition_variable m_done; // a frame is done
    std::condition_variable m_room; // a picture is no longer used
    std::vector<std::thread> m_workers;
};
