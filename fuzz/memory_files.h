// The host's file functions over memory, for fuzz targets: no input costs a system call. The library that
// defines them stands before the host library in a program's link order, so that the reader, the host library
// and the fault injection of tests/support all reach these functions.
#pragma once

#include <cstdint>
#include <span>
#include <string>

/// A file that exists under its path from construction to destruction. Beside such files nothing exists.
class [[gnu::visibility("default")]] MemoryFile {
  public:
    explicit MemoryFile(std::string path);
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    ~MemoryFile();

    /// Gives the file new contents. The bytes are borrowed until the next call; no handle may be open.
    void assign(std::span<const std::uint8_t> bytes) {
        m_bytes = bytes;
    }
    [[nodiscard]] const std::string& path() const {
        return m_path;
    }
    [[nodiscard]] std::span<const std::uint8_t> bytes() const {
        return m_bytes;
    }

  private:
    std::string m_path;
    std::span<const std::uint8_t> m_bytes;
};
