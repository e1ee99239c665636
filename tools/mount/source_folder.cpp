#include "tools/mount/source_folder.h"

#include "tools/clip/clip_name.h"

#include <algorithm>
#include <map>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

bool isEqual(const std::timespec& a, const std::timespec& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

} // namespace

bool FileIdentity::operator==(const FileIdentity& other) const {
    return device == other.device && inode == other.inode && size == other.size &&
           isEqual(modified, other.modified) && isEqual(changed, other.changed);
}

std::optional<FileIdentity> identify(const fs::path& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    return FileIdentity{status.st_dev, status.st_ino, static_cast<std::uint64_t>(status.st_size),
                        status.st_mtim, status.st_ctim};
}

std::vector<SourceEntry> listSource(const fs::path& folder) {
    std::vector<SourceEntry> entries;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        const fs::path& path = entry.path();
        std::error_code vanished;
        if (path.filename().string().front() == '.') continue;
        if (isClipName(path) && entry.is_regular_file(vanished))
            entries.push_back({path.stem().string(), path, true});
        else if (entry.symlink_status(vanished).type() == fs::file_type::directory)
            entries.push_back({path.filename().string(), path, false});
    }
    std::map<std::string, int> uses;
    for (const SourceEntry& entry : entries)
        ++uses[entry.name];
    for (SourceEntry& entry : entries)
        if (entry.isClip && uses[entry.name] > 1) entry.name = entry.path.filename().string();
    std::ranges::sort(entries, {}, &SourceEntry::name);
    return entries;
}
