// The layout of a KRW clip: offsets, sizes and constants, for the reader and for the programs that write
// clips. All values in the file are little-endian.
//
// A clip is a run of frame records from offset 0. The first record begins with a TIFF/DNG-style header. The
// header's DNGPrivateData tag gives the offset of the DANRAW_HEADER inside every record. A finished clip ends
// with the stored frame table and a trailer that points at the table. The trailer lies at the start of the
// file's last 4096-byte block.
#pragma once

#include <cstddef>
#include <cstdint>

namespace krwfile {

// File header.
inline constexpr std::size_t kHeaderSize = 1952; // read and required in one piece
inline constexpr std::uint16_t kLittleEndianMark = 0x4949;
inline constexpr std::size_t kEntryCountOffset = 8;
inline constexpr std::size_t kEntriesOffset = 10;
inline constexpr std::size_t kEntrySize = 12;
inline constexpr std::size_t kEntryValueOffset = 8;
inline constexpr std::uint16_t kMaxEntries = 26;

// TIFF 6.0 and DNG tags that the reader acts on.
inline constexpr std::uint16_t kTagBitsPerSample = 258;
inline constexpr std::uint16_t kTagCompression = 259;
inline constexpr std::uint16_t kTagBlackLevel = 50714;
inline constexpr std::uint16_t kTagWhiteLevel = 50717;
inline constexpr std::uint16_t kTagDngPrivateData = 50740;

// DANRAW_HEADER, at the DNGPrivateData offset of every record.
namespace danraw {
inline constexpr std::size_t kSize = 1494;
inline constexpr std::uint32_t kSignature = 0x484D4344; // "DCMH"

/// A fixed-width text. It ends at the first NUL inside, or at the end of its bytes.
struct TextField {
    std::size_t offset;
    std::size_t size;
};

inline constexpr TextField kManufacturer{0, 20};
inline constexpr std::size_t kSignatureOffset = 20;
inline constexpr std::size_t kValue24 = 24;
inline constexpr std::size_t kWidth = 36;
inline constexpr std::size_t kHeight = 40;
inline constexpr std::size_t kFramesPerSecond = 212; // IEEE 754 single
inline constexpr std::size_t kTimecode = 268;        // 8 bytes, SMPTE ST 331
inline constexpr TextField kText304{304, 32};
inline constexpr TextField kSerialNo{336, 32};
inline constexpr TextField kText368{368, 32};
inline constexpr TextField kModelName{400, 64};
inline constexpr TextField kProject{744, 28};
inline constexpr TextField kText772{772, 28};
inline constexpr std::size_t kCameraIndex = 804;
inline constexpr std::size_t kScene = 812;
inline constexpr std::size_t kTake = 820;
inline constexpr TextField kDirectorName{828, 28};
inline constexpr TextField kText856{856, 28};
inline constexpr TextField kText884{884, 28};
inline constexpr TextField kNote3{912, 12};
inline constexpr TextField kNote2{924, 100};
inline constexpr TextField kNote1{1024, 28};
inline constexpr std::size_t kPlanes = 1060; // four plane descriptors
inline constexpr TextField kText1380{1380, 32};
inline constexpr TextField kText1416{1416, 32};
inline constexpr std::size_t kRecordLength = 1466; // not 4-byte aligned
} // namespace danraw

// Plane descriptor.
namespace plane {
inline constexpr std::size_t kCount = 4;
inline constexpr std::size_t kSize = 76;
inline constexpr std::size_t kDataOffset = 0; // from the record's start
inline constexpr std::size_t kDataSize = 4;
inline constexpr std::size_t kShift = 8;
inline constexpr std::size_t kCodeLengths = 12; // 16 words, 13 used
inline constexpr std::size_t kCodes = 44;       // 16 words, 13 used
inline constexpr std::size_t kStoredCategories = 16;
} // namespace plane
static_assert(danraw::kPlanes + plane::kCount * plane::kSize <= danraw::kText1380.offset);

// Frame-table trailer, at the start of the file's last block.
namespace trailer {
inline constexpr std::size_t kBlock = 4096;
inline constexpr std::size_t kSize = 256;
inline constexpr std::uint32_t kMagic = 0x5457524B; // "KRWT"
inline constexpr std::size_t kMagicOffset = 0;
inline constexpr std::size_t kFrameCount = 4;
inline constexpr std::size_t kTableOffset = 8;
inline constexpr std::int32_t kFrameLimit = 1 << 29; // first count refused: its table needs 2^32 bytes
inline constexpr std::size_t kEntrySize = 8;
} // namespace trailer

} // namespace krwfile
