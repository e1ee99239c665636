// `krw sheet`: a contact sheet of a clip.

#include "tools/canvas.h"
#include "tools/command_options.h"
#include "tools/commands.h"
#include "tools/console.h"
#include "tools/frame_range.h"
#include "tools/interrupt.h"
#include "tools/picture_output.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fmt/format.h>

namespace {

constexpr Colour kBackground{24, 24, 24};
constexpr Colour kMissing{64, 24, 24};
constexpr Colour kText{220, 220, 220};
constexpr Colour kTrouble{255, 110, 90};
constexpr std::uint32_t kGap = 8;
constexpr std::uint32_t kCaption = 12; // height under a thumbnail
constexpr std::uint32_t kHeading = 24;

struct SheetOptions {
    std::string clip;
    std::string output;
    std::string frames;
    std::uint32_t count = 12;
    std::uint32_t thumbWidth = 240;
    bool overwrite = false;
    DevelopOptions develop;
};

/// `count` frames spread evenly over the range, first and last included.
std::vector<std::uint32_t> spread(const FrameRange& range, std::uint32_t count) {
    const std::uint32_t shown = std::min(count, range.count);
    std::vector<std::uint32_t> frames;
    for (std::uint32_t index = 0; index < shown; ++index)
        frames.push_back(range.first +
                         static_cast<std::uint32_t>(
                             shown > 1 ? std::uint64_t{index} * (range.count - 1) / (shown - 1) : 0));
    return frames;
}

/// Where thumbnails lie on the sheet.
struct Layout {
    std::uint32_t columns;
    std::uint32_t rows;
    std::uint32_t thumbWidth;
    std::uint32_t thumbHeight;

    [[nodiscard]] std::uint32_t x(std::size_t index) const {
        return kGap + static_cast<std::uint32_t>(index) % columns * (thumbWidth + kGap);
    }
    [[nodiscard]] std::uint32_t y(std::size_t index) const {
        return kHeading + static_cast<std::uint32_t>(index) / columns * (thumbHeight + kCaption + kGap);
    }
    [[nodiscard]] std::uint32_t width() const { return x(columns - 1) + thumbWidth + kGap; }
    [[nodiscard]] std::uint32_t height() const { return y(std::size_t{columns} * rows) + kGap / 2; }
};

std::uint32_t shrinkFor(const Clip& clip, std::uint32_t thumbWidth) {
    return std::max<std::uint32_t>(1, (clip.width() / 2 + thumbWidth - 1) / thumbWidth);
}

Layout layOut(const Clip& clip, std::size_t count, std::uint32_t shrink) {
    const auto columns = static_cast<std::uint32_t>(std::ceil(std::sqrt(static_cast<double>(count))));
    const auto rows = static_cast<std::uint32_t>((count + columns - 1) / columns);
    return {columns, rows, std::max<std::uint32_t>(1, clip.width() / 2 / shrink),
            std::max<std::uint32_t>(1, clip.height() / 2 / shrink)};
}

void sheet(const SheetOptions& options, Session& session) {
    checkPictureOutput(options.output, options.overwrite);
    Clip clip(session.plugin(), options.clip);
    const std::vector<std::uint32_t> frames =
        spread(frameRange(options.frames, clip.frames(), options.clip), options.count);
    const Developer developer = makeDeveloper(clip, options.develop);
    const std::uint32_t shrink = shrinkFor(clip, options.thumbWidth);
    const Layout layout = layOut(clip, frames.size(), shrink);

    Canvas canvas(layout.width(), layout.height(), kBackground);
    canvas.write(kGap, kGap,
                 fmt::format("{}  {} x {}  {} frames", std::filesystem::path(clip.path()).filename().string(),
                             clip.width(), clip.height(), clip.frames()),
                 kText);
    Picture picture = clip.makePicture();
    for (std::size_t index = 0; index < frames.size(); ++index) {
        interrupt::check();
        const std::uint32_t frame = frames[index];
        const std::uint32_t x = layout.x(index);
        const std::uint32_t y = layout.y(index);
        const FrameReading reading = clip.read(frame, picture);
        const bool ok = reading.state == FrameReading::State::ok;
        if (reading.state == FrameReading::State::unreadable)
            canvas.fill(x, y, layout.thumbWidth, layout.thumbHeight, kMissing);
        else
            canvas.place(x, y, developer.develop(picture.view(), shrink));
        canvas.write(x, y + layout.thumbHeight + 3,
                     fmt::format("{}  {}{}", frame, clip.timecode(frame), ok ? "" : "  damaged"),
                     ok ? kText : kTrouble);
        if (ok) continue;
        session.exitStatus = 1;
        console::complain(fmt::format("{}: frame {}: {}", options.clip, frame, reading.reason));
    }
    writePicture(options.output, canvas.image());
}

} // namespace

void addSheet(CLI::App& program, Session& session) {
    CLI::App* const command = program.add_subcommand("sheet", "Draw a contact sheet of developed thumbnails");
    const auto options = std::make_shared<SheetOptions>();
    addClipArgument(*command, options->clip);
    addPictureOutput(*command, options->output, options->overwrite);
    command->add_option("--count", options->count, "Thumbnails, spread evenly")
        ->type_name("N")
        ->check(CLI::Range(1, 400).description(""))
        ->capture_default_str();
    command->add_option("--thumb-width", options->thumbWidth, "Largest width of a thumbnail in pixels")
        ->type_name("PIXELS")
        ->check(CLI::Range(120, 2048).description(""))
        ->capture_default_str();
    addFramesOption(*command, options->frames);
    addDevelopOptions(*command, options->develop);
    command->footer("Examples:\n"
                    "  krw sheet A001C003.krw -o A001C003.png\n"
                    "  krw sheet A001C003.krw -o tail.png --frames 200- --count 20 --curve log");
    command->callback([options, &session] { sheet(*options, session); });
}
