#include "tools/cli/report_text.h"

#include "tools/cli/console.h"
#include "tools/clip/rational_rate.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <string_view>

namespace {

using Out = std::back_insert_iterator<std::string>;

void row(Out out, std::string_view label, std::string_view value) {
    fmt::format_to(out, "  {:<12} {}\n", label, console::printable(value));
}

std::string pictureText(const Clip& clip) {
    const QMXVIDEO& video = clip.video();
    const std::uint32_t aspect = clip.information().number(InfoNumber::aspectRatio);
    return fmt::format("{} x {} ({}:{}), {}-bit mosaic \"{}\", {:.1f} MB a frame", clip.width(),
                       clip.height(), aspect >> 16, aspect & 0xFFFFU, video.biBitCount, clip.mosaicPattern(),
                       static_cast<double>(clip.frameBytes()) / 1e6);
}

/// The rate that the reader delivers, and the one in the header where the two differ.
std::string rateText(const Clip& clip) {
    const QMXSTREAM& stream = clip.video().stream;
    std::string text =
        fmt::format("{:.6g} frames/s ({}/{})", static_cast<double>(stream.dwRate) / stream.dwScale,
                    stream.dwRate, stream.dwScale);
    const std::optional<float> stated = clip.statedRate();
    if (stated && rationalRate(*stated) != Rational{stream.dwRate, stream.dwScale})
        text += fmt::format("; the header states {:.6g}", *stated);
    return text;
}

std::string lengthText(const Clip& clip) {
    const QMXSTREAM& stream = clip.video().stream;
    const double seconds = static_cast<double>(clip.frames()) * stream.dwScale / stream.dwRate;
    return fmt::format("{} frames, {:.2f} s", clip.frames(), seconds);
}

std::string timecodeSpan(const Clip& clip) {
    const std::uint32_t last = clip.frames() > 0 ? clip.frames() - 1 : 0;
    return fmt::format("{} to {} ({}, starts at frame number {})", clip.timecode(0), clip.timecode(last),
                       clip.counting().dropFrame ? "drop-frame" : "non-drop", clip.timecodeNumber(0));
}

std::string levelsText(const ClipInformation& information) {
    return fmt::format("black {}, white {}", information.number(InfoNumber::rawBlackCodeValue),
                       information.number(InfoNumber::rawWhiteCodeValue));
}

std::string audioText(const Clip& clip) {
    const QMXAUDIO& audio = clip.audio();
    const CAMediaFile::AudioCadence cadence = clip.audioCadence();
    const std::string channels = audio.nChannels == 0 ? "none" : fmt::format("{} channels", audio.nChannels);
    return fmt::format("{} ({} Hz, {}-bit, {}/{} samples a frame)", channels, audio.nSamplesPerSec,
                       audio.wBitsPerSample, cadence.m_audFrameNum, cadence.m_audFrameDen);
}

void triedFrames(Out out, const std::vector<TriedFrame>& tried) {
    const auto good = std::count_if(tried.begin(), tried.end(), [](const TriedFrame& frame) {
        return frame.reading.state == FrameReading::State::ok;
    });
    row(out, "Frames read",
        fmt::format("{} of {} tried are in order (krw verify reads all)", good, tried.size()));
    for (const TriedFrame& frame : tried) {
        if (frame.reading.state == FrameReading::State::ok) continue;
        row(out, "",
            fmt::format("frame {} {}: {}", frame.frame, stateName(frame.reading.state),
                        frame.reading.reason));
    }
}

void itemRows(Out out, const std::vector<NamedItem>& items) {
    fmt::format_to(out, "\nItems, and where each comes from\n");
    for (const NamedItem& item : items)
        if (!item.isText || !item.text.empty())
            fmt::format_to(out, "  {:<22} {:<9} {}\n", item.name, sourceName(item.source),
                           item.isText ? console::printable(item.text) : numberText(item));
    std::string unnamed;
    for (const NamedItem& item : items)
        if (item.isText && item.text.empty())
            unnamed += fmt::format("{}{}", unnamed.empty() ? "" : ", ", item.name);
    if (!unnamed.empty()) fmt::format_to(out, "  empty: {}\n", unnamed);
}

/// The document keeps its line ends. Other control characters are shown as \xNN.
void document(Out out, std::string_view text, ItemSource source) {
    fmt::format_to(out, "\nDevice metadata document ({})\n", sourceName(source));
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        const std::size_t indent = line.starts_with('\t') ? 1 : 0;
        line.remove_prefix(indent);
        fmt::format_to(out, "  {}{}\n", indent == 1 ? "  " : "", console::printable(line));
    }
}

} // namespace

std::string reportText(const ClipReport& report) {
    const Clip& clip = report.clip;
    std::string text = fmt::format("{}\n", console::printable(clip.path()));
    const Out out(text);
    row(out, "Format", report.description);
    row(out, "Picture", pictureText(clip));
    row(out, "Rate", rateText(clip));
    row(out, "Length", lengthText(clip));
    row(out, "Timecode", timecodeSpan(clip));
    row(out, "Levels", levelsText(clip.information()));
    row(out, "Audio", audioText(clip));
    if (report.table) row(out, "Frame table", describeTable(*report.table));
    triedFrames(out, report.tried);
    itemRows(out, report.items);
    if (clip.information().isSet(InfoText::deviceMetadata))
        document(out, clip.information().text(InfoText::deviceMetadata), report.documentSource);
    return text;
}
