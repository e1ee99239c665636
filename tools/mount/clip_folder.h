// One clip as a folder: its frames as DNG files, its report, its sheet, and the list of what could not be
// read. Everything that is large is made when it is asked for.
#pragma once

#include "tools/export/export_files.h"
#include "tools/mount/frame_cache.h"
#include "tools/mount/source_folder.h"

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

/// Takes lines for the log; any thread may call.
using MountLog = std::function<void(const std::string& line)>;

/// The bytes of a frame's file around the mosaic.
struct FrameEnvelope {
    std::vector<std::uint8_t> before;
    std::vector<std::uint8_t> behind;
};

/// One state of one clip. Any thread may call. A clip that does not open has no frames, and the reason stands
/// in the list of what could not be read.
class ClipFolder final : public FrameSource {
  public:
    /// The plug-in must outlive this object. `jobs` workers read for the estimate of the white balance; 0:
    /// one per processor.
    ClipFolder(const Plugin& plugin, std::filesystem::path path, const FileIdentity& identity,
               std::uint64_t id, unsigned jobs, MountLog log)
        : m_plugin(plugin), m_path(std::move(path)), m_stem(m_path.stem().string()), m_identity(identity),
          m_id(id), m_jobs(jobs), m_log(std::move(log)) {}

    [[nodiscard]] const std::filesystem::path& path() const { return m_path; }
    [[nodiscard]] const std::string& stem() const { return m_stem; }
    [[nodiscard]] const FileIdentity& identity() const { return m_identity; }

    /// Opens the clip unless it has been open before. False when it does not open.
    [[nodiscard]] bool opens();

    // Only after opens() has returned true.
    [[nodiscard]] std::string frameName(std::uint32_t frame) const;
    [[nodiscard]] std::optional<std::uint32_t> frameNamed(const std::string& name) const;
    /// Bytes of every frame's file.
    [[nodiscard]] std::uint64_t frameFileSize() const { return m_frameFileSize; }
    /// Reads some frames at the first call when the white balance has to be estimated. May throw.
    [[nodiscard]] FrameEnvelope envelope(std::uint32_t frame);

    /// What `krw info --json` says, and the picture that `krw sheet` draws. Both read frames. May throw.
    using Document = std::shared_ptr<const std::string>;
    [[nodiscard]] Document report();
    [[nodiscard]] Document sheet();

    /// One line for each frame that was found damaged or unreadable so far; null when none was.
    [[nodiscard]] Document unreadableList();

    /// Closes the files; they are opened again when they are needed.
    void close();
    /// The source has no such clip any more.
    void retire() { m_isGone = true; }

    [[nodiscard]] std::uint64_t id() const override { return m_id; }
    [[nodiscard]] std::uint32_t frames() const override { return m_frames; }
    [[nodiscard]] std::uint32_t width() const override { return m_width; }
    [[nodiscard]] std::uint32_t height() const override { return m_height; }
    [[nodiscard]] bool isGone() const override { return m_isGone; }
    [[nodiscard]] FrameReader openReader() override;
    void note(std::uint32_t frame, const FrameReading& reading) override;

  private:
    struct Opened;

    void open();
    void noteFailure(const std::string& reason);
    [[nodiscard]] FrameEnvelope makeEnvelope(const Opened& opened, const DngColours& colours,
                                             std::uint32_t frame) const;
    void requireSameFile() const;

    const Plugin& m_plugin;
    const std::filesystem::path m_path;
    const std::string m_stem;
    const FileIdentity m_identity;
    const std::uint64_t m_id;
    const unsigned m_jobs;
    const MountLog m_log;
    std::atomic<bool> m_isGone = false;

    std::mutex m_mutex; // of what follows
    std::shared_ptr<Opened> m_opened;
    std::optional<DngColours> m_colours;
    Document m_report;
    Document m_sheet;
    std::uint32_t m_frames = 0; // this and what follows stays as the first opening found it
    std::uint32_t m_width = 0;
    std::uint32_t m_height = 0;
    std::uint64_t m_frameFileSize = 0;
    TimecodeCounting m_counting{};
    std::uint32_t m_firstTimecode = 0;

    std::mutex m_listMutex; // of these
    std::string m_failure;  // why the clip does not open
    std::map<std::uint32_t, std::string> m_troubles;
};
