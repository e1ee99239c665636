#include "tools/export/clip_report.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <optional>

namespace {

using Json = nlohmann::ordered_json;

Json timecodeJson(const Clip& clip, std::uint32_t frame) {
    return {{"text", clip.timecode(frame)}, {"frame", clip.timecodeNumber(frame)}};
}

/// The shortest decimal number that gives the 32-bit number of the header: 23.976, not 23.97599983.
Json statedRateJson(const Clip& clip) {
    const std::optional<float> rate = clip.statedRate();
    return rate ? Json(std::stod(fmt::format("{}", *rate))) : Json();
}

Json levelsJson(const ClipInformation& information) {
    return {{"black", information.number(InfoNumber::rawBlackCodeValue)},
            {"white", information.number(InfoNumber::rawWhiteCodeValue)}};
}

Json videoJson(const Clip& clip) {
    const QMXVIDEO& video = clip.video();
    const TimecodeCounting counting = clip.counting();
    const std::uint32_t last = clip.frames() > 0 ? clip.frames() - 1 : 0;
    return {{"width", clip.width()},
            {"height", clip.height()},
            {"bitsPerSample", video.biBitCount},
            {"mosaic", clip.mosaicPattern()},
            {"bytesPerFrame", clip.frameBytes()},
            {"frameRate", {{"numerator", video.stream.dwRate}, {"denominator", video.stream.dwScale}}},
            {"headerFrameRate", statedRateJson(clip)},
            {"frames", clip.frames()},
            {"timecode",
             {{"first", timecodeJson(clip, 0)},
              {"last", timecodeJson(clip, last)},
              {"framesPerSecond", counting.framesPerSecond},
              {"dropFrame", counting.dropFrame}}},
            {"levels", levelsJson(clip.information())}};
}

Json audioJson(const Clip& clip) {
    const QMXAUDIO& audio = clip.audio();
    const CAMediaFile::AudioCadence cadence = clip.audioCadence();
    return {
        {"channels", audio.nChannels},
        {"samplesPerSecond", audio.nSamplesPerSec},
        {"bitsPerSample", audio.wBitsPerSample},
        {"samplesPerFrame", {{"numerator", cadence.m_audFrameNum}, {"denominator", cadence.m_audFrameDen}}}};
}

Json itemsJson(const std::vector<NamedItem>& items) {
    Json list = Json::array();
    for (const NamedItem& item : items) {
        Json entry{{"name", item.name}, {"value", item.number}, {"source", sourceName(item.source)}};
        if (item.isText) entry["value"] = item.text;
        list.push_back(std::move(entry));
    }
    return list;
}

Json documentJson(const ClipReport& report) {
    const ClipInformation& information = report.clip.information();
    if (!information.isSet(InfoText::deviceMetadata)) return nullptr;
    return {{"text", information.text(InfoText::deviceMetadata)},
            {"source", sourceName(report.documentSource)}};
}

Json triedJson(const std::vector<TriedFrame>& tried) {
    Json list = Json::array();
    for (const TriedFrame& frame : tried) {
        const bool ok = frame.reading.state == FrameReading::State::ok;
        list.push_back({{"frame", frame.frame},
                        {"status", stateName(frame.reading.state)},
                        {"reason", ok ? Json() : Json(frame.reading.reason)}});
    }
    return list;
}

Json tableJson(const TableReport& table) {
    return {{"origin", originName(table.origin)},
            {"trouble", table.trouble.empty() ? Json() : Json(table.trouble)},
            {"entriesWithoutRecord", table.entriesWithoutRecord},
            {"bytesBehind", table.bytesBehind},
            {"recordsOutside", table.recordsOutside}};
}

} // namespace

std::string reportJson(const ClipReport& report) {
    Json document{{"schema", "krw-info-1"},
                  {"file", report.clip.path()},
                  {"format", report.description},
                  {"video", videoJson(report.clip)},
                  {"audio", audioJson(report.clip)},
                  {"items", itemsJson(report.items)},
                  {"deviceMetadata", documentJson(report)},
                  {"framesTried", triedJson(report.tried)}};
    if (report.table) document["frameTable"] = tableJson(*report.table);
    // Texts are bytes as a camera wrote them; what is not UTF-8 becomes U+FFFD.
    return document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

std::string reportListJson(const std::vector<std::string>& reports) {
    Json clips = Json::array();
    for (const std::string& report : reports)
        clips.push_back(Json::parse(report));
    const Json document{{"schema", "krw-info-list-1"}, {"clips", std::move(clips)}};
    return document.dump(2) + "\n";
}
