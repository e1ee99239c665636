// Frames one after the other for an encoder or a player: what a stream holds for each.
#pragma once

#include "tools/export/yuv4mpeg.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

enum class StreamKind {
    y4m,    // YUV4MPEG2
    rgb24,  // developed, 8-bit red, green and blue
    rgb48,  // developed, 16-bit little-endian red, green and blue
    mosaic, // the mosaic, 16-bit little-endian; bayer_grbg16le in FFmpeg's words
};

/// The words of the command line.
[[nodiscard]] const std::map<std::string, StreamKind>& streamKinds();

struct StreamFormat {
    StreamKind kind = StreamKind::y4m;
    YuvFormat yuv = YuvFormat::yuv420; // of y4m
    PictureForm form;                  // of developed pictures
};

/// What a stream of one clip is made of. Any thread may encode.
class FrameStream final {
  public:
    /// May read frames of `clip` to measure a balance.
    FrameStream(Clip& clip, const StreamFormat& format, const DevelopOptions& options);

    /// What the stream begins with; empty for all but y4m.
    [[nodiscard]] const std::string& header() const { return m_header; }

    /// Puts one frame into `bytes`, whose earlier content goes.
    void encode(const MosaicView& mosaic, std::vector<std::uint8_t>& bytes) const;

    /// A frame without light.
    [[nodiscard]] std::vector<std::uint8_t> blackFrame() const;

  private:
    StreamFormat m_format;
    std::optional<Developer> m_developer; // of developed pictures
    std::string m_header;
    struct {
        std::uint32_t width, height;
        double level;
    } m_dark; // the mosaic without light
};
