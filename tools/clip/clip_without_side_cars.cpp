#include "tools/clip/clip_without_side_cars.h"

#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace fs = std::filesystem;

ClipWithoutSideCars::Directory::Directory() {
    std::string name = (fs::temp_directory_path() / "krw-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr)
        throw fs::filesystem_error("no private directory", name,
                                   std::error_code(errno, std::generic_category()));
    path = name;
}

ClipWithoutSideCars::Directory::~Directory() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
}

ClipWithoutSideCars::ClipWithoutSideCars(const Plugin& plugin, const std::string& path) {
    const fs::path link = m_directory.path / "clip.krw";
    fs::create_symlink(fs::canonical(path), link);
    m_clip = std::make_unique<Clip>(plugin, link.string());
}
