// The record of an export under way: a line for each frame that is done, so that a run that was killed can be
// taken up. It belongs to one process at a time and is gone when the export has ended, when the manifest
// takes its place.
#pragma once

#include "tools/export/export_manifest.h"

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

/// Names of an export's own files in its folder.
struct ExportFileNames {
    std::string manifest;      // of this run: the whole export's or a part's
    std::string journal;       // of this run
    std::string wholeManifest; // of the whole export
};

/// How an export meets what is in its folder.
enum class ExportStart {
    fresh,   // nothing of an earlier export may be there
    resume,  // an earlier one of the same clip and options is continued
    replace, // files that are there are replaced; an earlier export of the same clip and options is kept
             // track of
};

/// Any thread may call. Failures throw std::runtime_error, "PATH: reason".
class ExportJournal final {
  public:
    using FrameFilter = std::function<bool(std::uint32_t frame)>;

    /// Takes the journal, or throws because another process has it. Takes over what earlier runs wrote: from
    /// the journal that a killed run left, else from the manifests. Throws when `start` does not allow what
    /// is there. A replacing run takes over nothing of the frames that `selected` names.
    ExportJournal(ExportFileNames names, ExportIdentity identity, ExportStart start,
                  const FrameFilter& selected, bool sync);
    /// Without `finish` the journal stays for the next run, unless nothing was added.
    ~ExportJournal();
    ExportJournal(const ExportJournal&) = delete;
    ExportJournal& operator=(const ExportJournal&) = delete;

    /// What is known of a frame from earlier runs and from this one.
    [[nodiscard]] std::optional<ExportedFrame> find(std::uint32_t frame) const;
    /// True when this run, or the one that it continues, may replace files that no run has noted.
    [[nodiscard]] bool replaces() const { return m_replaces; }

    /// Notes that a frame is done.
    void add(const ExportedFrame& frame);

    /// Ends the export: writes the manifest and removes the journal.
    void finish();

  private:
    void lock();
    void takeUp(const std::string& lines, const FrameFilter& selected);
    void takeOver(const std::string& path, const FrameFilter& selected);
    void begin();
    void append(const std::string& lines);

    ExportFileNames m_names;
    ExportStart m_start;
    bool m_sync;
    bool m_replaces;
    int m_descriptor = -1;
    std::uint64_t m_end = 0; // of the whole lines
    bool m_worthKeeping = false;
    ExportManifest m_manifest;
    mutable std::mutex m_mutex;
};
