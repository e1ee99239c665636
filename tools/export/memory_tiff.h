// Writing TIFF files into memory through libtiff, with the tags of CinemaDNG that libtiff does not know.
#pragma once

#include "tools/clip/rational_rate.h"
#include "tools/export/encoded_file.h"

#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <tiffio.h>
#include <vector>

/// Tags of CinemaDNG.
inline constexpr std::uint32_t kTagTimeCodes = 51043; // 8 bytes for each timecode
inline constexpr std::uint32_t kTagFrameRate = 51044;
inline constexpr std::uint32_t kTagReelName = 51081;
inline constexpr std::uint32_t kTagCameraLabel = 51105;

/// One TIFF file under way. Failures throw std::runtime_error.
class MemoryTiff final {
  public:
    MemoryTiff();

    /// Sets one tag; the values are what TIFFSetField takes for it.
    template <class... Values>
    void set(std::uint32_t tag, Values... values) {
        // libtiff's own interface.
        if (TIFFSetField(m_tiff.get(), tag, values...) != 1) // NOLINT(cppcoreguidelines-pro-type-vararg)
            throw std::runtime_error("TIFF tag " + std::to_string(tag) + " cannot be set");
    }

    /// Sets a RATIONAL or SRATIONAL tag of one value. libtiff rounds through floating point; this stores both
    /// terms exactly.
    void setRational(std::uint32_t tag, const Rational& value);

    /// Tags that are set between these two calls go into the EXIF directory. Make both calls before other
    /// tags are set.
    void beginExif();
    void endExif();

    /// Returns the file: the directory, then the strips or tiles as they are coded, each at an even offset.
    /// Readers that guess where a directory is find it near the start of the file. The file borrows the
    /// chunks. This object must not be used after that.
    [[nodiscard]] EncodedFile finish(const std::vector<std::span<const std::uint8_t>>& chunks);

    /// The file that libtiff writes to. It refers to the chunks and does not copy them.
    struct Storage {
        std::vector<std::uint8_t> head;
        std::vector<std::span<const std::uint8_t>> chunks;
        std::uint64_t chunkBytes = 0; // including padding to even offsets
        std::vector<std::uint8_t> tail;
        std::uint64_t position = 0;
        const void* nextChunk = nullptr; // data that libtiff writes from this address is a chunk

        /// Where the first chunk begins, or would begin.
        [[nodiscard]] std::uint64_t headEnd() const { return head.size() + head.size() % 2; }
        [[nodiscard]] std::uint64_t size() const { return headEnd() + chunkBytes + tail.size(); }
    };

  private:
    struct RationalTag {
        std::uint32_t tag;
        Rational value;
    };
    struct Closer {
        void operator()(TIFF* tiff) const { TIFFClose(tiff); }
    };

    void storeRationals(std::uint64_t directory);
    void writeChunks(const std::vector<std::span<const std::uint8_t>>& chunks);

    Storage m_storage; // outlives the handle that writes to it
    std::unique_ptr<TIFF, Closer> m_tiff;
    std::vector<RationalTag> m_rationals; // of the directory under way
};
