#include "tools/recover/table_check.h"

#include "krw/byte_view.h"
#include "krw/format.h"
#include "tools/clip/interrupt.h"
#include "tools/recover/record_scan.h"
#include "tools/recover/source.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <optional>
#include <stdexcept>
#include <vector>

namespace {

namespace danraw = krwfile::danraw;
namespace trailer = krwfile::trailer;

struct Trailer {
    ByteRange bytes;
    std::int32_t frames;
    std::uint64_t tableOffset;
};

/// The trailer where readers look for it.
std::optional<Trailer> findTrailer(const Source& source) {
    if (source.size() == 0) return std::nullopt;
    const std::uint64_t start = (source.size() - 1) / trailer::kBlock * trailer::kBlock;
    if (source.size() - start < trailer::kSize) return std::nullopt;
    std::array<std::uint8_t, trailer::kSize> bytes{};
    source.read(static_cast<std::int64_t>(start), bytes);
    const ByteView view(bytes);
    if (view.u32(trailer::kMagicOffset) != trailer::kMagic) return std::nullopt;
    return Trailer{
        {start, start + trailer::kSize}, view.i32(trailer::kFrameCount), view.u64(trailer::kTableOffset)};
}

/// Why readers do not use the trailer; empty when they use it.
std::string troubleWith(const std::optional<Trailer>& found, std::uint64_t size) {
    if (!found) return "the file does not end with a trailer";
    if (found->frames < 1 || found->frames >= trailer::kFrameLimit)
        return fmt::format("the trailer counts {} frames", found->frames);
    const std::uint64_t bytes = static_cast<std::uint64_t>(found->frames) * trailer::kEntrySize;
    if (found->tableOffset > size || size - found->tableOffset < bytes)
        return fmt::format("the trailer puts a table of {} bytes at byte {} of {}", bytes, found->tableOffset,
                           size);
    return {};
}

/// The records that the table leads to: places of their DANRAW_HEADERs, and the bytes that the records cover.
struct KnownRecords {
    std::vector<std::uint64_t> headers;
    std::vector<ByteRange> covered;
    std::uint64_t end = 0; // of the last one
};

KnownRecords readRecords(ClipFile& file, TableReport& report) {
    KnownRecords known;
    for (std::uint32_t frame = 0; frame < file.table().size(); ++frame) {
        const std::optional<std::uint64_t> end = file.recordEnd(frame);
        if (!end) {
            ++report.entriesWithoutRecord;
            continue;
        }
        const std::uint64_t start = file.table()[frame];
        known.headers.push_back(start + file.danrawOffset());
        known.covered.push_back({start, *end});
        known.end = std::max(known.end, known.covered.back().end);
    }
    std::ranges::sort(known.headers);
    std::ranges::sort(known.covered, {}, &ByteRange::begin);
    return known;
}

/// Counts the frame records in bytes that no known record covers.
std::uint64_t countOthers(const Source& source, const KnownRecords& known) {
    std::uint64_t others = 0;
    ScanEvents events;
    events.header = [&](const ScannedHeader& header) {
        if (!std::ranges::binary_search(known.headers, header.place)) ++others;
    };
    events.trailer = [](const ScannedTrailer&) {};
    events.progress = [](std::uint64_t) { interrupt::check(); };
    std::uint64_t next = 0;
    const auto lookUpTo = [&](std::uint64_t end) {
        if (end > next && end - next >= danraw::kSize) scanRecords(source, {next, end}, events);
    };
    for (const ByteRange& range : known.covered) {
        lookUpTo(std::min(range.begin, source.size()));
        next = std::max(next, range.end);
    }
    lookUpTo(source.size());
    return others;
}

/// True when the first bytes of the source hold a frame record.
bool holdsFrameRecord(const Source& source) {
    constexpr std::uint64_t kSearched = std::uint64_t{256} << 20;
    constexpr std::uint64_t kStep = std::uint64_t{16} << 20;
    bool found = false;
    ScanEvents events;
    events.header = [&found](const ScannedHeader&) { found = true; };
    events.trailer = [](const ScannedTrailer&) {};
    const std::uint64_t end = std::min(source.size(), kSearched);
    // Steps overlap, because a header can lie across two of them.
    for (std::uint64_t begin = 0; begin < end && !found; begin += kStep)
        scanRecords(source, {begin, std::min(begin + kStep + danraw::kSize, end)}, events);
    return found;
}

} // namespace

TableReport checkTable(ClipFile& file) {
    const Source source({file.path()});
    const std::optional<Trailer> found = findTrailer(source);
    TableReport report;
    report.trouble = troubleWith(found, source.size());
    report.origin = found ? TableReport::Origin::stored : TableReport::Origin::rebuilt;
    report.frames = file.table().size();
    const KnownRecords known = readRecords(file, report);
    if (report.entriesWithoutRecord > 0)
        report.trouble = fmt::format("{} of {} entries lead to no frame record", report.entriesWithoutRecord,
                                     report.frames);
    std::uint64_t end = source.size();
    if (found && found->tableOffset <= end) end = std::max(std::min(found->tableOffset, end), known.end);
    report.bytesBehind = end > known.end ? end - known.end : 0;
    report.recordsOutside = countOthers(source, known);
    return report;
}

std::string explainUnusable(const std::string& path) {
    try {
        const Source source({path});
        const std::optional<Trailer> found = findTrailer(source);
        std::string words;
        if (found && !troubleWith(found, source.size()).empty())
            words = "; " + troubleWith(found, source.size());
        if (holdsFrameRecord(source)) words += "; it holds frame records, which krw recover gets out";
        return words;
    } catch (const std::runtime_error&) {
        return {}; // the reader's own message tells why
    }
}
