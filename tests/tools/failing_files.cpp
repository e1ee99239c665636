// A folder behind a file system that fails: everything passes through, except that chosen calls give an
// error, transfer one byte, or take long.
//
// failing_files FOLDER MOUNTPOINT [CALL=FIRST[-[LAST]]:EFFECT]...
// The calls of each kind are counted from 1. EFFECT is EIO, ENOSPC or EACCES, "short" or "slow".
#define FUSE_USE_VERSION 31
#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <fuse3/fuse.h>
#include <limits>
#include <map>
#include <string>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

struct Fault {
    std::uint64_t first;
    std::uint64_t last;
    std::string effect;
};

/// The calls of one kind.
struct Calls {
    std::vector<Fault> faults;
    std::atomic<std::uint64_t> count = 0;
};

std::string folder;
std::map<std::string, Calls> callsByName;

std::string behind(const char* path) {
    return folder + path;
}

/// Counts a call. Returns the error to answer with, or 0. Reduces `size` for a short transfer.
int strike(const char* name, std::size_t* size = nullptr) {
    const auto calls = callsByName.find(name);
    if (calls == callsByName.end()) return 0;
    static const std::map<std::string, int> errors{{"EIO", EIO}, {"ENOSPC", ENOSPC}, {"EACCES", EACCES}};
    const std::uint64_t number = ++calls->second.count;
    for (const Fault& fault : calls->second.faults) {
        if (number < fault.first || number > fault.last) continue;
        if (fault.effect == "slow")
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
        else if (fault.effect == "short" && size != nullptr && *size > 1)
            *size = 1;
        else if (const auto error = errors.find(fault.effect); error != errors.end())
            return -error->second;
    }
    return 0;
}

int result(long value) {
    return value < 0 ? -errno : static_cast<int>(value);
}

int getAttributes(const char* path, struct stat* attributes, fuse_file_info* /*file*/) {
    return result(lstat(behind(path).c_str(), attributes));
}

int readDirectory(const char* path, void* buffer, fuse_fill_dir_t fill, off_t /*offset*/,
                  fuse_file_info* /*file*/, fuse_readdir_flags /*flags*/) {
    DIR* const entries = opendir(behind(path).c_str());
    if (entries == nullptr) return -errno;
    while (const dirent* const entry = readdir(entries))
        fill(buffer, entry->d_name, nullptr, 0, fuse_fill_dir_flags{});
    closedir(entries);
    return 0;
}

int makeDirectory(const char* path, mode_t mode) {
    return result(mkdir(behind(path).c_str(), mode));
}

int removeFile(const char* path) {
    if (const int error = strike("unlink")) return error;
    return result(unlink(behind(path).c_str()));
}

int removeDirectory(const char* path) {
    return result(rmdir(behind(path).c_str()));
}

int renameFile(const char* from, const char* to, unsigned flags) {
    if (const int error = strike("rename")) return error;
    return result(renameat2(AT_FDCWD, behind(from).c_str(), AT_FDCWD, behind(to).c_str(), flags));
}

int linkFile(const char* from, const char* to) {
    if (const int error = strike("link")) return error;
    return result(link(behind(from).c_str(), behind(to).c_str()));
}

int keep(int descriptor, fuse_file_info* file) {
    if (descriptor < 0) return -errno;
    file->fh = static_cast<std::uint64_t>(descriptor);
    file->direct_io = 1; // every call of a program arrives here
    return 0;
}

int descriptorOf(const fuse_file_info* file) {
    return static_cast<int>(file->fh);
}

int openFile(const char* path, fuse_file_info* file) {
    if (const int error = strike("open")) return error;
    return keep(open(behind(path).c_str(), file->flags), file);
}

int createFile(const char* path, mode_t mode, fuse_file_info* file) {
    if (const int error = strike("create")) return error;
    return keep(open(behind(path).c_str(), file->flags, mode), file);
}

int readFile(const char* /*path*/, char* buffer, std::size_t size, off_t offset, fuse_file_info* file) {
    if (const int error = strike("read", &size)) return error;
    return result(pread(descriptorOf(file), buffer, size, offset));
}

int writeFile(const char* /*path*/, const char* buffer, std::size_t size, off_t offset,
              fuse_file_info* file) {
    if (const int error = strike("write", &size)) return error;
    return result(pwrite(descriptorOf(file), buffer, size, offset));
}

int truncateFile(const char* path, off_t size, fuse_file_info* /*file*/) {
    return result(truncate(behind(path).c_str(), size));
}

/// Answers the close of a file.
int flushFile(const char* /*path*/, fuse_file_info* file) {
    if (const int error = strike("close")) return error;
    return result(close(dup(descriptorOf(file))));
}

int syncFile(const char* /*path*/, int /*dataOnly*/, fuse_file_info* file) {
    if (const int error = strike("fsync")) return error;
    return result(fsync(descriptorOf(file)));
}

int releaseFile(const char* /*path*/, fuse_file_info* file) {
    return result(close(descriptorOf(file)));
}

int describeFileSystem(const char* path, struct statvfs* description) {
    return result(statvfs(behind(path).c_str(), description));
}

/// Nothing is remembered from one call to the next, and a removed file is gone at once.
void* configure(fuse_conn_info* /*connection*/, fuse_config* configuration) {
    configuration->entry_timeout = 0;
    configuration->attr_timeout = 0;
    configuration->hard_remove = 1;
    return nullptr;
}

/// CALL=FIRST[-[LAST]]:EFFECT. False for anything else.
bool addFault(const std::string& words) {
    const std::size_t equals = words.find('=');
    const std::size_t colon = words.find(':');
    if (equals == std::string::npos || colon == std::string::npos || colon < equals) return false;
    Fault fault{0, 0, words.substr(colon + 1)};
    const char* const end = words.data() + colon;
    const auto first = std::from_chars(words.data() + equals + 1, end, fault.first);
    if (first.ec != std::errc()) return false;
    fault.last = fault.first;
    if (first.ptr != end) {
        if (*first.ptr != '-') return false;
        fault.last = std::numeric_limits<std::uint64_t>::max();
        if (first.ptr + 1 != end && std::from_chars(first.ptr + 1, end, fault.last).ptr != end) return false;
    }
    callsByName[words.substr(0, equals)].faults.push_back(fault);
    return true;
}

} // namespace

int main(int count, char** words) {
    bool understood = count >= 3;
    for (int i = 3; i < count; ++i)
        understood = addFault(words[i]) && understood;
    if (!understood) {
        std::fputs("usage: failing_files FOLDER MOUNTPOINT [CALL=FIRST[-[LAST]]:EFFECT]...\n", stderr);
        return 2;
    }
    folder = std::filesystem::absolute(words[1]).string();
    fuse_operations operations{};
    operations.getattr = getAttributes;
    operations.readdir = readDirectory;
    operations.mkdir = makeDirectory;
    operations.unlink = removeFile;
    operations.rmdir = removeDirectory;
    operations.rename = renameFile;
    operations.link = linkFile;
    operations.open = openFile;
    operations.create = createFile;
    operations.read = readFile;
    operations.write = writeFile;
    operations.truncate = truncateFile;
    operations.flush = flushFile;
    operations.fsync = syncFile;
    operations.release = releaseFile;
    operations.statfs = describeFileSystem;
    operations.init = configure;
    std::string name = words[0];
    std::string foreground = "-f";
    std::string mountPoint = words[2];
    std::array arguments{name.data(), foreground.data(), mountPoint.data()};
    return fuse_main(static_cast<int>(arguments.size()), arguments.data(), &operations, nullptr);
}
