// The bytes of a source that belong to whole frames. No byte belongs to two.
#pragma once

#include "tools/recover/source.h"

#include <cstdint>
#include <map>

class ClaimedBytes final {
  public:
    [[nodiscard]] bool touches(ByteRange range) const;
    /// Adds bytes of one frame. Adjoining ranges become one, so the records of a clip take a single entry.
    void add(ByteRange range);

  private:
    std::map<std::uint64_t, std::uint64_t> m_ranges; // from begin to end; apart from one another
};
