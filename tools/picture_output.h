// Pictures that a command writes as a single PNG file.
#pragma once

#include "tools/develop.h"

#include <string>

/// Throws std::runtime_error, "PATH: reason", when the path is taken and may not be replaced. Called before
/// long work starts.
void checkPictureOutput(const std::string& path, bool overwrite);

/// Writes the file, whole or not at all. Throws std::runtime_error, "PATH: reason".
void writePicture(const std::string& path, const RgbImage& image);
