// The decoders that the picture decoder is measured against, each on one thread and on one stream that it
// decodes again and again. What they throw is std::runtime_error.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

struct AVCodecContext;
struct AVFrame;
struct AVPacket;
class LibRaw;

/// FFmpeg's lossless-JPEG decoder (libavcodec) on a stream of one component.
class FfmpegDecoder final {
  public:
    explicit FfmpegDecoder(const std::vector<std::uint8_t>& jpeg);
    FfmpegDecoder(const FfmpegDecoder&) = delete;
    FfmpegDecoder& operator=(const FfmpegDecoder&) = delete;
    ~FfmpegDecoder();

    void decode();
    /// The samples of the last decode, row after row. FFmpeg fills 16 bits: kJpegPrecision bits on top, then
    /// zeros.
    [[nodiscard]] std::vector<std::uint16_t> samples() const;

  private:
    AVCodecContext* m_context = nullptr;
    AVPacket* m_packet = nullptr;
    AVFrame* m_frame = nullptr;
};

/// LibRaw's lossless-JPEG decoder on a DNG.
class LibRawDecoder final {
  public:
    explicit LibRawDecoder(std::vector<std::uint8_t> dng);
    LibRawDecoder(const LibRawDecoder&) = delete;
    LibRawDecoder& operator=(const LibRawDecoder&) = delete;
    ~LibRawDecoder();

    /// Reads the file's directory, which a decode needs each time.
    void open();
    void decode();
    [[nodiscard]] std::vector<std::uint16_t> samples() const;

  private:
    std::vector<std::uint8_t> m_dng;
    std::unique_ptr<LibRaw> m_libRaw;
};
