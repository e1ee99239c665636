#include "tools/recover/record_checks.h"

#include "tools/clip/frame_check.h"
#include "tools/clip/plane_padding.h"

#include <algorithm>
#include <fmt/format.h>
#include <limits>
#include <stdexcept>

namespace {

namespace danraw = krwfile::danraw;
namespace plane = krwfile::plane;

constexpr std::uint64_t kMostPendingBytes = std::uint64_t{24} << 20;
constexpr std::size_t kMostPending = 1024;
// Cameras put the DANRAW_HEADER some kilobytes behind the record's start.
constexpr std::uint64_t kFarthestHeader = std::uint64_t{64} << 10;
// One source has clips of few kinds of cameras.
constexpr std::size_t kMostStated = 8;

// A plane is checked once for each place where its record may begin, which is once for most. In a file that
// was made to keep the checks busy, the same bytes are planes of many records.
constexpr std::uint64_t kMostPasses = 32;

void keepBetter(FoundRecord& best, const FoundRecord& other) {
    const auto rank = [](const FoundRecord& record) {
        return record.state == RecordState::whole
                   ? record.bytesLeft
                   : std::uint64_t{std::numeric_limits<std::uint32_t>::max()} + 1;
    };
    if (rank(other) < rank(best)) best = other;
}

ByteRange headerRange(const FoundRecord& record) {
    return {record.danraw, record.danraw + danraw::kSize};
}

} // namespace

bool canHoldItsSamples(const PlanePlace& place) {
    return canHoldSamples(place.bytes, static_cast<std::uint64_t>(place.parameters.count));
}

std::vector<PlanePlace> planePlaces(const Source& source, const FoundRecord& record, ByteView header) {
    const FrameSize size = frameSize(header);
    std::vector<PlanePlace> places;
    for (std::size_t k = 0; k < plane::kCount; ++k) {
        const PlaneDescriptor descriptor = planeDescriptor(header, k);
        const std::int64_t begin = record.start() + std::int64_t{descriptor.dataOffset};
        if (begin < 0 || static_cast<std::uint64_t>(begin) + descriptor.dataSize > source.size()) continue;
        places.push_back({static_cast<std::uint64_t>(begin), descriptor.dataSize,
                          kinedec::PlaneParameters{descriptor.table,
                                                   static_cast<std::int32_t>(size.pixels() / plane::kCount),
                                                   descriptor.shift, size.width / 2}});
    }
    return places;
}

std::vector<std::uint32_t> RecordChecks::possibleOffsets(const ScannedHeader& header) const {
    if (header.statedOffset) return {*header.statedOffset};
    std::vector<std::uint32_t> offsets(m_stated.rbegin(), m_stated.rend());
    // The first plane usually follows the header.
    std::uint32_t nearest = std::numeric_limits<std::uint32_t>::max();
    for (std::size_t k = 0; k < plane::kCount; ++k)
        nearest = std::min(nearest, planeDescriptor(header.danraw, k).dataOffset);
    if (nearest > danraw::kSize) offsets.push_back(nearest - static_cast<std::uint32_t>(danraw::kSize));
    // The first record of a clip begins where its file begins.
    const std::uint64_t inPart = header.place - m_source.parts()[m_source.partAt(header.place)].bytes.begin;
    if (inPart > 0 && inPart <= kFarthestHeader) offsets.push_back(static_cast<std::uint32_t>(inPart));
    std::vector<std::uint32_t> once;
    for (const std::uint32_t offset : offsets)
        if (std::ranges::find(once, offset) == once.end()) once.push_back(offset);
    return once;
}

void RecordChecks::begin(Pending& pending, std::uint32_t danrawOffset) {
    const ByteView header(pending.header);
    describeRecord(pending.record, header, danrawOffset);
    const std::vector<PlanePlace> places = planePlaces(m_source, pending.record, header);
    const auto isClaimed = [this](const PlanePlace& place) {
        return m_claimed.touches({place.offset, place.offset + place.bytes});
    };
    pending.underWay = false;
    pending.bytes = 0;
    if (!liesTogether(header, danrawOffset)) {
        pending.record.state = RecordState::scattered;
    } else if (places.size() < plane::kCount) {
        pending.record.state = RecordState::cutShort;
    } else if (std::ranges::any_of(places, isClaimed)) {
        pending.record.state = RecordState::claimed;
    } else if (!std::ranges::all_of(places, canHoldItsSamples) ||
               m_bytesChecked > kMostPasses * m_source.size()) {
        pending.record.state = RecordState::damaged;
    } else {
        pending.underWay = true;
        for (std::size_t k = 0; k < plane::kCount; ++k) {
            pending.bytes += places[k].bytes;
            pending.results[k] = m_planes.check(places[k]);
        }
        m_bytesChecked += pending.bytes;
    }
}

