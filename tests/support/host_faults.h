// Makes host functions fail on purpose, and counts the resources that are not released. A test program that
// links this stands between the reader's code and the host library. A call goes on to the library unless a
// test has asked for it to fail. Blocks of PVAlloc are filled with a pattern, because a host need not clear
// them. The heap is covered for code that is linked into the program, not for shared libraries.
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

    /// Makes only the n-th call from now on (1 is the next) fail, on any thread. Disarm `heap` before code of
    /// the test itself may allocate.
    void fail(HostCall call, std::uint64_t n);
    /// The n-th read from now on delivers `bytes` bytes at most.
    void shortenRead(std::uint64_t n, std::uint32_t bytes);
    void disarm();
    void disarm(HostCall call);

    /// Calls so far, failed ones included. A sweep over every n ends there.
    [[nodiscard]] std::uint64_t calls(HostCall call) const;

    /// Blocks of PVAlloc that were not released.
    [[nodiscard]] int liveBlocks() const;
    /// Calls of PVFree without a block.
    [[nodiscard]] int nullReleases() const;
    /// Blocks of malloc and realloc that were not released.
    [[nodiscard]] int liveHeapBlocks() const;
    /// Bytes of the largest block that anybody has asked for.
    [[nodiscard]] std::size_t largestBlock() const;
    /// Files that were opened and not closed.
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
