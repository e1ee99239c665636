// The first and last lines of the device metadata document, and the bound on its size that the XML mappings
// share.
#pragma once

#include "metadata/info_items.h"

#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string>

inline constexpr char kDocumentOpening[] = "<PVDeviceMetadata>\n";
inline constexpr char kDocumentClosing[] = "</PVDeviceMetadata>";
inline constexpr char kKindElement[] = "PVDeviceMetadataType";

/// Bytes. A line repeats the names of its elements. Without a bound, a small side-car with one huge name
/// could ask for a document of terabytes. Four times the size of the largest side-car leaves room for every
/// real one.
inline constexpr std::size_t kMaxDocument = std::size_t{64} << 20;

/// addXmlItem within kMaxDocument. Throws std::length_error beyond it.
inline void addBoundedXmlItem(std::string& doc, const char* tag, const char* sub, const char* value) {
    const std::size_t line = 2 * (std::strlen(tag) + std::strlen(sub)) + std::strlen(value);
    if (doc.size() + line > kMaxDocument) throw std::length_error("device metadata document");
    addXmlItem(doc, tag, sub, value);
}
