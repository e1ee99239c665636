#include "tools/recover/found_clip.h"

#include "krw/byte_view.h"
#include "krw/format.h"
#include "tools/recover/missing_frames.h"

#include <algorithm>
#include <array>
#include <unordered_map>

namespace {

namespace trailer = krwfile::trailer;

// The clips of one camera that are tried as the one that a record continues.
constexpr std::size_t kClipsTried = 16;
// A trailer with a wrong table offset counts for a clip whose last record ends this close before it: room for
// the table and a block.
constexpr std::int64_t kNearTrailer = std::int64_t{1} << 20;

/// The place in the source where the clip of a trailer begins; negative when the source has only the last
/// part of the clip. Nothing when the trailer contradicts itself or the table.
std::optional<std::int64_t> clipStart(const Source& source, const ScannedTrailer& found) {
    if (found.frames < 1 || found.frames >= trailer::kFrameLimit || found.tableOffset > kMaxFileOffset / 2)
        return std::nullopt;
    const auto frames = static_cast<std::uint64_t>(found.frames);
    const std::uint64_t tableEnd = found.tableOffset + frames * trailer::kEntrySize;
    const std::uint64_t inClip = (tableEnd + trailer::kBlock - 1) / trailer::kBlock * trailer::kBlock;
    const std::int64_t start = static_cast<std::int64_t>(found.place) - static_cast<std::int64_t>(inClip);
    // The last two entries of the table. A clip of one frame has only one entry, which is 0.
    std::array<std::uint8_t, 2 * trailer::kEntrySize> bytes{};
    source.read(start + static_cast<std::int64_t>(tableEnd - bytes.size()), bytes);
    const ByteView entries(bytes);
    const std::uint64_t last = entries.u64(trailer::kEntrySize);
    if (last >= found.tableOffset || (frames > 1 && last <= entries.u64(0))) return std::nullopt;
    return start;
}

/// True when the timecode goes back for another reason than midnight.
bool goesBack(const FoundRecord& first, const FoundRecord& second) {
    const std::uint32_t minute = 60U * first.framesPerSecond;
    const bool midnight = second.timecode < minute && first.timecode > (24 * 60 - 2) * minute;
    return first.hasTimecode && second.hasTimecode && second.timecode < first.timecode && !midnight;
}

class Grouping {
  public:
    Grouping(const Source& source, std::span<const FoundRecord> records)
        : m_source(source), m_records(records) {}

    void add(std::uint32_t index) {
        const FoundRecord& record = m_records[index];
        std::vector<std::size_t>& alike = m_alike[keyOf(record)];
        std::optional<std::size_t> clip = findClip(record, alike);
        // A hole in the file may have destroyed the part of the header that identifies the clip.
        if (!clip && record.state != RecordState::whole && adjoinsLast(record)) clip = m_last;
        if (clip) {
            m_clips[*clip].records.push_back(index);
            m_last = *clip;
            return;
        }
        m_last = m_clips.size();
        alike.push_back(m_last);
        m_clips.push_back({{index}, false, {}, {}});
    }

    /// A trailer ends the clip of the last record, when it belongs to that clip.
    void add(const ScannedTrailer& found) {
        if (m_clips.empty()) return;
        FoundClip& clip = m_clips[m_last];
        const std::int64_t end = lastOf(clip).end();
        const std::optional<std::int64_t> start = clipStart(m_source, found);
        const auto place = static_cast<std::int64_t>(found.place);
        if (clip.hasTrailer || (start ? *start >= end : place - end > kNearTrailer)) return;
        clip.hasTrailer = true;
        if (start) clip.framesByTrailer = static_cast<std::uint32_t>(found.frames);
    }

    [[nodiscard]] std::vector<FoundClip> take() { return std::move(m_clips); }

