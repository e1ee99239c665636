// Memory that ends at a page that cannot be read: access to one byte too far ends the program, in every
// build.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <sys/mman.h>
#include <unistd.h>

/// Room for at least `size` bytes whose end is guarded.
class GuardedRoom {
  public:
    explicit GuardedRoom(std::size_t size) {
        const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
        m_readable = (size + page - 1) / page * page;
        m_mapped = m_readable + page;
        m_base = ::mmap(nullptr, m_mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (m_base == MAP_FAILED) throw std::runtime_error("mmap failed");
        if (::mprotect(end(), page, PROT_NONE) != 0) throw std::runtime_error("mprotect failed");
    }
    GuardedRoom(GuardedRoom&&) = delete;
    ~GuardedRoom() { ::munmap(m_base, m_mapped); }

    /// One past the last readable byte.
    [[nodiscard]] std::uint8_t* end() const { return static_cast<std::uint8_t*>(m_base) + m_readable; }

  private:
    std::size_t m_readable = 0;
    std::size_t m_mapped = 0;
    void* m_base = nullptr;
};

/// A copy of bytes whose end is guarded.
class GuardedBytes {
  public:
    explicit GuardedBytes(std::span<const std::uint8_t> bytes) : m_room(bytes.size()), m_size(bytes.size()) {
        std::ranges::copy(bytes, m_room.end() - m_size);
    }

    [[nodiscard]] const std::uint8_t* data() const { return m_room.end() - m_size; }

  private:
    GuardedRoom m_room;
    std::size_t m_size;
};
