// Mosaics as binary PGM files (P5).
#pragma once

#include "tools/clip/mosaic.h"
#include "tools/export/output_file.h"

#include <cstdint>
#include <string>
#include <vector>

/// Reads a binary PGM with 8- or 16-bit samples, comments allowed; the values are taken as they stand. Throws
/// std::runtime_error with a message of the form "PATH: reason"; no memory is taken for samples that the file
/// does not hold.
[[nodiscard]] Mosaic readPgm(const std::string& path);

/// The bytes of a file with 16-bit samples, most significant byte first, and a maxval of 65535.
[[nodiscard]] std::vector<std::uint8_t> encodePgm(const MosaicView& mosaic);

/// Writes those bytes. The file appears under its
/// name only when it is whole. Throws std::runtime_error with a message of the form "PATH: reason".
void writePgm(const std::string& path, const MosaicView& mosaic, OutputOptions options = {});
