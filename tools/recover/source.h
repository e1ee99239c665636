// What frames are recovered from: files of any kind, read as they are and never written.
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

/// One or several files, one behind the other: the fragments of a clip, in order, are one run of bytes again.
/// Reading is safe on several threads at once.
class Source final {
  public:
    struct Part {
        std::string path;
        ByteRange bytes; // where the file lies in the run
    };

    /// Opens files and block devices for reading. Throws std::runtime_error, "PATH: reason".
    explicit Source(const std::vector<std::string>& paths);
    ~Source();
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    [[nodiscard]] std::uint64_t size() const { return m_parts.back().bytes.end; }
    [[nodiscard]] std::span<const Part> parts() const { return m_parts; }
    /// Number of the part that holds the byte at `offset`, the last one for the end of the run.
    [[nodiscard]] std::size_t partAt(std::uint64_t offset) const;

    /// Fills `bytes` from `offset`; what lies outside the run reads as 0. Throws std::runtime_error when the
    /// device gives an error.
    void read(std::int64_t offset, std::span<std::uint8_t> bytes) const;

    /// Where the next byte at `offset` or behind it lies that is not in a hole of a sparse file.
    [[nodiscard]] std::uint64_t dataFrom(std::uint64_t offset) const;

  private:
    std::vector<Part> m_parts;
    std::vector<int> m_descriptors;
};