  private:
    [[nodiscard]] static std::uint64_t keyOf(const FoundRecord& record) {
        return record.identity ^ record.danrawOffset;
    }
    /// The last record of the clip whose header identifies the clip.
    [[nodiscard]] const FoundRecord& lastOf(const FoundClip& clip) const {
        const FoundRecord& first = m_records[clip.records.front()];
        const auto own = std::find_if(clip.records.rbegin(), clip.records.rend(), [&](std::uint32_t index) {
            return isOfSameClip(first, m_records[index]);
        });
        return m_records[*own];
    }
    [[nodiscard]] bool adjoinsLast(const FoundRecord& record) const {
        return !m_clips.empty() && !m_clips[m_last].hasTrailer &&
               m_records[m_clips[m_last].records.back()].end() == record.start();
    }

    [[nodiscard]] std::optional<std::size_t> findClip(const FoundRecord& record,
                                                      const std::vector<std::size_t>& alike) const {
        const std::size_t tried = std::min(alike.size(), kClipsTried);
        const std::span latest = std::span(alike).last(tried);
        // A neighbour in the source comes first: two clips can have the same timecode.
        for (const auto continues : {&Grouping::isNext, &Grouping::follows, &Grouping::fillsGap})
            for (std::size_t i = tried; i-- > 0;)
                if (!m_clips[latest[i]].hasTrailer && (this->*continues)(latest[i], record)) return latest[i];
        return std::nullopt;
    }

    [[nodiscard]] bool isNext(std::size_t clip, const FoundRecord& record) const {
        const FoundRecord& last = lastOf(m_clips[clip]);
        return last.end() == record.start() && !goesBack(last, record);
    }
    [[nodiscard]] bool follows(std::size_t clip, const FoundRecord& record) const {
        const FoundRecord& last = lastOf(m_clips[clip]);
        return record.timecode != last.timecode && framesLeftOut(last, record) == 0U;
    }
    /// True when only a gap lies between the two, and the frames that the timecode leaves out fit into it.
    [[nodiscard]] bool fillsGap(std::size_t clip, const FoundRecord& record) const {
        if (clip != m_last) return false;
        const FoundRecord& last = lastOf(m_clips[clip]);
        if (!record.hasTimecode && !last.hasTimecode) return true;
        const auto leftOut = framesLeftOut(last, record);
        if (!leftOut) return false;
        if (m_source.partAt(last.danraw) != m_source.partAt(record.danraw)) return true;
        const std::int64_t gap = std::max<std::int64_t>(record.start() - last.end(), 0);
        const std::uint64_t fit = static_cast<std::uint64_t>(gap) / last.size;
        return *leftOut <= 2 * fit + 2;
    }

    const Source& m_source;
    std::span<const FoundRecord> m_records;
    std::vector<FoundClip> m_clips;
    std::unordered_map<std::uint64_t, std::vector<std::size_t>> m_alike; // clips by key
    std::size_t m_last = 0;                                              // clip of the last record
};

} // namespace

std::optional<std::uint64_t> framesLeftOut(const FoundRecord& first, const FoundRecord& second) {
    if (!first.hasTimecode || !second.hasTimecode || second.timecode < first.timecode) return std::nullopt;
    if (second.timecode == first.timecode) return 0;
    std::uint64_t expected = first.timecode + 1;
    // The frame digits of faster clips stop at the end of each second.
    const std::uint32_t rate = first.framesPerSecond;
    if (rate > kLargestTimecodeFrames + 1 && first.timecode % rate == kLargestTimecodeFrames)
        expected = (first.timecode / rate + 1) * std::uint64_t{rate};
    return second.timecode < expected ? 0 : second.timecode - expected;
}

std::vector<FoundClip> groupRecords(const Source& source, std::span<const FoundRecord> records,
                                    std::span<const ScannedTrailer> trailers) {
    Grouping grouping(source, records);
    auto next = trailers.begin();
    for (std::uint32_t index = 0; index < records.size(); ++index) {
        for (; next != trailers.end() && next->place < records[index].danraw; ++next)
            grouping.add(*next);
        grouping.add(index);
    }
    for (; next != trailers.end(); ++next)
        grouping.add(*next);
    std::vector<FoundClip> clips = grouping.take();
    findMissingFrames(source, records, trailers, clips);
    return clips;
}
