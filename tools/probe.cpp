// `krw probe`: the plug-in's verdict on files, without opening them as clips.

#include "plugin/status.h"
#include "tools/commands.h"
#include "tools/console.h"
#include "tools/host_log.h"
#include "tools/reasons.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace {

using Json = nlohmann::ordered_json;

struct Verdict {
    std::uint32_t status;
    std::string reason; // empty for a readable clip
};

struct ProbeOptions {
    std::vector<std::string> files;
    bool json = false;
};

Verdict verdictOn(const Plugin& plugin, const std::string& path) {
    const LogCapture log;
    const std::uint32_t verdict = plugin.check(path);
    std::string trouble = fileTrouble(path);
    if (verdict != status::kOk && trouble.empty()) trouble = openTrouble(verdict, log.lines());
    return {verdict, std::move(trouble)};
}

void probe(const ProbeOptions& options, Session& session) {
    Json list = Json::array();
    for (const std::string& file : options.files) {
        const Verdict verdict = verdictOn(session.plugin(), file);
        const bool readable = verdict.reason.empty();
        if (!readable) session.exitStatus = 1;
        if (options.json) {
            list.push_back({{"file", file},
                            {"readable", readable},
                            {"status", static_cast<std::int32_t>(verdict.status)},
                            {"reason", readable ? Json() : Json(verdict.reason)}});
        } else if (readable) {
            console::print(fmt::format("{}: readable\n", console::printable(file)));
        } else {
            console::complain(fmt::format("{}: {}", file, verdict.reason));
        }
    }
    if (!options.json) return;
    const Json document{{"schema", "krw-probe-1"}, {"files", std::move(list)}};
    console::print(document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n");
}

} // namespace

void addProbe(CLI::App& program, Session& session) {
    CLI::App* const command = program.add_subcommand("probe", "Tell readable KRW clips from other files");
    const auto options = std::make_shared<ProbeOptions>();
    command->add_option("FILE", options->files, "Files to look at")->required();
    command->add_flag("--json", options->json, "Print one JSON document (docs/json.md)");
    command->footer("Examples:\n"
                    "  krw probe A001C003.krw\n"
                    "  find /cards -name '*.krw' -exec krw probe {} +");
    command->callback([options, &session] { probe(*options, session); });
}
