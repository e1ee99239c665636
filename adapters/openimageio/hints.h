// What a caller asks of this reader when it opens a clip, beyond the plain mosaics.
#pragma once

#include "adapters/openimageio/clip_pictures.h"

#include <OpenImageIO/imageio.h>
#include <cstdint>
#include <optional>

struct Hints {
    PictureWishes pictures;
    std::optional<std::uint32_t> onlyFrame; // is the only subimage then
};

/// The attributes krw:develop, krw:size, krw:curve, krw:damaged and krw:frame of a configuration; others are
/// for other readers. Throws std::runtime_error for a value that an attribute cannot have.
[[nodiscard]] Hints readHints(const OIIO::ImageSpec& configuration);
