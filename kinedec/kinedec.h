// The decoder for one compressed colour plane of a KRW frame.
//
// The coding is close to lossless JPEG (ITU-T T.81). Each sample is a prefix-coded magnitude category (0 to
// 12) and as many raw bits. The EXTEND procedure of T.81 F.2.2.1 turns the bits into a signed difference,
// which is added to the prediction. The plane's first sample is predicted from 0, the first sample of every
// later row from the first sample of the row above, every other sample from its left neighbour. Arithmetic is
// modulo 65536. Bits come most significant first. There are no markers and no byte stuffing.
#pragma once

#include "kinedec/lookup_entry.h"

#include <cstddef>
#include <cstdint>

/// Decodes any number of planes in sequence. Nothing outlives a call. One object serves one call at a time.
/// Different objects are independent. No call allocates memory or throws.
///
/// Arguments common to all calls:
/// - `codeLengths`, `codes`: 13 entries each, by category. Length 0 means that the category has no code.
///   Other lengths are 1 to 13. A code is right-aligned and below 2^length.
/// - `src`: the compressed bytes.
/// - `dst`: unsigned 16-bit samples, row after row without padding. Owned by the caller. A last row that
///   `count` cuts is stored whole, so the buffer holds `count` rounded up to whole rows.
/// - `count`: samples of the plane. 0 decodes nothing and succeeds, whatever the other arguments hold.
/// - `shift`: left shift (0 to 31) of each of the first `count` samples once all are decoded.
/// - `rowLength`: samples a row, at least 1.
/// Result: 1 when the plane decoded, 0 when the next bits match no code. In that case the samples decoded so
/// far stay in `dst`, unshifted, and "codec error: %X!\n" goes to ErrOut with the number of samples that were
/// still to be decoded at the start of the failing row. Arguments outside the ranges above give 0 and the
/// same message with `count`, and `dst` stays untouched.
class [[gnu::visibility("default")]] KineDec {
  public:
    KineDec(); // does nothing: every call builds the table anew

    /// Decodes a plane whose stream length is not known. Fetches at most two bytes past the last byte it
    /// uses. For a stream that may be cut short or corrupt, the caller provides readable bytes behind it.
    int decode(const std::uint16_t* codeLengths, const std::uint16_t* codes, const std::uint8_t* src,
               std::uint16_t* dst, std::int32_t count, std::int32_t shift, std::int32_t rowLength);

    /// The same with the stream's length: bytes past `srcSize` are never read and count as 0.
    int decode(const std::uint16_t* codeLengths, const std::uint16_t* codes, const std::uint8_t* src,
               std::size_t srcSize, std::uint16_t* dst, std::int32_t count, std::int32_t shift,
               std::int32_t rowLength);

    /// Decodes a plane at half its height. Rows 0, 2, 4, ... are stored one after another in `dst`. The other
    /// rows are checked but not stored. `count` and `rowLength` describe the whole plane. The shift covers
    /// the stored rows. A plane with an odd number of rows ends with its last even row. Fetches as `decode`
    /// does.
    int decode2(const std::uint16_t* codeLengths, const std::uint16_t* codes, const std::uint8_t* src,
                std::uint16_t* dst, std::int32_t count, std::int32_t shift, std::int32_t rowLength);

    /// The same with the stream's length.
    int decode2(const std::uint16_t* codeLengths, const std::uint16_t* codes, const std::uint8_t* src,
                std::size_t srcSize, std::uint16_t* dst, std::int32_t count, std::int32_t shift,
                std::int32_t rowLength);

    KineDecEntry m_table[std::size_t{1} << kKineIndexBits]; // by the next 13 bits of the stream
};
