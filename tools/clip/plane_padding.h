// Padding: the bytes behind the codes in the data of a plane. Cameras fill planes up to whole blocks. The
// block size is learned from some planes of the clip. It tells padding from data that a damaged stream left
// unread.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

/// The padding of one plane.
struct PlanePadding {
    std::uint32_t size = 0; // bytes of data
    std::uint32_t left = 0; // bytes behind the codes; the byte in which the codes end is not one of them
};

/// The padding of a plane of `size` bytes whose codes take `bits`. Nothing when the codes do not end inside
/// the data.
[[nodiscard]] std::optional<PlanePadding> planePadding(std::uint32_t size, std::uint64_t bits);

/// The padding of a clip.
class ClipPadding {
  public:
    /// A clip without padding: codes end in the last byte.
    ClipPadding() = default;
    /// Learns from some planes of a clip, most of which should be whole. Finds any block size, also with a
    /// fixed number of bytes behind the blocks.
    explicit ClipPadding(std::span<const PlanePadding> planes);

    [[nodiscard]] bool isUsual(std::uint32_t left) const { return left <= m_mostUsual; }
    /// Bytes behind a plane's codes, at most.
    [[nodiscard]] std::uint32_t mostUsual() const { return m_mostUsual; }

  private:
    std::uint32_t m_mostUsual = 0;
};
