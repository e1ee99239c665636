#include "adapters/openimageio/clip_pictures.h"

#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace {

/// True when a file of that size can hold every sample of one frame. A code takes a bit at least, and the
/// four planes can share their bytes.
bool canHoldFrame(std::uintmax_t fileBytes, const Clip& clip) {
    constexpr std::uintmax_t kMostSamplesInByte = std::uintmax_t{8} * krwfile::plane::kCount;
    return std::uintmax_t{clip.width()} * clip.height() / kMostSamplesInByte <= fileBytes;
}

bool isAligned(const void* address) {
    return reinterpret_cast<std::uintptr_t>(address) % alignof(std::uint16_t) == 0;
}

} // namespace

ClipPictures::ClipPictures(std::shared_ptr<const Plugin> plugin, const std::string& path,
                           const PictureOptions& options)
    : m_plugin(std::move(plugin)), m_options(options), m_clip(*m_plugin, path), m_exif(exifValues(m_clip)),
      m_size(options.develop ? developedDimensions(m_clip.width(), m_clip.height(), options.form)
                             : PictureDimensions{m_clip.width(), m_clip.height()}) {
    // Callers allocate whole pictures. A file of a few bytes that states a picture of gigabytes must not make
    // them try.
    std::error_code unknown;
    const std::uintmax_t fileBytes = std::filesystem::file_size(path, unknown);
    if (!unknown && !options.acceptDamaged && !canHoldFrame(fileBytes, m_clip))
        throw std::runtime_error(fmt::format("{}: {} bytes cannot hold a picture of {} x {} samples", path,
                                             fileBytes, m_clip.width(), m_clip.height()));
}

void ClipPictures::copyRows(std::uint32_t frame, std::uint32_t begin, std::uint32_t end, void* to) {
    const std::size_t rowSamples = std::size_t{m_size.width} * channels();
    const bool isKept = m_keptReading && m_keptFrame == frame;
    if (begin == 0 && end == m_size.height && !isKept && isAligned(to)) {
        require(frame, make(frame, {static_cast<std::uint16_t*>(to), rowSamples * m_size.height}));
        return;
    }
    if (!isKept) {
        m_keptReading.reset();
        if (!m_kept) m_kept.emplace(m_size.width * channels(), m_size.height);
        FrameReading reading = make(frame, m_kept->samples());
        m_keptFrame = frame;
        m_keptReading = std::move(reading);
    }
    require(frame, *m_keptReading);
    const auto rows = m_kept->samples().subspan(begin * rowSamples, (end - begin) * rowSamples);
    std::memcpy(to, rows.data(), rows.size_bytes());
}

FrameReading ClipPictures::make(std::uint32_t frame, std::span<std::uint16_t> picture) {
    if (!m_options.develop) return m_clip.read(frame, picture);
    if (!m_mosaic) m_mosaic.emplace(m_clip.makePicture());
    FrameReading reading = m_clip.read(frame, *m_mosaic);
    if (reading.state == FrameReading::State::unreadable) return reading;
    if (!m_developer) m_developer.emplace(makeDeveloper(m_clip, {m_options.curve, Balance::automatic}));
    std::uint16_t* row = picture.data();
    m_developer->developRows(m_mosaic->view(), m_options.form, [&](const DevelopedRow& developed) {
        interleave(developed, row);
        row += std::size_t{3} * m_size.width;
    });
    return reading;
}

void ClipPictures::require(std::uint32_t frame, const FrameReading& reading) const {
    if (reading.state == FrameReading::State::ok) return;
    if (reading.state == FrameReading::State::damaged && m_options.acceptDamaged) return;
    throw std::runtime_error(
        fmt::format("{}: frame {}: {}: {}", m_clip.path(), frame, stateName(reading.state), reading.reason));
}
