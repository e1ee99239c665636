// Mosaics as binary PGM files (P5).
#pragma once

#include "tools/clip/mosaic.h"
#include "tools/export/output_file.h"

#include <cstdint>
#include <string>
#include <vector>

/// Reads a binary PGM file with 8- or 16-bit samples. It may have comments. Samples are not scaled. Throws
/// std::runtime_error, "PATH: reason". No memory is taken for samples that the file does not hold.
[[nodiscard]] Mosaic readPgm(const std::string& path);

/// The bytes of a file with 16-bit samples, most significant byte first, and a maxval of 65535.
[[nodiscard]] std::vector<std::uint8_t> encodePgm(const MosaicView& mosaic);

/// Writes those bytes. The file is whole or absent. Throws std::runtime_error, "PATH: reason".
void writePgm(const std::string& path, const MosaicView& mosaic, OutputOptions options = {});
