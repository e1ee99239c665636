// The description of a clip and of its frames for OpenImageIO.
#pragma once

#include "adapters/openimageio/clip_pictures.h"

#include <OpenImageIO/imageio.h>
#include <cstdint>

/// Geometry, and the metadata that all frames share. Standard items have the names of OpenImageIO and EXIF;
/// all others begin with "krw:". An item that the clip does not state is left out.
[[nodiscard]] OIIO::ImageSpec describeClip(const ClipPictures& pictures);

/// Sets the items of one frame: the timecode, and the subimage's name, which is the timecode as text.
void describeFrame(OIIO::ImageSpec& image, const ClipPictures& pictures, std::uint32_t frame);
