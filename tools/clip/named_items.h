// The items of a clip's information record by name, and the source of each.
#pragma once

#include "tools/clip/clip.h"

#include <cstdint>
#include <string>
#include <vector>

/// The source of a value in the information record.
enum class ItemSource {
    header,  // the clip's own header
    sideCar, // a metadata file beside the clip
    reader,  // the plug-in's own value, when the other two have none
    unknown,
};

[[nodiscard]] const char* sourceName(ItemSource source);

/// One item that is set.
struct NamedItem {
    const char* name;
    bool isText;
    std::string text;     // of a text item
    std::uint32_t number; // of a number item
    ItemSource source;
};

/// The items that are set, texts before numbers, without the device metadata document and the raw-development
/// block. `bare` is the information of the same clip without its side-cars; null when it could not be had.
[[nodiscard]] std::vector<NamedItem> listNamedItems(const ClipInformation& information,
                                                    const ClipInformation* bare);

/// The text of a number item: gains and gamma as fractions, an aspect ratio as two terms.
[[nodiscard]] std::string numberText(const NamedItem& item);
