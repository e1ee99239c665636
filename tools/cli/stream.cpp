// `krw stream`: frames to standard output, for an encoder or a player.

#include "tools/cli/command_options.h"
#include "tools/cli/commands.h"
#include "tools/cli/console.h"
#include "tools/cli/usage_error.h"
#include "tools/clip/frame_workers.h"
#include "tools/clip/interrupt.h"
#include "tools/export/frame_stream.h"

#include <fmt/format.h>
#include <memory>
#include <mutex>
#include <utility>

namespace {

/// What a stream holds in place of a frame that is not whole.
enum class Substitute {
    repeat, // the last whole frame before it; black where there is none
    black,
};

const ChoiceWords<Substitute>& substitutes() {
    static const ChoiceWords<Substitute> words{{"repeat", Substitute::repeat}, {"black", Substitute::black}};
    return words;
}

struct StreamOptions {
    std::string clip;
    FrameSelection frames;
    StreamFormat format;
    DevelopOptions develop;
    Substitute substitute = Substitute::repeat;
    unsigned jobs = 0;
};

/// The reader of standard output has gone.
class ReaderGone final : public std::exception {};

/// Keeps the memory of written frames for later ones, because fresh memory of that size costs as much as
/// filling it.
class SpareBuffers final {
  public:
    [[nodiscard]] std::vector<std::uint8_t> take() {
        const std::scoped_lock lock(m_mutex);
        if (m_spare.empty()) return {};
        std::vector<std::uint8_t> buffer = std::move(m_spare.back());
        m_spare.pop_back();
        return buffer;
    }
    void give(std::vector<std::uint8_t> buffer) {
        const std::scoped_lock lock(m_mutex);
        m_spare.push_back(std::move(buffer));
    }

  private:
    std::mutex m_mutex;
    std::vector<std::vector<std::uint8_t>> m_spare;
};

/// Writes frames in order, and a substitute for each that is not whole.
class StreamWriter final {
  public:
    StreamWriter(const FrameStream& stream, Substitute substitute, SpareBuffers& spare)
        : m_stream(stream), m_substitute(substitute), m_spare(spare) {}

    void writeWhole(std::vector<std::uint8_t> frame) {
        write(frame);
        m_spare.give(std::exchange(m_lastWhole, std::move(frame)));
    }

    void writeSubstitute() {
        if (m_substitute == Substitute::repeat && !m_lastWhole.empty()) return write(m_lastWhole);
        if (m_black.empty()) m_black = m_stream.blackFrame();
        write(m_black);
    }

  private:
    static void write(std::span<const std::uint8_t> frame) {
        if (!console::write(frame)) throw ReaderGone();
    }

    const FrameStream& m_stream;
    Substitute m_substitute;
    SpareBuffers& m_spare;
    std::vector<std::uint8_t> m_lastWhole;
    std::vector<std::uint8_t> m_black;
};

void writeHeader(const std::string& header) {
    const std::vector<std::uint8_t> bytes(header.begin(), header.end());
    if (!console::write(bytes)) throw ReaderGone();
}

/// Throws ReaderGone.
void streamFrames(const StreamOptions& options, Clip& clip, const FrameSet& frames, CommandContext& context) {
    DevelopOptions develop = options.develop;
    develop.jobs = options.jobs;
    const FrameStream stream(clip, options.format, develop);
    SpareBuffers spare;
    StreamWriter writer(stream, options.substitute, spare);
    const auto work = [&](Clip& own, Picture& picture, std::uint32_t frame) {
        FrameOutcome outcome{own.read(frame, picture)};
        if (outcome.reading.state != FrameReading::State::ok) return outcome;
        outcome.output = spare.take();
        stream.encode(picture.view(), outcome.output);
        return outcome;
    };
    const auto take = [&](std::uint32_t frame, FrameOutcome& outcome) {
        if (outcome.reading.state == FrameReading::State::ok)
            return writer.writeWhole(std::move(outcome.output));
        context.exitStatus = 1;
        console::complain(fmt::format("{}: frame {}: {}", options.clip, frame, outcome.reading.reason));
        writer.writeSubstitute();
    };
    writeHeader(stream.header());
    forEachFrame(context.plugin(), clip, frames, options.jobs, work, take);
}

void stream(const StreamOptions& options, CommandContext& context) {
    if (console::resultsGoToTerminal())
        throw UsageError("standard output is a terminal; a stream goes to a pipe or into a file");
    Clip clip(context.plugin(), options.clip);
    const FrameSet frames = selectedFrames(options.frames, clip);
    interrupt::endWaits();
    try {
        streamFrames(options, clip, frames, context);
    } catch (const ReaderGone&) {
        return; // it needs no more; the status is that of the frames so far
    }
}

} // namespace

void addStream(CLI::App& program, CommandContext& context) {
    Command command(program, "stream", "Write frames to standard output, for an encoder or a player");
    const auto options = std::make_shared<StreamOptions>();
    addClipArgument(command, options->clip);
    command.choice("--as", options->format.kind, streamKinds(), "Format of the stream");
    addSizeOption(command, options->format.form.size);
    command.choice("--yuv", options->format.yuv, yuvFormats(), "Chroma format and bits of y4m");
    addFramesOption(command, options->frames.list);
    command.choice("--damaged", options->substitute, substitutes(),
                   "In place of a frame that is not whole: the last whole frame, or a black one");
    addJobsOption(command, options->jobs);
    addDevelopOptions(command, options->develop);
    command.footer(
        "Frames that are not whole are named, and the exit status is 1; the stream keeps its length.\n"
        "A reader that closes the pipe early ends the stream without a complaint.\n"
        "Examples:\n"
        "  krw stream A001C003.krw --curve rec709 | ffmpeg -i - A001C003.mp4\n"
        "  krw stream A001C003.krw | mpv -\n"
        "  krw stream A001C003.krw --as mosaic --frames 10-19 > ten.raw");
    command.run([options, &context] { stream(*options, context); });
}
