#include "fuzz/memory_files.h"

#include "host/files.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>
#include <vector>

namespace {

struct Handle {
    const MemoryFile* file = nullptr; // null: free
    std::uint64_t position = 0;
};

// A reader has one file open, and a second one while it looks for a side-car.
std::array<Handle, 8> handles;

std::vector<const MemoryFile*>& files() {
    static std::vector<const MemoryFile*> all;
    return all;
}

const MemoryFile* find(const char* path) {
    if (path == nullptr) return nullptr;
    const auto found =
        std::ranges::find_if(files(), [path](const MemoryFile* file) { return file->path() == path; });
    return found == files().end() ? nullptr : *found;
}

/// Null for a handle that is not open.
Handle* opened(std::int64_t handle) {
    if (handle < 0 || std::cmp_greater_equal(handle, handles.size())) return nullptr;
    Handle& slot = handles[static_cast<std::size_t>(handle)];
    return slot.file == nullptr ? nullptr : &slot;
}

} // namespace

MemoryFile::MemoryFile(std::string path) : m_path(std::move(path)) {
    files().push_back(this);
}

MemoryFile::~MemoryFile() {
    std::erase(files(), this);
}

std::int64_t pvOSCreateFile(const char* path, std::uint32_t access, std::uint32_t /*shareMode*/,
                            _SECURITY_ATTRIBUTES* /*security*/, std::uint32_t disposition,
                            std::uint32_t /*attributes*/, std::int64_t /*templateFile*/) {
    const MemoryFile* const file = find(path);
    const auto slot = std::ranges::find(handles, nullptr, &Handle::file);
    if (file == nullptr || slot == handles.end() || access != kAccessRead || disposition != kOpenExisting)
        return kInvalidHandle;
    *slot = {file, 0};
    return slot - handles.begin();
}

int pvOSReadFile(std::int64_t handle, void* buffer, std::uint32_t length, std::uint32_t* bytesRead,
                 _OVERLAPPED* /*overlapped*/) {
    *bytesRead = 0;
    Handle* const open = opened(handle);
    if (open == nullptr) return 0;
    const std::span<const std::uint8_t> bytes = open->file->bytes();
    const auto rest = bytes.subspan(std::min<std::uint64_t>(open->position, bytes.size()));
    const std::size_t count = std::min<std::size_t>(length, rest.size());
    if (count > 0) std::memcpy(buffer, rest.data(), count);
    open->position += count;
    *bytesRead = static_cast<std::uint32_t>(count);
    return 1;
}

std::uint64_t pvOSSeek(std::int64_t handle, std::uint64_t offset) {
    Handle* const open = opened(handle);
    if (open == nullptr || offset > INT64_MAX) return kSeekFailed;
    return open->position = offset;
}

std::uint32_t pvOSGetFileSize(std::int64_t handle, std::uint32_t* high) {
    const Handle* const open = opened(handle);
    const std::uint64_t size = open == nullptr ? 0 : open->file->bytes().size();
    if (high != nullptr) *high = static_cast<std::uint32_t>(size >> 32);
    return static_cast<std::uint32_t>(size);
}

int pvOSCloseFile(std::int64_t handle) {
    Handle* const open = opened(handle);
    if (open == nullptr) return 0;
    *open = {};
    return 1;
}

int pvOSFileExists(const char* path) {
    return find(path) != nullptr ? 1 : 0;
}
