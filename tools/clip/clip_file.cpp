#include "tools/clip/clip_file.h"

#include "host/files.h"
#include "krw/file_access.h"
#include "krw/file_header.h"
#include "krw/frame_table.h"
#include "tools/clip/record_extent.h"

#include <algorithm>
#include <cstdlib>
#include <fmt/format.h>
#include <stdexcept>
#include <utility>

namespace {

std::int64_t openForReading(const std::string& path) {
    const std::int64_t handle =
        pvOSCreateFile(path.c_str(), kAccessRead, kShareRead, nullptr, kOpenExisting, 0, 0);
    if (handle == kInvalidHandle) throw std::runtime_error(fmt::format("{}: cannot be opened", path));
    return handle;
}

} // namespace

ClipFile::ClipFile(const std::string& path) : m_path(path), m_handle(openForReading(path)) {
    try {
        load();
    } catch (...) {
        pvOSCloseFile(m_handle);
        throw;
    }
}

void ClipFile::load() {
    std::array<std::uint8_t, krwfile::kHeaderSize> header{};
    std::int32_t frames = 0;
    if (readFileHeader(m_handle, header) == nullptr) {
        const std::int32_t danrawOffset = readIfd(ByteView(header)).danrawOffset.value_or(0);
        m_danrawOffset = static_cast<std::uint64_t>(std::int64_t{danrawOffset});
        const auto offset = static_cast<std::uint32_t>(danrawOffset);
        std::vector<std::uint64_t> ends;
        const auto take = [&ends, offset](std::uint64_t start, ByteView danraw) {
            ends.push_back(frameSize(danraw).isValid() ? start + recordSize(danraw, offset) : 0);
        };
        m_table.reset(loadFrameTable(m_handle, &frames, danrawOffset, take),
                      [](std::uint64_t* table) { std::free(table); });
        m_ends = std::make_shared<const std::vector<std::uint64_t>>(std::move(ends));
    }
    if (m_table == nullptr)
        throw std::runtime_error(fmt::format("{}: its frame table cannot be read", m_path));
    m_frames = static_cast<std::size_t>(frames);
}

ClipFile::ClipFile(const ClipFile& other)
    : m_path(other.m_path), m_handle(openForReading(other.m_path)), m_danrawOffset(other.m_danrawOffset),
      m_table(other.m_table), m_frames(other.m_frames), m_ends(other.m_ends) {}

ClipFile::~ClipFile() {
    pvOSCloseFile(m_handle);
}

std::optional<RecordHeader> ClipFile::header(std::uint32_t frame) {
    if (frame >= m_frames) return std::nullopt;
    RecordHeader header;
    header.recordStart = table()[frame];
    if (header.recordStart > kMaxFileOffset - m_danrawOffset) return std::nullopt;
    if (readFullyAt(m_handle, header.recordStart + m_danrawOffset, header.bytes) != FileRead::complete)
        return std::nullopt;
    if (!hasDanrawSignature(header.view()) || !header.size().isValid()) return std::nullopt;
    return header;
}

std::optional<std::uint64_t> ClipFile::recordEnd(std::uint32_t frame) {
    if (frame < m_ends->size()) {
        const std::uint64_t end = (*m_ends)[frame];
        return end > 0 ? std::optional(end) : std::nullopt;
    }
    const std::optional<RecordHeader> found = header(frame);
    if (!found) return std::nullopt;
    return found->recordStart + recordSize(found->view(), static_cast<std::uint32_t>(m_danrawOffset));
}

std::optional<CodedFrame> ClipFile::planes(const RecordHeader& header) {
    // A header can state any size. Memory is taken for bytes that are there.
    const std::uint64_t fileEnd = fileSize(m_handle);
    for (std::size_t k = 0; k < krwfile::plane::kCount; ++k) {
        const PlaneDescriptor plane = header.plane(k);
        if (!plane.fits(header.size().pixels(), header.recordStart)) return std::nullopt;
        if (header.recordStart + plane.dataOffset + plane.dataSize > fileEnd) return std::nullopt;
    }
    CodedFrame coded(header.view(), header.size().pixels(), header.recordStart);
    if (!coded.allocate() || coded.read(m_handle).message != nullptr) return std::nullopt;
    return coded;
}

std::vector<std::uint8_t> ClipFile::planeTail(const RecordHeader& header, std::size_t index,
                                              std::uint32_t most) {
    const PlaneDescriptor plane = header.plane(index);
    if (!plane.fits(header.size().pixels(), header.recordStart)) return {};
    std::vector<std::uint8_t> tail(std::min(plane.dataSize, most));
    const std::uint64_t end = header.recordStart + plane.dataOffset + plane.dataSize;
    if (readFullyAt(m_handle, end - tail.size(), tail) != FileRead::complete) tail.clear();
    return tail;
}
