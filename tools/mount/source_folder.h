// What lies in the folder that is mounted: clips, and folders with more of them.
#pragma once

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

/// One state of a file. A file that was replaced, or has grown, has another one.
struct FileIdentity {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t size = 0;
    std::timespec modified{};
    std::timespec changed{}; // its attributes, too

    [[nodiscard]] bool operator==(const FileIdentity& other) const;
};

/// Nothing when there is no regular file.
[[nodiscard]] std::optional<FileIdentity> identify(const std::filesystem::path& path);

struct SourceEntry {
    std::string name; // of the folder that is shown for it
    std::filesystem::path path;
    bool isClip = false; // else a folder
};

/// The clips of a folder (NAME.krw, in any case of letters) and the folders in it, by name. What begins with
/// a dot is left out, and so are links to folders, which could lead round in circles. A clip shows as NAME,
/// or under its whole file name where another entry has that name, too. Throws
/// std::filesystem::filesystem_error.
[[nodiscard]] std::vector<SourceEntry> listSource(const std::filesystem::path& folder);
