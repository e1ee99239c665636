// A frame record that was found. It takes few bytes, because a source may have a million.
#pragma once

#include "krw/byte_view.h"
#include "krw/frame_record.h"
#include "tools/clip/timecode.h"

#include <cstdint>
#include <limits>
#include <string>

enum class RecordState : std::uint8_t {
    whole,     // every plane's codes end inside its data; judgeFrames looks at the bytes behind them
    damaged,   // a plane breaks off or runs past its data
    cutShort,  // the source ends before the record does
    scattered, // the parts lie too far apart for one record
    claimed,   // its bytes belong to another frame, which is whole
};

struct FoundRecord {
    std::uint64_t danraw = 0;          // place of the DANRAW_HEADER in the source
    std::uint64_t identity = 0;        // of geometry, rate, camera and production
    std::uint64_t size = 0;            // bytes of the record, from its start
    std::uint32_t danrawOffset = 0;    // from the record's start
    std::uint32_t length = 0;          // distance to the next record as the header states it
    std::uint32_t timecode = 0;        // as a number of frames
    std::uint32_t bytesLeft = 0;       // most bytes behind a plane's codes
    std::uint16_t framesPerSecond = 0; // nominal: frame numbers in a second of timecode
    RecordState state = RecordState::damaged;
    bool dropFrame = false;
    bool hasTimecode = false;
    bool hasFileHeader = false;

    /// Negative when the source begins between the start of the record and its DANRAW_HEADER.
    [[nodiscard]] std::int64_t start() const { return static_cast<std::int64_t>(danraw) - danrawOffset; }
    [[nodiscard]] std::int64_t end() const { return start() + static_cast<std::int64_t>(size); }
    [[nodiscard]] TimecodeCounting counting() const { return {framesPerSecond, dropFrame}; }
};

/// True when two headers share what all records of a clip share. A damaged header may differ.
[[nodiscard]] inline bool isOfSameClip(const FoundRecord& first, const FoundRecord& second) {
    return first.identity == second.identity && first.danrawOffset == second.danrawOffset;
}

/// A hash of what all records of a clip share: geometry, rate, camera and production.
[[nodiscard]] std::uint64_t identityOf(ByteView danraw);

/// A text of the header, without the NULs behind it.
[[nodiscard]] std::string headerText(ByteView danraw, krwfile::danraw::TextField field);

/// Fills in what the header states. The record starts `danrawOffset` bytes before the header.
void describeRecord(FoundRecord& record, ByteView danraw, std::uint32_t danrawOffset);

/// True when the parts of the record lie together, as a camera writes them.
[[nodiscard]] bool liesTogether(ByteView danraw, std::uint32_t danrawOffset);
