#include "tools/recover/recovery_report.h"

#include "krw/frame_rate.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <iterator>
#include <nlohmann/json.hpp>

namespace {

namespace danraw = krwfile::danraw;
using Json = nlohmann::ordered_json;

/// Values from the header of the first record of a clip.
struct ClipDetails {
    FrameSize size;
    FrameRate rate;
    std::string camera;     // manufacturer, model, serial number
    std::string production; // project, director, scene and take
};

std::string joined(std::initializer_list<std::string> texts) {
    std::string all;
    for (const std::string& text : texts)
        if (!text.empty()) all += (all.empty() ? "" : ", ") + text;
    return all;
}

const FoundRecord& firstRecord(const Findings& findings, const ClipFindings& clip) {
    return findings.records[clip.found.records.front()];
}
const FoundRecord& lastRecord(const Findings& findings, const ClipFindings& clip) {
    return findings.records[clip.found.records.back()];
}

ClipDetails detailsOf(const RecoveryReport& report, const ClipFindings& clip) {
    std::array<std::uint8_t, danraw::kSize> bytes{};
    report.source.read(static_cast<std::int64_t>(firstRecord(report.findings, clip).danraw), bytes);
    const ByteView header(bytes);
    const auto text = [&header](danraw::TextField field) { return headerText(header, field); };
    return {
        frameSize(header), frameRate(header.f32(danraw::kFramesPerSecond)),
        joined({text(danraw::kManufacturer), text(danraw::kModelName), text(danraw::kSerialNo)}),
        joined({text(danraw::kProject), text(danraw::kDirectorName),
                fmt::format("scene {}, take {}", header.i32(danraw::kScene), header.i32(danraw::kTake))})};
}

std::string timecodeOf(const FoundRecord& record) {
    return record.hasTimecode ? timecodeText(record.timecode, record.counting()) : "--:--:--:--";
}

double framesPerSecond(const ClipDetails& details) {
    return static_cast<double>(details.rate.rate) / details.rate.scale;
}

const char* nameOf(HeaderOrigin origin) {
    switch (origin) {
    case HeaderOrigin::ownRecord:
        return "own";
    case HeaderOrigin::anotherRecord:
        return "another record";
    case HeaderOrigin::rebuilt:
        break;
    }
    return "rebuilt";
}

const Source::Part& partOf(const Source& source, const FoundRecord& record) {
    return source.parts()[source.partAt(record.danraw)];
}

/// Place of a record in its file.
std::int64_t placeOf(const Source& source, const FoundRecord& record) {
    return record.start() - static_cast<std::int64_t>(partOf(source, record).bytes.begin);
}

std::uint64_t framesMissing(const ClipFindings& clip) {
    std::uint64_t frames = 0;
    for (const MissingFrames& missing : clip.found.missing)
        frames += missing.frames;
    return frames;
}

bool allCounted(const ClipFindings& clip) {
    return std::ranges::none_of(clip.found.missing, [](const auto& missing) { return missing.frames == 0; });
}

/// Text from a file, safe for a terminal.
std::string shown(std::string text) {
    std::ranges::replace_if(
        text, [](char character) { return (character >= 0 && character < ' ') || character == 0x7F; }, '?');
    return text;
}

/// "1 frame", "2 frames"
std::string counted(std::uint64_t number, const char* thing) {
    return fmt::format("{} {}{}", number, thing, number == 1 ? "" : "s");
}

std::string missingText(std::uint64_t frames, bool isCounted) {
    if (isCounted) return fmt::format("{} missing", frames);
    return frames == 0 ? "some missing" : fmt::format("more than {} missing", frames);
}

std::string framesText(std::size_t whole, std::size_t damaged, std::uint64_t missing, bool isCounted) {
    return fmt::format("{} whole, {} damaged, {}", counted(whole, "frame"), damaged,
                       missingText(missing, isCounted));
}

std::string placeText(const Findings& findings, const ClipFindings& clip, const MissingFrames& missing) {
    if (missing.before == 0) return "at its beginning";
    if (missing.before == clip.found.records.size()) return "at its end";
    return "before " + timecodeOf(findings.records[clip.found.records[missing.before]]);
}

Json missingJson(const Findings& findings, const ClipFindings& clip) {
    Json list = Json::array();
    for (const MissingFrames& missing : clip.found.missing) {
        const bool isInside = missing.before < clip.found.records.size();
        list.push_back(
            {{"before",
              isInside ? Json(timecodeOf(findings.records[clip.found.records[missing.before]])) : Json()},
             {"frames", missing.frames == 0 ? Json() : Json(missing.frames)}});
    }
    return list;
}

Json clipJson(const RecoveryReport& report, std::size_t number) {
    const Findings& findings = report.findings;
    const ClipFindings& clip = findings.clips[number];
    const WrittenClip& written = report.written[number];
    const FoundRecord& first = firstRecord(findings, clip);
    const FoundRecord& last = lastRecord(findings, clip);
    const ClipDetails details = detailsOf(report, clip);
    Json damaged = Json::array();
    for (const DamagedFrame& frame : clip.frames.damaged) {
        const FoundRecord& record = findings.records[frame.record];
        damaged.push_back({{"timecode", timecodeOf(record)},
                           {"file", partOf(report.source, record).path},
                           {"offset", placeOf(report.source, record)},
                           {"reason", frame.reason}});
    }
    return {{"file", partOf(report.source, first).path},
            {"offset", placeOf(report.source, first)},
            {"width", details.size.width},
            {"height", details.size.height},
            {"frameRate", {{"numerator", details.rate.rate}, {"denominator", details.rate.scale}}},
            {"timecode", {{"first", timecodeOf(first)}, {"last", timecodeOf(last)}}},
            {"camera", details.camera},
            {"production", details.production},
            {"trailer", clip.found.hasTrailer},
            {"whole", clip.frames.whole.size()},
            {"damaged", std::move(damaged)},
            {"missing", missingJson(findings, clip)},
            {"output", written.path.empty() ? Json()
                                            : Json{{"file", written.path},
                                                   {"frames", written.frames},
                                                   {"header", nameOf(written.header)}}}};
}

} // namespace

