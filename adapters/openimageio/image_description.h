// What OpenImageIO is told of a clip and of each of its frames.
#pragma once

#include "adapters/openimageio/clip_pictures.h"

#include <OpenImageIO/imageio.h>
#include <cstdint>

/// Geometry and the metadata that all frames have in common. Standard items have OpenImageIO's names and
/// those of EXIF; what neither has a name for begins with "krw:". An item that the clip does not state is
/// left out.
[[nodiscard]] OIIO::ImageSpec describeClip(const ClipPictures& pictures);

/// Sets what differs from frame to frame: the timecode, and the subimage's name, which is its timecode in
/// text.
void describeFrame(OIIO::ImageSpec& image, const ClipPictures& pictures, std::uint32_t frame);
