#include "tools/cli/frame_selection.h"

#include "tools/cli/usage_error.h"

#include <algorithm>
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

} // namespace

FrameRange selectedRange(const std::string& text, std::uint32_t frames, const std::string& clip) {
    if (frames == 0) throw UsageError(fmt::format("{}: the clip has no frames", clip));
    if (text.empty()) return {0, frames};
    const std::string_view range(text);
    const std::size_t dash = range.find('-');
    const auto first = wholeNumber(range.substr(0, dash));
    const bool open = dash != std::string_view::npos && dash + 1 == range.size();
    const auto last = dash == std::string_view::npos ? first
                      : open                         ? std::optional(frames - 1)
                                                     : wholeNumber(range.substr(dash + 1));
    if (!first || !last || (!open && *first > *last))
        throw UsageError(fmt::format("{}: \"{}\" is no frame range (expected A-B, A- or A)", clip, text));
    if (*first >= frames || *last >= frames)
        throw UsageError(fmt::format("{}: frames {} are outside the clip, which has frames 0 to {}", clip,
                                     text, frames - 1));
    return {*first, *last - *first + 1};
}

PartNumber selectedPart(const FrameSelection& selection, const std::string& clip) {
    if (selection.part.empty()) return {};
    const std::string_view part(selection.part);
    const std::size_t slash = std::min(part.find('/'), part.size());
    const std::uint32_t index = wholeNumber(part.substr(0, slash)).value_or(0);
    const std::uint32_t parts = slash < part.size() ? wholeNumber(part.substr(slash + 1)).value_or(0) : 0;
    if (index == 0 || index > parts)
        throw UsageError(
            fmt::format("{}: \"{}\" is no part (expected I/N with I from 1 to N)", clip, selection.part));
    return {index, parts};
}

FrameRange selectedFrames(const FrameSelection& selection, std::uint32_t frames, const std::string& clip) {
    const FrameRange whole = selectedRange(selection.range, frames, clip);
    const auto [index, parts] = selectedPart(selection, clip);
    if (index == 0) return whole;
    const auto begin = static_cast<std::uint32_t>(std::uint64_t{whole.count} * (index - 1) / parts);
    const auto end = static_cast<std::uint32_t>(std::uint64_t{whole.count} * index / parts);
    return {whole.first + begin, end - begin};
}
