// A clip on disk and a reader object over it, for tests that go through the reader.
#pragma once

#include "plugin/cmfkrw.h"
#include "tests/support/clip_builder.h"
#include "tests/support/temp_dir.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

/// Opens for reading, with the arguments that a host gives.
inline std::uint32_t openForReading(CAMediaFile& reader, const std::string& path) {
    return reader.Open(path.c_str(), kAccessRead, kShareRead, nullptr, kOpenExisting, 0, 0);
}

/// A folder with one clip in it, and a reader that has tried to open it.
struct OpenClip {
    explicit OpenClip(const TestClip& clip)
        : path(directory.write("A001C003.krw", clip.bytes)), result(openForReading(reader, path)) {}

    TempDir directory;
    std::string path;
    CMFKrw reader{0};
    std::uint32_t result;
};

/// A picture buffer filled with a pattern, and the frame record that names it.
struct FrameRequest {
    static constexpr std::uint16_t kPattern = 0xA55A;

    explicit FrameRequest(std::size_t samples) : picture(samples, kPattern) {
        dframe.recordSize = sizeof dframe;
        dframe.flags = 0xFFFFFFFF;
        dframe.picture = {picture.data(), static_cast<std::uint32_t>(2 * samples), 0, {}, 0xFFFFFFFF};
    }
    /// Reads one video frame from the first channel.
    std::uint32_t read(CAMediaFile& reader, std::uint32_t frame, std::uint32_t frameCount = 1) {
        return reader.Read(frame, frameCount, 1, 1, &dframe, nullptr);
    }
    [[nodiscard]] bool untouched() const {
        return std::ranges::count(picture, kPattern) == std::ssize(picture);
    }

    std::vector<std::uint16_t> picture;
    DFRAME dframe{};
};
