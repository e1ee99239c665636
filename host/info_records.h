// Record utilities: information records and channel masks.
#pragma once

#include "plugin/records.h"

extern "C" {

/// Makes `destination` a copy of `source`. The destination's own pointer items are released first. Texts are
/// copied as texts, `rawParams` as a block of the size in its first word, numbers as they are. Copying a
/// record onto itself changes nothing. Returns 0; status::kOutOfMemory when memory ran out, and items without
/// memory are null then; status::kMissingArgument when a record is null.
[[gnu::visibility("default")]] std::uint32_t qmxInfoSet(QMXINFO* destination, const QMXINFO* source);

/// Releases every pointer item, `rawParams` included, and sets them null and the numbers 0: nothing of one
/// clip shows in the next.
[[gnu::visibility("default")]] void qmxInfoDelete(QMXINFO* info);

/// Number of the lowest channel in a mask, 0xFFFFFFFF for an empty mask. The two words are the host's; pass
/// 0.
[[gnu::visibility("default")]] std::uint32_t findChannel(std::uint32_t mask, std::uint32_t word1,
                                                         std::uint32_t word2);

/// Number of channels in a mask.
[[gnu::visibility("default")]] std::uint32_t totalChannels(std::uint32_t mask);
}
