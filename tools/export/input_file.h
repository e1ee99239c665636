// Regular files read piece by piece.
#pragma once

#include <cstdint>
#include <span>
#include <string>

/// An open file. Every failure throws std::runtime_error, "PATH: reason".
class InputFile final {
  public:
    explicit InputFile(std::string path);
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    [[nodiscard]] std::uint64_t size() const { return m_size; }

    /// Reads the next bytes. Returns the part of `memory` that was filled: all of it except at the end of the
    /// file.
    [[nodiscard]] std::span<const std::uint8_t> read(std::span<std::uint8_t> memory);
    /// Makes the next read begin at an offset.
    void seek(std::uint64_t offset) { m_position = offset; }

  private:
    std::string m_path;
    int m_descriptor;
    std::uint64_t m_size = 0;
    std::uint64_t m_position = 0;
};
