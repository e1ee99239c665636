// Writes metadata side-cars, as known cameras write them beside a clip.
#pragma once

#include "tools/clip/timecode.h"
#include "tools/export/output_file.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <string_view>

/// Kinds of side-car, as users name them.
inline constexpr std::array<std::string_view, 4> kSideCarKinds = {"sony", "p2", "gh5", "slate"};

/// The facts of the clip that a side-car states.
struct SideCarFacts {
    float framesPerSecond = 24;
    TimecodeParts start{10, 1, 30, 0};
    std::uint32_t frames = 2;
    std::uint32_t width = 4096;
    std::uint32_t height = 2160;
    std::uint32_t blackLevel = 256; // of delivered samples
    std::uint32_t whiteLevel = 4095;
};

/// Writes a side-car of one of kSideCarKinds where a reader looks for it: the clip's name with "M01.XML" for
/// the XML kinds, "slate.txt" in the clip's folder for the slate. Returns the path. Throws
/// std::invalid_argument for an unknown kind, and what OutputFile throws when the file cannot be written.
std::filesystem::path writeSideCar(std::string_view kind, const std::filesystem::path& clipPath,
                                   OutputOptions options = {}, const SideCarFacts& facts = {});

/// The path that writeSideCar writes to.
[[nodiscard]] std::filesystem::path sideCarPath(std::string_view kind, const std::filesystem::path& clipPath);
