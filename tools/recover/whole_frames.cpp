#include "tools/recover/whole_frames.h"

#include "tools/clip/frame_check.h"
#include "tools/recover/record_checks.h"

#include <algorithm>
#include <iterator>
#include <optional>

namespace {

namespace plane = krwfile::plane;

// Damaged frames of a clip that are decoded a second time, to put the reason into words.
constexpr std::size_t kMostReasons = 1000;

struct CheckedPlanes {
    RecordHeader header;
    PlaneResults results;
};

/// The results for all planes. Nothing when a plane lies outside the source or has fewer bits than samples.
std::optional<CheckedPlanes> checkRecord(const Source& source, const FoundRecord& record) {
    CheckedPlanes checked;
    source.read(static_cast<std::int64_t>(record.danraw), checked.header.bytes);
    checked.header.recordStart = static_cast<std::uint64_t>(std::max<std::int64_t>(record.start(), 0));
    const std::vector<PlanePlace> places = planePlaces(source, record, checked.header.view());
    if (places.size() < plane::kCount || !std::ranges::all_of(places, canHoldItsSamples)) return std::nullopt;
    std::array<std::vector<std::uint8_t>, plane::kCount> bytes;
    std::array<kinedec::PlaneStream, plane::kCount> streams;
    for (std::size_t k = 0; k < plane::kCount; ++k) {
        bytes[k].resize(places[k].bytes);
        source.read(static_cast<std::int64_t>(places[k].offset), bytes[k]);
        streams[k] = {places[k].parameters.table, bytes[k], places[k].parameters.shift};
    }
    checked.results = checkPlanes(streams, checked.header.size());
    return checked;
}

/// The padding that a reading of these frames will find.
ClipPadding learnPadding(const Source& source, std::span<const FoundRecord> records,
                         std::span<const std::uint32_t> frames) {
    const auto isPadded = [records](std::uint32_t index) { return records[index].bytesLeft > 0; };
    if (std::ranges::none_of(frames, isPadded)) return {};
    std::vector<PlanePadding> paddings;
    for (const std::uint32_t frame : framesToLearnFrom(frames.size()))
        if (const auto checked = checkRecord(source, records[frames[frame]]))
            std::ranges::copy(planePaddings(checked->header, checked->results), std::back_inserter(paddings));
    return ClipPadding(paddings);
}

std::string reasonFor(const Source& source, const FoundRecord& record, const ClipPadding& padding) {
    switch (record.state) {
    case RecordState::cutShort:
        return "the record is cut short";
    case RecordState::scattered:
        return "the planes lie too far apart for one record";
    default:
        break;
    }
    const auto checked = checkRecord(source, record);
    const std::string words = checked ? describePlanes(checked->header, checked->results, padding) : "";
    return words.empty() ? "a colour plane is not whole" : words;
}

} // namespace

JudgedFrames judgeFrames(const Source& source, std::span<const FoundRecord> records,
                         std::span<const std::uint32_t> clip) {
    JudgedFrames judged;
    std::ranges::copy_if(clip, std::back_inserter(judged.whole), [records](std::uint32_t index) {
        return records[index].state == RecordState::whole;
    });
    ClipPadding padding;
    std::size_t before = 0;
    // Each frame that is left out changes the padding that is learned from the others.
    do {
        before = judged.whole.size();
        padding = learnPadding(source, records, judged.whole);
        std::erase_if(judged.whole, [&](std::uint32_t index) {
            return records[index].bytesLeft > 0 && !padding.isUsual(records[index].bytesLeft);
        });
    } while (judged.whole.size() < before);

    auto whole = judged.whole.begin();
    for (const std::uint32_t index : clip) {
        if (whole != judged.whole.end() && *whole == index) {
            ++whole;
            continue;
        }
        judged.damaged.push_back({index, judged.damaged.size() < kMostReasons
                                             ? reasonFor(source, records[index], padding)
                                             : "a colour plane is not whole"});
    }
    return judged;
}
