#include "tools/export/yuv4mpeg.h"

#include <algorithm>
#include <bit>
#include <fmt/format.h>
#include <span>
#include <string_view>

namespace {

static_assert(std::endian::native == std::endian::little, "10-bit samples are stored as memory has them");

constexpr std::string_view kFrameLine = "FRAME\n";

struct FormatTraits {
    const char* tag; // in the stream's header
    bool halvesChroma;
    std::uint32_t bits;
};

constexpr FormatTraits traitsOf(YuvFormat format) {
    switch (format) {
    case YuvFormat::yuv420:
        return {"C420mpeg2 XYSCSS=420MPEG2", true, 8};
    case YuvFormat::yuv444:
        return {"C444 XYSCSS=444", false, 8};
    case YuvFormat::yuv420p10:
        return {"C420p10 XYSCSS=420P10", true, 10};
    case YuvFormat::yuv444p10:
        break;
    }
    return {"C444p10 XYSCSS=444P10", false, 10};
}

/// One component of a pixel in sample values: a weighted sum of its picture values.
struct Component {
    float red, green, blue, offset;
};

struct Matrix {
    Component luma, cb, cr;
};

constexpr Matrix matrixFor(std::uint32_t bits) {
    // ITU-R BT.709-6, part 1, items 3.2 and 3.3, and the quantisation of item 4.6.
    constexpr float kRed = 0.2126F;
    constexpr float kBlue = 0.0722F;
    constexpr float kGreen = 1 - kRed - kBlue;
    const auto step = static_cast<float>(1U << (bits - 8));
    const float luma = 219 * step / static_cast<float>(kWhite16);
    const float cb = 224 * step / static_cast<float>(kWhite16) / (2 * (1 - kBlue));
    const float cr = 224 * step / static_cast<float>(kWhite16) / (2 * (1 - kRed));
    return {{luma * kRed, luma * kGreen, luma * kBlue, 16 * step},
            {-cb * kRed, -cb * kGreen, cb * (1 - kBlue), 128 * step},
            {cr * (1 - kRed), -cr * kGreen, -cr * kBlue, 128 * step}};
}

/// Three colours of a row as picture values with fractions.
struct FineRow {
    std::vector<float> red, green, blue;
};

/// Row by row from RGB to the three planes of one frame.
template <class Sample>
class PlaneWriter final {
  public:
    PlaneWriter(const PictureDimensions& picture, const FormatTraits& traits, Sample* planes)
        : m_width(picture.width), m_height(picture.height), m_halves(traits.halvesChroma),
          m_chromaWidth(m_halves ? (m_width + 1) / 2 : m_width), m_matrix(matrixFor(traits.bits)),
          m_luma(planes), m_cb(planes + m_width * m_height),
          m_cr(m_cb + m_chromaWidth * (m_halves ? (m_height + 1) / 2 : m_height)),
          m_pair{fine(m_width), fine(m_width), fine(m_width)}, m_between{fine(m_chromaWidth),
                                                                         fine(m_chromaWidth),
                                                                         fine(m_chromaWidth)} {}

    void add(const DevelopedRow& row) {
        put(m_matrix.luma, row.red.data(), row.green.data(), row.blue.data(), m_width, m_luma);
        m_luma += m_width;
        if (m_halves) return addToPair(row);
        put(m_matrix.cb, row.red.data(), row.green.data(), row.blue.data(), m_width, m_cb);
        put(m_matrix.cr, row.red.data(), row.green.data(), row.blue.data(), m_width, m_cr);
        m_cb += m_width;
        m_cr += m_width;
    }

  private:
    static std::vector<float> fine(std::size_t width) { return std::vector<float>(width); }

    template <class Value>
    static void put(const Component& component, const Value* red, const Value* green, const Value* blue,
                    std::size_t count, Sample* samples) {
        const Component weights = component;
        for (std::size_t x = 0; x < count; ++x) {
            const float sum = weights.red * static_cast<float>(red[x]) +
                              weights.green * static_cast<float>(green[x]) +
                              weights.blue * static_cast<float>(blue[x]) + (weights.offset + 0.5F);
            samples[x] = static_cast<Sample>(static_cast<std::int32_t>(sum));
        }
    }

