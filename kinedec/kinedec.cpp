// The exported calls of KineDec: packed output, with and without the stream's length.
#include "kinedec/kinedec.h"

#include "kinedec/plane_decoder.h"

using kinedec::BoundedBitReader;
using kinedec::ByteBitReader;
using kinedec::decodePlane;
using kinedec::StoredRows;

// m_table stays as it is: every call fills it first.
KineDec::KineDec() = default;

int KineDec::decode(const std::uint16_t* codeLengths, const std::uint16_t* codes, const std::uint8_t* src,
                    std::uint16_t* dst, std::int32_t count, std::int32_t shift, std::int32_t rowLength) {
    return decodePlane(*this, ByteBitReader(src), {codeLengths, codes, count, shift, rowLength},
                       StoredRows::all, {dst, 1, rowLength});
}

int KineDec::decode(const std::uint16_t* codeLengths, const std::uint16_t* codes, const std::uint8_t* src,
                    std::size_t srcSize, std::uint16_t* dst, std::int32_t count, std::int32_t shift,
                    std::int32_t rowLength) {
    return decodePlane(*this, BoundedBitReader({src, srcSize}), {codeLengths, codes, count, shift, rowLength},
                       StoredRows::all, {dst, 1, rowLength});
}

int KineDec::decode2(const std::uint16_t* codeLengths, const std::uint16_t* codes, const std::uint8_t* src,
                     std::uint16_t* dst, std::int32_t count, std::int32_t shift, std::int32_t rowLength) {
    return decodePlane(*this, ByteBitReader(src), {codeLengths, codes, count, shift, rowLength},
                       StoredRows::even, {dst, 1, rowLength});
}

int KineDec::decode2(const std::uint16_t* codeLengths, const std::uint16_t* codes, const std::uint8_t* src,
                     std::size_t srcSize, std::uint16_t* dst, std::int32_t count, std::int32_t shift,
                     std::int32_t rowLength) {
    return decodePlane(*this, BoundedBitReader({src, srcSize}), {codeLengths, codes, count, shift, rowLength},
                       StoredRows::even, {dst, 1, rowLength});
}
