#include "tests/support/host_faults.h"

#include "host/error_output.h"
#include "host/files.h"
#include "host/memory.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <dlfcn.h>
#include <new>

namespace {

/// The content of a block of PVAlloc: a host need not clear it.
constexpr int kUncleared = 0xA5;

/// Counts the calls of one kind and says which one is to fail; 0 is none.
struct Trigger {
    std::atomic<std::uint64_t> calls = 0;
    std::atomic<std::uint64_t> failing = 0;

    bool strikes() { return ++calls == failing; }
};

struct Watch {
    std::atomic<bool> active = false;
    std::array<Trigger, 5> triggers; // by HostCall
    Trigger shortRead;
    std::atomic<std::uint32_t> shortReadLength = 0;
    std::atomic<int> blocks = 0;
    std::atomic<int> nullReleases = 0;
    std::atomic<int> heapBlocks = 0;
    std::atomic<int> handles = 0;
    std::atomic<std::size_t> largestBlock = 0;

    Trigger& trigger(HostCall call) { return triggers.at(static_cast<std::size_t>(call)); }
};

constinit Watch watch;
// The memory of a captured line does not belong to the reader, so it is neither counted nor refused.
thread_local bool capturing = false;

bool strikes(HostCall call) {
    return watch.active && !capturing && watch.trigger(call).strikes();
}

/// The same for a block of that size.
bool strikes(HostCall call, std::size_t size) {
    if (watch.active && !capturing) {
        std::size_t largest = watch.largestBlock;
        while (largest < size && !watch.largestBlock.compare_exchange_weak(largest, size)) {
        }
    }
    return strikes(call);
}

void count(std::atomic<int>& live, int change) {
    if (watch.active && !capturing) live += change;
}

/// The host library's function behind one of this program's.
template <typename Function>
Function* libraryFunction(Function* /*ours*/, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

HostFaults::HostFaults() {
    disarm();
    for (Trigger& trigger : watch.triggers)
        trigger.calls = 0;
    watch.blocks = watch.nullReleases = watch.heapBlocks = watch.handles = 0;
    watch.largestBlock = 0;
    watch.active = true;
}

HostFaults::~HostFaults() {
    watch.active = false;
}

void HostFaults::fail(HostCall call, std::uint64_t n) {
    Trigger& trigger = watch.trigger(call);
    trigger.failing = trigger.calls + n;
}

void HostFaults::shortenRead(std::uint64_t n, std::uint32_t bytes) {
    watch.shortReadLength = bytes;
    watch.shortRead.failing = watch.shortRead.calls + n;
}

void HostFaults::disarm() {
    for (Trigger& trigger : watch.triggers)
        trigger.failing = 0;
    watch.shortRead.failing = 0;
}

void HostFaults::disarm(HostCall call) {
    watch.trigger(call).failing = 0;
}

std::uint64_t HostFaults::calls(HostCall call) const {
    return watch.trigger(call).calls;
}

int HostFaults::liveBlocks() const {
    return watch.blocks;
}

int HostFaults::nullReleases() const {
    return watch.nullReleases;
}

int HostFaults::liveHeapBlocks() const {
    return watch.heapBlocks;
}

std::size_t HostFaults::largestBlock() const {
    return watch.largestBlock;
}

int HostFaults::openHandles() const {
    return watch.handles;
}

LogCapture::LogCapture() {
    pvSetLogSink(collect, this);
}

LogCapture::~LogCapture() {
    pvSetLogSink(nullptr, nullptr);
}

std::vector<std::string> LogCapture::texts() const {
    std::vector<std::string> result;
    for (const LogLine& line : m_lines)
        result.push_back(line.text);
    return result;
}

void LogCapture::collect(void* context, std::uint32_t status, const char* line) {
    capturing = true;
    static_cast<LogCapture*>(context)->m_lines.push_back({status, line});
    capturing = false;
}

// The host functions as this program's callers see them.

void* PVAlloc(std::size_t size) {
    static auto* const real = libraryFunction(&PVAlloc, "PVAlloc");
    void* const block = strikes(HostCall::allocation, size) ? nullptr : real(size);
    if (block == nullptr) return nullptr;
    count(watch.blocks, 1);
    return std::memset(block, kUncleared, size);
}

void PVFree(void* block) {
    static auto* const real = libraryFunction(&PVFree, "PVFree");
    count(block != nullptr ? watch.blocks : watch.nullReleases, block != nullptr ? -1 : 1);
    real(block);
}

std::int64_t pvOSCreateFile(const char* path, std::uint32_t access, std::uint32_t shareMode,
                            _SECURITY_ATTRIBUTES* security, std::uint32_t disposition,
                            std::uint32_t attributes, std::int64_t templateFile) {
    static auto* const real = libraryFunction(&pvOSCreateFile, "pvOSCreateFile");
    if (strikes(HostCall::open)) return kInvalidHandle;
    const auto handle = real(path, access, shareMode, security, disposition, attributes, templateFile);
    if (handle != kInvalidHandle) count(watch.handles, 1);
    return handle;
}

int pvOSCloseFile(std::int64_t handle) {
    static auto* const real = libraryFunction(&pvOSCloseFile, "pvOSCloseFile");
    const int closed = real(handle);
    if (closed != 0) count(watch.handles, -1);
    return closed;
}

int pvOSReadFile(std::int64_t handle, void* buffer, std::uint32_t length, std::uint32_t* bytesRead,
                 _OVERLAPPED* overlapped) {
    static auto* const real = libraryFunction(&pvOSReadFile, "pvOSReadFile");
    *bytesRead = 0;
    if (strikes(HostCall::read)) return 0;
    const bool cut = watch.active && watch.shortRead.strikes();
    const std::uint32_t room = cut ? std::min<std::uint32_t>(length, watch.shortReadLength) : length;
    return real(handle, buffer, room, bytesRead, overlapped);
}

std::uint64_t pvOSSeek(std::int64_t handle, std::uint64_t offset) {
    static auto* const real = libraryFunction(&pvOSSeek, "pvOSSeek");
    return strikes(HostCall::seek) ? kSeekFailed : real(handle, offset);
}

// The heap functions, to which the linker option --wrap leads the calls of this program; operator new has its
// mangled names. They are visible, because the linker takes the calls of shared libraries for references to
// them, too.
#pragma GCC visibility push(default)
extern "C" {

void* __real_malloc(std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void __real_free(void* block);
void* __real__Znwm(std::size_t size);
void* __real__Znam(std::size_t size);
void* __real__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag);
void* __real__ZnamRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag);

void* __wrap_malloc(std::size_t size) {
    void* const block = strikes(HostCall::heap, size) ? nullptr : __real_malloc(size);
    if (block != nullptr) count(watch.heapBlocks, 1);
    return block;
}

void* __wrap_realloc(void* block, std::size_t size) {
    if (strikes(HostCall::heap, size)) return nullptr;
    void* const moved = __real_realloc(block, size);
    if (block == nullptr && moved != nullptr) count(watch.heapBlocks, 1);
    return moved;
}

void __wrap_free(void* block) {
    if (block != nullptr) count(watch.heapBlocks, -1);
    __real_free(block);
}

void* __wrap__Znwm(std::size_t size) {
    return strikes(HostCall::heap, size) ? throw std::bad_alloc() : __real__Znwm(size);
}

void* __wrap__Znam(std::size_t size) {
    return strikes(HostCall::heap, size) ? throw std::bad_alloc() : __real__Znam(size);
}

void* __wrap__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) {
    return strikes(HostCall::heap, size) ? nullptr : __real__ZnwmRKSt9nothrow_t(size, tag);
}

void* __wrap__ZnamRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) {
    return strikes(HostCall::heap, size) ? nullptr : __real__ZnamRKSt9nothrow_t(size, tag);
}
}
#pragma GCC visibility pop
