#include "krw/stored_table.h"

#include "krw/format.h"
#include "krw/little_endian.h"

#include <stdexcept>

namespace trailer = krwfile::trailer;

std::vector<std::uint8_t> makeStoredTable(std::span<const std::uint64_t> recordStarts, std::uint64_t end) {
    if (recordStarts.size() >= std::size_t{trailer::kFrameLimit})
        throw std::runtime_error("too many frames for a stored table");
    const std::uint64_t tableEnd = end + recordStarts.size() * trailer::kEntrySize;
    const std::uint64_t trailerStart = (tableEnd + trailer::kBlock - 1) / trailer::kBlock * trailer::kBlock;
    std::vector<std::uint8_t> bytes(trailerStart - end + trailer::kSize);
    for (std::size_t index = 0; index < recordStarts.size(); ++index)
        storeLittleEndian(bytes, index * trailer::kEntrySize, recordStarts[index]);

    const std::span<std::uint8_t> block = std::span(bytes).subspan(trailerStart - end);
    storeLittleEndian(block, trailer::kMagicOffset, trailer::kMagic);
    storeLittleEndian(block, trailer::kFrameCount, static_cast<std::uint32_t>(recordStarts.size()));
    storeLittleEndian(block, trailer::kTableOffset, end);
    return bytes;
}
