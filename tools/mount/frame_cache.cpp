#include "tools/mount/frame_cache.h"

#include "tools/clip/worker_count.h"

#include <algorithm>
#include <exception>

namespace {

/// Frames that each worker may be ahead of the readers.
constexpr unsigned kAheadOfReaders = 2;

/// Readers that wait for their clip to be asked for again, for each worker. They hold open files.
constexpr unsigned kIdleReaders = 2;

} // namespace

FrameCache::FrameCache(std::uint64_t limit, unsigned jobs) : m_limit(limit), m_jobs(workerCount(jobs)) {
    for (unsigned index = 0; index < m_jobs; ++index)
        m_workers.emplace_back([this] { work(); });
}

FrameCache::~FrameCache() {
    {
        const std::scoped_lock lock(m_mutex);
        m_stopped = true;
    }
    m_work.notify_all();
    m_room.notify_all();
    for (std::thread& worker : m_workers)
        worker.join();
}

std::span<const std::uint16_t> FrameCache::Lease::samples() const {
    if (!m_entry->picture) return {};
    return m_entry->picture->view().samples;
}

FrameCache::Lease FrameCache::get(const std::shared_ptr<FrameSource>& source, std::uint32_t frame) {
    std::unique_lock lock(m_mutex);
    const Key key{source->id(), frame};
    const auto [found, isNew] = m_entries.try_emplace(key);
    Entry& entry = found->second;
    if (isNew) {
        entry.key = key;
        m_asked.push_back({source, frame});
    }
    ++entry.users;
    // A file is read in many pieces: only the first piece changes what comes next.
    const bool isNext = entry.askedAt == 0 || entry.askedAt != m_requests;
    if (isNext) {
        entry.askedAt = ++m_requests;
        if (entry.picture) m_order.splice(m_order.end(), m_order, entry.place);
        planAhead(source, frame);
        m_work.notify_all();
    }
    m_done.wait(lock, [&entry] { return entry.isDone; });
    return {*this, entry};
}

std::uint64_t FrameCache::askedAt(const Key& key) const {
    const auto found = m_entries.find(key);
    return found != m_entries.end() ? found->second.askedAt : 0;
}

/// Reads on away from the neighbour that was asked for last. Frames ahead take no more than half of the
/// cache, so that they do not push out one another or what is being read.
void FrameCache::planAhead(const std::shared_ptr<FrameSource>& source, std::uint32_t frame) {
    const std::uint64_t id = source->id();
    const std::uint64_t before = frame > 0 ? askedAt({id, frame - 1}) : 0;
    const std::uint64_t behind = askedAt({id, frame + 1});
    if (before == behind) return; // neither was
    const bool isForward = before > behind;
    const std::uint64_t capacity = m_limit / std::max<std::uint64_t>(source->frameBytes(), 1);
    const std::uint64_t inDirection = isForward ? source->frames() - 1 - frame : frame;
    const std::uint64_t count =
        std::min({std::uint64_t{kAheadOfReaders} * m_jobs, capacity / 2, inDirection});
    std::erase_if(m_ahead, [id](const Task& task) { return task.source->id() == id; });
    for (std::uint32_t distance = 1; distance <= count; ++distance) {
        const std::uint32_t next = isForward ? frame + distance : frame - distance;
        if (!m_entries.contains({id, next})) m_ahead.push_back({source, next});
    }
}

/// Drops unused frames, the longest unused first, until a frame of the clip fits. The memory of
/// one of the same size is handed on: fresh memory costs as much as filling it.
bool FrameCache::makeRoom(const FrameSource& source, std::optional<Picture>& spare) {
    while (m_held > 0 && m_held + source.frameBytes() > m_limit) {
        const auto unused = std::ranges::find(m_order, 0U, &Entry::users);
        if (unused == m_order.end()) return false;
        const MosaicView view = (*unused)->picture->view();
        if (view.width == source.width() && view.height == source.height())
            spare = std::move((*unused)->picture);
        drop(**unused);
    }
    return true;
}

void FrameCache::work() {
    std::unique_lock lock(m_mutex);
    std::optional<Picture> picture;
    while (const auto task = nextTask(lock, picture)) {
        workOn(*task, picture, lock);
        picture.reset();
    }
}

