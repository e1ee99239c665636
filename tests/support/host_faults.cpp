#include "tests/support/host_faults.h"

#include "host/error_output.h"
#include "host/files.h"
#include "host/memory.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <dlfcn.h>
#include <new>
#include <set>

namespace {

/// Counts the calls of one kind and says which one is to fail; 0 is none.
struct Trigger {
    std::atomic<std::uint64_t> calls = 0;
    std::atomic<std::uint64_t> failing = 0;

    bool strikes() { return ++calls == failing; }
};

// This file's own bookkeeping allocates as well: it is neither counted nor failed.
thread_local bool insideBookkeeping = false;

class Bookkeeping {
  public:
    Bookkeeping() { insideBookkeeping = true; }
    Bookkeeping(const Bookkeeping&) = delete;
    Bookkeeping& operator=(const Bookkeeping&) = delete;
    ~Bookkeeping() { insideBookkeeping = m_outer; }

  private:
    bool m_outer = insideBookkeeping;
};

/// Things acquired and not yet released: addresses or handles.
class Live {
  public:
    void add(std::uint64_t thing) {
        const Bookkeeping guard;
        const std::scoped_lock lock(m_mutex);
        m_things.insert(thing);
    }
    void remove(std::uint64_t thing) {
        const Bookkeeping guard;
        const std::scoped_lock lock(m_mutex);
        m_things.erase(thing);
    }
    void clear() {
        const std::scoped_lock lock(m_mutex);
        m_things.clear();
    }
    [[nodiscard]] std::size_t count() {
        const std::scoped_lock lock(m_mutex);
        return m_things.size();
    }

  private:
    std::mutex m_mutex;
    std::set<std::uint64_t> m_things;
};

struct Watch {
    std::atomic<bool> active = false;
    std::array<Trigger, 5> triggers; // by HostCall
    Trigger shortRead;
    std::atomic<std::uint32_t> shortReadLength = 0;
    Live blocks, heapBlocks, handles;

