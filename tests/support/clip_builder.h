// Clips in memory for tests. The clip writer makes legal clips. An illegal clip is a legal one in which a
// field is overwritten. The field is named by its offset in krw/format.h.
#pragma once

#include "krw/format.h"
#include "krw/little_endian.h"
#include "tools/synth/clip_writer.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// A mosaic of random samples in 0 to `largest` (at most 4095, what the coding reaches from one to the next).
/// The same seed gives the same mosaic.
[[nodiscard]] Mosaic randomMosaic(std::uint32_t width, std::uint32_t height, std::uint32_t seed,
                                  std::uint16_t largest = 4095);

/// `count` random mosaics with seeds from 1.
[[nodiscard]] std::vector<Mosaic> randomMosaics(std::size_t count, std::uint32_t width, std::uint32_t height);

/// The bytes of a clip and the places of its parts. A field outside the bytes, or a tag that the header
/// lacks, makes a function throw.
class TestClip {
  public:
    std::vector<std::uint8_t> bytes;
    std::vector<std::uint64_t> recordStarts;
    std::uint32_t danrawOffset = 0;

    /// Overwrites a value at a known offset of the file: byte order, entry count and others.
    template <std::unsigned_integral Value>
    void set(std::uint64_t offset, Value value) {
        storeLittleEndian<Value>(bytes, checked(offset, sizeof(Value)), value);
    }
    /// The value word of the header entry with this tag.
    void setTag(std::uint16_t tag, std::uint32_t value);
    /// Gives the header entry with this tag another one, 0 for a tag that no reader knows.
    void renameTag(std::uint16_t tag, std::uint16_t newTag);

    /// A field of a frame's DANRAW_HEADER.
    template <std::unsigned_integral Value>
    void setDanraw(std::size_t frame, std::size_t field, Value value) {
        set(danrawAt(frame) + field, value);
    }
    /// The text and, behind it, NULs up to the field's end.
    void setText(std::size_t frame, krwfile::danraw::TextField field, std::string_view text);
    void setFramesPerSecond(std::size_t frame, float framesPerSecond);

    /// A field of a plane descriptor.
    template <std::unsigned_integral Value>
    void setPlane(std::size_t frame, std::size_t index, std::size_t field, Value value) {
        set(planeAt(frame, index) + field, value);
    }
    void setCodeTable(std::size_t frame, std::size_t index, const kinedec::CodeTable& table);
    /// The plane's coded bytes, to read or to spoil in place.
    [[nodiscard]] std::span<std::uint8_t> planeData(std::size_t frame, std::size_t index);
    /// Moves a plane's coded bytes to another place, counted from the record's start: over what is there, or
    /// past the end of the bytes, which then grow.
    void movePlane(std::size_t frame, std::size_t index, std::uint32_t dataOffset);

    /// A field of the trailer.
    template <std::unsigned_integral Value>
    void setTrailer(std::size_t field, Value value) {
        set(trailerAt() + field, value);
    }
    /// Appends a stored table and a trailer to a clip that was made without. The table has the record starts.
    void addStoredTable();

    /// Appends a record as it stands, whatever its size, behind what is there.
    void addRecord(std::span<const std::uint8_t> record);
    /// Keeps the first `size` bytes.
    void cut(std::size_t size) { bytes.resize(checked(0, size) + size); }

    [[nodiscard]] std::uint64_t danrawAt(std::size_t frame) const;
    [[nodiscard]] std::uint64_t planeAt(std::size_t frame, std::size_t index) const;
    [[nodiscard]] std::uint64_t trailerAt() const;

  private:
    [[nodiscard]] std::uint64_t checked(std::uint64_t offset, std::size_t size) const;
    [[nodiscard]] std::uint64_t tagAt(std::uint16_t tag) const;
};

/// A clip of these frames, with a stored table when the description has one.
[[nodiscard]] TestClip makeClip(const ClipDescription& description, std::span<const Mosaic> frames);
/// A clip of `frames` random mosaics with seeds from 1, all defaults.
[[nodiscard]] TestClip makeClip(std::size_t frames, std::uint32_t width = 16, std::uint32_t height = 8);

/// A chain of records that are a DANRAW_HEADER each: no picture, no file header, no stored table. Each record
/// starts `step` bytes behind the one before, and states that length; the last one too. Records may overlap.
/// With a step of 10 bytes or more, no signature or length overlaps another.
[[nodiscard]] TestClip makeRecordChain(std::size_t records, std::uint32_t step, std::uint32_t danrawOffset);

/// Writes a clip that was made without a stored table to a sparse file. Each record after the first starts
/// `gap` bytes behind the end of the one before, and the record lengths say so. A stored table follows, if
/// asked for. Returns the starts of the records.
std::vector<std::uint64_t> writeSparseClip(const std::string& path, const TestClip& clip, std::uint32_t gap,
                                           bool storedTable);
