#include "tools/output_file.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <stdexcept>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace {

constexpr mode_t kPermissions = 0666; // what the user's umask leaves of it

[[noreturn]] void fail(const std::string& path, int error) {
    throw std::runtime_error(fmt::format("{}: {}", path, std::generic_category().message(error)));
}

/// A new file beside `path`; earlier leftovers of the same name are stepped over.
std::pair<int, std::string> createBeside(const std::string& path) {
    for (int attempt = 0;; ++attempt) {
        std::string name = fmt::format("{}.part-{}-{}", path, ::getpid(), attempt);
        const int descriptor = ::open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kPermissions);
        if (descriptor >= 0) return {descriptor, std::move(name)};
        if (errno != EEXIST) fail(path, errno);
    }
}

} // namespace

OutputFile::OutputFile(std::string path) : m_path(std::move(path)) {
    // A device or a pipe cannot be finished atomically, and must not be replaced by a file.
    std::error_code ignored;
    const std::filesystem::file_status status = std::filesystem::status(m_path, ignored);
    if (std::filesystem::is_directory(status)) fail(m_path, EISDIR);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))
        throw std::runtime_error(fmt::format("{}: Not a regular file", m_path));

    auto [descriptor, name] = createBeside(m_path);
    m_temporaryPath = std::move(name);
    m_stream.reset(::fdopen(descriptor, "w+b"));
    if (m_stream) return;
    const int error = errno;
    ::close(descriptor);
    ::unlink(m_temporaryPath.c_str());
    fail(m_path, error);
}

OutputFile::~OutputFile() {
    m_stream.reset();
    if (!m_temporaryPath.empty()) ::unlink(m_temporaryPath.c_str());
}

void OutputFile::write(std::span<const std::uint8_t> bytes) {
    if (std::fwrite(bytes.data(), 1, bytes.size(), m_stream.get()) != bytes.size()) fail(m_path, errno);
}

void OutputFile::finish() {
    if (std::fclose(m_stream.release()) != 0) fail(m_path, errno);
    if (std::rename(m_temporaryPath.c_str(), m_path.c_str()) != 0) fail(m_path, errno);
    m_temporaryPath.clear();
}
