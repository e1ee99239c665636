#include "tools/export/output_file.h"

#include "tools/clip/interrupt.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <stdexcept>
#include <sys/file.h>
#include <sys/uio.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr mode_t kPermissions = 0666; // what the user's umask leaves of it
constexpr std::string_view kTemporaryEnd = ".krw-part";

[[noreturn]] void fail(const std::string& path, int error) {
    if (error == EEXIST)
        throw std::runtime_error(fmt::format("{}: exists already and is not replaced", path));
    throw std::runtime_error(fmt::format("{}: {}", path, std::generic_category().message(error)));
}

std::string folderOf(const std::string& path) {
    const fs::path folder = fs::path(path).parent_path();
    return folder.empty() ? "." : folder.string();
}

/// "NAME.PID-ATTEMPT.krw-part"
std::string temporaryName(const std::string& path, int attempt) {
    return fmt::format("{}.{}-{}{}", path, ::getpid(), attempt, kTemporaryEnd);
}

/// NAME, empty when the name is no temporary one.
std::string finalName(const std::string& name) {
    if (!name.ends_with(kTemporaryEnd)) return {};
    const std::size_t dot = name.rfind('.', name.size() - kTemporaryEnd.size() - 1);
    return dot == std::string::npos ? std::string() : name.substr(0, dot);
}

/// A descriptor for a file without a name; -1 where the file system has no such files.
int openUnnamed(const std::string& path) {
    const int descriptor = ::open(folderOf(path).c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, kPermissions);
    // EISDIR: kernels that do not know the flag.
    const bool unknown = errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL;
    if (descriptor < 0 && !unknown) fail(path, errno);
    return descriptor;
}

int linkUnnamed(int descriptor, const std::string& name) {
    const std::string source = fmt::format("/proc/self/fd/{}", descriptor);
    return ::linkat(AT_FDCWD, source.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW);
}

/// Renames a file unless the new name exists.
int renameToFree(const std::string& from, const std::string& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
    // Some network file systems do not know that kind of rename, but have links.
    if (errno != EINVAL && errno != ENOSYS) return -1;
    return ::link(from.c_str(), to.c_str()) == 0 ? ::unlink(from.c_str()) : -1;
}

void syncFolder(const std::string& path) {
    const int folder = ::open(folderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool done = folder >= 0 && ::fsync(folder) == 0;
    const int error = errno;
    if (folder >= 0) ::close(folder);
    if (!done) fail(path, error);
}

} // namespace

bool isStream(const std::string& path) {
    std::error_code ignored;
    return path.starts_with("/dev/fd/") || path.starts_with("/proc/self/fd/") ||
           fs::is_fifo(fs::status(path, ignored));
}

OutputFile::OutputFile(std::string path, OutputOptions options)
    : m_path(std::move(path)), m_options(options), m_isStream(isStream(m_path)) {
    if (m_isStream) {
        openStream();
        return;
    }
    // A device must not be replaced by a file.
    std::error_code ignored;
    const fs::file_status status = fs::status(m_path, ignored);
    if (fs::is_directory(status)) fail(m_path, EISDIR);
    if (fs::exists(status) && !fs::is_regular_file(status))
        throw std::runtime_error(fmt::format("{}: Not a regular file", m_path));
    if (fs::exists(status) && m_options.existing == Existing::keep) fail(m_path, EEXIST);

    if (!m_options.named) m_descriptor = openUnnamed(m_path);
    if (m_descriptor < 0) createBeside();
}

OutputFile::~OutputFile() {
    if (!m_temporaryPath.empty()) ::unlink(m_temporaryPath.c_str());
    if (m_descriptor >= 0) ::close(m_descriptor);
}

void OutputFile::openStream() {
    interrupt::endWaits(); // nobody may be there to read
    m_descriptor = ::open(m_path.c_str(), O_WRONLY | O_CLOEXEC);
    if (m_descriptor >= 0) return;
    const int error = errno;
    interrupt::check();
    fail(m_path, error);
}

void OutputFile::createBeside() {
    for (int attempt = 0; m_descriptor < 0; ++attempt) {
        std::string name = temporaryName(m_path, attempt);
        m_descriptor = ::open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kPermissions);
        if (m_descriptor >= 0)
            m_temporaryPath = std::move(name);
        else if (errno != EEXIST)
            fail(m_path, errno);
    }
    // The lock tells removeLeftovers that a process still writes the file, where the file system has locks.
    (void)::flock(m_descriptor, LOCK_EX | LOCK_NB);
}

void OutputFile::write(std::span<const std::span<const std::uint8_t>> parts) {
    std::vector<iovec> left;
    for (const auto& part : parts)
        left.push_back({const_cast<std::uint8_t*>(part.data()), part.size()}); // only read
    for (std::size_t next = 0; next < left.size();) {
        const int count = static_cast<int>(std::min<std::size_t>(left.size() - next, IOV_MAX));
        if (m_isStream) interrupt::check();
        const ssize_t written = ::writev(m_descriptor, &left[next], count);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) fail(m_path, errno);
        auto done = static_cast<std::size_t>(written);
        for (; next < left.size() && done >= left[next].iov_len; ++next)
            done -= left[next].iov_len;
        if (done == 0) continue;
        left[next].iov_base = static_cast<std::uint8_t*>(left[next].iov_base) + done;
        left[next].iov_len -= done;
    }
}

void OutputFile::giveTemporaryName() {
    int error = EEXIST;
    for (int attempt = 0; error == EEXIST; ++attempt) {
        std::string name = temporaryName(m_path, attempt);
        error = linkUnnamed(m_descriptor, name) == 0 ? 0 : errno;
        if (error == 0) m_temporaryPath = std::move(name);
    }
    if (error != 0) fail(m_path, error);
}

void OutputFile::publish() {
    const bool unnamed = m_temporaryPath.empty();
    if (m_options.existing == Existing::keep) {
        const int result =
            unnamed ? linkUnnamed(m_descriptor, m_path) : renameToFree(m_temporaryPath, m_path);
        if (result != 0) fail(m_path, errno);
    } else {
        if (unnamed) giveTemporaryName(); // only a rename replaces
        if (std::rename(m_temporaryPath.c_str(), m_path.c_str()) != 0) fail(m_path, errno);
    }
    m_temporaryPath.clear();
}

void OutputFile::close() {
    if (m_descriptor >= 0 && ::close(std::exchange(m_descriptor, -1)) != 0) fail(m_path, errno);
}

void OutputFile::finish() {
    if (m_isStream) return close();
    if (m_options.sync && ::fsync(m_descriptor) != 0) fail(m_path, errno);
    // Network file systems report a full disk only when a file is closed. They have no files without a name.
    if (!m_temporaryPath.empty()) close();
    publish();
    close();
    if (m_options.sync) syncFolder(m_path);
}

void removeLeftovers(const std::string& directory,
                     const std::function<bool(const std::string& name)>& isOurs) {
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory, error)) {
        const std::string name = finalName(entry.path().filename().string());
        if (name.empty() || !isOurs(name)) continue;
        const int descriptor = ::open(entry.path().c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC);
        if (descriptor < 0) continue;
        if (::flock(descriptor, LOCK_EX | LOCK_NB) == 0) ::unlink(entry.path().c_str());
        ::close(descriptor);
    }
}
