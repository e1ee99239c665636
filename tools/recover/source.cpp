#include "tools/recover/source.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <fmt/format.h>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace {

[[noreturn]] void fail(const std::string& path, int error) {
    throw std::runtime_error(fmt::format("{}: {}", path, std::generic_category().message(error)));
}

/// Size of a file or of a block device. Other kinds of files have no size, or cannot be read twice.
std::uint64_t sizeOf(const std::string& path, int descriptor) {
    struct stat information {};
    if (::fstat(descriptor, &information) != 0) fail(path, errno);
    if (!S_ISREG(information.st_mode) && !S_ISBLK(information.st_mode))
        throw std::runtime_error(fmt::format("{}: is neither a regular file nor a block device", path));
    const off_t size = ::lseek(descriptor, 0, SEEK_END);
    if (size < 0) fail(path, errno);
    return static_cast<std::uint64_t>(size);
}

} // namespace

Source::Source(const std::vector<std::string>& paths) {
    std::uint64_t end = 0;
    for (const std::string& path : paths) {
        // Without O_NONBLOCK, opening a pipe would wait for its writer.
        const int descriptor = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
        if (descriptor < 0) fail(path, errno);
        m_descriptors.push_back(descriptor);
        const std::uint64_t size = sizeOf(path, descriptor);
        (void)::posix_fadvise(descriptor, 0, 0, POSIX_FADV_SEQUENTIAL); // a hint
        m_parts.push_back({path, {end, end + size}});
        end += size;
    }
}

Source::~Source() {
    for (const int descriptor : m_descriptors)
        ::close(descriptor);
}

std::size_t Source::partAt(std::uint64_t offset) const {
    const auto behind =
        std::ranges::upper_bound(m_parts, offset, {}, [](const Part& part) { return part.bytes.begin; });
    return static_cast<std::size_t>(std::max<std::ptrdiff_t>(behind - m_parts.begin(), 1)) - 1;
}

std::uint64_t Source::dataFrom(std::uint64_t offset) const {
    for (std::size_t i = partAt(offset); i < m_parts.size(); ++i) {
        const ByteRange bytes = m_parts[i].bytes;
        const std::uint64_t inFile = std::max(offset, bytes.begin) - bytes.begin;
        const off_t data = ::lseek(m_descriptors[i], static_cast<off_t>(inFile), SEEK_DATA);
        if (data >= 0) return bytes.begin + static_cast<std::uint64_t>(data);
        if (errno != ENXIO) return offset; // the file system does not know holes
    }
    return size();
}

void Source::read(std::int64_t offset, std::span<std::uint8_t> bytes) const {
    if (offset < 0) {
        const auto missing = std::min(static_cast<std::uint64_t>(-offset), std::uint64_t{bytes.size()});
        std::ranges::fill(bytes.first(missing), std::uint8_t{0});
        bytes = bytes.subspan(missing);
        offset = 0;
    }
    auto position = static_cast<std::uint64_t>(offset);
    for (std::size_t i = partAt(position); !bytes.empty() && position < size(); ++i) {
        const Part& part = m_parts[i];
        std::span<std::uint8_t> here =
            bytes.first(std::min(part.bytes.end - position, std::uint64_t{bytes.size()}));
        while (!here.empty()) {
            const auto inFile = static_cast<off_t>(position - part.bytes.begin);
            const ssize_t count = ::pread(m_descriptors[i], here.data(), here.size(), inFile);
            if (count < 0 && errno == EINTR) continue;
            if (count < 0)
                throw std::runtime_error(fmt::format("{}: byte {} cannot be read: {}", part.path, inFile,
                                                     std::generic_category().message(errno)));
            if (count == 0) break; // the file has become shorter
            const auto done = static_cast<std::size_t>(count);
            position += done;
            here = here.subspan(done);
            bytes = bytes.subspan(done);
        }
        if (!here.empty()) break;
    }
    std::ranges::fill(bytes, std::uint8_t{0});
}
