// The bytes of a stream for an encoder or a player: a header, then one frame after the other.
#pragma once

#include "tools/export/yuv4mpeg.h"
#include "tools/picture/choice_words.h"

#include <optional>
#include <string>
#include <vector>

enum class StreamKind {
    y4m,    // YUV4MPEG2
    rgb24,  // developed, 8-bit red, green and blue
    rgb48,  // developed, 16-bit little-endian red, green and blue
    mosaic, // the mosaic, 16-bit little-endian; FFmpeg calls it bayer_grbg16le
};

/// Words of the command line and their values.
[[nodiscard]] const ChoiceWords<StreamKind>& streamKinds();

struct StreamFormat {
    StreamKind kind = StreamKind::y4m;
    YuvFormat yuv = YuvFormat::yuv420; // of y4m
    PictureForm form;                  // of developed pictures
};

/// Encodes the frames of one clip. Threads may call `encode` at the same time.
class FrameStream final {
  public:
    /// May read frames of `clip` to estimate the white balance.
    FrameStream(Clip& clip, const StreamFormat& format, const DevelopOptions& options);

    /// The header of the stream; empty for all but y4m.
    [[nodiscard]] const std::string& header() const { return m_header; }

    /// Replaces the content of `bytes` with one frame.
    void encode(const MosaicView& mosaic, std::vector<std::uint8_t>& bytes) const;

    /// A black frame.
    [[nodiscard]] std::vector<std::uint8_t> blackFrame() const;

  private:
    StreamFormat m_format;
    std::optional<Developer> m_developer; // of developed pictures
    std::string m_header;
    struct {
        std::uint32_t width, height;
        double level;
    } m_dark; // a mosaic at black level
};
