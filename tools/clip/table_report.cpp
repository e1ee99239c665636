#include "tools/clip/table_report.h"

#include <fmt/format.h>

const char* originName(TableReport::Origin origin) {
    switch (origin) {
    case TableReport::Origin::stored:
        return "stored";
    case TableReport::Origin::rebuilt:
        return "rebuilt";
    case TableReport::Origin::none:
        break;
    }
    return "none";
}

std::string describeTable(const TableReport& report) {
    std::string text = originName(report.origin);
    if (report.origin == TableReport::Origin::rebuilt) text += " by following the records";
    if (!report.trouble.empty()) text += ": " + report.trouble;
    if (report.bytesBehind > 0) text += fmt::format("; {} bytes behind the last frame", report.bytesBehind);
    return text;
}

std::string describeOutside(const TableReport& report) {
    if (report.recordsOutside == 0) return {};
    return fmt::format(
        "{} frame record{} of the file {} not in the frame table; krw recover gets out every frame",
        report.recordsOutside, report.recordsOutside == 1 ? "" : "s",
        report.recordsOutside == 1 ? "is" : "are");
}
