// The look-up table by the next 13 bits of the stream, made from a plane's code table.
#pragma once

#include "kinedec/code_table.h"
#include "kinedec/lookup_entry.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace kinedec {

inline constexpr std::size_t kLookupSize = std::size_t{1} << kKineIndexBits;

/// 64 KiB. KineDec keeps its table as a C array of the same extent.
using LookupTable = std::array<KineDecEntry, kLookupSize>;
using LookupTableView = std::span<KineDecEntry, kLookupSize>;

/// Overwrites all entries of `lookup` from a legal code table. Where codes overlap the later category wins.
void buildLookupTable(const CodeTable& table, LookupTableView lookup);

/// Overwrites all of `bits` with the `bits` of the entries that buildLookupTable makes, in their order.
void buildBitCounts(const CodeTable& table, std::span<std::uint8_t, kLookupSize> bits);

} // namespace kinedec
