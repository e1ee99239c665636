#include "tools/cli/frame_selection.h"

#include "tools/cli/usage_error.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <fmt/format.h>
#include <optional>
#include <string_view>

namespace {

std::optional<std::uint32_t> wholeNumber(std::string_view text) {
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return number;
}

/// Reads the items of a list from the front.
class ListReader final {
  public:
    ListReader(const FrameNames& names, std::string_view list) : m_names(names), m_list(list), m_rest(list) {}

    [[nodiscard]] std::vector<FrameRun> read() {
        std::vector<FrameRun> runs{readRun()};
        while (take(','))
            runs.push_back(readRun());
        if (!m_rest.empty()) refuse();
        return runs;
    }

  private:
    [[nodiscard]] FrameRun readRun() {
        const std::uint32_t first = readFrame();
        std::uint32_t last = first;
        const bool isRange = take('-');
        if (isRange) last = m_rest.empty() || isAtEnd() ? m_names.frames - 1 : readFrame();
        std::uint32_t step = 1;
        if (isRange && take(':')) step = readNumber();
        if (last < first || step == 0) refuse();
        return {first, (last - first) / step + 1, step};
    }

    /// A range without an upper end is followed by a step or the next item.
    [[nodiscard]] bool isAtEnd() const { return m_rest.front() == ',' || m_rest.front() == ':'; }

    [[nodiscard]] std::uint32_t readFrame() {
        constexpr std::string_view kTimecode = "dd:dd:dd:dd";
        const std::string_view head = m_rest.substr(0, kTimecode.size());
        const bool isTimecode = std::ranges::equal(head, kTimecode, [](unsigned char found, char expected) {
            return expected == 'd' ? std::isdigit(found) != 0 : found == ':' || found == ';';
        });
        if (!isTimecode) return readNumber(m_names.frames);
        m_rest.remove_prefix(head.size());
        return frameAt(head);
    }

    [[nodiscard]] std::uint32_t frameAt(std::string_view timecode) const {
        const auto digits = [timecode](std::size_t at) {
            return wholeNumber(timecode.substr(at, 2)).value();
        };
        const auto number = timecodeNumber({digits(0), digits(3), digits(6), digits(9)}, m_names.counting);
        const std::uint64_t day = timecodesADay(m_names.counting);
        const std::uint64_t first = m_names.firstTimecode % day;
        const std::uint64_t frame = number ? (*number + day - first) % day : day;
        if (frame >= m_names.frames)
            throw UsageError(
                fmt::format("{}: timecode {} is not in the clip, which has {} to {}", m_names.clip, timecode,
                            timecodeText(m_names.firstTimecode, m_names.counting),
                            timecodeText(m_names.firstTimecode + m_names.frames - 1, m_names.counting)));
        return static_cast<std::uint32_t>(frame);
    }

    /// The number at the front, which has to be below the limit.
    [[nodiscard]] std::uint32_t readNumber(std::uint64_t limit = UINT64_MAX) {
        const auto* const end = std::ranges::find_if_not(
            m_rest, [](unsigned char character) { return std::isdigit(character) != 0; });
        const std::string_view digits(m_rest.begin(), end);
        const auto number = wholeNumber(digits);
        if (digits.empty() || (!number && limit > UINT32_MAX)) refuse();
        if (!number || *number >= limit)
            throw UsageError(fmt::format("{}: frames {} are outside the clip, which has frames 0 to {}",
                                         m_names.clip, m_list, m_names.frames - 1));
        m_rest.remove_prefix(digits.size());
        return *number;
    }

    bool take(char sign) {
        if (!m_rest.starts_with(sign)) return false;
        m_rest.remove_prefix(1);
        return true;
    }

    [[noreturn]] void refuse() const {
        throw UsageError(
            fmt::format("{}: \"{}\" is no list of frames (expected items A, A-B or A-, separated by commas, "
                        "A and B numbers or timecodes, and :STEP behind a range)",
                        m_names.clip, m_list));
    }

    const FrameNames& m_names;
    std::string_view m_list;
    std::string_view m_rest;
};

} // namespace

FrameNames frameNames(const Clip& clip) {
    return {clip.path(), clip.frames(), clip.timecodeNumber(0), clip.counting()};
}

PartNumber selectedPart(const FrameSelection& selection) {
    if (selection.part.empty()) return {};
    const std::string_view part(selection.part);
    const std::size_t slash = std::min(part.find('/'), part.size());
    const std::uint32_t index = wholeNumber(part.substr(0, slash)).value_or(0);
    const std::uint32_t parts = slash < part.size() ? wholeNumber(part.substr(slash + 1)).value_or(0) : 0;
    if (index == 0 || index > parts)
        throw UsageError(
            fmt::format("--part: \"{}\" is no part (expected I/N with I from 1 to N)", selection.part));
    return {index, parts};
}

FrameSet selectedFrames(const FrameSelection& selection, const FrameNames& names) {
    if (names.frames == 0) throw UsageError(fmt::format("{}: the clip has no frames", names.clip));
    FrameSet whole = selection.list.empty() ? FrameSet(FrameRange{0, names.frames})
                                            : FrameSet(ListReader(names, selection.list).read());
    const auto [index, parts] = selectedPart(selection);
    if (index == 0) return whole;
    const auto begin = static_cast<std::uint32_t>(std::uint64_t{whole.size()} * (index - 1) / parts);
    const auto end = static_cast<std::uint32_t>(std::uint64_t{whole.size()} * index / parts);
    return whole.part(begin, end - begin);
}

FrameSet selectedFrames(const FrameSelection& selection, const Clip& clip) {
    return selectedFrames(selection, frameNames(clip));
}
