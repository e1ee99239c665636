#include "bench/peers.h"

#include <algorithm>
#include <cstring>
#include <libraw/libraw.h>
#include <stdexcept>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace {

constexpr std::size_t kRgb = 3;

void require(bool condition, const char* what) {
    if (!condition) throw std::runtime_error(what);
}

} // namespace

FfmpegDecoder::FfmpegDecoder(const std::vector<std::uint8_t>& dng)
    : m_context(avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_TIFF))), m_packet(av_packet_alloc()),
      m_frame(av_frame_alloc()) {
    require(m_context != nullptr && m_packet != nullptr && m_frame != nullptr, "FFmpeg: out of memory");
    m_context->thread_count = 1;
    require(avcodec_open2(m_context, nullptr, nullptr) == 0, "FFmpeg: no TIFF decoder");
    require(av_new_packet(m_packet, static_cast<int>(dng.size())) == 0, "FFmpeg: out of memory");
    std::ranges::copy(dng, m_packet->data);
}

FfmpegDecoder::~FfmpegDecoder() {
    av_frame_free(&m_frame);
    av_packet_free(&m_packet);
    avcodec_free_context(&m_context);
}

void FfmpegDecoder::decode() {
    require(avcodec_send_packet(m_context, m_packet) == 0, "FFmpeg: packet refused");
    require(avcodec_receive_frame(m_context, m_frame) == 0, "FFmpeg: no picture");
}

std::vector<std::uint16_t> FfmpegDecoder::samples() const {
    std::vector<std::uint16_t> result;
    const auto width = static_cast<std::size_t>(m_frame->width);
    for (int row = 0; row < m_frame->height; ++row) {
        result.resize(result.size() + width);
        std::memcpy(result.data() + result.size() - width,
                    m_frame->data[0] + std::ptrdiff_t{row} * m_frame->linesize[0], 2 * width);
    }
    return result;
}

FfmpegEncoder::FfmpegEncoder(const Mosaic& mosaic)
    : m_context(avcodec_alloc_context3(avcodec_find_encoder(AV_CODEC_ID_LJPEG))), m_packet(av_packet_alloc()),
      m_frame(av_frame_alloc()) {
    require(m_context != nullptr && m_packet != nullptr && m_frame != nullptr, "FFmpeg: out of memory");
    const std::size_t width = mosaic.width / kRgb;
    m_context->width = m_frame->width = static_cast<int>(width);
    m_context->height = m_frame->height = static_cast<int>(mosaic.height);
    m_context->pix_fmt = AV_PIX_FMT_BGR24;
    m_frame->format = AV_PIX_FMT_BGR24;
    m_context->time_base = {1, 25};
    m_context->thread_count = 1;
    m_context->strict_std_compliance = FF_COMPLIANCE_UNOFFICIAL; // full-range samples
    require(avcodec_open2(m_context, nullptr, nullptr) == 0, "FFmpeg: no lossless-JPEG encoder");
    require(av_frame_get_buffer(m_frame, 0) == 0, "FFmpeg: out of memory");
    for (std::size_t row = 0; row < mosaic.height; ++row)
        for (std::size_t column = 0; column < width * kRgb; ++column)
            m_frame->data[0][row * static_cast<std::size_t>(m_frame->linesize[0]) + column] =
                static_cast<std::uint8_t>(mosaic.samples[row * mosaic.width + column] >> 4U);
}

FfmpegEncoder::~FfmpegEncoder() {
    av_frame_free(&m_frame);
    av_packet_free(&m_packet);
    avcodec_free_context(&m_context);
}

void FfmpegEncoder::encode() {
    require(avcodec_send_frame(m_context, m_frame) == 0, "FFmpeg: frame refused");
    require(avcodec_receive_packet(m_context, m_packet) == 0, "FFmpeg: no stream");
    av_packet_unref(m_packet);
}

std::size_t FfmpegEncoder::samples() const {
    return static_cast<std::size_t>(m_frame->width) * static_cast<std::size_t>(m_frame->height) * kRgb;
}

LibRawDecoder::LibRawDecoder(std::vector<std::uint8_t> dng)
    : m_dng(std::move(dng)), m_libRaw(std::make_unique<LibRaw>()) {}

LibRawDecoder::~LibRawDecoder() = default;

void LibRawDecoder::open() {
    m_libRaw->recycle();
    require(m_libRaw->open_buffer(m_dng.data(), m_dng.size()) == LIBRAW_SUCCESS, "LibRaw: file refused");
}

void LibRawDecoder::decode() {
    require(m_libRaw->unpack() == LIBRAW_SUCCESS, "LibRaw: no picture");
}

std::vector<std::uint16_t> LibRawDecoder::samples() const {
    const libraw_data_t& data = m_libRaw->imgdata;
    require(data.rawdata.raw_image != nullptr && data.sizes.raw_pitch == 2U * data.sizes.raw_width,
            "LibRaw: not a plain mosaic");
    const std::size_t count = std::size_t{data.sizes.raw_width} * data.sizes.raw_height;
    return {data.rawdata.raw_image, data.rawdata.raw_image + count};
}
