#include "tools/export/frame_exporter.h"

#include "tools/export/input_file.h"
#include "tools/export/media_hash.h"
#include "tools/export/output_file.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <stdexcept>

namespace {

namespace fs = std::filesystem;

std::uint64_t sizeOf(const std::string& path) {
    std::error_code error;
    const std::uintmax_t size = fs::file_size(path, error);
    return error ? 0 : size;
}

/// True when the file at `path` is there and holds just these bytes.
bool holds(const std::string& path, const EncodedFile& content) {
    constexpr std::size_t kPiece = std::size_t{1} << 20U;
    if (!fs::exists(path) || sizeOf(path) != content.size()) return false;
    InputFile file(path);
    std::vector<std::uint8_t> piece(kPiece);
    for (std::span<const std::uint8_t> part : content.parts())
        while (!part.empty()) {
            const auto read = file.read(std::span(piece).first(std::min(kPiece, part.size())));
            if (read.empty() || !std::ranges::equal(read, part.first(read.size()))) return false;
            part = part.subspan(read.size());
        }
    return true;
}

/// Calls `take` with each piece of a file in turn. The first use of a piece fetches it from memory. Pieces
/// are small enough that later uses find them in the processor's cache.
template <typename Take>
void forEachPiece(std::span<const std::uint8_t> bytes, Take take) {
    constexpr std::size_t kPiece = std::size_t{256} << 10U;
    for (; !bytes.empty(); bytes = bytes.subspan(std::min(kPiece, bytes.size())))
        take(bytes.first(std::min(kPiece, bytes.size())));
}

/// The hashes of one frame.
struct ContentHashes {
    MediaHash file{HashKind::xxh3};
    MediaHash mosaic{HashKind::xxh3};
    std::optional<MediaHash> delivery;
};

/// Hashes a frame's file and its mosaic, and writes the file unless `file` is null.
void hashAndWrite(const EncodedFile& content, std::span<const std::uint8_t> mosaic, ContentHashes& hashes,
                  OutputFile* file) {
    bool mosaicSeen = false;
    for (const auto& part : content.parts()) {
        const bool isMosaic = part.data() == mosaic.data() && part.size() == mosaic.size();
        mosaicSeen = mosaicSeen || isMosaic;
        forEachPiece(part, [&](std::span<const std::uint8_t> piece) {
            hashes.file.update(piece);
            if (isMosaic) hashes.mosaic.update(piece);
            if (hashes.delivery) hashes.delivery->update(piece);
            if (file != nullptr) file->write(piece);
        });
    }
    if (!mosaicSeen) hashes.mosaic.update(mosaic);
}

} // namespace

bool FrameExporter::isDone(const ExportedFrame& known, bool check) const {
    const std::string path = m_files.path(known.frame);
    return known.reading.state == FrameReading::State::ok && fs::exists(path) && sizeOf(path) == known.size &&
           (!check || fileHashes(path, {HashKind::xxh3}).at(HashKind::xxh3) == known.fileHash);
}

std::uint64_t FrameExporter::neededSpace(std::uint32_t frame) const {
    const auto known = m_options.resume ? m_journal.find(frame) : std::nullopt;
    if (known && isDone(*known, false)) return 0;
    const std::uint64_t size = m_files.leastSize();
    return size - std::min(size, sizeOf(m_files.path(frame)));
}

void FrameExporter::writeFile(ExportedFrame& done, const Picture& picture, bool isOurs,
                              FrameOutcome& outcome) {
    const std::string path = m_files.path(done.frame);
    const EncodedFile content = m_files.encode(picture.view(), done.frame);
    const auto samples = std::as_bytes(picture.view().samples);
    const std::span mosaic(reinterpret_cast<const std::uint8_t*>(samples.data()), samples.size());
    done.file = fs::path(path).filename().string();
    done.size = content.size();
    ContentHashes hashes;
    if (m_options.delivery) hashes.delivery.emplace(*m_options.delivery);
    // A file that no run has noted is either somebody else's, or its run was killed right after writing it.
    if (m_options.resume && holds(path, content)) {
        outcome.skipped = done.reading.state == FrameReading::State::ok;
        hashAndWrite(content, mosaic, hashes, nullptr);
    } else {
        OutputFile file(path,
                        {.existing = isOurs ? Existing::replace : Existing::keep, .sync = m_options.sync});
        hashAndWrite(content, mosaic, hashes, &file);
        file.finish();
        ++m_written;
    }
    done.fileHash = hashes.file.text();
    done.mosaicHash = hashes.mosaic.text();
    if (!hashes.delivery) return;
    const std::scoped_lock guard(m_mutex);
    m_deliveryHashes.emplace(done.file, hashes.delivery->text());
}

void FrameExporter::removeFile(std::uint32_t frame) const {
    const std::string path = m_files.path(frame);
    std::error_code error;
    fs::remove(path, error);
    if (error) throw std::runtime_error(fmt::format("{}: {}", path, error.message()));
}

FrameOutcome FrameExporter::exportFrame(Clip& clip, Picture& picture, std::uint32_t frame) {
    FrameOutcome outcome;
    const auto known = m_options.resume ? m_journal.find(frame) : std::nullopt;
    outcome.skipped = known && isDone(*known, m_options.check);
    if (outcome.skipped) return outcome;

    outcome.reading = clip.read(frame, picture);
    const FrameReading::State state = outcome.reading.state;
    outcome.isLast = m_options.strict && state != FrameReading::State::ok;
    const bool isOurs = (known && !known->file.empty()) || m_journal.replaces();
    const bool hasFile = state != FrameReading::State::unreadable && !outcome.isLast;
    if (!hasFile && isOurs) removeFile(frame);
    if (outcome.isLast) return outcome;
    ExportedFrame done;
    done.frame = frame;
    done.timecode = clip.timecode(frame);
    done.reading = outcome.reading;
    if (hasFile) writeFile(done, picture, isOurs, outcome);
    m_journal.add(done);
    return outcome;
}