    Trigger& trigger(HostCall call) { return triggers.at(static_cast<std::size_t>(call)); }
};

Watch& watch() {
    // Never destroyed: memory is released until the very end of the process.
    static Watch* const theWatch = [] {
        const Bookkeeping guard;
        return new Watch;
    }();
    return *theWatch;
}

bool isOn() {
    return !insideBookkeeping && watch().active;
}

bool strikes(HostCall call) {
    return isOn() && watch().trigger(call).strikes();
}

std::uint64_t addressOf(const void* block) {
    return reinterpret_cast<std::uintptr_t>(block);
}

/// The host library's function behind one of this program's.
template <typename Function>
Function* libraryFunction(Function* /*ours*/, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

HostFaults::HostFaults() {
    disarm();
    for (Trigger& trigger : watch().triggers)
        trigger.calls = 0;
    for (Live* live : {&watch().blocks, &watch().heapBlocks, &watch().handles})
        live->clear();
    watch().active = true;
}

HostFaults::~HostFaults() {
    watch().active = false;
}

void HostFaults::fail(HostCall call, std::uint64_t n) {
    Trigger& trigger = watch().trigger(call);
    trigger.failing = trigger.calls + n;
}

void HostFaults::shortenRead(std::uint64_t n, std::uint32_t bytes) {
    watch().shortReadLength = bytes;
    watch().shortRead.failing = watch().shortRead.calls + n;
}

void HostFaults::disarm() {
    for (Trigger& trigger : watch().triggers)
        trigger.failing = 0;
    watch().shortRead.failing = 0;
}

std::uint64_t HostFaults::calls(HostCall call) const {
    return watch().trigger(call).calls;
}

std::size_t HostFaults::liveBlocks() const {
    return watch().blocks.count();
}

std::size_t HostFaults::liveHeapBlocks() const {
    return watch().heapBlocks.count();
}

std::size_t HostFaults::openHandles() const {
    return watch().handles.count();
}

LogCapture::LogCapture() {
    pvSetLogSink(collect, this);
}

LogCapture::~LogCapture() {
    pvSetLogSink(nullptr, nullptr);
}

std::vector<LogLine> LogCapture::lines() const {
    const std::scoped_lock lock(m_mutex);
    return m_lines;
}

std::vector<std::string> LogCapture::texts() const {
    std::vector<std::string> result;
    for (const LogLine& line : lines())
        result.push_back(line.text);
    return result;
}

void LogCapture::collect(void* context, std::uint32_t status, const char* line) {
    const Bookkeeping guard;
    auto* const capture = static_cast<LogCapture*>(context);
    const std::scoped_lock lock(capture->m_mutex);
    capture->m_lines.push_back({status, line});
}

// The host functions as this program's callers see them.

void* PVAlloc(std::size_t size) {
    static auto* const real = libraryFunction(&PVAlloc, "PVAlloc");
    void* const block = strikes(HostCall::allocation) ? nullptr : real(size);
    if (isOn() && block != nullptr) watch().blocks.add(addressOf(block));
    return block;
}

void PVFree(void* block) {
    static auto* const real = libraryFunction(&PVFree, "PVFree");
    // Forgotten first: another thread may be given the same block at once.
    if (isOn()) watch().blocks.remove(addressOf(block));
    real(block);
}

std::int64_t pvOSCreateFile(const char* path, std::uint32_t access, std::uint32_t shareMode,
                            _SECURITY_ATTRIBUTES* security, std::uint32_t disposition,
                            std::uint32_t attributes, std::int64_t templateFile) {
    static auto* const real = libraryFunction(&pvOSCreateFile, "pvOSCreateFile");
    if (strikes(HostCall::open)) return kInvalidHandle;
    const auto handle = real(path, access, shareMode, security, disposition, attributes, templateFile);
    if (isOn() && handle != kInvalidHandle) watch().handles.add(static_cast<std::uint64_t>(handle));
    return handle;
}

int pvOSCloseFile(std::int64_t handle) {
    static auto* const real = libraryFunction(&pvOSCloseFile, "pvOSCloseFile");
    if (isOn()) watch().handles.remove(static_cast<std::uint64_t>(handle));
    return real(handle);
}

int pvOSReadFile(std::int64_t handle, void* buffer, std::uint32_t length, std::uint32_t* bytesRead,
                 _OVERLAPPED* overlapped) {
    static auto* const real = libraryFunction(&pvOSReadFile, "pvOSReadFile");
    *bytesRead = 0;
    if (strikes(HostCall::read)) return 0;
    const bool cut = isOn() && watch().shortRead.strikes();
    const std::uint32_t room = cut ? std::min<std::uint32_t>(length, watch().shortReadLength) : length;
    return real(handle, buffer, room, bytesRead, overlapped);
}

std::uint64_t pvOSSeek(std::int64_t handle, std::uint64_t offset) {
    static auto* const real = libraryFunction(&pvOSSeek, "pvOSSeek");
    return strikes(HostCall::seek) ? kSeekFailed : real(handle, offset);
}

// The heap as the linker's --wrap leads this program's code to it; operator new by its mangled names.
// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
extern "C" {

void* __real_malloc(std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void __real_free(void* block);
void* __real__Znwm(std::size_t size);
void* __real__Znam(std::size_t size);
void* __real__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag);
void* __real__ZnamRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag);

void* __wrap_malloc(std::size_t size) {
    void* const block = strikes(HostCall::heap) ? nullptr : __real_malloc(size);
    if (block != nullptr && isOn()) watch().heapBlocks.add(addressOf(block));
    return block;
}

void* __wrap_realloc(void* block, std::size_t size) {
    if (strikes(HostCall::heap)) return nullptr;
    const std::uint64_t before = addressOf(block);
    void* const moved = __real_realloc(block, size);
    if (moved != nullptr && isOn()) {
        watch().heapBlocks.remove(before);
        watch().heapBlocks.add(addressOf(moved));
    }
    return moved;
}

void __wrap_free(void* block) {
    if (isOn()) watch().heapBlocks.remove(addressOf(block));
    __real_free(block);
}

void* __wrap__Znwm(std::size_t size) {
    return strikes(HostCall::heap) ? throw std::bad_alloc() : __real__Znwm(size);
}

void* __wrap__Znam(std::size_t size) {
    return strikes(HostCall::heap) ? throw std::bad_alloc() : __real__Znam(size);
}

void* __wrap__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) {
    return strikes(HostCall::heap) ? nullptr : __real__ZnwmRKSt9nothrow_t(size, tag);
}

void* __wrap__ZnamRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) {
    return strikes(HostCall::heap) ? nullptr : __real__ZnamRKSt9nothrow_t(size, tag);
}
}
// NOLINTEND(bugprone-reserved-identifier)
