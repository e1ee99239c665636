// Writes metadata side-cars as cameras of known kinds leave them beside a clip.
#pragma once

#include <array>
#include <filesystem>
#include <string_view>

/// Kinds of side-car, as users name them.
inline constexpr std::array<std::string_view, 4> kSideCarKinds = {"sony", "p2", "gh5", "slate"};

/// Writes a side-car of one of kSideCarKinds where a reader looks for it: the clip's name plus "M01.XML" for
/// the XML kinds, "slate.txt" in the clip's directory for the slate. An older file of that name is replaced.
/// Returns the path written. Throws std::invalid_argument for an unknown kind and what OutputFile throws when
/// the file cannot be written.
std::filesystem::path writeSideCar(std::string_view kind, const std::filesystem::path& clipPath);
