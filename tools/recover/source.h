// The source of a recovery: files of any kind, which are only read.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

/// Bytes somewhere in a source: [begin, end).
struct ByteRange {
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
};

/// One or several files, one behind the other, so that fragments of a clip are one run of bytes again.
/// Threads may read at the same time.
class Source final {
  public:
    struct Part {
        std::string path;
        ByteRange bytes; // of the file in the run
    };

    /// Opens files and block devices for reading. Throws std::runtime_error, "PATH: reason".
    explicit Source(const std::vector<std::string>& paths);
    ~Source();
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    [[nodiscard]] std::uint64_t size() const { return m_parts.back().bytes.end; }
    [[nodiscard]] std::span<const Part> parts() const { return m_parts; }
    /// Index of the part that holds the byte at `offset`; the last one for the end of the run.
    [[nodiscard]] std::size_t partAt(std::uint64_t offset) const;

    /// Fills `bytes` from `offset`. Bytes outside the run read as 0. Throws std::runtime_error, "PATH:
    /// reason", when the device reports an error.
    void read(std::int64_t offset, std::span<std::uint8_t> bytes) const;

    /// Offset of the next byte at or after `offset` that is not in a hole of a sparse file.
    [[nodiscard]] std::uint64_t dataFrom(std::uint64_t offset) const;

  private:
    std::vector<Part> m_parts;
    std::vector<int> m_descriptors;
};