std::string recoveryText(const RecoveryReport& report) {
    std::string text;
    auto out = std::back_inserter(text);
    for (std::size_t i = 0; i < report.findings.clips.size(); ++i) {
        const ClipFindings& clip = report.findings.clips[i];
        const WrittenClip& written = report.written[i];
        const FoundRecord& first = firstRecord(report.findings, clip);
        const ClipDetails details = detailsOf(report, clip);
        fmt::format_to(out, "clip {}: {}\n", i + 1,
                       framesText(clip.frames.whole.size(), clip.frames.damaged.size(), framesMissing(clip),
                                  allCounted(clip)));
        fmt::format_to(out, "  Picture     {} x {}, {:.6g} frames/s\n", details.size.width,
                       details.size.height, framesPerSecond(details));
        fmt::format_to(out, "  Timecode    {} to {}\n", timecodeOf(first),
                       timecodeOf(lastRecord(report.findings, clip)));
        fmt::format_to(out, "  Camera      {}\n", shown(details.camera));
        fmt::format_to(out, "  Production  {}\n", shown(details.production));
        fmt::format_to(out, "  Found at    byte {} of {}{}\n", placeOf(report.source, first),
                       partOf(report.source, first).path, clip.found.hasTrailer ? "" : ", without a trailer");
        if (written.path.empty()) continue;
        fmt::format_to(out, "  Written to  {}, {}\n", written.path, counted(written.frames, "frame"));
        if (written.header == HeaderOrigin::rebuilt)
            fmt::format_to(out, "  Header      made anew: black and white level are not known\n");
    }
    return text;
}

std::vector<std::string> recoveryProblems(const RecoveryReport& report) {
    const Findings& findings = report.findings;
    std::vector<std::string> lines;
    if (findings.clips.empty())
        lines.push_back(report.source.parts().front().path + ": no frame record was found");
    for (std::size_t i = 0; i < findings.clips.size(); ++i) {
        const ClipFindings& clip = findings.clips[i];
        const std::string name =
            fmt::format("{}: clip {}: ", partOf(report.source, firstRecord(findings, clip)).path, i + 1);
        for (const DamagedFrame& frame : clip.frames.damaged) {
            const FoundRecord& record = findings.records[frame.record];
            lines.push_back(fmt::format("{}frame {} at byte {} is damaged: {}", name, timecodeOf(record),
                                        placeOf(report.source, record), frame.reason));
        }
        for (const MissingFrames& missing : clip.found.missing) {
            const std::string place = placeText(findings, clip, missing);
            lines.push_back(missing.frames == 0 ? fmt::format("{}frames are missing {}", name, place)
                                                : fmt::format("{}{} missing {}", name,
                                                              counted(missing.frames, "frame"), place));
        }
    }
    return lines;
}

std::string recoverySummary(const RecoveryReport& report) {
    std::size_t whole = 0;
    std::size_t damaged = 0;
    std::uint64_t missing = 0;
    bool isCounted = true;
    for (const ClipFindings& clip : report.findings.clips) {
        whole += clip.frames.whole.size();
        damaged += clip.frames.damaged.size();
        missing += framesMissing(clip);
        isCounted = isCounted && allCounted(clip);
    }
    return fmt::format("{}: {}", counted(report.findings.clips.size(), "clip"),
                       framesText(whole, damaged, missing, isCounted));
}

std::string recoveryJson(const RecoveryReport& report) {
    Json sources = Json::array();
    for (const Source::Part& part : report.source.parts())
        sources.push_back({{"file", part.path}, {"size", part.bytes.end - part.bytes.begin}});
    Json clips = Json::array();
    for (std::size_t i = 0; i < report.findings.clips.size(); ++i)
        clips.push_back(clipJson(report, i));
    const Json document{{"schema", "krw-recover-1"},
                        {"sources", std::move(sources)},
                        {"clips", std::move(clips)},
                        {"complete", report.findings.isComplete()}};
    // Texts are bytes as a camera wrote them; what is not UTF-8 becomes U+FFFD.
    return document.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}
