#include "tools/export/frame_stream.h"

#include <bit>
#include <cstring>

namespace {

static_assert(std::endian::native == std::endian::little, "16-bit samples are written as memory has them");

template <class Sample>
void encodeRgb(const Developer& developer, const MosaicView& mosaic, const PictureForm& form,
               std::vector<std::uint8_t>& bytes) {
    const PictureDimensions size = developedDimensions(mosaic.width, mosaic.height, form);
    const std::size_t rowSamples = std::size_t{3} * size.width;
    bytes.resize(rowSamples * size.height * sizeof(Sample));
    auto* next = reinterpret_cast<Sample*>(bytes.data());
    developer.developRows(mosaic, form, [&next, rowSamples](const DevelopedRow& row) {
        interleave(row, next);
        next += rowSamples;
    });
}

} // namespace

const ChoiceWords<StreamKind>& streamKinds() {
    static const ChoiceWords<StreamKind> kinds{{"y4m", StreamKind::y4m},
                                               {"rgb24", StreamKind::rgb24},
                                               {"rgb48", StreamKind::rgb48},
                                               {"mosaic", StreamKind::mosaic}};
    return kinds;
}

FrameStream::FrameStream(Clip& clip, const StreamFormat& format, const DevelopOptions& options)
    : m_format(format), m_dark{clip.width(), clip.height(), levelsOf(clip).black} {
    if (format.kind != StreamKind::mosaic) m_developer = makeDeveloper(clip, options);
    if (format.kind != StreamKind::y4m) return;
    const auto& stream = clip.video().stream;
    m_header = yuv4mpegHeader({developedDimensions(clip.width(), clip.height(), format.form), stream.dwRate,
                               stream.dwScale, format.yuv});
}

void FrameStream::encode(const MosaicView& mosaic, std::vector<std::uint8_t>& bytes) const {
    switch (m_format.kind) {
    case StreamKind::y4m:
        return encodeYuv4MpegFrame(*m_developer, mosaic, m_format.form, m_format.yuv, bytes);
    case StreamKind::rgb24:
        return encodeRgb<std::uint8_t>(*m_developer, mosaic, m_format.form, bytes);
    case StreamKind::rgb48:
        return encodeRgb<std::uint16_t>(*m_developer, mosaic, m_format.form, bytes);
    case StreamKind::mosaic:
        break;
    }
    bytes.resize(mosaic.samples.size_bytes());
    std::memcpy(bytes.data(), mosaic.samples.data(), bytes.size());
}

std::vector<std::uint8_t> FrameStream::blackFrame() const {
    const std::size_t count = std::size_t{m_dark.width} * m_dark.height;
    const Mosaic mosaic{m_dark.width, m_dark.height,
                        std::vector<std::uint16_t>(count, static_cast<std::uint16_t>(m_dark.level))};
    std::vector<std::uint8_t> bytes;
    encode(mosaic, bytes);
    return bytes;
}
