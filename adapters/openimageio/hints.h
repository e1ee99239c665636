// What a caller can ask of this reader when it opens a clip.
#pragma once

#include "adapters/openimageio/clip_pictures.h"

#include <OpenImageIO/imageio.h>
#include <cstdint>
#include <optional>

struct Hints {
    PictureOptions pictures;
    std::optional<std::uint32_t> onlyFrame; // the only subimage, when it is set
};

/// Reads the attributes krw:develop, krw:size, krw:curve, krw:damaged and krw:frame of a configuration. Other
/// attributes are ignored. Throws std::runtime_error for a value that an attribute cannot have.
[[nodiscard]] Hints readHints(const OIIO::ImageSpec& configuration);
