// The built program `krw`, run in a shell in a directory of the test's own, and the files that it leaves
// there.
#pragma once

#include "tests/support/clip_builder.h"
#include "tests/support/temp_dir.h"
#include "tools/picture/rgb_image.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <png.h>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <vector>

inline std::string contents(const std::filesystem::path& path) {
    std::ifstream input(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(input), {}};
}

/// Every file of a directory by name.
inline std::map<std::string, std::string> directory(const std::filesystem::path& path) {
    std::map<std::string, std::string> files;
    if (!std::filesystem::is_directory(path)) return files;
    for (const std::filesystem::directory_entry& entry : std::filesystem::directory_iterator(path))
        if (entry.is_regular_file()) files.emplace(entry.path().filename().string(), contents(entry.path()));
    return files;
}

inline std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> split;
    std::istringstream input(text);
    for (std::string line; std::getline(input, line);)
        split.push_back(line);
    return split;
}

struct Outcome {
    int status;
    std::string out;
    std::string err;
};

/// A clip of 98304 frames: no machine is done with them before a signal comes.
inline TestClip makeLongClip() {
    ClipDescription description;
    description.storedTable = false;
    TestClip clip = makeClip(description, randomMosaics(3, 64, 32));
    for (int times = 0; times < 15; ++times)
        clip.recordStarts.insert(clip.recordStarts.end(), clip.recordStarts.begin(), clip.recordStarts.end());
    clip.addStoredTable();
    return clip;
}

class KrwTool : public testing::Test {
  protected:
    /// Runs a shell command in the test's directory.
    [[nodiscard]] Outcome shell(const std::string& command) const {
        const std::string line =
            "cd '" + m_dir.root().string() + "' && { " + command + "; } > .out 2> .err < /dev/null";
        const int result = std::system(line.c_str());
        return {WIFEXITED(result) ? WEXITSTATUS(result) : -1, contents(m_dir.path(".out")),
                contents(m_dir.path(".err"))};
    }
    [[nodiscard]] Outcome krw(const std::string& arguments) const {
        return shell(KRW_PROGRAM " " + arguments);
    }

    void write(const std::string& name, const TestClip& clip) const { (void)m_dir.write(name, clip.bytes); }

    /// The pixels of a PNG file; an empty picture when it cannot be read.
    [[nodiscard]] RgbImage readPng(const std::string& name) const {
        png_image image{};
        image.version = PNG_IMAGE_VERSION;
        if (png_image_begin_read_from_file(&image, m_dir.path(name).c_str()) == 0) return {};
        image.format = PNG_FORMAT_RGB;
        RgbImage picture{image.width, image.height, std::vector<std::uint8_t>(PNG_IMAGE_SIZE(image))};
        if (png_image_finish_read(&image, nullptr, picture.pixels.data(), 0, nullptr) == 0) return {};
        return picture;
    }

    /// Five frames: 1 with a plane that breaks off, 3 with a record that is none.
    void writeSpoiltClip(const std::string& name) const {
        TestClip clip = makeClip(5, 64, 32);
        clip.setCodeTable(1, 2, kinedec::CodeTable{});
        clip.setDanraw<std::uint32_t>(3, krwfile::danraw::kSignatureOffset, 0);
        write(name, clip);
    }

    TempDir m_dir;
};
