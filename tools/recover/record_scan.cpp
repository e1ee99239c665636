#include "tools/recover/record_scan.h"

#include "krw/file_header.h"
#include "krw/format.h"
#include "krw/frame_record.h"
#include "tools/recover/signature_search.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

namespace danraw = krwfile::danraw;
namespace trailer = krwfile::trailer;

// A chunk stays in the processor's cache, so that the search does not fetch it from memory again.
constexpr std::size_t kChunk = std::size_t{1} << 20;
// Cameras put the DANRAW_HEADER some kilobytes behind the record's start.
constexpr std::size_t kLookBack = std::size_t{64} << 10;
// Bytes behind a signature that must be in memory with it.
constexpr std::size_t kLookAhead = danraw::kSize - danraw::kSignatureOffset;
static_assert(kLookAhead >= trailer::kSize);

/// The distance to `place` that a file header in `bytes` states; nothing when no header states that distance.
std::optional<std::uint32_t> findStatedOffset(std::span<const std::uint8_t> bytes, std::size_t place) {
    constexpr std::size_t kNearest = krwfile::kEntriesOffset + krwfile::kEntrySize;
    if (place < kNearest) return std::nullopt;
    const std::size_t first = place - std::min(place, kLookBack);
    for (std::size_t end = place - kNearest + 1; end > first;) {
        const void* const found = ::memrchr(&bytes[first], krwfile::kLittleEndianMark & 0xFF, end - first);
        if (found == nullptr) break;
        end = static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - bytes.data());
        const ByteView header(bytes.subspan(end, std::min(bytes.size() - end, krwfile::kHeaderSize)));
        if (header.u16(0) != krwfile::kLittleEndianMark) continue;
        if (header.u16(krwfile::kEntryCountOffset) > krwfile::kMaxEntries) continue;
        const HeaderTags tags = readIfd(header);
        const std::size_t distance = place - end;
        if (tags.compressionKnown && tags.danrawOffset == static_cast<std::int32_t>(distance))
            return static_cast<std::uint32_t>(distance);
    }
    return std::nullopt;
}

/// A part of the source in memory that moves forward.
class Window {
  public:
    Window(const Source& source, ByteRange range)
        : m_source(source), m_range(range),
          m_bytes(std::min<std::uint64_t>(kLookBack + kLookAhead + danraw::kSignatureOffset + kChunk,
                                          range.end - range.begin)) {
        m_place = range.begin;
    }

    /// Reads on. Keeps the bytes before `from`, the first place that was not searched, as far as they may be
    /// needed. Returns false at the end.
    [[nodiscard]] bool advance(std::uint64_t& from) {
        skipHole(from);
        const std::uint64_t end = m_place + m_size;
        if (end >= m_range.end) return false;
        const std::size_t kept =
            std::min<std::size_t>(m_size, end - from + kLookBack + danraw::kSignatureOffset);
        std::copy(m_bytes.begin() + static_cast<std::ptrdiff_t>(m_size - kept),
                  m_bytes.begin() + static_cast<std::ptrdiff_t>(m_size), m_bytes.begin());
        const std::size_t more = std::min<std::uint64_t>(m_bytes.size() - kept, m_range.end - end);
        m_source.read(static_cast<std::int64_t>(end), std::span(m_bytes).subspan(kept, more));
        m_place = end - kept;
        m_size = kept + more;
        return true;
    }

    [[nodiscard]] std::uint64_t place() const { return m_place; }
    [[nodiscard]] std::uint64_t end() const { return m_place + m_size; }
    [[nodiscard]] std::span<const std::uint8_t> bytes() const { return std::span(m_bytes).first(m_size); }

  private:
    /// When the unsearched rest lies in a hole, moves on to the next data.
    void skipHole(std::uint64_t& from) {
        const std::uint64_t data = std::min(m_source.dataFrom(from), m_range.end);
        if (data < m_place + m_size + kChunk + kLookBack) return;
        m_place = data - kLookBack;
        m_size = 0;
        from = m_place;
    }

    const Source& m_source;
    ByteRange m_range;
    std::uint64_t m_place = 0; // of the first byte, in the source
    std::size_t m_size = 0;
    std::vector<std::uint8_t> m_bytes;
};

void report(std::span<const std::uint8_t> window, std::size_t at, std::uint64_t place,
            const ScanEvents& events) {
    const ByteView bytes(window);
    if (bytes.u32(at) == trailer::kMagic) {
        const ByteView found = bytes.view(at, trailer::kSize);
        if (found.size() != 0)
            events.trailer({place, found.i32(trailer::kFrameCount), found.u64(trailer::kTableOffset)});
        return;
    }
    if (at < danraw::kSignatureOffset) return;
    const std::size_t start = at - danraw::kSignatureOffset;
    const ByteView header = bytes.view(start, danraw::kSize);
    if (header.size() == 0 || !isFrameHeader(header)) return;
    events.header({place - danraw::kSignatureOffset, header, findStatedOffset(window, start)});
}

} // namespace

bool isFrameHeader(ByteView header) {
    const FrameSize size = frameSize(header);
    if (!hasDanrawSignature(header) || !size.isValid()) return false;
    for (std::size_t k = 0; k < krwfile::plane::kCount; ++k)
        if (!planeDescriptor(header, k).fits(size.pixels(), 0)) return false;
    return true;
}

void scanRecords(const Source& source, ByteRange range, const ScanEvents& events) {
    Window window(source, range);
    std::uint64_t next = range.begin; // the first place that was not searched
    while (window.advance(next)) {
        const std::span<const std::uint8_t> bytes = window.bytes();
        const bool last = window.end() == range.end;
        const std::size_t searched = last ? bytes.size() : bytes.size() - kLookAhead;
        auto at = static_cast<std::size_t>(next - window.place());
        while (true) {
            at = findSignature(bytes, at);
            if (at >= searched) break;
            report(bytes, at, window.place() + at, events);
            ++at;
        }
        next = window.place() + searched;
        if (events.progress) events.progress(next - range.begin);
    }
}
