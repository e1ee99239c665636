#include "tools/export/input_file.h"

#include <cerrno>
#include <fcntl.h>
#include <fmt/format.h>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace {

[[noreturn]] void fail(const std::string& path, int error) {
    throw std::runtime_error(fmt::format("{}: {}", path, std::generic_category().message(error)));
}

} // namespace

InputFile::InputFile(std::string path)
    // O_NONBLOCK: opening a pipe does not wait for a writer.
    : m_path(std::move(path)), m_descriptor(::open(m_path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
    if (m_descriptor < 0) fail(m_path, errno);
    struct stat status {};
    const bool known = ::fstat(m_descriptor, &status) == 0;
    m_size = static_cast<std::uint64_t>(status.st_size);
    if (known && S_ISREG(status.st_mode)) return;
    const int error = errno;
    ::close(m_descriptor);
    if (!known) fail(m_path, error);
    throw std::runtime_error(fmt::format("{}: not a regular file", m_path));
}

InputFile::~InputFile() {
    ::close(m_descriptor);
}

std::span<const std::uint8_t> InputFile::read(std::span<std::uint8_t> memory) {
    std::size_t filled = 0;
    while (filled < memory.size()) {
        const ssize_t count = ::pread(m_descriptor, memory.data() + filled, memory.size() - filled,
                                      static_cast<off_t>(m_position));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) fail(m_path, errno);
        if (count == 0) break;
        filled += static_cast<std::size_t>(count);
        m_position += static_cast<std::uint64_t>(count);
    }
    return memory.first(filled);
}
