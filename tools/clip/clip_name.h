// Files that are clips by their name.
#pragma once

#include <filesystem>

/// True for `*.krw`, in capital or small letters.
[[nodiscard]] bool isClipName(const std::filesystem::path& path);
