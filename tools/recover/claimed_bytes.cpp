#include "tools/recover/claimed_bytes.h"

#include <algorithm>
#include <iterator>

bool ClaimedBytes::touches(ByteRange range) const {
    if (range.begin >= range.end) return false;
    const auto behind = m_ranges.lower_bound(range.end);
    return behind != m_ranges.begin() && std::prev(behind)->second > range.begin;
}

void ClaimedBytes::add(ByteRange range) {
    auto first = m_ranges.lower_bound(range.begin);
    if (first != m_ranges.begin() && std::prev(first)->second >= range.begin) --first;
    auto behind = first;
    for (; behind != m_ranges.end() && behind->first <= range.end; ++behind) {
        range.begin = std::min(range.begin, behind->first);
        range.end = std::max(range.end, behind->second);
    }
    m_ranges.erase(first, behind);
    m_ranges.emplace(range.begin, range.end);
}
