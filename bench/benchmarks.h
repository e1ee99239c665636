// The benchmarks by subject. Each registers itself with Google Benchmark as "subject/name". Its arguments
// must outlive the run.
#pragma once

#include "bench/images.h"

#include <filesystem>
#include <memory>
#include <vector>

using BenchImages = std::vector<std::unique_ptr<BenchImage>>;

/// Decoders on one image: the picture decoder, KineDec plane after plane, other decoders, and copying for
/// comparison. Throws std::runtime_error when a decoder does not give the image back bit for bit.
void registerDecoders(const BenchImage& image);
/// The encoder of exported files on this image, and another encoder; the export of frames of a clip of this
/// image into memory. The clip goes into `directory`. Throws std::runtime_error when the encoder declines the
/// image.
void registerExports(const BenchImage& image, const std::filesystem::path& directory);
/// The picture decoder alone on a drawn scene of another size.
void registerSize(const BenchImage& image);
/// Developing that image at half and full size, and making frames of a stream of it.
void registerDeveloping(const BenchImage& image);
/// Frames of a clip of this image, read through the reader object from the page cache. The clip goes into
/// `directory`.
void registerFrameReads(const BenchImage& image, const std::filesystem::path& directory);
/// Looking for frame records in a clip of 40 frames of this image, and a plain read of the file. The clip
/// goes into `directory`.
void registerScan(const BenchImage& image, const std::filesystem::path& directory);
/// Frame tables of a clip of 100,000 records, and opening and probing, in `directory`.
void registerClips(const std::filesystem::path& directory);
/// Frames of the clip that registerFrameReads wrote, read through OpenImageIO, mosaics and developed. Throws
/// std::runtime_error when a mosaic is not the one that went in.
void registerOpenImageIo(const BenchImage& image, const std::filesystem::path& directory);
