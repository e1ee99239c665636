#include "krw/frame_record.h"

bool hasDanrawSignature(ByteView danraw) {
    return danraw.u32(krwfile::danraw::kSignatureOffset) == krwfile::danraw::kSignature;
}

bool FrameSize::isValid() const {
    if (width <= 0 || height <= 0 || width % 2 != 0 || height % 2 != 0) return false;
    return static_cast<std::uint64_t>(width) <=
           std::uint64_t{0xFFFFFFFF} / static_cast<std::uint64_t>(height) / 2;
}

FrameSize frameSize(ByteView danraw) {
    return {danraw.i32(krwfile::danraw::kWidth), danraw.i32(krwfile::danraw::kHeight)};
}

bool PlaneDescriptor::fits(std::uint32_t pixels, std::uint64_t recordStart) const {
    return dataSize <= pixels / 2 && recordStart <= kMaxFileOffset - dataOffset;
}

PlaneDescriptor planeDescriptor(ByteView danraw, std::size_t plane) {
    namespace layout = krwfile::plane;
    const ByteView descriptor = danraw.view(krwfile::danraw::kPlanes + plane * layout::kSize, layout::kSize);
    PlaneDescriptor result{};
    result.dataOffset = descriptor.u32(layout::kDataOffset);
    result.dataSize = descriptor.u32(layout::kDataSize);
    result.shift = descriptor.i32(layout::kShift);
    for (std::size_t category = 0; category < kKineCategories; ++category) {
        result.table.lengths[category] = descriptor.u16(layout::kCodeLengths + 2 * category);
        result.table.codes[category] = descriptor.u16(layout::kCodes + 2 * category);
    }
    return result;
}
