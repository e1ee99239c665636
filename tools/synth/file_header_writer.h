// The TIFF/DNG-style header at the start of a frame record.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// What the header states, as TIFF 6.0 and DNG define it.
struct FileHeaderFields {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint16_t bitsPerSample = 0;
    std::uint16_t compression = 0;
    std::string make;
    std::string model;
    std::uint32_t blackLevel = 0;
    std::uint32_t whiteLevel = 0;
    std::uint32_t picturesOffset = 0; // the coded planes, from the record's start
    std::uint32_t picturesSize = 0;
    std::uint32_t privateDataOffset = 0; // the DANRAW_HEADER, from the record's start
};

/// The header's bytes: byte order, the directory at offset 8, then the values that entries do not hold.
[[nodiscard]] std::vector<std::uint8_t> makeFileHeader(const FileHeaderFields& header);
