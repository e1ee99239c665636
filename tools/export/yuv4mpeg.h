// Developed pictures as a YUV4MPEG2 stream, which encoders and players read from a pipe.
#pragma once

#include "tools/picture/choice_words.h"
#include "tools/picture/develop.h"

#include <cstdint>
#include <string>
#include <vector>

/// Chroma subsampling and bits a sample.
enum class YuvFormat { yuv420, yuv444, yuv420p10, yuv444p10 };

/// Words of the command line and their values.
[[nodiscard]] const ChoiceWords<YuvFormat>& yuvFormats();

/// The values in the header of a stream.
struct Yuv4MpegHeader {
    PictureDimensions picture;
    std::uint32_t rate; // rate / scale frames per second
    std::uint32_t scale;
    YuvFormat format;
};

/// The line that begins a stream: size, rate, progressive frames, square pixels, chroma format, limited
/// range.
[[nodiscard]] std::string yuv4mpegHeader(const Yuv4MpegHeader& header);

/// Replaces the content of `bytes` with one frame and its header line. Luma and chroma are those of ITU-R
/// BT.709 in limited range (16 to 235 and 16 to 240 of 8 bits). The chroma samples of 4:2:0 lie at every
/// second column, as in MPEG-2. 10-bit samples are little-endian.
void encodeYuv4MpegFrame(const Developer& developer, const MosaicView& mosaic, const PictureForm& form,
                         YuvFormat format, std::vector<std::uint8_t>& bytes);
