// What follows from a clip's frame rate: rate and scale for the host, timecode bases, and audio samples per
// video frame.
#pragma once

#include "host/media_file.h"

#include <cstdint>

struct FrameRate {
    std::uint32_t rate; // rate / scale = frames per second
    std::uint32_t scale;
    std::uint32_t startTimecodeBase; // base in which the clip's start timecode counts, of tcbase
};

/// The host's frame rate for the frames per second that a clip states. NaN gets the rate of the fastest
/// clips.
[[nodiscard]] FrameRate frameRate(float framesPerSecond);

/// Timecode base that is reported to the host for a rate, of tcbase.
[[nodiscard]] std::uint32_t timecodeBase(std::uint32_t rate);

/// Audio samples per video frame as a fraction. Powers of ten that both terms share are cancelled.
[[nodiscard]] CAMediaFile::AudioCadence audioCadence(std::uint32_t samplesPerSecond, const QMXSTREAM& video);
