#include "tools/mount/mounted_file.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

namespace {

/// The part of a file that is read next.
struct Window {
    std::uint64_t offset;
    std::uint64_t size;
};

/// Adds the part of the stretch that the window covers, and moves the window behind the stretch.
void take(std::span<const std::uint8_t> stretch, Window& window, FilePart& part) {
    const std::uint64_t skipped = std::min<std::uint64_t>(window.offset, stretch.size());
    const auto shown =
        stretch.subspan(skipped, std::min<std::uint64_t>(window.size, stretch.size() - skipped));
    window = {window.offset - skipped, window.size - shown.size()};
    if (!shown.empty()) part.pieces.push_back(shown);
}

std::span<const std::uint8_t> bytesOf(std::span<const std::uint16_t> samples) {
    const auto bytes = std::as_bytes(samples);
    return {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()};
}

class DocumentFile final : public MountedFile {
  public:
    explicit DocumentFile(ClipFolder::Document document) : m_document(std::move(document)) {}

    FilePart read(std::uint64_t offset, std::uint64_t size) override {
        FilePart part;
        Window window{offset, size};
        take({reinterpret_cast<const std::uint8_t*>(m_document->data()), m_document->size()}, window, part);
        return part;
    }

  private:
    ClipFolder::Document m_document;
};

class FrameFile final : public MountedFile {
  public:
    FrameFile(std::shared_ptr<ClipFolder> clip, FrameCache& cache, std::uint32_t frame)
        : m_clip(std::move(clip)), m_cache(cache), m_frame(frame), m_envelope(m_clip->envelope(frame)) {}

    FilePart read(std::uint64_t offset, std::uint64_t size) override {
        FilePart part;
        Window window{offset, size};
        take(m_envelope.before, window, part);
        const std::uint64_t samples = m_clip->frameBytes();
        if (window.size > 0 && window.offset < samples) {
            part.lease.emplace(m_cache.get(m_clip, m_frame));
            if (part.lease->reading().state == FrameReading::State::unreadable)
                throw std::system_error(EIO, std::generic_category(), part.lease->reading().reason);
            take(bytesOf(part.lease->samples()), window, part);
        } else {
            window.offset -= std::min(window.offset, samples);
        }
        take(m_envelope.behind, window, part);
        return part;
    }

  private:
    std::shared_ptr<ClipFolder> m_clip;
    FrameCache& m_cache;
    std::uint32_t m_frame;
    FrameEnvelope m_envelope;
};

} // namespace

std::unique_ptr<MountedFile> openDocument(ClipFolder::Document document) {
    return std::make_unique<DocumentFile>(std::move(document));
}

std::unique_ptr<MountedFile> openFrame(std::shared_ptr<ClipFolder> clip, FrameCache& cache,
                                       std::uint32_t frame) {
    return std::make_unique<FrameFile>(std::move(clip), cache, frame);
}
