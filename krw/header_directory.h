// The file header as bytes: byte order and one image file directory (IFD), for programs that write clips.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

/// Field types of TIFF 6.0.
enum class HeaderType : std::uint16_t { byte = 1, ascii = 2, word = 3, dword = 4, signedRational = 10 };

/// One entry of the directory. The value is little-endian, `count` values of the type.
struct HeaderEntry {
    std::uint16_t tag;
    HeaderType type;
    std::uint32_t count;
    std::vector<std::uint8_t> value;
};

[[nodiscard]] HeaderEntry wordEntry(std::uint16_t tag, std::uint16_t value);
[[nodiscard]] HeaderEntry dwordEntry(std::uint16_t tag, std::uint32_t value);
/// The text and a NUL.
[[nodiscard]] HeaderEntry textEntry(std::uint16_t tag, std::string_view value);
/// DNGPrivateData: `danrawOffset` is the place of the DANRAW_HEADER in every record.
[[nodiscard]] HeaderEntry privateDataEntry(std::uint32_t danrawOffset);

/// The header's bytes: byte order, the directory at offset 8, then the values that entries do not hold. TIFF
/// demands entries in ascending order of their tags.
[[nodiscard]] std::vector<std::uint8_t> makeHeaderDirectory(std::span<const HeaderEntry> entries);
