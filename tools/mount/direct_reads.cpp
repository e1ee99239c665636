#include "tools/mount/direct_reads.h"

#include <cstring>
#include <linux/fuse.h>

namespace {

// FUSE_DIRECT_IO_ALLOW_MMAP of Linux 6.6, bit 36 of the flags. Its upper half has a field of its own.
constexpr std::uint32_t kMappingsOfDirectFiles = 1U << (36U - 32U);

/// Reads that gain nothing from being direct.
constexpr std::size_t kSmallRead = 1U << 15U;
/// So many of them in one file tell a program that reads row by row from one that looks at a header.
constexpr unsigned kSmallReadsOfRows = 64;
/// After so many files the next one is read directly again, to see how files are read by then.
constexpr unsigned kCachedFiles = 32;

} // namespace

void DirectReads::see(const void* request, std::size_t size) {
    if (m_state != State::silent) return;
    m_state = State::refused;
    struct {
        fuse_in_header header;
        fuse_init_in first;
    } message{};
    if (size < sizeof message) return; // an older kernel, whose message is shorter
    std::memcpy(&message, request, sizeof message);
    if (message.header.opcode == FUSE_INIT && (message.first.flags & FUSE_INIT_EXT) != 0 &&
        (message.first.flags2 & kMappingsOfDirectFiles) != 0)
        m_state = State::offered;
}

void DirectReads::amend(void* answer, std::size_t size) {
    if (m_state != State::offered) return;
    m_state = State::refused;
    fuse_init_out agreed{};
    if (size != sizeof agreed) return; // an error
    std::memcpy(&agreed, answer, sizeof agreed);
    agreed.flags |= FUSE_INIT_EXT;
    agreed.flags2 |= kMappingsOfDirectFiles;
    std::memcpy(answer, &agreed, sizeof agreed);
    m_state = State::granted;
}

bool DirectReads::takeFile() {
    if (!areGranted()) return false;
    unsigned left = m_cachedFiles;
    while (left > 0 && !m_cachedFiles.compare_exchange_weak(left, left - 1)) {
    }
    return left == 0;
}

void DirectReads::note(File& file, std::size_t size) {
    if (size <= kSmallRead && ++file.smallReads == kSmallReadsOfRows) m_cachedFiles = kCachedFiles;
}
