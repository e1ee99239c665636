// What a host does with a clip, drawn from the clip itself.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <span>

/// Numbers that bytes 2 to 7 of a clip choose, which no reader looks at.
class Choices {
  public:
    explicit Choices(std::span<const std::uint8_t> clip) {
        constexpr std::size_t kOffset = 2;
        constexpr std::size_t kSize = 6;
        const auto behind = clip.subspan(std::min(clip.size(), kOffset));
        const auto bytes = behind.first(std::min(behind.size(), kSize));
        std::seed_seq seed(bytes.begin(), bytes.end());
        m_random.seed(seed);
    }
    /// 0 to limit - 1.
    std::uint32_t below(std::uint32_t limit) { return static_cast<std::uint32_t>(m_random() % limit); }

  private:
    std::minstd_rand m_random;
};
