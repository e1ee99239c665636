#include "tools/export/clip_report.h"

#include "tools/clip/clip_without_side_cars.h"

#include <exception>
#include <optional>

namespace {

std::vector<TriedFrame> tryFrames(Clip& clip, const FrameSet& frames) {
    std::vector<TriedFrame> tried;
    tried.reserve(frames.size());
    Picture picture = clip.makePicture();
    for (const std::uint32_t frame : frames)
        tried.push_back({frame, clip.read(frame, picture)});
    return tried;
}

/// The same clip without side-cars; none when its headers cannot be copied (the temporary folder is full,
/// say).
std::optional<ClipWithoutSideCars> withoutSideCars(const Plugin& plugin, const std::string& path) {
    try {
        return std::optional<ClipWithoutSideCars>(std::in_place, plugin, path);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

} // namespace

FrameSet sampledFrames(std::uint32_t first, std::uint32_t count) {
    if (count == 0) return {};
    return FrameSet({{first, 1}, {first + count / 2, 1}, {first + count - 1, 1}});
}

ClipReport makeClipReport(const Plugin& plugin, Clip& clip, const FrameSet& framesToTry) {
    const std::optional<ClipWithoutSideCars> bare = withoutSideCars(plugin, clip.path());
    const char* const description = plugin.format().longDescription;
    return {clip, description != nullptr ? description : "",
            listNamedItems(clip.information(), bare ? &bare->information() : nullptr),
            bare ? ItemSource::sideCar : ItemSource::unknown, tryFrames(clip, framesToTry)};
}
