// The host's files and paths: 64-bit offsets, names that are no regular files, paths that do not fit.
#include "host/files.h"
#include "tests/support/temp_dir.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

std::int64_t openForReading(const fs::path& path) {
    return pvOSCreateFile(path.c_str(), kAccessRead, kShareRead, nullptr, kOpenExisting, 0, 0);
}

/// The bytes that a read of 16 bytes at an offset delivers; "?" when seeking or reading fails.
std::string readAt(std::int64_t file, std::uint64_t offset) {
    std::array<char, 16> buffer{};
    std::uint32_t count = 0;
    if (pvOSSeek(file, offset) != offset) return "?";
    if (pvOSReadFile(file, buffer.data(), buffer.size(), &count, nullptr) == 0) return "?";
    return {buffer.data(), count};
}

TEST(HostFiles, OpensRegularFilesOnlyAndReadsAtAnyOffset) {
    const TempDir directory;
    const fs::path path = directory.path("sparse");
    const fs::path pipe = directory.path("pipe");
    constexpr std::uint64_t kTail = std::uint64_t{5} << 30;
    std::ofstream(path).seekp(static_cast<std::streamoff>(kTail)) << "tail";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);

    const std::int64_t file = openForReading(path);
    std::uint32_t high = 0;
    EXPECT_EQ(pvOSGetFileSize(file, &high), 0x40000004U);
    EXPECT_EQ(high, 1U);
    EXPECT_EQ(readAt(file, kTail + 1), "ail");
    EXPECT_EQ(readAt(file, kTail * 2), "") << "past the end";
    EXPECT_EQ(pvOSSeek(file, std::uint64_t{1} << 63), kSeekFailed);
    EXPECT_NE(pvOSCloseFile(file), 0);
    EXPECT_EQ(readAt(file, 0), "?") << "closed";

    for (const fs::path& other : {directory.root(), pipe, fs::path("/dev/null"), directory.root() / "none"})
        EXPECT_EQ(openForReading(other), kInvalidHandle) << other;
    EXPECT_EQ(pvOSCreateFile(path.c_str(), kAccessWrite, 0, nullptr, kOpenExisting, 0, 0), kInvalidHandle);
}

TEST(HostPaths, SplitAndJoinAgain) {
    struct Case {
        std::string directory, name, extension;
        bool fits = true;
    };
    for (const Case& row :
         {Case{"/a/b.c/", "clip.one", ".krw"}, Case{"/a.b/", "clip", ""}, Case{"", "", ".krw"},
          Case{"", std::string(254, 'n'), "." + std::string(253, 'e')},
          Case{"", std::string(255, 'n'), ".krw", false},
          Case{"", "clip", "." + std::string(254, 'e'), false}, Case{std::string(4094, '/'), "n", ""},
          Case{std::string(4096, '/'), "n", "", false}}) {
        const std::string path = row.directory + row.name + row.extension;
        std::array<char, kPathArea> drive{'x'}, directory{'x'}, name{'x'}, extension{'x'}, joined{'x'};
        pvOSSplitPath(path.c_str(), drive.data(), directory.data(), name.data(), extension.data());
        EXPECT_EQ(directory.data(), row.fits ? row.directory : "");
        EXPECT_EQ(name.data(), row.fits ? row.name : "");
        EXPECT_EQ(extension.data(), row.fits ? row.extension : "");
        pvOSMakePath(joined.data(), drive.data(), directory.data(), name.data(), extension.data());
        EXPECT_EQ(joined.data(), row.fits ? path : "");
        pvOSMakePath(joined.data(), "", path.c_str(), std::string(4096 - path.size() % 4096, 'n').c_str(),
                     "");
        EXPECT_STREQ(joined.data(), "") << "one byte too long";
    }
}

} // namespace