    /// Chroma of 4:2:0 is the mean of two rows. The last of an odd number of rows counts twice.
    void addToPair(const DevelopedRow& row) {
        const bool first = m_row % 2 == 0;
        const bool alone = first && m_row + 1 == m_height;
        ++m_row;
        sum(row.red, m_pair.red, first, alone);
        sum(row.green, m_pair.green, first, alone);
        sum(row.blue, m_pair.blue, first, alone);
        if (first && !alone) return;
        halve(m_pair.red, m_between.red);
        halve(m_pair.green, m_between.green);
        halve(m_pair.blue, m_between.blue);
        put(m_matrix.cb, m_between.red.data(), m_between.green.data(), m_between.blue.data(), m_chromaWidth,
            m_cb);
        put(m_matrix.cr, m_between.red.data(), m_between.green.data(), m_between.blue.data(), m_chromaWidth,
            m_cr);
        m_cb += m_chromaWidth;
        m_cr += m_chromaWidth;
    }

    static void sum(std::span<const std::uint16_t> row, std::vector<float>& pair, bool first, bool alone) {
        const float weight = alone ? 2 : 1;
        for (std::size_t x = 0; x < pair.size(); ++x)
            pair[x] = (first ? 0 : pair[x]) + weight * static_cast<float>(row[x]);
    }

    /// Halves the columns of a sum of two rows: the mean over both rows of every second column, with the
    /// columns beside it at half its weight.
    static void halve(const std::vector<float>& pair, std::vector<float>& between) {
        const std::size_t last = pair.size() - 1;
        for (std::size_t i = 0; i < between.size(); ++i) {
            const std::size_t x = 2 * i;
            between[i] = (pair[x > 0 ? x - 1 : 0] + 2 * pair[x] + pair[std::min(x + 1, last)]) / 8;
        }
    }

    std::size_t m_width;
    std::size_t m_height;
    bool m_halves;
    std::size_t m_chromaWidth;
    Matrix m_matrix;
    Sample* m_luma; // where each plane's next row goes
    Sample* m_cb;
    Sample* m_cr;
    std::size_t m_row = 0;
    FineRow m_pair;    // sum of two rows
    FineRow m_between; // at the chroma samples
};

/// Luma and both chroma planes.
std::size_t samplesOfFrame(const PictureDimensions& picture, bool halvesChroma) {
    const std::size_t luma = std::size_t{picture.width} * picture.height;
    if (!halvesChroma) return 3 * luma;
    return luma + 2 * ((std::size_t{picture.width} + 1) / 2) * ((std::size_t{picture.height} + 1) / 2);
}

template <class Sample>
void writePlanes(const Developer& developer, const MosaicView& mosaic, const PictureForm& form,
                 const FormatTraits& traits, const PictureDimensions& picture, Sample* planes) {
    PlaneWriter<Sample> writer(picture, traits, planes);
    developer.developRows(mosaic, form, [&writer](const DevelopedRow& row) { writer.add(row); });
}

} // namespace

const ChoiceWords<YuvFormat>& yuvFormats() {
    static const ChoiceWords<YuvFormat> formats{{"420", YuvFormat::yuv420},
                                                {"444", YuvFormat::yuv444},
                                                {"420p10", YuvFormat::yuv420p10},
                                                {"444p10", YuvFormat::yuv444p10}};
    return formats;
}

std::string yuv4mpegHeader(const Yuv4MpegHeader& header) {
    return fmt::format("YUV4MPEG2 W{} H{} F{}:{} Ip A1:1 {} XCOLORRANGE=LIMITED\n", header.picture.width,
                       header.picture.height, header.rate, header.scale, traitsOf(header.format).tag);
}

void encodeYuv4MpegFrame(const Developer& developer, const MosaicView& mosaic, const PictureForm& form,
                         YuvFormat format, std::vector<std::uint8_t>& bytes) {
    const FormatTraits traits = traitsOf(format);
    const PictureDimensions picture = developedDimensions(mosaic.width, mosaic.height, form);
    const std::size_t sampleSize = traits.bits > 8 ? 2 : 1;
    // The frame line has six characters, so 16-bit samples behind it lie at even addresses.
    static_assert(kFrameLine.size() % 2 == 0);
    bytes.resize(kFrameLine.size() + samplesOfFrame(picture, traits.halvesChroma) * sampleSize);
    std::uint8_t* const planes = std::ranges::copy(kFrameLine, bytes.begin()).out.base();
    if (sampleSize == 1)
        writePlanes(developer, mosaic, form, traits, picture, planes);
    else
        writePlanes(developer, mosaic, form, traits, picture, reinterpret_cast<std::uint16_t*>(planes));
}
