#include "tools/recover/clip_rebuilder.h"

#include "krw/file_header.h"
#include "krw/header_directory.h"
#include "krw/stored_table.h"
#include "tools/clip/interrupt.h"

#include <algorithm>
#include <fmt/format.h>
#include <stdexcept>

namespace {

namespace danraw = krwfile::danraw;

constexpr std::size_t kStep = std::size_t{4} << 20;
constexpr std::uint16_t kDifferenceCoding = 9; // value of the Compression tag
constexpr std::int32_t kCodedBits = 12;        // of samples before their shift
constexpr std::int32_t kSampleBits = 16;
// The part of a file header that readers look at: the longest directory that they accept.
constexpr std::size_t kLongestDirectory =
    krwfile::kEntriesOffset + krwfile::kMaxEntries * krwfile::kEntrySize;
constexpr std::uint64_t kSlack = std::uint64_t{64} << 10;

/// Bytes at the start of a record that its file header may fill.
std::uint32_t headerRoom(ByteView header, std::uint32_t danrawOffset) {
    std::uint32_t room = danrawOffset;
    for (std::size_t k = 0; k < krwfile::plane::kCount; ++k)
        room = std::min(room, planeDescriptor(header, k).dataOffset);
    return room;
}

/// The largest header that fits into `room`.
std::vector<std::uint8_t> makeHeader(ByteView header, std::uint32_t danrawOffset, std::uint32_t room) {
    const FrameSize size = frameSize(header);
    const std::int32_t shift = std::clamp(planeDescriptor(header, 0).shift, 0, kSampleBits - kCodedBits);
    const HeaderEntry width = dwordEntry(256, static_cast<std::uint32_t>(size.width));
    const HeaderEntry height = dwordEntry(257, static_cast<std::uint32_t>(size.height));
    const HeaderEntry bits =
        wordEntry(krwfile::kTagBitsPerSample, static_cast<std::uint16_t>(kCodedBits + shift));
    const HeaderEntry compression = wordEntry(krwfile::kTagCompression, kDifferenceCoding);
    const HeaderEntry make = textEntry(271, headerText(header, danraw::kManufacturer));
    const HeaderEntry model = textEntry(272, headerText(header, danraw::kModelName));
    const HeaderEntry privateData = privateDataEntry(danrawOffset);
    const std::vector<HeaderEntry> choices[] = {
        {width, height, bits, compression, make, model, privateData}, {bits, privateData}, {privateData}};
    for (const std::vector<HeaderEntry>& entries : choices) {
        std::vector<std::uint8_t> bytes = makeHeaderDirectory(entries);
        if (bytes.size() <= room) return bytes;
    }
    throw std::runtime_error("there is no room for a file header");
}

class Rebuilder {
  public:
    Rebuilder(const Source& source, OutputFile& file, const std::function<void(std::uint64_t)>& progress)
        : m_source(source), m_file(file), m_progress(progress) {}

    void write(std::span<const std::uint8_t> bytes) {
        m_file.write(bytes);
        m_end += bytes.size();
    }
    void copy(std::int64_t from, std::uint64_t size) {
        m_buffer.resize(std::max<std::size_t>(m_buffer.size(), std::min<std::uint64_t>(size, kStep)));
        while (size > 0) {
            interrupt::check();
            const std::span step = std::span(m_buffer).first(std::min<std::uint64_t>(size, kStep));
            m_source.read(from, step);
            write(step);
            m_progress(step.size());
            from += static_cast<std::int64_t>(step.size());
            size -= step.size();
        }
    }
    [[nodiscard]] std::uint64_t end() const { return m_end; }

  private:
    const Source& m_source;
    OutputFile& m_file;
    const std::function<void(std::uint64_t)>& m_progress;
    std::vector<std::uint8_t> m_buffer;
    std::uint64_t m_end = 0;
};

/// Index of a record of the clip that has a file header; nothing when there is none.
std::optional<std::uint32_t> recordWithHeader(const Findings& findings, const ClipFindings& clip) {
    const auto found = std::ranges::find_if(
        clip.found.records, [&](std::uint32_t index) { return findings.records[index].hasFileHeader; });
    if (found == clip.found.records.end()) return std::nullopt;
    return *found;
}

} // namespace

HeaderOrigin headerOrigin(const Findings& findings, const ClipFindings& clip,
                          std::span<const std::uint32_t> records) {
    if (!records.empty() && findings.records[records.front()].hasFileHeader) return HeaderOrigin::ownRecord;
    return recordWithHeader(findings, clip) ? HeaderOrigin::anotherRecord : HeaderOrigin::rebuilt;
}

std::vector<std::uint32_t> recordsToWrite(const Source& source, const Findings& findings,
                                          const ClipFindings& clip, bool keepDamaged) {
    if (!keepDamaged) return clip.frames.whole;
    std::vector<std::uint32_t> records;
    std::ranges::copy_if(clip.found.records, std::back_inserter(records), [&](std::uint32_t index) {
        const FoundRecord& record = findings.records[index];
        const std::uint64_t there =
            std::min(record.size,
                     source.size() - static_cast<std::uint64_t>(std::max<std::int64_t>(record.start(), 0)));
        return record.state != RecordState::scattered && record.size <= 4 * there + kSlack;
    });
    return records;
}

void rebuildClip(const Source& source, const Findings& findings, const ClipFindings& clip,
                 std::span<const std::uint32_t> records, const std::string& path, OutputOptions options,
                 const std::function<void(std::uint64_t bytes)>& progress) {
    OutputFile file(path, options);
    Rebuilder out(source, file, progress);
    std::vector<std::uint64_t> starts;
    for (const std::uint32_t index : records) {
        const FoundRecord& record = findings.records[index];
        starts.push_back(out.end());
        std::uint32_t replaced = 0;
        if (starts.size() == 1 && !record.hasFileHeader) {
            std::array<std::uint8_t, danraw::kSize> header{};
            source.read(static_cast<std::int64_t>(record.danraw), header);
            replaced = headerRoom(ByteView(header), record.danrawOffset);
            const auto other = recordWithHeader(findings, clip);
            if (other && replaced >= kLongestDirectory) {
                out.copy(findings.records[*other].start(), replaced);
            } else {
                std::vector<std::uint8_t> bytes = makeHeader(ByteView(header), record.danrawOffset, replaced);
                bytes.resize(replaced);
                out.write(bytes);
            }
        }
        out.copy(record.start() + replaced, record.size - replaced);
    }
    out.write(makeStoredTable(starts, out.end()));
    file.finish();
}
