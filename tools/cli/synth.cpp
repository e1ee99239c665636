// `krw synth`: clips for tests and demonstrations, from mosaics or from a drawn scene.
#include "tools/cli/command_line.h"
#include "tools/cli/commands.h"
#include "tools/cli/console.h"
#include "tools/cli/picture_output.h"
#include "tools/cli/progress.h"
#include "tools/cli/usage_error.h"
#include "tools/clip/interrupt.h"
#include "tools/clip/rational_rate.h"
#include "tools/export/pgm.h"
#include "tools/synth/clip_writer.h"
#include "tools/synth/scene.h"
#include "tools/synth/side_car_writer.h"

#include <charconv>
#include <filesystem>
#include <fmt/format.h>
#include <memory>
#include <optional>

namespace {

constexpr float kMostFramesPerSecond = 1000;

struct SynthOptions {
    std::string clip;
    std::vector<std::string> mosaics;
    std::string size = "1920x1080";
    std::uint32_t frames = 25;
    float framesPerSecond = 25;
    unsigned shift = 0;
    double noise = kCleanNoise;
    std::optional<std::uint16_t> blackLevel;
    std::uint16_t whiteLevel = kSceneWhiteLevel;
    std::uint32_t planePadding = 1;
    bool noTrailer = false;
    std::string sideCar;
    std::string keptMosaics; // directory, empty for none
    bool overwrite = false;
};

struct Size {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
};

/// "WxH". Throws UsageError for anything else, and for a size that clips cannot have.
Size parseSize(const std::string& text) {
    Size size;
    const char* const end = text.data() + text.size();
    const std::from_chars_result width = std::from_chars(text.data(), end, size.width);
    const bool hasHeight = width.ec == std::errc{} && width.ptr != end && *width.ptr == 'x';
    const std::from_chars_result height =
        hasHeight ? std::from_chars(width.ptr + 1, end, size.height) : std::from_chars_result{};
    if (!hasHeight || height.ec != std::errc{} || height.ptr != end)
        throw UsageError(fmt::format("--size {}: not a size like 1920x1080", text));
    try {
        checkPictureSize(size.width, size.height);
    } catch (const std::runtime_error& error) {
        throw UsageError(fmt::format("--size {}: {}", text, error.what()));
    }
    return size;
}

/// Makes the coded pictures of a clip, one after the other.
class Pictures {
  public:
    virtual ~Pictures() = default;
    [[nodiscard]] virtual const CodedPicture& next(std::uint32_t frame) = 0;
};

class ScenePictures final : public Pictures {
  public:
    /// `kept` is the directory to keep the mosaics in, empty for none.
    ScenePictures(const Size& size, double noise, const std::string& kept, OutputOptions output)
        : m_size(size), m_noise(noise), m_kept(kept), m_output(output) {
        std::error_code error;
        if (!kept.empty()) std::filesystem::create_directories(kept, error);
        if (error) throw std::runtime_error(fmt::format("{}: {}", kept, error.message()));
    }

    const CodedPicture& next(std::uint32_t frame) override {
        const Mosaic mosaic = drawScene(m_size.width, m_size.height, frame, m_noise);
        if (!m_kept.empty()) writePgm((m_kept / fmt::format("{:06}.pgm", frame)).string(), mosaic, m_output);
        m_picture = encodePicture(mosaic);
        return m_picture;
    }

  private:
    Size m_size;
    double m_noise;
    std::filesystem::path m_kept;
    OutputOptions m_output;
    CodedPicture m_picture;
};

/// Takes the files in turn, over and over. Each is read and coded once.
class FilePictures final : public Pictures {
  public:
    explicit FilePictures(const std::vector<std::string>& paths) : m_paths(paths) {}

    const CodedPicture& next(std::uint32_t frame) override {
        const std::size_t index = frame % m_paths.size();
        if (index == m_pictures.size()) m_pictures.push_back(read(m_paths[index]));
        return m_pictures[index];
    }

  private:
    static CodedPicture read(const std::string& path) {
        const Mosaic mosaic = readPgm(path);
        try {
            return encodePicture(mosaic);
        } catch (const std::runtime_error& error) {
            throw std::runtime_error(fmt::format("{}: {}", path, error.what()));
        }
    }

