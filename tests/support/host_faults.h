// Makes host functions fail on purpose, and counts what their callers leave behind. A test program that links
// this stands between the reader's code and the host library. A call goes on to the library unless a test has
// asked for it to fail. Blocks of PVAlloc are filled with a pattern, because a host need not clear them. The
// heap of the code that is linked into the program itself is covered too; shared libraries keep theirs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

enum class HostCall {
    allocation, // PVAlloc: null
    heap,       // malloc, realloc, operator new of linked code: null, or std::bad_alloc
    open,       // pvOSCreateFile: kInvalidHandle
    seek,       // pvOSSeek: kSeekFailed
    read,       // pvOSReadFile: 0
};

/// Faults and counts from construction to destruction; one object at a time.
class HostFaults {
  public:
    HostFaults();
    HostFaults(HostFaults&&) = delete;
    ~HostFaults();

    /// The n-th call from now on (1 is the next) fails, that one alone, on whichever thread it comes. Where
    /// the test's own code may allocate, disarm `heap` first.
    void fail(HostCall call, std::uint64_t n);
    /// The n-th read from now on delivers `bytes` bytes at most.
    void shortenRead(std::uint64_t n, std::uint32_t bytes);
    void disarm();
    void disarm(HostCall call);

    /// Calls so far, failed ones included: how far a sweep over every n has to go.
    [[nodiscard]] std::uint64_t calls(HostCall call) const;

    /// Blocks of PVAlloc less those that PVFree had.
    [[nodiscard]] int liveBlocks() const;
    /// Calls of PVFree without a block.
    [[nodiscard]] int nullReleases() const;
    /// Blocks of malloc and realloc less those that free had.
    [[nodiscard]] int liveHeapBlocks() const;
    /// Bytes of the largest block that anybody has asked for.
    [[nodiscard]] std::size_t largestBlock() const;
    /// Files opened less those closed.
    [[nodiscard]] int openHandles() const;
};

struct LogLine {
    std::uint32_t status; // as the host's log sink gets it
    std::string text;

    bool operator==(const LogLine&) const = default;
};

/// Collects the host's log lines instead of writing them, from construction to destruction; one object at a
/// time. Ask for the lines when no thread logs any more.
class LogCapture {
  public:
    LogCapture();
    LogCapture(LogCapture&&) = delete;
    ~LogCapture();

    [[nodiscard]] const std::vector<LogLine>& lines() const { return m_lines; }
    /// The lines' texts alone.
    [[nodiscard]] std::vector<std::string> texts() const;

  private:
    static void collect(void* context, std::uint32_t status, const char* line);

    std::vector<LogLine> m_lines;
};
