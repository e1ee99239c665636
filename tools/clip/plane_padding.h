// Padding: the bytes behind the codes in a plane's data. Cameras fill planes up to whole blocks. The block
// size is learned from some of the clip's planes. So padding can be told from data that a damaged stream left
// behind.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

/// How a plane is padded.
struct PlanePadding {
    std::uint32_t size = 0; // bytes of data
    std::uint32_t left = 0; // of them behind the codes; the byte in which the codes end counts as used
};

/// The padding of a plane of `size` bytes whose codes take `bits`. Nothing is returned when the codes do not
/// end inside the data.
[[nodiscard]] std::optional<PlanePadding> planePadding(std::uint32_t size, std::uint64_t bits);

/// The padding of a clip.
class ClipPadding {
  public:
    /// Without padding: codes end in the last byte.
    ClipPadding() = default;
    /// Learns from some planes of a clip, frame after frame. Most of them should be whole. Any block size is
    /// learned, also with a fixed number of bytes behind it.
    explicit ClipPadding(std::span<const PlanePadding> planes);

    [[nodiscard]] bool isUsual(std::uint32_t left) const { return left <= m_mostUsual; }
    /// Bytes behind a plane's codes, at most.
    [[nodiscard]] std::uint32_t mostUsual() const { return m_mostUsual; }

  private:
    std::uint32_t m_mostUsual = 0;
};
