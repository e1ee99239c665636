// An open clip as a host sees it: a reader object, the records it describes the clip with, and its frames.
#pragma once

#include "krw/frame_rate.h"
#include "tools/clip/frame_check.h"
#include "tools/clip/mosaic.h"
#include "tools/clip/plugin.h"
#include "tools/clip/timecode.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

/// The host's own copy of a clip's information record.
class ClipInformation final {
  public:
    ClipInformation() = default;
    ~ClipInformation() { qmxInfoDelete(&m_info); }
    ClipInformation(const ClipInformation&) = delete;
    ClipInformation& operator=(const ClipInformation&) = delete;

    /// A text item, empty when it is unset. A carriage return at the end of a value is left out: it comes
    /// from a side-car with CRLF line ends.
    [[nodiscard]] std::string text(InfoText item) const;
    [[nodiscard]] bool isSet(InfoText item) const { return m_info[item] != nullptr; }
    [[nodiscard]] std::uint32_t number(InfoNumber item) const { return m_info[item]; }
    [[nodiscard]] bool isSet(InfoNumber item) const { return m_info[item] != QMXINFO::kUnset; }

    /// For the host call that fills it.
    [[nodiscard]] QMXINFO& record() { return m_info; }

  private:
    QMXINFO m_info = makeDefaultInfo();
};

/// Memory for one mosaic of 16-bit samples, used for one frame after another.
class Picture final {
  public:
    /// Throws std::bad_alloc. Memory is first touched when a frame fills it, because a header can claim any
    /// size.
    Picture(std::uint32_t width, std::uint32_t height);

    [[nodiscard]] std::span<std::uint16_t> samples() { return {m_samples.get(), m_count}; }
    [[nodiscard]] MosaicView view() const { return {m_width, m_height, {m_samples.get(), m_count}}; }

  private:
    std::uint32_t m_width;
    std::uint32_t m_height;
    std::size_t m_count;
    std::unique_ptr<std::uint16_t[]> m_samples;
};

/// The result of reading one frame.
struct FrameReading {
    enum class State {
        ok,
        damaged,    // delivered, but a colour plane is not whole
        unreadable, // nothing delivered
    };

    State state = State::ok;
    std::string reason; // in words, empty for ok
};

/// "ok", "damaged" or "unreadable".
[[nodiscard]] const char* stateName(FrameReading::State state);

/// One open clip. Not thread-safe: each thread opens its own.
class Clip final {
  public:
    /// The plug-in must outlive this object. Throws std::runtime_error, "PATH: reason", when the clip does
    /// not open.
    Clip(const Plugin& plugin, std::string path);
    /// Opens the same clip for another thread. The two share what was learned of the file.
    Clip(const Plugin& plugin, const Clip& other);

    [[nodiscard]] const Plugin& plugin() const { return m_plugin; }
    [[nodiscard]] const std::string& path() const { return m_path; }
    [[nodiscard]] const QMXSYSTEM& system() const { return m_system; }
    [[nodiscard]] const QMXVIDEO& video() const { return m_video; }
    [[nodiscard]] const QMXAUDIO& audio() const { return m_audio; }
    [[nodiscard]] const ClipInformation& information() const { return m_information; }

    [[nodiscard]] std::uint32_t frames() const { return m_frames; }
    [[nodiscard]] std::uint32_t width() const { return static_cast<std::uint32_t>(m_video.biWidth); }
    [[nodiscard]] std::uint32_t height() const { return static_cast<std::uint32_t>(m_video.biHeight); }
    /// Bytes of one frame's mosaic.
    [[nodiscard]] std::uint64_t frameBytes() const { return std::uint64_t{width()} * height() * 2; }
    /// Audio samples per video frame, from the descriptions that the reader gives any host.
    [[nodiscard]] CAMediaFile::AudioCadence audioCadence() const {
        return ::audioCadence(m_audio.nSamplesPerSec, m_video.stream);
    }
    /// Frames per second as the header of the file states them. The reader delivers the nearest rate of a
    /// table. Nothing when the header cannot be read or states no number above 0.
    [[nodiscard]] std::optional<float> statedRate() const;
    /// User bits of the start timecode in the file's header (SMPTE ST 331, bytes 4 to 7).
    [[nodiscard]] std::array<std::uint8_t, 4> statedUserBits() const;
    /// The filter pattern of the mosaic as the reader names it, four characters: "grbg".
    [[nodiscard]] std::string mosaicPattern() const;
    [[nodiscard]] TimecodeCounting counting() const;
    /// A frame's timecode as a frame number, and as text.
    [[nodiscard]] std::uint32_t timecodeNumber(std::uint32_t frame) const {
        return m_information.number(InfoNumber::tcStartFrame) + frame;
    }
    [[nodiscard]] std::string timecode(std::uint32_t frame) const {
        return timecodeText(timecodeNumber(frame), counting());
    }

    [[nodiscard]] Picture makePicture() const { return {width(), height()}; }
    [[nodiscard]] FrameReading read(std::uint32_t frame, Picture& picture) {
        return read(frame, picture.samples());
    }
    /// Reads a frame into the caller's memory: width() * height() samples.
    [[nodiscard]] FrameReading read(std::uint32_t frame, std::span<std::uint16_t> samples);
    /// The clip's file as its own parser sees it. Not while a frame is being read.
    [[nodiscard]] ClipFile& file() { return m_check->file(); }

  private:
    Clip(const Plugin& plugin, std::string path, const FrameCheck* known);

    const Plugin& m_plugin;
    std::string m_path;
    Plugin::Reader m_reader;
    QMXSYSTEM m_system{};
    QMXVIDEO m_video{};
    QMXAUDIO m_audio{};
    ClipInformation m_information;
    std::uint32_t m_frames = 0;
    bool m_dropFrame = false; // how the camera counts the timecode
    std::optional<FrameCheck> m_check;
    std::optional<RecordHeader> m_firstHeader;
};
