#include "bench/plane_by_plane.h"

#include "kinedec/kinedec.h"
#include "krw/file_access.h"
#include "krw/frame_record.h"

#include <cstdlib>
#include <memory>

using kinedec::PlaneStream;

namespace {

struct FreeDeleter {
    void operator()(void* block) const { std::free(block); }
};
template <typename Item>
using Block = std::unique_ptr<Item[], FreeDeleter>;

template <typename Item>
Block<Item> allocate(std::size_t count) {
    return Block<Item>(static_cast<Item*>(std::malloc(count * sizeof(Item))));
}

bool decodePlane(KineDec& decoder, const PlaneStream& plane, std::size_t count, std::size_t rowLength,
                 StreamLength length, std::uint16_t* samples) {
    const auto samplesInPlane = static_cast<std::int32_t>(count);
    const auto samplesInRow = static_cast<std::int32_t>(rowLength);
    const std::uint16_t* lengths = plane.table.lengths.data();
    const std::uint16_t* codes = plane.table.codes.data();
    const std::uint8_t* bytes = plane.bytes.data();
    if (length == StreamLength::known)
        return decoder.decode(lengths, codes, bytes, plane.bytes.size(), samples, samplesInPlane, plane.shift,
                              samplesInRow) == 1;
    return decoder.decode(lengths, codes, bytes, samples, samplesInPlane, plane.shift, samplesInRow) == 1;
}

} // namespace

bool decodePlaneByPlane(std::span<const PlaneStream, 4> planes, std::uint32_t width, std::uint32_t height,
                        StreamLength length, std::uint16_t* samples) {
    KineDec decoder;
    const std::size_t count = std::size_t{width} * height / 4;
    for (const PlaneStream& plane : planes) {
        if (!decodePlane(decoder, plane, count, width / 2, length, samples)) return false;
        samples += count;
    }
    return true;
}

void interleave(const std::uint16_t* samples, std::uint32_t width, std::uint32_t height, std::uint16_t* dst) {
    const std::size_t columns = width / 2;
    const std::size_t plane = columns * (height / 2);
    for (std::uint32_t row = 0; row < height / 2; ++row) {
        const std::uint16_t* in = samples + row * columns;
        for (std::size_t i = 0; i < columns; ++i) {
            dst[2 * i] = in[i];
            dst[2 * i + 1] = in[plane + i];
            dst[width + 2 * i] = in[2 * plane + i];
            dst[width + 2 * i + 1] = in[3 * plane + i];
        }
        dst += 2 * std::size_t{width};
    }
}

bool readPlaneByPlane(std::int64_t handle, std::uint64_t recordStart, std::int32_t danrawOffset,
                      std::uint16_t* dst) {
    std::uint8_t header[krwfile::danraw::kSize] = {};
    if (readFullyAt(handle, recordStart + static_cast<std::uint64_t>(danrawOffset), header) !=
        FileRead::complete)
        return false;
    const ByteView danraw{header};
    const FrameSize size = frameSize(danraw);
    const std::size_t pixels = size.pixels();
    const auto compressed = allocate<std::uint8_t>(pixels / 2 + kinedec::kPlanePadding);
    const auto samples = allocate<std::uint16_t>(pixels);
    if (compressed == nullptr || samples == nullptr) return false;

    KineDec decoder;
    for (std::size_t k = 0; k < krwfile::plane::kCount; ++k) {
        const PlaneDescriptor descriptor = planeDescriptor(danraw, k);
        if (!descriptor.fits(size.pixels(), recordStart) ||
            readFullyAt(handle, recordStart + descriptor.dataOffset,
                        {compressed.get(), descriptor.dataSize}) != FileRead::complete)
            return false;
        const PlaneStream plane{descriptor.table, {compressed.get(), descriptor.dataSize}, descriptor.shift};
        if (!decodePlane(decoder, plane, pixels / 4, static_cast<std::size_t>(size.width) / 2,
                         StreamLength::unknown, samples.get() + k * (pixels / 4)))
            return false;
    }
    interleave(samples.get(), static_cast<std::uint32_t>(size.width), static_cast<std::uint32_t>(size.height),
               dst);
    return true;
}
