// The state of a clip's frame table: where it comes from, and what it leaves out.
#pragma once

#include <cstdint>
#include <string>

struct TableReport {
    enum class Origin {
        stored,
        rebuilt, // by following the records: the clip has no trailer
        none,    // no reader can use the clip
    };

    Origin origin = Origin::none;
    std::uint64_t frames = 0;               // in the table
    std::string trouble;                    // fault of trailer or table in words; empty when there is none
    std::uint64_t entriesWithoutRecord = 0; // entries that lead to no frame record
    std::uint64_t bytesBehind = 0;    // behind the last frame that the table knows; without table and trailer
    std::uint64_t recordsOutside = 0; // frame records in the file that the table does not know

    /// True when the table has every frame record of the file and nothing else.
    [[nodiscard]] bool isSound() const { return entriesWithoutRecord == 0 && recordsOutside == 0; }
};

/// "stored", "rebuilt" or "none".
[[nodiscard]] const char* originName(TableReport::Origin origin);

/// The report in words, without a full stop.
[[nodiscard]] std::string describeTable(const TableReport& report);
/// The number of frame records that the table leaves out, and how to get them. Empty when there are none.
[[nodiscard]] std::string describeOutside(const TableReport& report);
