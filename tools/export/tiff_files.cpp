#include "tools/export/tiff_files.h"

#include "tools/export/dng_constants.h"
#include "tools/export/lossless_jpeg.h"
#include "tools/export/memory_tiff.h"

#include <algorithm>
#include <array>
#include <utility>

namespace {

constexpr std::array<std::uint8_t, 3> kCfaPlaneColours{0, 1, 2};
constexpr std::uint16_t kRectangularLayout = 1;

void setPicture(MemoryTiff& tiff, const MosaicView& mosaic, std::uint16_t photometric) {
    tiff.set(TIFFTAG_SUBFILETYPE, 0);
    tiff.set(TIFFTAG_IMAGEWIDTH, mosaic.width);
    tiff.set(TIFFTAG_IMAGELENGTH, mosaic.height);
    tiff.set(TIFFTAG_BITSPERSAMPLE, 16);
    tiff.set(TIFFTAG_SAMPLESPERPIXEL, 1);
    tiff.set(TIFFTAG_PHOTOMETRIC, photometric);
    tiff.set(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    tiff.set(TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
}

EncodedFile finishUncompressed(MemoryTiff& tiff, const MosaicView& mosaic) {
    tiff.set(TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    tiff.set(TIFFTAG_ROWSPERSTRIP, mosaic.height);
    const auto bytes = std::as_bytes(mosaic.samples);
    return tiff.finish({{reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()}});
}

/// A large picture has eight tiles, so that decoders can use several processors. A small one is one strip.
/// Sides of tiles are multiples of 16 (TIFF 6.0, section 15).
TileGrid gridFor(const MosaicView& mosaic) {
    constexpr std::uint32_t kColumns = 4; // LibRaw misreads a picture that is as wide as two tiles
    constexpr std::uint32_t kRows = 2;
    constexpr std::uint32_t kLeastSide = 512;
    constexpr std::uint32_t kStep = 16;
    if (std::min(mosaic.width, mosaic.height) < kLeastSide) return {mosaic.width, mosaic.height, 1, 1};
    const auto part = [](std::uint32_t side, std::uint32_t parts) {
        return (side + kStep * parts - 1) / (kStep * parts) * kStep;
    };
    return {part(mosaic.width, kColumns), part(mosaic.height, kRows), kColumns, kRows};
}

EncodedFile finishCompressed(MemoryTiff& tiff, const TileGrid& grid, JpegStreams coded) {
    tiff.set(TIFFTAG_COMPRESSION, COMPRESSION_JPEG);
    if (coded.streams.size() == 1) {
        tiff.set(TIFFTAG_ROWSPERSTRIP, grid.tileHeight);
    } else {
        tiff.set(TIFFTAG_TILEWIDTH, grid.tileWidth);
        tiff.set(TIFFTAG_TILELENGTH, grid.tileHeight);
    }
    EncodedFile file = tiff.finish(coded.streams);
    file.keep(std::move(coded.memory));
    return file;
}

void setText(MemoryTiff& tiff, std::uint32_t tag, const std::string& text) {
    if (!text.empty()) tiff.set(tag, text.c_str());
}

void setShot(MemoryTiff& tiff, const ExifValues& exif) {
    static constexpr std::array<std::uint8_t, 4> kVersion{'0', '2', '3', '2'};
    tiff.beginExif();
    tiff.set(EXIFTAG_EXIFVERSION, kVersion.data());
    if (exif.exposureTime) tiff.setRational(EXIFTAG_EXPOSURETIME, *exif.exposureTime);
    if (exif.fNumber) tiff.setRational(EXIFTAG_FNUMBER, *exif.fNumber);
    if (exif.iso) {
        // The tag has 16 bits. Its largest value means "this or more".
        const auto iso = static_cast<std::uint16_t>(std::min(*exif.iso, 65535U));
        tiff.set(EXIFTAG_ISOSPEEDRATINGS, 1, &iso);
    }
    setText(tiff, EXIFTAG_DATETIMEORIGINAL, exif.dateTimeOriginal);
    if (exif.focalLength) tiff.setRational(EXIFTAG_FOCALLENGTH, *exif.focalLength);
    tiff.endExif();
}

void setOrigin(MemoryTiff& tiff, const DngMetadata& metadata) {
    setText(tiff, TIFFTAG_MAKE, metadata.exif.make);
    setText(tiff, TIFFTAG_MODEL, metadata.exif.model);
    setText(tiff, TIFFTAG_DATETIME, metadata.dateTime);
    setText(tiff, TIFFTAG_IMAGEDESCRIPTION, metadata.description);
    tiff.set(TIFFTAG_SOFTWARE, "krw " KRW_VERSION);
}

void setMosaic(MemoryTiff& tiff, const DngMetadata& metadata, const MosaicView& mosaic) {
    const std::array<std::uint16_t, 2> cell{2, 2};
    const std::array<std::uint16_t, 2> one{1, 1};
    const std::array<std::uint32_t, 4> active{0, 0, mosaic.height, mosaic.width};
    tiff.set(TIFFTAG_CFAREPEATPATTERNDIM, cell.data());
    tiff.set(TIFFTAG_CFAPATTERN, static_cast<int>(dng::kCfaPattern.size()), dng::kCfaPattern.data());
    tiff.set(TIFFTAG_CFAPLANECOLOR, static_cast<int>(kCfaPlaneColours.size()), kCfaPlaneColours.data());
    tiff.set(TIFFTAG_CFALAYOUT, kRectangularLayout);
    tiff.set(TIFFTAG_BLACKLEVELREPEATDIM, one.data());
    tiff.set(TIFFTAG_BLACKLEVEL, 1, &metadata.black);
    tiff.set(TIFFTAG_WHITELEVEL, 1, &metadata.white);
    tiff.set(TIFFTAG_ACTIVEAREA, active.data());
}

void setCamera(MemoryTiff& tiff, const DngMetadata& metadata) {
    tiff.set(TIFFTAG_DNGVERSION, dng::kVersion.data());
    tiff.set(TIFFTAG_DNGBACKWARDVERSION, dng::kBackwardVersion.data());
    setText(tiff, TIFFTAG_UNIQUECAMERAMODEL, metadata.uniqueCameraModel);
    setText(tiff, TIFFTAG_CAMERASERIALNUMBER, metadata.exif.serialNumber);
    const auto& [gains, matrix] = metadata.colours;
    const std::array<float, 3> neutral{static_cast<float>(1 / gains[0]), static_cast<float>(1 / gains[1]),
                                       static_cast<float>(1 / gains[2])};
    tiff.set(TIFFTAG_COLORMATRIX1, static_cast<int>(matrix.size()), matrix.data());
    tiff.set(TIFFTAG_CALIBRATIONILLUMINANT1, dng::kIlluminantD65);
    tiff.set(TIFFTAG_ASSHOTNEUTRAL, static_cast<int>(neutral.size()), neutral.data());
}

} // namespace

EncodedFile encodeCinemaDng(const DngMetadata& metadata, const MosaicView& mosaic,
                            const std::array<std::uint8_t, 8>& timecode, Compression compression) {
    MemoryTiff tiff;
    setShot(tiff, metadata.exif);
    setPicture(tiff, mosaic, PHOTOMETRIC_CFA);
    setOrigin(tiff, metadata);
    setMosaic(tiff, metadata, mosaic);
    setCamera(tiff, metadata);
    tiff.set(kTagTimeCodes, static_cast<int>(timecode.size()), timecode.data());
    tiff.setRational(kTagFrameRate, metadata.exif.frameRate);
    setText(tiff, kTagReelName, metadata.exif.reel);
    setText(tiff, kTagCameraLabel, metadata.exif.cameraLabel);
    if (compression == Compression::lossless) {
        const TileGrid grid = gridFor(mosaic);
        if (auto coded = encodeLosslessJpeg(mosaic, grid))
            return finishCompressed(tiff, grid, std::move(*coded));
    }
    return finishUncompressed(tiff, mosaic);
}

EncodedFile encodeGreyTiff(const DngMetadata& metadata, const MosaicView& mosaic) {
    MemoryTiff tiff;
    setShot(tiff, metadata.exif);
    setPicture(tiff, mosaic, PHOTOMETRIC_MINISBLACK);
    setOrigin(tiff, metadata);
    return finishUncompressed(tiff, mosaic);
}
