#include "bench/images.h"

#include <utility>

namespace {

double countBitsPerSample(const CodedPicture& coded) {
    std::size_t bytes = 0;
    for (const CodedPlane& plane : coded.planes)
        bytes += plane.data.size();
    return 8.0 * static_cast<double>(bytes) / (static_cast<double>(coded.width) * coded.height);
}

} // namespace

BenchImage::BenchImage(std::string imageName, Mosaic source)
    : name(std::move(imageName)), mosaic(std::move(source)), coded(encodePicture(mosaic)),
      bitsPerSample(countBitsPerSample(coded)) {
    for (std::size_t k = 0; k < m_streams.size(); ++k) {
        const CodedPlane& plane = coded.planes[k];
        m_bytes[k] = plane.data;
        m_bytes[k].resize(plane.data.size() + kinedec::kPlanePadding);
        m_streams[k] = {plane.table, std::span(m_bytes[k]).first(plane.data.size()), 0};
    }
}
