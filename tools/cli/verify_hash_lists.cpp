#include "tools/cli/verify_hash_lists.h"

#include "tools/cli/console.h"
#include "tools/export/media_hash_list.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <iterator>
#include <stdexcept>

namespace {

/// The line for one file. Of its hashes it has the first whose kind a checking program tells from the digits,
/// the most usual kind first. A prefix tells XXH3 from XXH64.
std::string checkLine(const std::string& path, const KindHashes& hashes) {
    for (const HashKind kind :
         {HashKind::xxh64, HashKind::xxh128, HashKind::xxh3, HashKind::md5, HashKind::sha1})
        if (hashes.contains(kind))
            return fmt::format("{}{}  {}\n", kind == HashKind::xxh3 ? "XXH3_" : "", hashes.at(kind), path);
    return fmt::format("{}  {}\n", hashes.at(HashKind::c4), path);
}

} // namespace

void verifyHashLists(const std::string& folder, CommandContext& context) {
    const MediaHashHistory history(folder);
    if (history.generations() == 0)
        throw std::runtime_error(
            fmt::format("{}: has no ASC MHL history (no ascmhl/ascmhl_chain.xml)", folder));
    for (const auto& [path, hashes] : history.originals())
        console::print(checkLine(path, hashes));
    console::flush();
    auto findings = history.findings();
    std::ranges::move(history.verify(), std::back_inserter(findings));
    for (const HashFinding& finding : findings)
        console::complain(
            fmt::format("{}: {}", (std::filesystem::path(folder) / finding.path).string(), finding.text));
    if (!findings.empty()) context.exitStatus = 1;
    if (!context.quiet)
        console::note(fmt::format("{}: {} files in {} generations, {} wrong", folder,
                                  history.originals().size(), history.generations(), findings.size()));
}
