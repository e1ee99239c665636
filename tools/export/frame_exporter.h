// The work on one frame of an export: it is read, encoded, written and noted in the journal.
#pragma once

#include "tools/clip/frame_workers.h"
#include "tools/export/export_files.h"
#include "tools/export/export_journal.h"
#include "tools/export/media_hash.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>

struct FrameExportOptions {
    bool resume = false; // leave out frames that are done
    bool check = false;  // compare the hash of a frame's file before the frame is left out
    bool strict = false; // end the export at a frame that is not in order; that frame gets no file
    bool sync = false;   // bring each file to the disk before its frame is done
    std::optional<HashKind> delivery; // hash for a media hash list
};

/// Threads may call at the same time. Failures to write throw std::runtime_error, "PATH: reason".
class FrameExporter final {
  public:
    /// Both references must outlive this object.
    FrameExporter(const ExportFiles& files, ExportJournal& journal, FrameExportOptions options)
        : m_files(files), m_journal(journal), m_options(options) {}

    /// Exports one frame. The outcome is "skipped" for a frame in order whose file was in place.
    [[nodiscard]] FrameOutcome exportFrame(Clip& clip, Picture& picture, std::uint32_t frame);

    /// Bytes that the folder needs for a frame, in addition to those that an earlier file of the frame takes.
    [[nodiscard]] std::uint64_t neededSpace(std::uint32_t frame) const;

    /// Files that this run has put in place.
    [[nodiscard]] std::uint32_t written() const { return m_written; }

    /// Hashes of the files that this run wrote, by name, for a media hash list. Call this when no frame is
    /// under way.
    [[nodiscard]] const std::map<std::string, std::string>& deliveryHashes() const {
        return m_deliveryHashes;
    }

  private:
    [[nodiscard]] bool isDone(const ExportedFrame& known, bool check) const;
    /// Removes the file of an earlier export when the frame gets none now.
    void removeFile(std::uint32_t frame) const;
    void writeFile(ExportedFrame& done, const Picture& picture, bool isOurs, FrameOutcome& outcome);

    const ExportFiles& m_files;
    ExportJournal& m_journal;
    FrameExportOptions m_options;
    std::atomic<std::uint32_t> m_written = 0;
    std::map<std::string, std::string> m_deliveryHashes;
    std::mutex m_mutex; // guards m_deliveryHashes
};
