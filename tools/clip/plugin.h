// The plug-in, as any host uses it: found on disk, loaded at run time, called through its entry points.
#pragma once

#include "host/media_file.h"
#include "plugin/entry_points.h"

#include <filesystem>
#include <memory>
#include <string>

/// The path of the plug-in: in `directory`, or in an installation's folder of plug-ins such as
/// "../lib/krw/plugins" relative to it. Throws std::runtime_error when there is none.
[[nodiscard]] std::string findPlugin(const std::filesystem::path& directory);

/// A loaded plug-in. It stays loaded for as long as this object lives, and must outlive its readers.
class Plugin final {
  public:
    /// Loads the plug-in at `path`. An empty path stands for the one that findPlugin finds from the directory
    /// of the program. Throws std::runtime_error when there is none, or when its interface version is not
    /// that of this host.
    explicit Plugin(const std::string& path);

    /// The plug-in's verdict on a file: 0 when it can be read, otherwise a status of plugin/status.h.
    [[nodiscard]] std::uint32_t check(const std::string& path) const;

    struct ReaderDeleter {
        XMediaFile mediaFile;
        void operator()(CAMediaFile* reader) const;
    };
    using Reader = std::unique_ptr<CAMediaFile, ReaderDeleter>;

    /// A new reader object. Throws std::runtime_error when the plug-in makes none.
    [[nodiscard]] Reader makeReader() const;

    /// File-name pattern and description of the format that the plug-in reads; texts owned by the plug-in.
    [[nodiscard]] FormatDescriptor format() const;

    [[nodiscard]] const std::string& path() const { return m_path; }

  private:
    struct Unloader {
        void operator()(void* library) const;
    };

    std::string m_path;
    std::unique_ptr<void, Unloader> m_library;
    XMediaFile m_mediaFile = nullptr;
    XCheckVersionAndFile m_checkVersionAndFile = nullptr;
};
