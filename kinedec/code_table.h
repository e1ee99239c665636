// From a plane's code table (one length and one code per magnitude category) to the look-up table by the next
// 13 bits of the stream.
#pragma once

#include "kinedec/kinedec.h"

#include <cstdint>

namespace kinedec {

/// Whether every used length lies in 1 to 13 and every code below 2^length, so that no code's index range
/// reaches outside the table. 13 entries each.
[[nodiscard]] bool isLegalCodeTable(const std::uint16_t* codeLengths, const std::uint16_t* codes);

/// Clears and fills all 8192 entries of `table` from a legal code table. Where codes are not prefix-free the
/// later category wins. Differences follow EXTEND (ITU-T T.81, F.2.2.1).
void buildCodeTable(const std::uint16_t* codeLengths, const std::uint16_t* codes, KineDecEntry* table);

} // namespace kinedec
