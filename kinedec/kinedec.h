// The decoder for one compressed colour plane of a KRW frame.
//
// A plane is a difference-coded stream close to lossless JPEG (ITU-T T.81): each sample is a prefix-coded
// magnitude category (0 to 12) followed by that many raw bits, made a signed difference by the EXTEND
// procedure of T.81 F.2.2.1 and added to the prediction. It has no markers and no byte stuffing, bits come
// most significant first, the plane's first sample is predicted from 0, the first sample of every later row
// from the first sample of the row above, every other sample from its left neighbour. Arithmetic is modulo
// 65536.
#pragma once

#include <cstddef>
#include <cstdint>

/// Number of magnitude categories that a code table describes.
inline constexpr int kKineCategories = 13;
/// Longest legal code, in bits; also the width of the table's index.
inline constexpr int kKineIndexBits = 13;

/// What the next 13 bits of the stream mean.
struct KineDecEntry {
    std::uint16_t bits;    ///< Code and magnitude bits together; 0: no code starts like this.
    std::uint16_t value;   ///< Complete entry: the difference. Deferred: mask of the magnitude bits.
    std::uint16_t signBit; ///< 0 for a complete entry. Deferred: weight of the magnitude's top bit.
    std::uint16_t negFill; ///< Deferred: pattern of -2^category. 0 for a complete entry.
};
static_assert(sizeof(KineDecEntry) == 8);

/// Decodes planes, any number of them in sequence: nothing outlives a call. One object serves one call at a
/// time; different objects are independent. No memory is allocated and nothing is thrown.
///
/// Arguments common to all calls:
/// - `codeLengths`, `codes`: 13 entries each, by category; length 0 means that the category has no code,
///   otherwise 1 to 13 with the code right-aligned and below 2^length.
/// - `src`: the compressed bytes.
/// - `dst`: `count` unsigned 16-bit samples, row after row without padding; a last row that `count` cuts is
///   stored whole, so the buffer holds `count` rounded up to whole rows. Owned by the caller.
/// - `count`: samples of the plane; 0 decodes nothing.
/// - `shift`: left shift (0 to 31) of each of the first `count` samples once all are decoded.
/// - `rowLength`: samples a row, at least 1.
/// Result: 1 when the plane decoded. 0 when the next bits match no code: what was decoded before stays in
/// `dst`, unshifted, and "codec error: %X!\n" goes to ErrOut with the number of samples still to be decoded
/// at the start of the failing row. 0 and the same message with `count`, and `dst` untouched, when the
/// arguments are outside the ranges above.
class [[gnu::visibility("default")]] KineDec {
  public:
    KineDec(); // does nothing: every call builds the table anew

    /// Decodes a plane whose stream length is not known. Fetches at most two bytes past the last byte it
    /// uses; the caller sees to it that a stream that is cut short or corrupt has readable bytes there.
    int decode(const std::uint16_t* codeLengths, const std::uint16_t* codes, const std::uint8_t* src,
               std::uint16_t* dst, std::int32_t count, std::int32_t shift, std::int32_t rowLength);

    /// The same with the stream's length: bytes past `srcSize` are never read and count as 0.
    int decode(const std::uint16_t* codeLengths, const std::uint16_t* codes, const std::uint8_t* src,
               std::size_t srcSize, std::uint16_t* dst, std::int32_t count, std::int32_t shift,
               std::int32_t rowLength);

    /// Decodes a plane at half its height: stores rows 0, 2, 4, ... one after another in `dst` and passes
    /// over the others, which are checked all the same. `count` and `rowLength` describe the whole plane; the
    /// stored rows are shifted. A plane with an odd number of rows ends with its last even row. Fetches as
    /// `decode` does.
    int decode2(const std::uint16_t* codeLengths, const std::uint16_t* codes, const std::uint8_t* src,
                std::uint16_t* dst, std::int32_t count, std::int32_t shift, std::int32_t rowLength);

    /// The same with the stream's length.
    int decode2(const std::uint16_t* codeLengths, const std::uint16_t* codes, const std::uint8_t* src,
                std::size_t srcSize, std::uint16_t* dst, std::int32_t count, std::int32_t shift,
                std::int32_t rowLength);

    KineDecEntry m_table[std::size_t{1} << kKineIndexBits]; // by the next 13 bits of the stream
};
