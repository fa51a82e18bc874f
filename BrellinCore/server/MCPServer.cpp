#include "BrellinCore/server/MCPServer.h"

#include "BrellinCore/text/Utf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <utility>

namespace brellin {

namespace json = boost::json;

namespace {

constexpr std::string_view instructionsText =
    "Brellin: the havrick of Claude Code sessions on this machine, aggregated across ALL accounts. "
    "Start with `havrick_now`. Why it exists: `ListAgents` shows YOUR account's registry, not the "
    "machine's — a session started from another account is invisible to you, and \"No agent named X\" "
    "does not distinguish \"it was forked\" from \"it is on another account\" from \"it died\". "
    "Brellin derives the account list rather than hardcoding one: the four existing enumerators in "
    "this house each missed an account, silently. It reads straight from disk, so it answers with the "
    "app closed. The short address in brackets is `sha256(\"session:\"+socketPath)[:6]`, so it is a "
    "function of the PID: a resume in a new process changes it, and for a dead session it cannot be "
    "reconstructed — which is why the key is `sessionId`, never the name. No verb touches processes, "
    "sockets or accounts; `havrick_send` only resolves the target and leaves an audit trace in its "
    "own store — it does not deliver the message. What cannot be measured is reported as \"unknown\", "
    "never as 0 and never hidden.";

/// The one argument of a tool, a required string.
struct Argument {
    std::string_view name;
    std::string_view description;
    std::string_view missingText;  ///< the answer when it is missing, empty or no string
};

json::object inputSchema(const std::optional<Argument>& argument) {
    json::object properties;
    if (argument) {
        properties[argument->name] =
            json::object{{"type", "string"}, {"description", argument->description}};
    }
    json::object schema{{"type", "object"}, {"properties", std::move(properties)}};
    if (argument) {
        schema["required"] = json::array{argument->name};
    }
    return schema;
}

/// The tool's argument as received; nullopt when it is missing, empty or no string.
std::optional<std::string> validArgument(const Argument& argument, const json::object& arguments) {
    const json::value* value = arguments.if_contains(argument.name);
    if (value == nullptr || !value->is_string() || value->get_string().empty()) {
        return std::nullopt;
    }
    return std::string(std::string_view(value->get_string()));
}

}  // namespace

struct MCPServer::Tool {
    std::string_view name;
    std::string_view description;
    std::optional<Argument> argument;
    /// The report. Its argument is the tool's own, not empty; without one the empty text.
    ToolResult (*answer)(const std::string& argument);
};

std::span<const MCPServer::Tool> MCPServer::catalogue() {
    static constexpr auto tools = std::to_array<Tool>({
        {"havrick_now",
         "READ THIS FIRST. Who is running NOW, across every account on this machine: name, short address, "
         "account, working directory, liveness verdict and the method it came from. Includes sessions on "
         "accounts ListAgents does not show you.",
         std::nullopt,
         [](const std::string& /*unused*/) {
             return ToolResult{renderNow(), false};
         }},
        {"havrick_accounts",
         "The Claude Code accounts on this machine, each with the SOURCE it was found through (default / "
         "environment / alias / orphan directory) and what the enumeration does NOT cover. An account "
         "configured with no directory on disk is reported, not omitted.",
         std::nullopt,
         [](const std::string& /*unused*/) {
             return ToolResult{renderAccounts(), false};
         }},
        {"havrick_who",
         "One specific session: its identity, the full history of its names with validity windows, and "
         "its events. Shows which name it answered to and when — useful when a message failed with \"No "
         "agent named\".",
         Argument{"sessionId", "The session UUID, in full or as a prefix.",
                  "havrick_who needs a non-empty `sessionId`."},
         renderWho},
        {"havrick_send",
         "Prepares a send to a session: resolves the target by `sessionId` (the stable key), checks "
         "whether it is alive, says whether it is on your account or another, and gives you the EXACT "
         "address to use with SendMessage. It does NOT deliver the message — the reply says why.",
         Argument{"sessionId", "The target UUID, in full or as a prefix. NOT the name — names expire.",
                  "havrick_send needs a non-empty `sessionId`. Targets are named by sessionId, never by "
                  "name: names are derived at fork, and a label that has moved would deliver to somebody "
                  "else."},
         renderSend},
        {"havrick_resolve",
         "Given a name or a short address, says which session it is — including whether the name has "
         "EXPIRED and who carries it now. Answers \"why does the address in my notes no longer deliver?\".",
         Argument{"query", "A name (`kio-apps-2e`) or a ref (`6d1d1d`).",
                  "havrick_resolve needs a non-empty `query`."},
         renderResolve},
    });
    static_assert(std::ranges::all_of(tools, [](const Tool& tool) { return tool.answer != nullptr; }));
    return tools;
}

std::string_view MCPServer::instructions() const {
    return instructionsText;
}

json::array MCPServer::tools() const {
    json::array tools;
    for (const Tool& tool : catalogue()) {
        tools.push_back(json::object{{"name", tool.name},
                                     {"description", tool.description},
                                     {"inputSchema", inputSchema(tool.argument)}});
    }
    return tools;
}

std::set<std::string_view> MCPServer::argumentNames() {
    std::set<std::string_view> names;
    for (const Tool& tool : catalogue()) {
        if (tool.argument) {
            names.insert(tool.argument->name);
        }
    }
    return names;
}

ToolResult MCPServer::callTool(std::string_view name, const json::object& arguments) const {
    ToolResult result = answer(name, arguments);
    // Names on disk may be any bytes; a reply must be JSON.
    if (!Utf8::isValid(result.text)) {
        result.text = Utf8::repaired(result.text);
    }
    return result;
}

ToolResult MCPServer::answer(std::string_view name, const json::object& arguments) {
    const std::span<const Tool> tools = catalogue();
    const auto tool = std::ranges::find(tools, name, &Tool::name);
    if (tool == tools.end()) {
        return {fmt::format("Unknown verb: {}", name), true};
    }
    if (!tool->argument) {
        return tool->answer({});
    }
    const auto argument = validArgument(*tool->argument, arguments);
    return argument ? tool->answer(*argument) : ToolResult{std::string(tool->argument->missingText), true};
}

}  // namespace brellin