/// Waits for something to do and for the room to do it. The frame that the task names has an entry then.
/// Nothing when the cache ends.
std::optional<FrameCache::Task> FrameCache::nextTask(std::unique_lock<std::mutex>& lock,
                                                     std::optional<Picture>& spare) {
    while (true) {
        m_work.wait(lock, [this] { return m_stopped || !m_asked.empty() || !m_ahead.empty(); });
        if (m_stopped) return std::nullopt;
        const bool isAsked = !m_asked.empty();
        std::deque<Task>& tasks = isAsked ? m_asked : m_ahead;
        Task task = std::move(tasks.front());
        tasks.pop_front();
        const Key key{task.source->id(), task.frame};
        if (!isAsked) {
            if (!m_entries.contains(key) && makeRoom(*task.source, spare)) {
                m_entries[key].key = key;
                return task;
            }
            spare.reset();
            continue;
        }
        while (!m_stopped && !makeRoom(*task.source, spare)) {
            spare.reset();
            m_room.wait(lock);
        }
        if (m_stopped) return std::nullopt;
        return task;
    }
}

void FrameCache::workOn(const Task& task, std::optional<Picture>& picture,
                        std::unique_lock<std::mutex>& lock) {
    Entry& entry = m_entries.at({task.source->id(), task.frame});
    entry.bytes = task.source->frameBytes();
    m_held += entry.bytes;
    m_mostHeld = std::max(m_mostHeld, m_held);
    lock.unlock();
    FrameReading reading = read(task, picture);
    task.source->note(task.frame, reading);
    lock.lock();
    entry.reading = std::move(reading);
    entry.isDone = true;
    if (entry.reading.state == FrameReading::State::unreadable) {
        m_held -= std::exchange(entry.bytes, 0);
        if (entry.users == 0) m_entries.erase(entry.key);
    } else {
        entry.picture = std::move(picture);
        entry.place = m_order.insert(m_order.end(), &entry);
    }
    m_done.notify_all();
    m_room.notify_all();
}

FrameReading FrameCache::read(const Task& task, std::optional<Picture>& picture) {
    try {
        FrameReader reader = takeReader(*task.source);
        if (!picture) picture.emplace(task.source->width(), task.source->height());
        FrameReading reading = reader(task.frame, *picture);
        keepReader(*task.source, std::move(reader));
        return reading;
    } catch (const std::bad_alloc&) {
        return {FrameReading::State::unreadable, "out of memory"};
    } catch (const std::exception& error) {
        return {FrameReading::State::unreadable, error.what()};
    }
}

FrameReader FrameCache::takeReader(FrameSource& source) {
    {
        const std::scoped_lock lock(m_mutex);
        const auto found = std::ranges::find(m_idle, source.id(), &IdleReader::id);
        if (found != m_idle.end()) {
            FrameReader reader = std::move(found->read);
            m_idle.erase(found);
            return reader;
        }
    }
    return source.openReader();
}

void FrameCache::keepReader(const FrameSource& source, FrameReader reader) {
    const std::scoped_lock lock(m_mutex);
    if (source.isGone()) return;
    m_idle.push_front({source.id(), std::move(reader)});
    if (m_idle.size() > std::size_t{kIdleReaders} * m_jobs) m_idle.pop_back();
}

void FrameCache::release(Entry& entry) {
    const std::scoped_lock lock(m_mutex);
    if (--entry.users > 0) return;
    if (!entry.picture) m_entries.erase(entry.key); // the next reader tries again
    m_room.notify_all();
}

void FrameCache::drop(Entry& entry) {
    m_held -= entry.bytes;
    m_order.erase(entry.place);
    const Key key = entry.key;
    m_entries.erase(key);
}

void FrameCache::forget(std::uint64_t id) {
    const std::scoped_lock lock(m_mutex);
    std::erase_if(m_ahead, [id](const Task& task) { return task.source->id() == id; });
    std::erase_if(m_idle, [id](const IdleReader& idle) { return idle.id == id; });
    for (auto next = m_order.begin(); next != m_order.end();) {
        Entry& entry = **next++;
        if (entry.key.first == id && entry.users == 0) drop(entry);
    }
    m_room.notify_all();
}

std::uint64_t FrameCache::mostBytesHeld() {
    const std::scoped_lock lock(m_mutex);
    return m_mostHeld;
}
