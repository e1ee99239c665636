// What is known of a clip's frame table: where it comes from, and what it leaves out.
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
    std::uint64_t frames = 0; // in the table
    std::string trouble;      // what is wrong with trailer or table, in words; empty for nothing
    std::uint64_t entriesWithoutRecord = 0; // entries that lead to no frame record
    std::uint64_t bytesBehind = 0;    // behind the last frame that the table knows; without table and trailer
    std::uint64_t recordsOutside = 0; // frame records in the file that the table does not know

    /// The table knows every frame record of the file and nothing else.
    [[nodiscard]] bool isSound() const { return entriesWithoutRecord == 0 && recordsOutside == 0; }
};

/// "stored", "rebuilt" or "none".
[[nodiscard]] const char* originName(TableReport::Origin origin);

/// The report in a sentence without a full stop.
[[nodiscard]] std::string describeTable(const TableReport& report);
/// What the table leaves out, and how to get at it; empty when it leaves out nothing.
[[nodiscard]] std::string describeOutside(const TableReport& report);
