// Which bytes of a source belong to frames that are whole. No byte belongs to two.
#pragma once

#include "tools/recover/source.h"

#include <cstdint>
#include <map>

class ClaimedBytes final {
  public:
    [[nodiscard]] bool touches(ByteRange range) const;
    /// Neighbours become one: the records of a clip take a single entry.
    void add(ByteRange range);

  private:
    std::map<std::uint64_t, std::uint64_t> m_ranges; // from begin to end; apart from one another
};
