// A clip's file, parsed with the reader's own code. It tells what the plug-in's interface does not.
#pragma once

#include "krw/coded_frame.h"
#include "krw/frame_record.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

/// A frame record's DANRAW_HEADER and what follows from it.
struct RecordHeader {
    std::array<std::uint8_t, krwfile::danraw::kSize> bytes{};
    std::uint64_t recordStart = 0; // file offset

    [[nodiscard]] ByteView view() const { return ByteView(bytes); }
    [[nodiscard]] FrameSize size() const { return frameSize(view()); }
    [[nodiscard]] PlaneDescriptor plane(std::size_t index) const { return planeDescriptor(view(), index); }
};

/// One open file. Calls on one object must not overlap. Copies of an object share the frame table.
class ClipFile final {
  public:
    /// Opens the file and loads its frame table as the reader does. Throws std::runtime_error when that
    /// fails.
    explicit ClipFile(const std::string& path);
    /// The same file once more, for another thread.
    ClipFile(const ClipFile& other);
    ClipFile& operator=(const ClipFile&) = delete;
    ~ClipFile();

    [[nodiscard]] const std::string& path() const { return m_path; }
    /// Where the records start, frame by frame.
    [[nodiscard]] std::span<const std::uint64_t> table() const { return {m_table.get(), m_frames}; }
    /// Place of the DANRAW_HEADER in a record.
    [[nodiscard]] std::uint64_t danrawOffset() const { return m_danrawOffset; }

    /// A frame's header. Nothing is returned when the header cannot be read, or has no signature or no valid
    /// picture size.
    [[nodiscard]] std::optional<RecordHeader> header(std::uint32_t frame);
    /// Where a frame's record ends. Nothing is returned where there is no header().
    [[nodiscard]] std::optional<std::uint64_t> recordEnd(std::uint32_t frame);
    /// A frame's coded planes. Nothing is returned when one of the four cannot be read.
    [[nodiscard]] std::optional<CodedFrame> planes(const RecordHeader& header);
    /// The last bytes of a coded plane, at most `most`; empty when they cannot be read.
    [[nodiscard]] std::vector<std::uint8_t> planeTail(const RecordHeader& header, std::size_t index,
                                                      std::uint32_t most);

  private:
    /// Loads the frame table. Throws std::runtime_error.
    void load();

    std::string m_path;
    std::int64_t m_handle;
    std::uint64_t m_danrawOffset = 0;
    std::shared_ptr<const std::uint64_t> m_table;
    std::size_t m_frames = 0;
    // Ends of the records, for a table that was made from their headers; 0 where a header says no valid size.
    std::shared_ptr<const std::vector<std::uint64_t>> m_ends;
};
