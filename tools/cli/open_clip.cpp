#include "tools/cli/open_clip.h"

#include "tools/cli/console.h"
#include "tools/recover/table_check.h"

#include <fmt/format.h>
#include <stdexcept>

Clip openClip(const Plugin& plugin, const std::string& path) {
    try {
        return {plugin, path};
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(error.what() + explainUnusable(path));
    }
}

bool complainAboutTable(const std::string& path, const TableReport& report) {
    const std::string outside = describeOutside(report);
    if (!outside.empty()) console::complain(fmt::format("{}: {}", path, outside));
    return report.isSound();
}
