// Pictures that a command writes as a single file.
#pragma once

#include "tools/picture/display_curve.h"
#include "tools/picture/rgb_image.h"

#include <string>

/// True for "-" and the names that the system has for standard output.
[[nodiscard]] bool isStandardOutput(const std::string& path);

/// Throws std::runtime_error, "PATH: reason", when the path is taken and may not be replaced. Call this
/// before long work starts.
void checkOutput(const std::string& path, bool overwrite);

/// The same for a picture. Throws UsageError for a name with the extension of another kind of file, and for
/// standard output when that is a terminal.
void checkPictureOutput(const std::string& path, bool overwrite);

/// Makes a folder and those above it. Throws std::runtime_error, "PATH: reason".
void makeFolder(const std::string& path);

/// Writes a TIFF file when the name ends in .tif or .tiff, otherwise a PNG file. The file is whole or absent.
/// Standard output gets a PNG file. Throws std::runtime_error, "PATH: reason".
template <class Sample>
void writePicture(const std::string& path, const RgbPicture<Sample>& picture, bool overwrite,
                  DisplayCurve curve = DisplayCurve::gamma);
