// The decoders that the picture decoder is compared with. Each runs on one thread and decodes one stream
// again and again. Failures throw std::runtime_error.
#pragma once

#include "tools/clip/mosaic.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

struct AVCodecContext;
struct AVFrame;
struct AVPacket;
class LibRaw;

/// FFmpeg's decoder of lossless-JPEG DNG files (libavcodec).
class FfmpegDecoder final {
  public:
    explicit FfmpegDecoder(const std::vector<std::uint8_t>& dng);
    FfmpegDecoder(const FfmpegDecoder&) = delete;
    FfmpegDecoder& operator=(const FfmpegDecoder&) = delete;
    ~FfmpegDecoder();

    void decode();
    /// The samples of the last decode, row after row.
    [[nodiscard]] std::vector<std::uint16_t> samples() const;

  private:
    AVCodecContext* m_context = nullptr;
    AVPacket* m_packet = nullptr;
    AVFrame* m_frame = nullptr;
};

/// FFmpeg's lossless-JPEG encoder (libavcodec) on 8-bit samples, three components.
class FfmpegEncoder final {
  public:
    /// Takes the upper 8 of 12 bits of the samples. Samples at the end of a row that do not fill a pixel are
    /// left out.
    explicit FfmpegEncoder(const Mosaic& mosaic);
    FfmpegEncoder(const FfmpegEncoder&) = delete;
    FfmpegEncoder& operator=(const FfmpegEncoder&) = delete;
    ~FfmpegEncoder();

    void encode();
    [[nodiscard]] std::size_t samples() const;

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

    /// Reads the directory of the file. Call it before each decode.
    void open();
    void decode();
    [[nodiscard]] std::vector<std::uint16_t> samples() const;

  private:
    std::vector<std::uint8_t> m_dng;
    std::unique_ptr<LibRaw> m_libRaw;
};
