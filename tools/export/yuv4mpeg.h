// Developed pictures as a YUV4MPEG2 stream, which encoders and players read from a pipe.
#pragma once

#include "tools/picture/develop.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// Chroma subsampling and bits a sample.
enum class YuvFormat { yuv420, yuv444, yuv420p10, yuv444p10 };

/// The words of the command line.
[[nodiscard]] const std::map<std::string, YuvFormat>& yuvFormats();

/// What a stream's header says of its pictures.
struct Yuv4MpegHeader {
    PictureDimensions picture;
    std::uint32_t rate; // rate / scale frames per second
    std::uint32_t scale;
    YuvFormat format;
};

/// The line that begins a stream: size, rate, progressive frames, square pixels, chroma format, limited
/// range.
[[nodiscard]] std::string yuv4mpegHeader(const Yuv4MpegHeader& header);

/// Puts one frame with its own header line into `bytes`, whose earlier content goes. Luma and chroma are
/// those of ITU-R BT.709 in limited range (16 to 235 and 16 to 240 of 8 bits), the chroma of 4:2:0 lies
/// beside every second column as in MPEG-2, 10-bit samples are little-endian.
void encodeYuv4MpegFrame(const Developer& developer, const MosaicView& mosaic, const PictureForm& form,
                         YuvFormat format, std::vector<std::uint8_t>& bytes);
