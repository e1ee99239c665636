#include "tools/picture/clip_sheet.h"

#include "tools/picture/contact_sheet.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <vector>

namespace {

/// `count` frames spread evenly over the frames, first and last included.
std::vector<std::uint32_t> spread(const FrameSet& frames, std::uint32_t count) {
    const std::uint32_t shown = std::min(count, frames.size());
    std::vector<std::uint32_t> chosen;
    for (std::uint32_t index = 0; index < shown; ++index)
        chosen.push_back(frames.at(static_cast<std::uint32_t>(
            shown > 1 ? std::uint64_t{index} * (frames.size() - 1) / (shown - 1) : 0)));
    return chosen;
}

std::uint32_t shrinkFor(const Clip& clip, std::uint32_t thumbWidth) {
    return std::max<std::uint32_t>(1, (clip.width() / 2 + thumbWidth - 1) / thumbWidth);
}

ContactSheet makeSheet(const Clip& clip, std::size_t count, std::uint32_t shrink) {
    const SheetFormat format{static_cast<std::uint32_t>(count),
                             std::max<std::uint32_t>(1, clip.width() / 2 / shrink),
                             std::max<std::uint32_t>(1, clip.height() / 2 / shrink)};
    return {format,
            fmt::format("{}  {} x {}  {} frames", std::filesystem::path(clip.path()).filename().string(),
                        clip.width(), clip.height(), clip.frames())};
}

} // namespace

RgbImage drawClipSheet(Clip& clip, const FrameSet& frames, const ClipSheetOptions& options,
                       const SheetFrameTaker& take) {
    const std::vector<std::uint32_t> shown = spread(frames, options.count);
    const Developer developer = makeDeveloper(clip, options.develop);
    const std::uint32_t shrink = shrinkFor(clip, options.thumbWidth);
    ContactSheet sheet = makeSheet(clip, shown.size(), shrink);
    Picture picture = clip.makePicture();
    for (const std::uint32_t frame : shown) {
        const FrameReading reading = clip.read(frame, picture);
        const bool ok = reading.state == FrameReading::State::ok;
        const std::string caption = fmt::format("{}  {}{}", frame, clip.timecode(frame),
                                                ok ? "" : fmt::format("  {}", stateName(reading.state)));
        if (reading.state == FrameReading::State::unreadable)
            sheet.addMissing(caption);
        else
            sheet.add(developer.develop(picture.view(), shrink), caption, !ok);
        take(frame, reading);
    }
    return sheet.image();
}
