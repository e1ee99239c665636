#include "host/files.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// The file descriptor behind a handle, -1 for a handle that cannot be one.
int descriptorOf(std::int64_t handle) {
    return handle >= 0 && handle <= std::numeric_limits<int>::max() ? static_cast<int>(handle) : -1;
}

bool isRegularFile(int descriptor) {
    struct stat information {};
    return fstat(descriptor, &information) == 0 && S_ISREG(information.st_mode);
}

void storePart(char* area, std::string_view part) {
    *std::copy(part.begin(), part.end(), area) = '\0';
}

std::string_view textOf(const char* part) {
    return part == nullptr ? std::string_view() : std::string_view(part);
}

} // namespace

std::int64_t pvOSCreateFile(const char* path, std::uint32_t access, std::uint32_t /*shareMode*/,
                            _SECURITY_ATTRIBUTES* /*security*/, std::uint32_t disposition,
                            std::uint32_t /*attributes*/, std::int64_t /*templateFile*/) {
    if (path == nullptr || access != kAccessRead || disposition != kOpenExisting) return kInvalidHandle;
    // Without O_NONBLOCK, opening a pipe would wait for its writer. The flag has no effect on regular files.
    const int descriptor = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (descriptor < 0) return kInvalidHandle;
    if (!isRegularFile(descriptor)) {
        close(descriptor);
        return kInvalidHandle;
    }
    return descriptor;
}

int pvOSReadFile(std::int64_t handle, void* buffer, std::uint32_t length, std::uint32_t* bytesRead,
                 _OVERLAPPED* /*overlapped*/) {
    *bytesRead = 0;
    const int descriptor = descriptorOf(handle);
    if (descriptor < 0) return 0;
    std::size_t done = 0;
    // One system call transfers 2 GiB at most, and a signal may end it early.
    while (done < length) {
        const ssize_t count = read(descriptor, static_cast<char*>(buffer) + done, length - done);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return 0;
        if (count == 0) break;
        done += static_cast<std::size_t>(count);
    }
    *bytesRead = static_cast<std::uint32_t>(done);
    return 1;
}

std::uint64_t pvOSSeek(std::int64_t handle, std::uint64_t offset) {
    static_assert(sizeof(off_t) == sizeof(std::int64_t));
    if (offset > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) return kSeekFailed;
    const off_t position = lseek(descriptorOf(handle), static_cast<off_t>(offset), SEEK_SET);
    return position < 0 ? kSeekFailed : static_cast<std::uint64_t>(position);
}

std::uint32_t pvOSGetFileSize(std::int64_t handle, std::uint32_t* high) {
    struct stat information {};
    const bool known = fstat(descriptorOf(handle), &information) == 0;
    const std::uint64_t size = known ? static_cast<std::uint64_t>(information.st_size) : 0;
    if (high != nullptr) *high = static_cast<std::uint32_t>(size >> 32);
    return static_cast<std::uint32_t>(size);
}

int pvOSCloseFile(std::int64_t handle) {
    return close(descriptorOf(handle)) == 0 ? 1 : 0;
}

int pvOSFileExists(const char* path) {
    return path != nullptr && access(path, F_OK) == 0 ? 1 : 0;
}

void pvOSSplitPath(const char* path, char* drive, char* directory, char* name, char* extension) {
    for (char* const area : {drive, directory, name, extension})
        *area = '\0';
    const std::string_view whole = textOf(path);
    const std::size_t nameStart = whole.rfind('/') + 1; // npos + 1 is 0
    const std::string_view file = whole.substr(nameStart);
    const std::size_t dot = std::min(file.rfind('.'), file.size());
    if (nameStart >= kDirectoryArea || dot >= kNameArea || file.size() - dot >= kExtensionArea) return;
    storePart(directory, whole.substr(0, nameStart));
    storePart(name, file.substr(0, dot));
    storePart(extension, file.substr(dot));
}

void pvOSMakePath(char* out, const char* drive, const char* directory, const char* name,
                  const char* extension) {
    const std::array parts{textOf(drive), textOf(directory), textOf(name), textOf(extension)};
    *out = '\0';
    std::size_t length = 0;
    for (const std::string_view part : parts)
        length += part.size();
    if (length >= kPathArea) return;
    for (const std::string_view part : parts) {
        storePart(out, part);
        out += part.size();
    }
}
