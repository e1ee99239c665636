// A clip opened without its side-cars: the information is that of its own header.
#pragma once

#include "tools/clip/clip.h"

#include <filesystem>
#include <memory>

/// Opens a file with the clip's headers, and a frame table of one frame, in a private directory. So a reader
/// that looks beside the clip finds nothing there, and follows no records. The directory is removed with this
/// object.
class ClipWithoutSideCars final {
  public:
    /// Throws std::runtime_error (std::filesystem::filesystem_error too) when the clip cannot be read, or the
    /// file cannot be written or opened.
    ClipWithoutSideCars(const Plugin& plugin, const std::string& path);

    [[nodiscard]] const ClipInformation& information() const { return m_clip->information(); }

  private:
    struct Directory {
        Directory();
        ~Directory();
        Directory(const Directory&) = delete;
        Directory& operator=(const Directory&) = delete;
        std::filesystem::path path;
    };

    Directory m_directory;
    std::unique_ptr<Clip> m_clip; // closed before its directory goes
};
