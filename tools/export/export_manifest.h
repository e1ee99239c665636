// What an export has written: the clip, the options and the file of each frame. docs/json.md describes the
// document.
#pragma once

#include "tools/clip/clip.h"

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <string>

/// Tells a clip from another one of the same name.
struct ClipIdentity {
    std::string path; // as given
    std::uint64_t size = 0;
    std::string hash; // of the file's beginning and end, where the first record and the frame table lie

    /// Compares content, not paths.
    [[nodiscard]] bool operator==(const ClipIdentity& other) const {
        return size == other.size && hash == other.hash;
    }
};

/// Throws std::runtime_error, "PATH: reason".
[[nodiscard]] ClipIdentity identifyClip(const std::string& path);

/// One export: the files of two runs belong together when both are equal.
struct ExportIdentity {
    ClipIdentity clip;
    nlohmann::ordered_json options; // what shapes the files, by name
};

/// One frame in the manifest.
struct ExportedFrame {
    std::uint32_t frame = 0;
    std::string timecode;
    FrameReading reading;   // a damaged frame has a file, an unreadable one has none
    std::string mosaicHash; // empty without a file, as all that follows
    std::string file;       // name in the folder
    std::uint64_t size = 0;
    std::string fileHash;
};

/// The manifest of an export, or of a part of one. The document names no time and no machine: the same export
/// gives the same bytes.
class ExportManifest final {
  public:
    explicit ExportManifest(ExportIdentity identity) : m_identity(std::move(identity)) {}

    /// Reads a manifest. Throws std::runtime_error, "PATH: reason", for a file that is none.
    [[nodiscard]] static ExportManifest read(const std::string& path);

    [[nodiscard]] const ExportIdentity& identity() const { return m_identity; }
    [[nodiscard]] const std::map<std::uint32_t, ExportedFrame>& frames() const { return m_frames; }
    /// Null for a frame that the export has not reached.
    [[nodiscard]] const ExportedFrame* find(std::uint32_t frame) const;

    /// Adds a frame, or replaces its entry.
    void set(ExportedFrame frame) { m_frames.insert_or_assign(frame.frame, std::move(frame)); }
    /// Takes over all frames of another part.
    void merge(const ExportManifest& part);

    /// Writes the document, and replaces an older one. Throws std::runtime_error, "PATH: reason".
    void write(const std::string& path, bool sync) const;

  private:
    ExportIdentity m_identity;
    std::map<std::uint32_t, ExportedFrame> m_frames;
};

// The pieces of the document. The journal has one on each line.
[[nodiscard]] nlohmann::ordered_json identityJson(const ExportIdentity& identity);
[[nodiscard]] nlohmann::ordered_json frameJson(const ExportedFrame& frame);
/// Both throw nlohmann::json::exception for documents of another form.
[[nodiscard]] ExportIdentity identityFromJson(const nlohmann::ordered_json& document);
[[nodiscard]] ExportedFrame frameFromJson(const nlohmann::ordered_json& document);

/// How two exports differ, in words; empty when they belong together. `there` comes from the folder, `here`
/// from the command line.
[[nodiscard]] std::string differenceBetween(const ExportIdentity& there, const ExportIdentity& here);
