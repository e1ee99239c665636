#include "tools/recover/missing_frames.h"

#include "krw/byte_view.h"
#include "krw/format.h"

#include <algorithm>
#include <array>

namespace {

// In a disk image, files begin on a sector.
constexpr std::int64_t kSector = 512;
// The first block of a disk image: a file system or a partition table has data in it.
constexpr std::size_t kFirstBlock = 4096;

/// The most frequent step of the timecode from one record of a clip to the next; 0 for a timecode that stands
/// still.
std::uint32_t usualStep(std::span<const FoundRecord> records, const FoundClip& clip) {
    constexpr std::uint32_t kLargestStep = 4; // a fast clip may count every second or fourth frame
    std::array<std::size_t, kLargestStep + 1> steps{};
    for (std::size_t i = 1; i < clip.records.size(); ++i) {
        const FoundRecord& first = records[clip.records[i - 1]];
        const FoundRecord& second = records[clip.records[i]];
        if (!first.hasTimecode || !second.hasTimecode || first.end() != second.start()) continue;
        const std::uint32_t step = second.timecode - first.timecode;
        if (step <= kLargestStep) ++steps[step];
    }
    const auto most = std::ranges::max_element(steps);
    return *most == 0 ? 1 : static_cast<std::uint32_t>(most - steps.begin());
}

/// The places where records begin, and where records and trailers end, in ascending order.
struct Joints {
    std::vector<std::int64_t> starts;
    std::vector<std::int64_t> ends;
};

class MissingFramesOfClip {
  public:
    MissingFramesOfClip(const Source& source, std::span<const FoundRecord> records, const Joints& joints,
                        FoundClip& clip)
        : m_source(source), m_records(records), m_joints(joints), m_clip(clip) {}

    void find() {
        findLostBegin();
        findGaps();
        findLostEnd();
        if (!m_clip.framesByTrailer || *m_clip.framesByTrailer <= m_clip.records.size() + m_known) return;
        // The trailer counts more frames than were found. The rest of the clip tells where they are missing.
        const std::uint64_t more = *m_clip.framesByTrailer - m_clip.records.size() - m_known;
        const auto unknown = std::ranges::find(m_clip.missing, 0U, &MissingFrames::frames);
        if (unknown != m_clip.missing.end())
            unknown->frames = more;
        else
            m_clip.missing.push_back({m_clip.records.size(), more});
    }

  private:
    [[nodiscard]] const FoundRecord& record(std::size_t index) const {
        return m_records[m_clip.records[index]];
    }
    void miss(std::size_t before, std::uint64_t frames) {
        m_clip.missing.push_back({before, frames});
        m_known += frames;
    }

    void findGaps() {
        const std::uint32_t step = usualStep(m_records, m_clip);
        std::size_t own = 0;       // the last record whose header is the clip's
        std::uint64_t between = 0; // records behind it
        for (std::size_t i = 1; i < m_clip.records.size(); ++i) {
            const FoundRecord& first = record(own);
            const FoundRecord& second = record(i);
            if (!isOfSameClip(record(0), second)) {
                ++between;
                continue;
            }
            const auto leftOut = framesLeftOut(first, second);
            const bool stands = !leftOut || (second.timecode == first.timecode);
            const std::uint64_t gap = step == 0 || stands ? 0 : *leftOut / step;
            const std::uint64_t frames = gap > between ? gap - between : 0;
            const bool hole = first.end() < second.start() && between == 0;
            own = i;
            between = 0;
            if (frames > 0)
                miss(i, frames);
            else if (hole && stands && first.framesPerSecond <= kLargestTimecodeFrames + 1)
                miss(i, 0);
        }
    }

    /// A file begins with its first record. A disk image has other data before a file, which begins on a
    /// sector.
    void findLostBegin() {
        const std::int64_t start = record(0).start();
        const Source::Part& part = m_source.parts()[m_source.partAt(record(0).danraw)];
        const std::int64_t inPart = start - static_cast<std::int64_t>(part.bytes.begin);
        if (inPart == 0 || std::ranges::binary_search(m_joints.ends, start)) return;
        m_inFile = inPart < 0 || inPart % kSector != 0 || isWiped(part, inPart);
        if (m_inFile) miss(0, 0);
    }

    [[nodiscard]] bool isWiped(const Source::Part& part, std::int64_t before) const {
        const auto begin = static_cast<std::int64_t>(part.bytes.begin);
        const auto earlier = std::ranges::upper_bound(m_joints.ends, begin);
        if (earlier != m_joints.ends.end() && *earlier <= begin + before) return false;
        std::vector<std::uint8_t> block(
            static_cast<std::size_t>(std::min<std::int64_t>(before, kFirstBlock)));
        m_source.read(begin, block);
        const std::uint8_t fill = block.front();
        return (fill == 0x00 || fill == 0xFF) &&
               std::ranges::all_of(block, [fill](std::uint8_t byte) { return byte == fill; });
    }

    /// In a file of its own, an unfinished clip ends with its last record.
    void findLostEnd() {
        const FoundRecord& last = record(m_clip.records.size() - 1);
        if (m_clip.hasTrailer || last.length == 0 || last.state == RecordState::cutShort) return;
        const std::int64_t start = record(0).start();
        const auto& part = m_source.parts()[m_source.partAt(last.danraw)].bytes;
        const auto partEnd = static_cast<std::int64_t>(part.end);
        const bool fileOfItsOwn =
            m_inFile || start % kSector != 0 ||
            start ==
                static_cast<std::int64_t>(m_source.parts()[m_source.partAt(record(0).danraw)].bytes.begin);
        if (!fileOfItsOwn || last.end() >= partEnd) return;
        const bool anotherFollows = std::ranges::binary_search(m_joints.starts, last.end());
        if (!anotherFollows && !isStoredTable(last.end(), partEnd)) miss(m_clip.records.size(), 0);
    }

    /// True for the table of a finished clip that lost its trailer. It begins with the places of the first
    /// records.
    [[nodiscard]] bool isStoredTable(std::int64_t place, std::int64_t end) const {
        constexpr std::size_t kEntry = krwfile::trailer::kEntrySize;
        std::array<std::uint8_t, 2 * kEntry> bytes{};
        m_source.read(place, bytes);
        const ByteView entries(bytes);
        if (m_clip.records.size() < 2) return end - place <= static_cast<std::int64_t>(kEntry);
        return entries.u64(0) == 0 &&
               entries.u64(kEntry) == static_cast<std::uint64_t>(record(1).start() - record(0).start());
    }

    const Source& m_source;
    std::span<const FoundRecord> m_records;
    const Joints& m_joints;
    FoundClip& m_clip;
    bool m_inFile = false; // the clip lies in a file of its own, not in a disk image
    std::uint64_t m_known = 0;
};

} // namespace

void findMissingFrames(const Source& source, std::span<const FoundRecord> records,
                       std::span<const ScannedTrailer> trailers, std::vector<FoundClip>& clips) {
    Joints joints;
    for (const FoundRecord& record : records) {
        joints.starts.push_back(record.start());
        joints.ends.push_back(record.end());
    }
    for (const ScannedTrailer& trailer : trailers)
        joints.ends.push_back(static_cast<std::int64_t>(trailer.place + krwfile::trailer::kSize));
    std::ranges::sort(joints.starts);
    std::ranges::sort(joints.ends);
    for (FoundClip& clip : clips)
        MissingFramesOfClip(source, records, joints, clip).find();
}
