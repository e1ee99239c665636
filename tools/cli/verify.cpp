// `krw verify`: reads every frame and lists its hash and status, so that two copies of a clip can be
// compared.

#include "tools/cli/clip_list.h"
#include "tools/cli/command_options.h"
#include "tools/cli/commands.h"
#include "tools/cli/console.h"
#include "tools/cli/frame_tally.h"
#include "tools/cli/open_clip.h"
#include "tools/cli/progress.h"
#include "tools/cli/verify_hash_lists.h"
#include "tools/cli/verify_list.h"
#include "tools/clip/frame_workers.h"
#include "tools/recover/table_check.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>
#include <string>
#include <xxhash.h>

namespace {

using Json = nlohmann::ordered_json;

struct VerifyOptions {
    ClipArguments clips;
    FrameSelection frames;
    std::string against;
    unsigned jobs = 1;
    bool json = false;
    bool null = false;
    bool hashLists = false; // the paths are folders with a media hash history
};

struct Tally {
    FrameTally read;
    std::uint32_t different = 0;
    std::size_t lost = 0; // frames that the list has and the clip has not

    [[nodiscard]] bool isClean() const {
        return read.damaged + read.unreadable + different == 0 && lost == 0;
    }
    void add(const Tally& other) {
        read.add(other.read);
        different += other.different;
        lost += other.lost;
    }
};

FrameOutcome hashFrame(Clip& clip, Picture& picture, std::uint32_t frame, bool hashed) {
    FrameOutcome outcome{clip.read(frame, picture)};
    const auto samples = picture.samples();
    if (hashed && outcome.reading.state != FrameReading::State::unreadable)
        outcome.hash = XXH3_64bits(samples.data(), samples.size_bytes());
    return outcome;
}

Json frameJson(const VerifyLine& line, const FrameReading& reading, const std::string& difference) {
    const bool hasHash = reading.state != FrameReading::State::unreadable;
    return {{"frame", line.frame},
            {"timecode", line.timecode},
            {"hash", hasHash ? Json(line.hash) : Json()},
            {"status", line.status},
            {"reason", reading.reason.empty() ? Json() : Json(reading.reason)},
            {"difference", difference.empty() ? Json() : Json(difference)}};
}

/// One run of the command.
class Verification final {
  public:
    Verification(const VerifyOptions& options, CommandContext& context)
        : m_options(options), m_context(context), m_isOneFile(options.clips.isOneFile()),
          m_printsLines(!options.null && !options.json && (options.against.empty() || !context.quiet)) {
        if (!options.against.empty()) m_earlier = readVerifyLists(options.against);
    }

    void run() {
        forEachClip(m_options.clips, m_context, [this](const ListedClip& clip) { verifyClip(clip); });
        for (const auto& [name, list] : m_earlier) {
            if (m_isOneFile || m_compared.contains(name)) continue;
            console::complain(fmt::format("{}: is in the list, but not among the clips", name));
            m_context.exitStatus = std::max(m_context.exitStatus, 1);
        }
        finish();
    }

  private:
    void verifyClip(const ListedClip& listed) {
        Json entry{{"file", listed.path}, {"error", nullptr}, {"frameTable", nullptr}};
        try {
            verifyFrames(listed, entry);
        } catch (const std::exception& error) {
            entry["error"] = error.what();
            m_clips.push_back(std::move(entry));
            throw;
        }
        m_clips.push_back(std::move(entry));
    }

    /// The clip's list in the file that --against names; null without that option. Throws std::runtime_error
    /// when the file has no list of the clip.
    [[nodiscard]] const VerifyList* earlierList(const ListedClip& listed) {
        if (m_options.against.empty()) return nullptr;
        auto found = m_earlier.find(listed.name);
        if (found == m_earlier.end() && m_isOneFile) found = listOfAFile(listed.path);
        if (found == m_earlier.end())
            throw std::runtime_error(
                fmt::format("{}: {} has no list of this clip", listed.name, m_options.against));
        m_compared.insert(found->first);
        return &found->second;
    }

    /// The only list in the file, or the list of a clip with the same file name.
    [[nodiscard]] std::map<std::string, VerifyList>::iterator listOfAFile(const std::filesystem::path& path) {
        if (m_earlier.size() == 1) return m_earlier.begin();
        return std::ranges::find_if(m_earlier, [&path](const auto& list) {
            return std::filesystem::path(list.first).filename() == path.filename();
        });
    }

