// The device metadata document's frame and the bounded growth that the XML mappings share.
#pragma once

#include "metadata/info_items.h"

#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string>

inline constexpr char kDocumentOpening[] = "<PVDeviceMetadata>\n";
inline constexpr char kDocumentClosing[] = "</PVDeviceMetadata>";
inline constexpr char kKindElement[] = "PVDeviceMetadataType";

/// Bytes. A line repeats the names of its elements, so a small side-car with one huge name could otherwise
/// ask for a document of terabytes. Four times the largest side-car leaves every real one room.
inline constexpr std::size_t kMaxDocument = std::size_t{64} << 20;

/// addXmlItem within kMaxDocument; throws std::length_error beyond it.
inline void addBoundedXmlItem(std::string& doc, const char* tag, const char* sub, const char* value) {
    const std::size_t line = 2 * (std::strlen(tag) + std::strlen(sub)) + std::strlen(value);
    if (doc.size() + line > kMaxDocument) throw std::length_error("device metadata document");
    addXmlItem(doc, tag, sub, value);
}
