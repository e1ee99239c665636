#include "tools/export/export_parts.h"

#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <optional>
#include <stdexcept>
#include <sys/file.h>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;

/// Keeps other processes from combining parts at the same time, where the file system has locks.
class FolderLock final {
  public:
    explicit FolderLock(const std::string& directory)
        : m_descriptor(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        if (m_descriptor >= 0) (void)::flock(m_descriptor, LOCK_EX);
    }
    ~FolderLock() {
        if (m_descriptor >= 0) ::close(m_descriptor);
    }
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

  private:
    int m_descriptor;
};

void mergeInto(std::optional<ExportManifest>& whole, const std::string& path) {
    ExportManifest part = ExportManifest::read(path);
    if (!whole) {
        whole = std::move(part);
        return;
    }
    const std::string difference = differenceBetween(part.identity(), whole->identity());
    if (!difference.empty()) throw std::runtime_error(fmt::format("{}: {}", path, difference));
    whole->merge(part);
}

} // namespace

ExportFileNames exportFileNames(const std::string& directory, const std::string& clipName, std::uint32_t part,
                                std::uint32_t parts) {
    const std::string whole = (fs::path(directory) / clipName).string();
    const std::string run = part == 0 ? whole : fmt::format("{}.part-{}-of-{}", whole, part, parts);
    return {run + ".krw-export.json", run + ".krw-export.unfinished", whole + ".krw-export.json"};
}

void mergeParts(const std::string& directory, const std::string& clipName, std::uint32_t parts, bool sync) {
    const FolderLock lock(directory);
    std::vector<std::string> ended;
    for (std::uint32_t part = 1; part <= parts; ++part) {
        std::string path = exportFileNames(directory, clipName, part, parts).manifest;
        if (fs::exists(path)) ended.push_back(std::move(path));
    }
    const std::string wholePath = exportFileNames(directory, clipName, 0, parts).manifest;
    std::optional<ExportManifest> whole;
    if (fs::exists(wholePath))
        mergeInto(whole, wholePath);
    else if (ended.size() < parts)
        return;
    for (const std::string& path : ended)
        mergeInto(whole, path);
    if (!whole || ended.empty()) return;

    whole->write(wholePath, sync);
    for (const std::string& path : ended)
        fs::remove(path);
}