void RecordChecks::end(Pending& pending) {
    if (!pending.underWay) return;
    FoundRecord& record = pending.record;
    record.state = RecordState::whole;
    record.bytesLeft = 0;
    for (std::size_t k = 0; k < plane::kCount; ++k) {
        const kinedec::PlaneResult result = pending.results[k].get();
        const std::uint32_t bytes = planeDescriptor(ByteView(pending.header), k).dataSize;
        const auto padding = result.decoded ? planePadding(bytes, result.bitsUsed) : std::nullopt;
        if (padding)
            record.bytesLeft = std::max(record.bytesLeft, padding->left);
        else
            record.state = RecordState::damaged;
    }
}

void RecordChecks::settle(Pending& pending) {
    end(pending);
    FoundRecord best = pending.record;
    for (std::size_t i = 1; i < pending.offsets.size(); ++i) {
        if (best.state == RecordState::whole && best.bytesLeft == 0) break;
        begin(pending, pending.offsets[i]);
        end(pending);
        keepBetter(best, pending.record);
    }
    pending.record = best;
}

void RecordChecks::store(const Pending& pending) {
    const FoundRecord& record = pending.record;
    // A record that lies inside a whole frame is part of the codes of that frame.
    if (record.state == RecordState::claimed || m_claimed.touches(headerRange(record))) return;
    if (record.state == RecordState::whole) {
        const auto places = planePlaces(m_source, record, ByteView(pending.header));
        for (const PlanePlace& place : places)
            if (m_claimed.touches({place.offset, place.offset + place.bytes})) return;
        for (const PlanePlace& place : places)
            m_claimed.add({place.offset, place.offset + place.bytes});
        m_claimed.add(headerRange(record));
    } else if (!record.hasFileHeader) {
        m_unsettled.push_back({m_records.size(), m_stated.size()});
    }
    if (m_records.size() == kMostRecords)
        throw std::runtime_error(fmt::format("{}: more than {} frame records; recover it in parts",
                                             m_source.parts().front().path, kMostRecords));
    m_records.push_back(record);
}

void RecordChecks::settleOldest() {
    Pending pending = std::move(m_pending.front());
    m_pending.pop_front();
    m_pendingBytes -= pending.bytes;
    settle(pending);
    store(pending);
}

void RecordChecks::add(const ScannedHeader& header) {
    if (m_claimed.touches({header.place, header.place + danraw::kSize})) return;
    if (header.statedOffset && m_stated.size() < kMostStated &&
        std::ranges::find(m_stated, *header.statedOffset) == m_stated.end())
        m_stated.push_back(*header.statedOffset);

    Pending pending;
    pending.record.danraw = header.place;
    pending.record.hasFileHeader = header.statedOffset.has_value();
    std::ranges::copy(header.danraw.bytes(0, danraw::kSize), pending.header.begin());
    pending.offsets = possibleOffsets(header);
    if (pending.offsets.empty()) return; // the planes lie before the header, and there is no file header
    std::uint64_t bytes = 0;
    for (std::size_t k = 0; k < plane::kCount; ++k)
        bytes += planeDescriptor(header.danraw, k).dataSize;
    while (!m_pending.empty() &&
           (m_pendingBytes + bytes > kMostPendingBytes || m_pending.size() == kMostPending))
        settleOldest();
    begin(pending, pending.offsets.front());
    m_pendingBytes += pending.bytes;
    m_pending.push_back(std::move(pending));
}

void RecordChecks::tryLaterOffsets() {
    for (const Unsettled& unsettled : m_unsettled) {
        if (unsettled.tried == m_stated.size()) continue;
        Pending pending;
        pending.record = m_records[unsettled.record];
        pending.offsets = {0}; // `settle` takes the first one as tried
        pending.offsets.insert(pending.offsets.end(),
                               m_stated.begin() + static_cast<std::ptrdiff_t>(unsettled.tried),
                               m_stated.end());
        m_source.read(static_cast<std::int64_t>(pending.record.danraw), pending.header);
        settle(pending);
        m_records[unsettled.record] = pending.record;
    }
}

std::vector<FoundRecord> RecordChecks::finish() {
    while (!m_pending.empty())
        settleOldest();
    tryLaterOffsets();
    return std::move(m_records);
}