    void verifyFrames(const ListedClip& listed, Json& entry) {
        Clip clip = openClip(m_context.plugin(), listed.path);
        const FrameSet frames = selectedFrames(m_options.frames, clip);
        const VerifyList* const earlier = earlierList(listed);
        if (m_printsLines && !m_isOneFile) console::print(headingOf(listed.name) + "\n");

        Tally tally;
        Json list = Json::array();
        Progress progress(frames.size(), clip.frameBytes(), !m_context.quiet);
        const auto work = [this](Clip& own, Picture& picture, std::uint32_t frame) {
            return hashFrame(own, picture, frame, !m_options.null);
        };
        const auto take = [&](std::uint32_t frame, const FrameOutcome& outcome) {
            tally.read.count(outcome.reading.state);
            if (outcome.reading.state != FrameReading::State::ok)
                console::complain(
                    fmt::format("{}: frame {}: {}", listed.path, frame, outcome.reading.reason));
            const VerifyLine line = verifyLine(clip, frame, outcome);
            if (m_printsLines) console::print(line.text() + "\n");
            const std::string difference = earlier != nullptr ? earlier->difference(line) : std::string();
            if (m_options.json) list.push_back(frameJson(line, outcome.reading, difference));
            if (!difference.empty()) {
                ++tally.different;
                console::complain(fmt::format("{}: frame {}: {}", listed.path, frame, difference));
            }
            progress.frameDone();
        };
        forEachFrame(m_context.plugin(), clip, frames, m_options.jobs, work, take);
        progress.clear();

        if (earlier != nullptr) tally.lost = lostFrames(*earlier, clip);
        if (!isTableSound(clip, entry) || !tally.isClean())
            m_context.exitStatus = std::max(m_context.exitStatus, 1);
        m_tally.add(tally);
        m_throughput.add(progress.throughput());
        entry.update({{"ok", tally.read.ok},
                      {"damaged", tally.read.damaged},
                      {"unreadable", tally.read.unreadable},
                      {"different", earlier != nullptr ? Json(tally.different) : Json()},
                      {"lost", earlier != nullptr ? Json(tally.lost) : Json()},
                      {"frames", std::move(list)}});
    }

    [[nodiscard]] bool readsWholeClips() const {
        return m_options.frames.list.empty() && m_options.frames.part.empty();
    }

    /// Complains about frame records that the clip's table does not know, and returns false when there are
    /// any. Checks nothing unless whole clips are verified.
    [[nodiscard]] bool isTableSound(Clip& clip, Json& entry) const {
        if (!readsWholeClips()) return true;
        const TableReport table = checkTable(clip.file());
        entry["frameTable"] = describeTable(table);
        if (!m_context.quiet && (table.origin != TableReport::Origin::stored || !table.trouble.empty()))
            console::note(fmt::format("{}: frame table {}", clip.path(), describeTable(table)));
        return complainAboutTable(clip.path(), table);
    }

    [[nodiscard]] std::size_t lostFrames(const VerifyList& earlier, const Clip& clip) const {
        const std::size_t lost = readsWholeClips() ? earlier.linesFrom(clip.frames()) : 0;
        if (lost > 0)
            console::complain(
                fmt::format("{}: has {} frames, the list has {} more", clip.path(), clip.frames(), lost));
        return lost;
    }

    void finish() {
        const std::size_t clips = m_clips.size();
        if (m_options.null) console::print(m_throughput.text() + "\n");
        if (m_options.json) {
            const Json document{{"schema", "krw-verify-1"}, {"clips", std::move(m_clips)}};
            console::print(document.dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
        }
        console::flush();
        if (m_context.quiet) return;
        std::string summary = fmt::format("{} ok, {} damaged, {} unreadable", m_tally.read.ok,
                                          m_tally.read.damaged, m_tally.read.unreadable);
        if (!m_options.against.empty())
            summary += fmt::format(", {} different from the list", m_tally.different);
        const std::string what = m_isOneFile ? m_options.clips.paths.front() : fmt::format("{} clips", clips);
        console::note(fmt::format("{}: {}", what, summary));
        if (!m_options.null) console::note(m_throughput.text());
    }

    const VerifyOptions& m_options;
    CommandContext& m_context;
    bool m_isOneFile;
    bool m_printsLines;
    std::map<std::string, VerifyList> m_earlier; // by clip
    std::set<std::string> m_compared;            // names in the earlier run's list
    Tally m_tally;
    Throughput m_throughput;
    Json m_clips = Json::array();
};

} // namespace

void addVerify(CLI::App& program, CommandContext& context) {
    Command command(program, "verify", "Read every frame; list number, timecode, hash and status of each");
    const auto options = std::make_shared<VerifyOptions>();
    addClipArguments(command, options->clips);
    addFrameSelection(command, options->frames);
    addJobsOption(command, options->jobs);
    const CommandOption null =
        command.flag("--null", options->null, "Measure the reading speed: no hashes, no list");
    command.option("--against", options->against, "Compare with the list of an earlier run")
        .valueName("LIST")
        .excludes(null);
    command.flag("--json", options->json, "Print one JSON document (docs/json.md)").excludes(null);
    command.flag("--mhl", options->hashLists, "CLIP is a folder: compare it with its ASC MHL history");
    command.footer(
        "The hash is XXH3-64 of the frame's mosaic (16-bit little-endian samples, row after row).\n"
        "With several clips or -r, a line \"# CLIP\" comes before each clip's lines.\n"
        "With -q, --against prints differences and no list.\n"
        "Examples:\n"
        "  krw verify A001C003.krw > A001C003.frames\n"
        "  krw verify /backup/A001C003.krw --against A001C003.frames --jobs 4\n"
        "  krw verify -r /card > card.frames\n"
        "  krw verify -q -r /backup --against card.frames\n"
        "  krw verify A001C003.krw --null --jobs 2\n"
        "  krw verify --mhl A001C003 > A001C003.xxh64");
    command.run([options, &context] {
        if (!options->hashLists) return Verification(*options, context).run();
        for (const std::string& folder : options->clips.paths)
            verifyHashLists(folder, context);
    });
}
