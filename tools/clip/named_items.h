// The items of a clip's information record by name, with where each came from.
#pragma once

#include "tools/clip/clip.h"

#include <cstdint>
#include <string>
#include <vector>

/// Who put a value into the information record.
enum class ItemSource {
    header,  // the clip's own header
    sideCar, // a metadata file beside the clip
    reader,  // the plug-in's own value, where neither says anything
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

/// The items that are set, texts before numbers. The device metadata document and the raw-development block
/// are left out. `bare` is the same clip's information without side-cars, or null when that is not known.
[[nodiscard]] std::vector<NamedItem> listNamedItems(const ClipInformation& information,
                                                    const ClipInformation* bare);

/// A number item as people read it: gains and gamma as fractions, an aspect ratio as two terms.
[[nodiscard]] std::string numberText(const NamedItem& item);
