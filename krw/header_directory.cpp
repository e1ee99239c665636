#include "krw/header_directory.h"

#include "krw/format.h"
#include "krw/little_endian.h"

#include <concepts>
#include <cstddef>

namespace {

constexpr std::uint16_t kTiffIdentifier = 42;
constexpr std::size_t kInlineSize = 4; // longer values lie behind the directory

template <std::unsigned_integral Value>
void append(std::vector<std::uint8_t>& bytes, Value value) {
    bytes.resize(bytes.size() + sizeof value);
    storeLittleEndian(bytes, bytes.size() - sizeof value, value);
}

} // namespace

HeaderEntry wordEntry(std::uint16_t tag, std::uint16_t value) {
    HeaderEntry entry{tag, HeaderType::word, 1, {}};
    append(entry.value, value);
    return entry;
}

HeaderEntry dwordEntry(std::uint16_t tag, std::uint32_t value) {
    HeaderEntry entry{tag, HeaderType::dword, 1, {}};
    append(entry.value, value);
    return entry;
}

HeaderEntry textEntry(std::uint16_t tag, std::string_view value) {
    HeaderEntry entry{
        tag, HeaderType::ascii, static_cast<std::uint32_t>(value.size() + 1), {value.begin(), value.end()}};
    entry.value.push_back(0);
    return entry;
}

HeaderEntry privateDataEntry(std::uint32_t danrawOffset) {
    // The entry states size and place of a block that lies elsewhere.
    HeaderEntry entry = dwordEntry(krwfile::kTagDngPrivateData, danrawOffset);
    entry.type = HeaderType::byte;
    entry.count = krwfile::danraw::kSize;
    return entry;
}

std::vector<std::uint8_t> makeHeaderDirectory(std::span<const HeaderEntry> entries) {
    std::vector<std::uint8_t> out;
    append(out, krwfile::kLittleEndianMark);
    append(out, kTiffIdentifier);
    append(out, std::uint32_t{krwfile::kEntryCountOffset});
    append(out, static_cast<std::uint16_t>(entries.size()));

    std::vector<std::uint8_t> behind;
    const std::size_t directoryEnd = krwfile::kEntriesOffset + entries.size() * krwfile::kEntrySize + 4;
    for (const HeaderEntry& entry : entries) {
        append(out, entry.tag);
        append(out, static_cast<std::uint16_t>(entry.type));
        append(out, entry.count);
        if (entry.value.size() > kInlineSize) {
            append(out, static_cast<std::uint32_t>(directoryEnd + behind.size()));
            behind.insert(behind.end(), entry.value.begin(), entry.value.end());
            behind.resize((behind.size() + 1) / 2 * 2); // values begin on word boundaries
        } else {
            out.insert(out.end(), entry.value.begin(), entry.value.end());
            out.resize(out.size() + kInlineSize - entry.value.size());
        }
    }
    append(out, std::uint32_t{0}); // no further directory
    out.insert(out.end(), behind.begin(), behind.end());
    return out;
}
