// Writing TIFF files into memory through libtiff, with the tags of CinemaDNG that libtiff does not know.
#pragma once

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

/// One TIFF file under way. Failures throw std::runtime_error.
class MemoryTiff final {
  public:
    /// `expectedSize` bytes are reserved; the file may become larger.
    explicit MemoryTiff(std::size_t expectedSize);

    /// Sets one tag; the values are what TIFFSetField takes for it.
    template <class... Values>
    void set(std::uint32_t tag, Values... values) {
        // libtiff's own interface.
        if (TIFFSetField(m_tiff.get(), tag, values...) != 1) // NOLINT(cppcoreguidelines-pro-type-vararg)
            throw std::runtime_error("TIFF tag " + std::to_string(tag) + " cannot be set");
    }

    /// Sets an SRATIONAL tag of one value. libtiff holds such values as floating point and would store a
    /// neighbour of 30000/1001; this puts the very terms into the file.
    void setRational(std::uint32_t tag, std::int32_t numerator, std::int32_t denominator);

    /// Writes the directory, then the picture as its only strip: readers that guess at the place of a
    /// directory find it near the file's start. Hands the file's bytes over; nothing can be done to it after
    /// that.
    [[nodiscard]] std::vector<std::uint8_t> finish(std::span<const std::uint16_t> samples);

    struct Storage {
        std::vector<std::uint8_t> bytes;
        std::uint64_t position = 0;
    };

  private:
    struct Rational {
        std::uint32_t tag;
        std::int32_t numerator;
        std::int32_t denominator;
    };
    struct Closer {
        void operator()(TIFF* tiff) const { TIFFClose(tiff); }
    };

    Storage m_storage; // outlives the handle that writes to it
    std::unique_ptr<TIFF, Closer> m_tiff;
    std::vector<Rational> m_rationals;
};

/// True when the file at `path` is a TIFF file with a whole picture of that size.
[[nodiscard]] bool isWholeTiff(const std::string& path, std::uint32_t width, std::uint32_t height);
