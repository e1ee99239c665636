#include "tools/export/rgb_tiff.h"

#include "tools/export/memory_tiff.h"

#include <array>

template <class Sample>
EncodedFile encodeRgbTiff(const RgbPicture<Sample>& picture) {
    constexpr std::uint16_t kBits = 8 * sizeof(Sample);
    MemoryTiff tiff;
    tiff.set(TIFFTAG_IMAGEWIDTH, picture.width);
    tiff.set(TIFFTAG_IMAGELENGTH, picture.height);
    tiff.set(TIFFTAG_BITSPERSAMPLE, kBits);
    tiff.set(TIFFTAG_SAMPLESPERPIXEL, 3);
    tiff.set(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
    tiff.set(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    tiff.set(TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    tiff.set(TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    tiff.set(TIFFTAG_ROWSPERSTRIP, picture.height);
    tiff.set(TIFFTAG_SOFTWARE, "krw " KRW_VERSION);
    const std::span<const Sample> samples(picture.pixels);
    return tiff.finish({{reinterpret_cast<const std::uint8_t*>(samples.data()), samples.size_bytes()}});
}

template EncodedFile encodeRgbTiff(const RgbImage&);
template EncodedFile encodeRgbTiff(const RgbImage16&);
