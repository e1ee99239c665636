// Sets of frames of a clip. They are kept as runs, because a clip can have hundreds of millions of frames.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <vector>

/// Frames in equal steps; none for a count of 0.
struct FrameRun {
    std::uint32_t first = 0;
    std::uint32_t count = 0;
    std::uint32_t step = 1; // above 0

    /// Of a run that is not empty.
    [[nodiscard]] std::uint32_t last() const { return first + (count - 1) * step; }
    [[nodiscard]] bool operator==(const FrameRun&) const = default;
};

/// Consecutive frames; none for a count of 0.
struct FrameRange {
    std::uint32_t first = 0;
    std::uint32_t count = 0;
};

/// Frames in ascending order, each of them once.
class FrameSet final {
  public:
    FrameSet() = default;
    FrameSet(const FrameRange& range); // NOLINT(google-explicit-constructor): a range is a set of frames
    /// Runs in any order. A frame that several runs have is in the set once.
    explicit FrameSet(std::vector<FrameRun> runs);

    /// The runs in ascending order. No run begins before the one before it has ended.
    [[nodiscard]] const std::vector<FrameRun>& runs() const { return m_runs; }
    [[nodiscard]] std::uint32_t size() const { return m_size; }
    [[nodiscard]] bool contains(std::uint32_t frame) const;
    /// The frame at position `index`, which is below the size.
    [[nodiscard]] std::uint32_t at(std::uint32_t index) const;
    /// `count` frames from position `index` on; fewer when the set ends before.
    [[nodiscard]] FrameSet part(std::uint32_t index, std::uint32_t count) const;

    /// Goes through the frames.
    class Iterator final {
      public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = std::uint32_t;
        using difference_type = std::ptrdiff_t;
        using pointer = const std::uint32_t*;
        using reference = std::uint32_t;

        Iterator(const std::vector<FrameRun>& runs, std::size_t run) : m_runs(&runs), m_run(run) {}

        [[nodiscard]] std::uint32_t operator*() const {
            return (*m_runs)[m_run].first + m_index * (*m_runs)[m_run].step;
        }
        Iterator& operator++() {
            if (++m_index < (*m_runs)[m_run].count) return *this;
            ++m_run;
            m_index = 0;
            return *this;
        }
        Iterator operator++(int) {
            const Iterator before = *this;
            ++*this;
            return before;
        }
        [[nodiscard]] bool operator==(const Iterator&) const = default;

      private:
        const std::vector<FrameRun>* m_runs;
        std::size_t m_run;
        std::uint32_t m_index = 0;
    };
    [[nodiscard]] Iterator begin() const { return {m_runs, 0}; }
    [[nodiscard]] Iterator end() const { return {m_runs, m_runs.size()}; }

  private:
    void append(std::uint32_t frame);

    std::vector<FrameRun> m_runs; // none is empty
    std::uint32_t m_size = 0;
};
