#include "tools/clip/clip.h"

#include "host/timecode.h"
#include "plugin/status.h"
#include "tools/clip/failure_reasons.h"
#include "tools/clip/plugin_messages.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace {

constexpr std::uint32_t kAllRecords = 0xFFFFFFFFU;
constexpr std::uint32_t kVideoChannel = 1; // mask of the clip's only channel

} // namespace

std::string ClipInformation::text(InfoText item) const {
    const char* const value = m_info[item];
    if (value == nullptr) return {};
    std::string text;
    for (std::string_view rest = value; !rest.empty(); rest.remove_prefix(1)) {
        const bool endsValue = rest.size() == 1 || rest[1] == '<'; // the latter in the metadata document
        if (rest.front() != '\r' || !endsValue) text += rest.front();
    }
    return text;
}

const char* stateName(FrameReading::State state) {
    switch (state) {
    case FrameReading::State::ok:
        return "ok";
    case FrameReading::State::damaged:
        return "damaged";
    case FrameReading::State::unreadable:
        break;
    }
    return "unreadable";
}

Picture::Picture(std::uint32_t width, std::uint32_t height)
    : m_width(width), m_height(height), m_count(std::size_t{width} * height),
      m_samples(std::make_unique_for_overwrite<std::uint16_t[]>(m_count)) {}

Clip::Clip(const Plugin& plugin, std::string path) : Clip(plugin, std::move(path), nullptr) {}

Clip::Clip(const Plugin& plugin, const Clip& other) : Clip(plugin, other.m_path, &*other.m_check) {}

Clip::Clip(const Plugin& plugin, std::string path, const FrameCheck* known)
    : m_plugin(plugin), m_path(std::move(path)), m_reader(plugin.makeReader()) {
    const std::string trouble = explainPath(m_path);
    if (!trouble.empty()) throw std::runtime_error(fmt::format("{}: {}", m_path, trouble));

    const PluginMessages log;
    const std::uint32_t opened =
        m_reader->Open(m_path.c_str(), kAccessRead, kShareRead, nullptr, kOpenExisting, 0, 0);
    if (opened != status::kOk)
        throw std::runtime_error(fmt::format("{}: {}", m_path, explainOpenFailure(opened, log.lines())));
    m_dropFrame = tcDropFrame() != 0;
    const std::uint32_t described =
        m_reader->GetFileInfo(kAllRecords, &m_system, &m_video, &m_audio, &m_information.record());
    if (described != status::kOk)
        throw std::runtime_error(fmt::format("{}: {}", m_path, explainOpenFailure(described, log.lines())));
    m_frames = m_reader->Length();
    if (known != nullptr)
        m_check.emplace(*known);
    else
        m_check.emplace(m_path);
    m_firstHeader = m_check->header(0);
}

std::optional<float> Clip::statedRate() const {
    if (!m_firstHeader) return std::nullopt;
    const float rate = m_firstHeader->view().f32(krwfile::danraw::kFramesPerSecond);
    return rate > 0 && std::isfinite(rate) ? std::optional(rate) : std::nullopt;
}

std::array<std::uint8_t, 4> Clip::statedUserBits() const {
    constexpr std::size_t kUserBits = krwfile::danraw::kTimecode + 4;
    std::array<std::uint8_t, 4> bits{};
    if (m_firstHeader) std::ranges::copy(m_firstHeader->view().bytes(kUserBits, bits.size()), bits.begin());
    return bits;
}

std::string Clip::mosaicPattern() const {
    std::string pattern(sizeof m_video.biCompression, ' ');
    for (std::size_t index = 0; index < pattern.size(); ++index)
        pattern[index] = static_cast<char>(m_video.biCompression >> (8 * index) & 0xFFU);
    return pattern;
}

TimecodeCounting Clip::counting() const {
    return timecodeCounting(m_video.stream.dwRate, m_video.stream.dwScale, m_dropFrame);
}

FrameReading Clip::read(std::uint32_t frame, std::span<std::uint16_t> samples) {
    DFRAME dframe{};
    dframe.recordSize = sizeof dframe;
    dframe.picture.buffer = samples.data();
    dframe.picture.bufferSize = static_cast<std::uint32_t>(samples.size_bytes());

    const PluginMessages log;
    const std::uint32_t result = m_reader->Read(frame, 1, kVideoChannel, request::kVideo, &dframe, nullptr);
    if (result != status::kOk)
        return {FrameReading::State::unreadable, explainReadFailure(result, log.lines())};
    const std::string brokeOff = describeDamage(log.lines(), samples.size() / 4);
    std::string reason = m_check->findDamage(frame, {width(), height(), samples}, !brokeOff.empty());
    if (reason.empty()) reason = brokeOff;
    const auto state = reason.empty() ? FrameReading::State::ok : FrameReading::State::damaged;
    return {state, std::move(reason)};
}
