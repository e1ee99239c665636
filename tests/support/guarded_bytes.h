// Bytes whose end lies at the end of a page with nothing readable behind it: one byte too far ends the test,
// in every build.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <sys/mman.h>
#include <unistd.h>

class GuardedBytes {
  public:
    explicit GuardedBytes(std::span<const std::uint8_t> bytes) : m_size(bytes.size()) {
        const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
        m_readable = (m_size + page - 1) / page * page;
        m_mapped = m_readable + page;
        m_base = ::mmap(nullptr, m_mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (m_base == MAP_FAILED) throw std::runtime_error("mmap failed");
        if (::mprotect(begin() + m_readable, page, PROT_NONE) != 0)
            throw std::runtime_error("mprotect failed");
        std::ranges::copy(bytes, begin() + m_readable - m_size);
    }
    GuardedBytes(GuardedBytes&&) = delete;
    ~GuardedBytes() { ::munmap(m_base, m_mapped); }

    [[nodiscard]] const std::uint8_t* data() const { return begin() + m_readable - m_size; }

  private:
    [[nodiscard]] std::uint8_t* begin() const { return static_cast<std::uint8_t*>(m_base); }

    std::size_t m_size;
    std::size_t m_readable = 0;
    std::size_t m_mapped = 0;
    void* m_base = nullptr;
};
