// What lies behind the codes in a plane's data. Cameras fill planes up to whole blocks. How a clip does it is
// learned from some of its planes, so that padding is told from data that a damaged stream left behind.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

/// How a plane is padded.
struct PlanePadding {
    std::uint32_t size = 0; // bytes of data
    std::uint32_t left = 0; // of them behind the codes; the byte in which the codes end counts as used
};

/// Nothing when the plane's codes, so many bits, do not end inside its data.
[[nodiscard]] std::optional<PlanePadding> planePadding(std::uint32_t size, std::uint64_t bits);

/// The padding of a clip.
class ClipPadding {
  public:
    /// Without padding: codes end in the last byte.
    ClipPadding() = default;
    /// Learns from planes of a clip, most of which should be whole; the planes of a frame follow one another.
    /// They need not be all of the clip's. Whatever size a clip's planes are filled up to a multiple of, all
    /// its planes have usual padding then, also when a fixed number of bytes follows.
    explicit ClipPadding(std::span<const PlanePadding> planes);

    [[nodiscard]] bool isUsual(std::uint32_t left) const { return left <= m_mostUsual; }
    /// Bytes behind a plane's codes, at most.
    [[nodiscard]] std::uint32_t mostUsual() const { return m_mostUsual; }

  private:
    std::uint32_t m_mostUsual = 0;
};
