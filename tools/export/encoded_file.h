// The bytes of a file that is ready to be written. They come in parts, so that a picture is not copied to
// stand behind its header.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

/// Movable; the parts stay where they are in memory.
class EncodedFile final {
  public:
    /// Appends bytes, which this object then owns.
    void append(std::vector<std::uint8_t> bytes) {
        m_owned.push_back(std::move(bytes));
        borrow(m_owned.back());
    }
    /// Appends bytes that the caller keeps for as long as this object is used.
    void borrow(std::span<const std::uint8_t> bytes) {
        if (!bytes.empty()) m_parts.push_back(bytes);
    }
    /// Owns memory that borrowed parts lie in.
    void keep(std::unique_ptr<std::uint8_t[]> memory) { m_memory = std::move(memory); }

    [[nodiscard]] std::span<const std::span<const std::uint8_t>> parts() const { return m_parts; }
    [[nodiscard]] std::uint64_t size() const {
        std::uint64_t size = 0;
        for (const auto& part : m_parts)
            size += part.size();
        return size;
    }

  private:
    std::vector<std::vector<std::uint8_t>> m_owned;
    std::unique_ptr<std::uint8_t[]> m_memory;
    std::vector<std::span<const std::uint8_t>> m_parts;
};
