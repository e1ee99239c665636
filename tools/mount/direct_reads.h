// Files that are read directly: what a program reads goes from this program's memory into the reader's, past
// the kernel's page cache.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

/// Says for each file that is opened whether it is read directly.
///
/// Reading directly saves a copy and the page cache's memory, but each read of a program becomes a request.
/// Programs that copy or decode whole files read large pieces and gain. Programs that read row by row lose:
/// they are told by their small reads, and the files that are opened next go through the page cache.
///
/// Kernels before Linux 6.6 refuse shared mappings of such files, and programs that map pictures would fail.
/// So the kernel has to agree to such mappings first. libfuse before 3.17 does not know the question: its
/// answer to the kernel's first request is amended on the way.
class DirectReads final {
  public:
    /// Looks at a request of the kernel.
    void see(const void* request, std::size_t size);

    /// Amends what the library answers to the first request, `answer` without the header of the message.
    void amend(void* answer, std::size_t size);

    /// True once both sides have agreed.
    [[nodiscard]] bool areGranted() const { return m_state == State::granted; }

    /// A file that is open.
    struct File {
        bool isDirect;
        std::atomic<unsigned> smallReads = 0;
    };

    /// Whether the file that is opened now is read directly.
    [[nodiscard]] bool takeFile();
    /// Told of each read of a file that is read directly.
    void note(File& file, std::size_t size);

  private:
    enum class State : std::uint8_t {
        silent,  // the kernel's first request has not come
        offered, // the kernel can, and waits for the answer
        granted,
        refused,
    };
    std::atomic<State> m_state = State::silent;
    std::atomic<unsigned> m_cachedFiles = 0; // that many files go through the page cache next
};
