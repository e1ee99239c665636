#include "tools/clip/clip_without_side_cars.h"

#include "krw/file_header.h"
#include "krw/format.h"
#include "krw/stored_table.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <span>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace fs = std::filesystem;

namespace {

/// Copies bytes to the same place. Throws std::ios_base::failure, which is a std::runtime_error.
void copyBytes(std::ifstream& from, std::ofstream& to, std::uint64_t place, std::span<std::uint8_t> bytes) {
    const auto size = static_cast<std::streamsize>(bytes.size());
    from.seekg(static_cast<std::streamoff>(place));
    from.read(reinterpret_cast<char*>(bytes.data()), size);
    to.seekp(static_cast<std::streamoff>(place));
    to.write(reinterpret_cast<const char*>(bytes.data()), size);
}

/// Writes the file header and the first DANRAW_HEADER, which the clip's own items come from, with holes where
/// the pictures are.
void writeHeaders(const std::string& clip, const std::string& path) {
    std::ifstream from;
    std::ofstream to;
    from.exceptions(std::ios::failbit | std::ios::badbit | std::ios::eofbit);
    to.exceptions(std::ios::failbit | std::ios::badbit);
    from.open(clip, std::ios::binary);
    to.open(path, std::ios::binary);
    std::array<std::uint8_t, krwfile::kHeaderSize> header{};
    copyBytes(from, to, 0, header);
    const std::int32_t offset = readIfd(ByteView(header)).danrawOffset.value_or(0);
    if (offset <= 0) throw std::runtime_error("no DANRAW_HEADER");
    const auto danraw = static_cast<std::uint64_t>(offset);
    std::array<std::uint8_t, krwfile::danraw::kSize> record{};
    copyBytes(from, to, danraw, record);
    const std::uint64_t end = std::max<std::uint64_t>(danraw + record.size(), header.size());
    const std::vector<std::uint8_t> table = makeStoredTable(std::array<std::uint64_t, 1>{0}, end);
    to.seekp(static_cast<std::streamoff>(end));
    to.write(reinterpret_cast<const char*>(table.data()), static_cast<std::streamsize>(table.size()));
    to.close();
}

} // namespace

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
    const std::string headers = (m_directory.path / "clip.krw").string();
    writeHeaders(path, headers);
    m_clip = std::make_unique<Clip>(plugin, headers);
}