    std::vector<std::string> m_paths;
    std::vector<CodedPicture> m_pictures;
};

std::unique_ptr<Pictures> makePictures(const SynthOptions& options, OutputOptions output) {
    if (options.mosaics.empty())
        return std::make_unique<ScenePictures>(parseSize(options.size), options.noise, options.keptMosaics,
                                               output);
    return std::make_unique<FilePictures>(options.mosaics);
}

ClipDescription describe(const SynthOptions& options) {
    const bool isRate = options.framesPerSecond >= 1 && options.framesPerSecond <= kMostFramesPerSecond;
    if (!isRate)
        throw UsageError(
            fmt::format("--fps: {} is not from 1 to {}", options.framesPerSecond, kMostFramesPerSecond));
    ClipDescription description;
    description.framesPerSecond = options.framesPerSecond;
    description.shift = options.shift;
    // A PGM file does not state its black level.
    description.blackLevel = options.blackLevel.value_or(options.mosaics.empty() ? kSceneBlackLevel : 0);
    description.whiteLevel = options.whiteLevel;
    description.planePadding = options.planePadding;
    description.storedTable = !options.noTrailer;
    return description;
}

/// The facts of the clip that its side-car repeats.
SideCarFacts factsOf(const ClipDescription& description, const CodedPicture& picture, std::uint32_t frames) {
    const StartTimecode& start = description.start;
    SideCarFacts facts;
    facts.framesPerSecond = description.framesPerSecond;
    facts.start = {start.hours, start.minutes, start.seconds, start.frames};
    facts.frames = frames;
    facts.width = picture.width;
    facts.height = picture.height;
    facts.blackLevel = deliveredLevel(description.blackLevel, description.shift);
    facts.whiteLevel = deliveredLevel(description.whiteLevel, description.shift);
    return facts;
}

/// Warns when readers will not deliver the requested rate.
void warnOfRate(float framesPerSecond) {
    const Rational delivered = deliveredRate(framesPerSecond);
    if (rationalRate(framesPerSecond) == delivered) return;
    console::complain(
        fmt::format("--fps {}: readers of the clip deliver {:.6g} frames/s, the nearest rate of "
                    "their table; its timecode counts at that rate",
                    framesPerSecond, static_cast<double>(delivered.numerator) / delivered.denominator));
}

void synthesize(const SynthOptions& options, const CommandContext& context) {
    const OutputOptions output{.existing = options.overwrite ? Existing::replace : Existing::keep};
    if (isStandardOutput(options.clip))
        throw UsageError("a clip is written into a file, not to standard output");
    if (!options.sideCar.empty())
        checkOutput(sideCarPath(options.sideCar, options.clip).string(), options.overwrite);
    const ClipDescription description = describe(options);
    warnOfRate(description.framesPerSecond);
    ClipWriter writer(options.clip, description, output);
    const std::unique_ptr<Pictures> pictures = makePictures(options, output);
    const CodedPicture* picture = &pictures->next(0);
    const std::uint64_t samples = std::uint64_t{picture->width} * picture->height;
    Progress progress(options.frames, samples * sizeof(std::uint16_t), !context.quiet);
    for (std::uint32_t frame = 0; frame < options.frames; ++frame) {
        interrupt::check();
        if (frame != 0) picture = &pictures->next(frame);
        writer.append(*picture);
        progress.frameDone();
    }
    progress.clear();
    writer.finish();
    if (!options.sideCar.empty())
        (void)writeSideCar(options.sideCar, options.clip, output,
                           factsOf(description, *picture, options.frames));
    if (!context.quiet)
        console::note(fmt::format("{}: {} frames of {} x {}, {} bytes, {:.2f} bits a sample", options.clip,
                                  options.frames, picture->width, picture->height, writer.size(),
                                  8.0 * static_cast<double>(writer.size()) /
                                      (static_cast<double>(samples) * options.frames)));
}

} // namespace

void addSynth(CLI::App& program, CommandContext& context) {
    Command command(program, "synth", "Write a clip from mosaics or a drawn scene");
    const auto options = std::make_shared<SynthOptions>();
    constexpr std::uint32_t kMostFrames = krwfile::trailer::kFrameLimit - 1;
    command.argument("clip", options->clip, "Clip to write").valueName("OUT.krw");
    const CommandOption from =
        command.repeatable("--from", options->mosaics, "Mosaic to code; several are used in turn")
            .valueName("MOSAIC.pgm");
    command.option("--size", options->size, "Size of the drawn scene").valueName("WxH").excludes(from);
    command.option("--frames", options->frames, "Number of frames")
        .valueName("N")
        .inRange(std::int64_t{1}, std::int64_t{kMostFrames});
    command.option("--fps", options->framesPerSecond, "Frames per second").valueName("F");
    command.option("--shift", options->shift, "Number of bits by which readers shift the samples to the left")
        .valueName("S")
        .inRange(std::int64_t{0}, std::int64_t{15});
    command
        .option("--noise", options->noise,
                "Noise of the drawn scene: standard deviation in steps of its 12-bit samples")
        .valueName("LEVEL")
        .inRange(0.0, kMaxNoise)
        .excludes(from);
    command.option("--black", options->blackLevel, "Black level; the scene's, or 0 for mosaics")
        .valueName("N");
    command.option("--white", options->whiteLevel, "White level").valueName("N");
    command
        .option("--plane-padding", options->planePadding,
                "Fill the data of each colour plane up to a multiple of N bytes")
        .valueName("N")
        .inRange(std::int64_t{1}, std::int64_t{65536});
    command.flag("--no-trailer", options->noTrailer, "Leave out the stored frame table");
    command.option("--side-car", options->sideCar, "Metadata to put beside the clip")
        .valueName("KIND")
        .oneOf({kSideCarKinds.begin(), kSideCarKinds.end()});
    command
        .option("--keep-mosaics", options->keptMosaics,
                "Keep the scene's mosaics as PGM files, to compare with what a reader delivers")
        .valueName("DIR")
        .excludes(from);
    command.flag("--overwrite", options->overwrite, "Replace files that are there");
    command.footer(fmt::format(
        "Noise {} is a clean sensor (some 5 bits a sample at 4096x2160), {} a noisy one (some 7).\n"
        "Examples:\n"
        "  krw synth scene.krw --size 4096x2160 --frames 24 --fps 23.976\n"
        "  krw synth real.krw --from a.pgm --from b.pgm --frames 10 --side-car sony",
        kCleanNoise, kNoisyNoise));
    command.run([options, &context] { synthesize(*options, context); });
}
