// `krw probe`: the plug-in's verdict on files, without opening them as clips.

#include "plugin/status.h"
#include "tools/cli/command_line.h"
#include "tools/cli/commands.h"
#include "tools/cli/console.h"
#include "tools/clip/failure_reasons.h"
#include "tools/clip/plugin_messages.h"

#include <fmt/format.h>
#include <memory>
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
    const PluginMessages log;
    const std::uint32_t verdict = plugin.check(path);
    std::string trouble = explainPath(path);
    if (verdict != status::kOk && trouble.empty()) trouble = explainOpenFailure(verdict, log.lines());
    return {verdict, std::move(trouble)};
}

void probe(const ProbeOptions& options, CommandContext& context) {
    Json list = Json::array();
    for (const std::string& file : options.files) {
        const Verdict verdict = verdictOn(context.plugin(), file);
        const bool readable = verdict.reason.empty();
        if (!readable) context.exitStatus = 1;
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

void addProbe(CLI::App& program, CommandContext& context) {
    Command command(program, "probe", "Tell readable KRW clips from other files");
    const auto options = std::make_shared<ProbeOptions>();
    command.argument("FILE", options->files, "Files to look at");
    command.flag("--json", options->json, "Print one JSON document (docs/json.md)");
    command.footer("Examples:\n"
                   "  krw probe A001C003.krw\n"
                   "  find /cards -name '*.krw' -exec krw probe {} +");
    command.run([options, &context] { probe(*options, context); });
}
