// The exported calls of KineDec. They turn their arguments into the core's and log what it reports.
#include "kinedec/kinedec.h"

#include "kinedec/codec_error.h"
#include "kinedec/plane_decoder.h"

#include <algorithm>

namespace {

using kinedec::BoundedBitReader;
using kinedec::ByteBitReader;
using kinedec::PlaneParameters;
using kinedec::PlaneResult;
using kinedec::StoredRows;

PlaneParameters parameters(const std::uint16_t* codeLengths, const std::uint16_t* codes, std::int32_t count,
                           std::int32_t shift, std::int32_t rowLength) {
    PlaneParameters plane{{}, count, shift, rowLength};
    std::copy_n(codeLengths, kKineCategories, plane.table.lengths.begin());
    std::copy_n(codes, kKineCategories, plane.table.codes.begin());
    return plane;
}

// Decodes to samples that lie one after another.
template <class BitReader>
int decodePacked(KineDec& decoder, const BitReader& stream, const PlaneParameters& plane, StoredRows stored,
                 std::uint16_t* dst) {
    const PlaneResult result = decodePlane(decoder.m_table, stream, plane, stored, {dst, 1, plane.rowLength});
    if (!result.decoded) kinedec::logCodecError(result.samplesLeft);
    return result.decoded ? 1 : 0;
}

} // namespace

// m_table stays as it is: every call fills it first.
KineDec::KineDec() = default;

int KineDec::decode(const std::uint16_t* codeLengths, const std::uint16_t* codes, const std::uint8_t* src,
                    std::uint16_t* dst, std::int32_t count, std::int32_t shift, std::int32_t rowLength) {
    return decodePacked(*this, ByteBitReader(src), parameters(codeLengths, codes, count, shift, rowLength),
                        StoredRows::all, dst);
}

int KineDec::decode(const std::uint16_t* codeLengths, const std::uint16_t* codes, const std::uint8_t* src,
                    std::size_t srcSize, std::uint16_t* dst, std::int32_t count, std::int32_t shift,
                    std::int32_t rowLength) {
    return decodePacked(*this, BoundedBitReader({src, srcSize}),
                        parameters(codeLengths, codes, count, shift, rowLength), StoredRows::all, dst);
}

int KineDec::decode2(const std::uint16_t* codeLengths, const std::uint16_t* codes, const std::uint8_t* src,
                     std::uint16_t* dst, std::int32_t count, std::int32_t shift, std::int32_t rowLength) {
    return decodePacked(*this, ByteBitReader(src), parameters(codeLengths, codes, count, shift, rowLength),
                        StoredRows::even, dst);
}

int KineDec::decode2(const std::uint16_t* codeLengths, const std::uint16_t* codes, const std::uint8_t* src,
                     std::size_t srcSize, std::uint16_t* dst, std::int32_t count, std::int32_t shift,
                     std::int32_t rowLength) {
    return decodePacked(*this, BoundedBitReader({src, srcSize}),
                        parameters(codeLengths, codes, count, shift, rowLength), StoredRows::even, dst);
}
