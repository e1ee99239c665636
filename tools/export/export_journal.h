// The journal of an export under way. It has a line for each frame that is done, so that a run that was
// killed can be continued. One process at a time holds it. The manifest replaces it when the export has
// ended.
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

/// What an export does with earlier exports and files in its folder.
enum class ExportStart {
    fresh,   // refuses to start when an earlier export is there
    resume,  // continues an earlier export of the same clip and options
    replace, // replaces files; of an earlier export of the same clip and options, frames that are not
             // selected stay in the manifest
};

/// Any thread may call. Failures throw std::runtime_error, "PATH: reason".
class ExportJournal final {
  public:
    using FrameFilter = std::function<bool(std::uint32_t frame)>;

    /// Locks the journal. Takes over what earlier runs noted: from the journal that a killed run left,
    /// otherwise from the manifests. A replacing run takes over no frame that `selected` accepts. Throws when
    /// another process holds the journal, and when `start` does not allow what is there.
    ExportJournal(ExportFileNames names, ExportIdentity identity, ExportStart start,
                  const FrameFilter& selected, bool sync);
    /// Keeps the journal for the next run, unless `finish` was called or nothing was added.
    ~ExportJournal();
    ExportJournal(const ExportJournal&) = delete;
    ExportJournal& operator=(const ExportJournal&) = delete;

    /// What this run or an earlier one noted of a frame.
    [[nodiscard]] std::optional<ExportedFrame> find(std::uint32_t frame) const;
    /// True when this run, or the one that it continues, may replace files that no run has noted.
    [[nodiscard]] bool replaces() const { return m_replaces; }

    /// Notes that a frame is done.
    void add(const ExportedFrame& frame);

    /// Ends the export: writes the manifest and removes the journal.
    void finish();

  private:
    void lock();
    void readJournal(const std::string& lines, const FrameFilter& selected);
    void readManifest(const std::string& path, const FrameFilter& selected);
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
