#include "tools/mount/clip_folder.h"

#include "tools/export/clip_report.h"
#include "tools/picture/clip_sheet.h"
#include "tools/picture/png_file.h"

#include <cerrno>
#include <fmt/format.h>
#include <stdexcept>
#include <system_error>

/// The clip, and memory for a mosaic that is never touched: it costs address space only.
struct ClipFolder::Opened {
    explicit Opened(const Plugin& plugin, const std::string& path)
        : clip(plugin, path), room(clip.makePicture()) {}

    Clip clip;
    Picture room;
};

void ClipFolder::requireSameFile() const {
    if (identify(m_path) != m_identity)
        throw std::system_error(ESTALE, std::generic_category(), "the clip's file has changed or is gone");
}

/// Called with m_mutex locked.
void ClipFolder::open() {
    if (m_opened) return;
    requireSameFile();
    auto opened = std::make_shared<Opened>(m_plugin, m_path.string());
    requireSameFile();
    const Clip& clip = opened->clip;
    if (clip.frames() == 0) throw std::runtime_error(fmt::format("{}: has no frames", m_path.string()));
    if (m_frames == 0) {
        m_width = clip.width();
        m_height = clip.height();
        const FrameEnvelope envelope = makeEnvelope(*opened, {}, 0);
        m_frameFileSize = envelope.before.size() + clip.frameBytes() + envelope.behind.size();
        m_counting = clip.counting();
        m_firstTimecode = clip.timecodeNumber(0);
        m_frames = clip.frames();
    }
    m_opened = std::move(opened);
}

bool ClipFolder::opens() {
    const std::scoped_lock lock(m_mutex);
    if (m_frames > 0) return true;
    try {
        open();
        noteFailure({});
        return true;
    } catch (const std::bad_alloc&) {
        noteFailure(fmt::format("{}: out of memory", m_path.string()));
    } catch (const std::exception& error) {
        noteFailure(error.what());
    }
    return false;
}

void ClipFolder::noteFailure(const std::string& reason) {
    const std::scoped_lock lock(m_listMutex);
    if (!reason.empty() && reason != m_failure) m_log(reason);
    m_failure = reason;
}

std::string ClipFolder::frameName(std::uint32_t frame) const {
    return numberedName(m_stem, frame, ExportFormat::dng);
}

std::optional<std::uint32_t> ClipFolder::frameNamed(const std::string& name) const {
    if (!name.starts_with(m_stem + "_")) return std::nullopt;
    std::uint64_t frame = 0;
    for (std::size_t index = m_stem.size() + 1; index < name.size() && name[index] != '.'; ++index) {
        if (name[index] < '0' || name[index] > '9') return std::nullopt;
        frame = 10 * frame + static_cast<std::uint64_t>(name[index] - '0');
        if (frame >= m_frames) return std::nullopt;
    }
    const auto number = static_cast<std::uint32_t>(frame);
    return name == frameName(number) ? std::optional(number) : std::nullopt;
}

FrameEnvelope ClipFolder::makeEnvelope(const Opened& opened, const DngColours& colours,
                                       std::uint32_t frame) const {
    const ExportFiles files(
        opened.clip, {}, {.format = ExportFormat::dng, .compression = Compression::none, .colours = colours});
    const MosaicView mosaic = opened.room.view();
    const void* const samples = mosaic.samples.data();
    const EncodedFile file = files.encode(mosaic, frame);
    FrameEnvelope envelope;
    bool isBehind = false;
    for (const auto& part : file.parts()) {
        if (part.data() == samples) {
            isBehind = true;
            continue;
        }
        auto& bytes = isBehind ? envelope.behind : envelope.before;
        bytes.insert(bytes.end(), part.begin(), part.end());
    }
    return envelope;
}

FrameEnvelope ClipFolder::envelope(std::uint32_t frame) {
    const std::scoped_lock lock(m_mutex);
    open();
    if (!m_colours)
        m_colours = DngColours{.gains = balanceGains(m_opened->clip, Balance::automatic, m_log, m_jobs)};
    return makeEnvelope(*m_opened, *m_colours, frame);
}

ClipFolder::Document ClipFolder::report() {
    const std::scoped_lock lock(m_mutex);
    open();
    if (!m_report)
        m_report = std::make_shared<const std::string>(
            reportJson(makeClipReport(m_plugin, m_opened->clip, sampledFrames(0, m_frames))));
    return m_report;
}

ClipFolder::Document ClipFolder::sheet() {
    const std::scoped_lock lock(m_mutex);
    open();
    if (!m_sheet) {
        const auto take = [this](std::uint32_t frame, const FrameReading& reading) { note(frame, reading); };
        ClipSheetOptions options;
        options.develop.warn = m_log;
        const auto png = encodePng(drawClipSheet(m_opened->clip, FrameRange{0, m_frames}, options, take));
        m_sheet = std::make_shared<const std::string>(png.begin(), png.end());
    }
    return m_sheet;
}

void ClipFolder::close() {
    const std::scoped_lock lock(m_mutex);
    m_opened.reset();
    m_report.reset();
    m_sheet.reset();
}

FrameReader ClipFolder::openReader() {
    std::shared_ptr<Opened> opened;
    {
        const std::scoped_lock lock(m_mutex);
        open();
        opened = m_opened;
    }
    const auto clip = std::make_shared<Clip>(m_plugin, opened->clip);
    requireSameFile();
    return [clip](std::uint32_t frame, Picture& picture) { return clip->read(frame, picture); };
}

void ClipFolder::note(std::uint32_t frame, const FrameReading& reading) {
    const std::scoped_lock lock(m_listMutex);
    if (reading.state == FrameReading::State::ok) {
        m_troubles.erase(frame);
        return;
    }
    std::string trouble =
        fmt::format("frame {}, {}: {}: {}", frame, timecodeText(m_firstTimecode + frame, m_counting),
                    stateName(reading.state), reading.reason);
    std::string& known = m_troubles[frame];
    if (known == trouble) return;
    m_log(fmt::format("{}: {}", m_path.string(), trouble));
    known = std::move(trouble);
}

ClipFolder::Document ClipFolder::unreadableList() {
    const std::scoped_lock lock(m_listMutex);
    if (m_failure.empty() && m_troubles.empty()) return nullptr;
    std::string list;
    if (!m_failure.empty()) list += m_failure + "\n";
    for (const auto& [frame, trouble] : m_troubles)
        list += trouble + "\n";
    return std::make_shared<const std::string>(std::move(list));
}
