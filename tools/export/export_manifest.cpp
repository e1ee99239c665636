#include "tools/export/export_manifest.h"

#include "tools/export/input_file.h"
#include "tools/export/media_hash.h"
#include "tools/export/output_file.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <fstream>
#include <stdexcept>
#include <vector>

using Json = nlohmann::ordered_json;

namespace {

constexpr const char* kSchema = "krw-export-1";

std::string optionsText(const Json& options) {
    std::string text;
    for (const auto& [name, value] : options.items())
        text += fmt::format("{}{} {}", text.empty() ? "" : ", ", name, value.dump());
    return text;
}

FrameReading::State stateNamed(const std::string& name) {
    for (const auto state :
         {FrameReading::State::ok, FrameReading::State::damaged, FrameReading::State::unreadable})
        if (name == stateName(state)) return state;
    throw std::runtime_error(fmt::format("{} is no status of a frame", name));
}

} // namespace

ClipIdentity identifyClip(const std::string& path) {
    constexpr std::size_t kBeginning = std::size_t{8} << 20U;
    constexpr std::size_t kEnd = std::size_t{1} << 20U;
    InputFile file(path);
    std::vector<std::uint8_t> memory(std::min<std::uint64_t>(kBeginning, file.size()));
    MediaHash hash(HashKind::xxh3);
    hash.update(file.read(memory));
    memory.resize(std::min<std::uint64_t>(kEnd, file.size()));
    file.seek(file.size() - memory.size());
    hash.update(file.read(memory));
    return {path, file.size(), hash.text()};
}

Json identityJson(const ExportIdentity& identity) {
    Json document;
    document["schema"] = kSchema;
    document["clip"] = {
        {"file", identity.clip.path}, {"size", identity.clip.size}, {"xxh3", identity.clip.hash}};
    document["options"] = identity.options;
    return document;
}

ExportIdentity identityFromJson(const Json& document) {
    if (document.at("schema") != kSchema)
        throw std::runtime_error(fmt::format("has schema {}, not {}", document.at("schema").dump(), kSchema));
    const Json& clip = document.at("clip");
    return {{clip.at("file"), clip.at("size"), clip.at("xxh3")}, document.at("options")};
}

Json frameJson(const ExportedFrame& frame) {
    Json document;
    document["frame"] = frame.frame;
    document["timecode"] = frame.timecode;
    document["status"] = stateName(frame.reading.state);
    if (!frame.reading.reason.empty()) document["reason"] = frame.reading.reason;
    if (frame.file.empty()) return document;
    document["mosaic"] = {{"xxh3", frame.mosaicHash}};
    document["file"] = {{"name", frame.file}, {"size", frame.size}, {"xxh3", frame.fileHash}};
    return document;
}

ExportedFrame frameFromJson(const Json& document) {
    ExportedFrame frame;
    frame.frame = document.at("frame");
    frame.timecode = document.at("timecode");
    frame.reading.state = stateNamed(document.at("status").get<std::string>());
    frame.reading.reason = document.value("reason", "");
    if (!document.contains("file")) return frame;
    const Json& file = document.at("file");
    frame.mosaicHash = document.at("mosaic").at("xxh3");
    frame.file = file.at("name");
    frame.size = file.at("size");
    frame.fileHash = file.at("xxh3");
    return frame;
}

std::string differenceBetween(const ExportIdentity& there, const ExportIdentity& here) {
    if (!(there.clip == here.clip))
        return fmt::format("is of another clip: {}, {} bytes, hash {}; {} has {} bytes, hash {}",
                           there.clip.path, there.clip.size, there.clip.hash, here.clip.path, here.clip.size,
                           here.clip.hash);
    if (there.options != here.options)
        return fmt::format("is of an export with other options: {}; now {}", optionsText(there.options),
                           optionsText(here.options));
    return {};
}

ExportManifest ExportManifest::read(const std::string& path) {
    std::ifstream input(path, std::ios::binary);
    try {
        const Json document = Json::parse(input);
        ExportManifest manifest(identityFromJson(document));
        for (const Json& frame : document.at("frames"))
            manifest.set(frameFromJson(frame));
        return manifest;
    } catch (const std::exception& error) {
        throw std::runtime_error(fmt::format("{}: is no manifest of an export ({})", path, error.what()));
    }
}

const ExportedFrame* ExportManifest::find(std::uint32_t frame) const {
    const auto found = m_frames.find(frame);
    return found == m_frames.end() ? nullptr : &found->second;
}

void ExportManifest::merge(const ExportManifest& part) {
    for (const auto& [number, frame] : part.m_frames)
        m_frames.insert_or_assign(number, frame);
}

void ExportManifest::write(const std::string& path, bool sync) const {
    Json document = identityJson(m_identity);
    document["frames"] = Json::array();
    for (const auto& [number, frame] : m_frames)
        document["frames"].push_back(frameJson(frame));
    // Paths and texts of a clip need not be UTF-8.
    const std::string text = document.dump(1, ' ', false, Json::error_handler_t::replace) + "\n";
    OutputFile file(path, {.existing = Existing::replace, .sync = sync});
    file.write({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    file.finish();
}
