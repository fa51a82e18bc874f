#include "BrellinCLI/facts/health/ServersHealth.h"

#include "BrellinCLI/DataDirectory.h"
#include "BrellinCore/accounts/IdentityReader.h"
#include "BrellinCore/accounts/JsonFile.h"
#include "BrellinCore/platform/FilePath.h"
#include "BrellinCore/platform/FileSystem.h"
#include "BrellinCore/platform/HomeDirectory.h"
#include "BrellinCore/server/Paths.h"

#include <fmt/format.h>

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>

namespace brellin::cli::ServersHealth {

namespace {

using Level = Finding::Level;
using Source = JsonReader::Source;

constexpr std::string_view topic = "servers";
constexpr std::string_view oneDirectory =
    "give HAVRICK_ROOT the same value for the hosts, the recorder and your shell, or set it for none of them";

/// A server as a host's configuration describes it.
struct Registered {
    std::string file;
    std::string name;
    std::string command;
    std::optional<std::string> root;  ///< HAVRICK_ROOT in its environment
};

/// The entry, where it is one of this system.
std::optional<Registered> registered(const std::string& file, const std::string& name,
                                     const std::string& text) {
    std::optional<std::string> command;
    Registered server{.file = file, .name = name, .command = {}, .root = {}};
    const auto members =
        std::to_array<JsonReader::Member>({{"command", &command}, {"HAVRICK_ROOT", &server.root, "env"}});
    if (!JsonReader::read(text, members) || !command ||
        FilePath::lastComponent(*command) != "havrick-mcp") {
        return std::nullopt;
    }
    server.command = std::move(*command);
    return server;
}

void addServersOf(const std::optional<Source>& list, const std::string& file,
                  std::vector<Registered>& servers) {
    for (const auto& [name, source] : JsonReader::membersOf(list.value_or(Source()))) {
        if (auto server = registered(file, name, source.text)) {
            servers.push_back(std::move(*server));
        }
    }
}

/// Beside the user's own servers a file may have those of a project, by its directory.
void addServersIn(const std::string& file, std::vector<Registered>& servers) {
    const std::string project = "projects." + FilePath::absolute("");
    std::optional<Source> ofUser;
    std::optional<Source> ofProject;
    const auto members =
        std::to_array<JsonReader::Member>({{"mcpServers", &ofUser}, {"mcpServers", &ofProject, project}});
    readJsonFile(file, members);
    addServersOf(ofUser, file, servers);
    addServersOf(ofProject, file, servers);
}

std::vector<Registered> registeredServers(const std::vector<ClaudeAccount>& accounts) {
    std::vector<Registered> servers;
    for (const ClaudeAccount& account : accounts) {
        for (const std::string& file : IdentityReader::candidateFiles(account.path, homeDirectory())) {
            addServersIn(file, servers);
        }
    }
    addServersIn(FilePath::absolute(".mcp.json"), servers);
    return servers;
}

Finding registeredFinding(const Registered& server) {
    const std::string who = fmt::format("\"{}\" in {}", server.name, server.file);
    if (server.command.starts_with('~') ||
        (server.command.starts_with('/') && FileSystem::isMissing(server.command))) {
        return {topic, Level::warning,
                fmt::format("{} starts {}, which does not exist", who, server.command),
                "write the absolute path of havrick-mcp there: hosts do not expand ~"};
    }
    if (!server.root || server.root->empty()) {
        return {topic, Level::ok, who + " uses the data directory that its host's environment names", ""};
    }
    if (server.root->find("${") != std::string::npos) {
        return {topic, Level::ok, fmt::format("{} uses {}, whatever that is there", who, *server.root), ""};
    }
    const std::filesystem::path directory = Paths::root({{"HAVRICK_ROOT", *server.root}});
    if (DataDirectory::isAt(directory)) {
        return {topic, Level::ok, who + " uses the same data directory", ""};
    }
    return {topic, Level::warning,
            fmt::format("{} sets HAVRICK_ROOT to {}, and this command uses {}: what is recorded in one is "
                        "not seen in the other",
                        who, *server.root, DataDirectory::path().string()),
            fmt::format("remove that env from {}; or {}", server.file, oneDirectory)};
}

/// What a running server uses; nullopt where that is not known.
std::optional<Finding> runningFinding(const RunningProgram& program) {
    const auto directory = program.dataDirectory();
    if (!directory) {
        return std::nullopt;
    }
    if (DataDirectory::isAt(*directory)) {
        return Finding{topic, Level::ok,
                       fmt::format("process {} (havrick-mcp) uses the same data directory", program.pid),
                       ""};
    }
    return Finding{topic, Level::warning,
                   fmt::format("process {} (havrick-mcp) uses {}, and this command uses {}", program.pid,
                               directory->string(), DataDirectory::path().string()),
                   std::string(oneDirectory)};
}

}  // namespace

std::vector<Finding> find(const RunningPrograms& programs, const std::vector<ClaudeAccount>& accounts) {
    std::vector<Finding> findings;
    for (const Registered& server : registeredServers(accounts)) {
        findings.push_back(registeredFinding(server));
    }
    if (findings.empty()) {
        findings.push_back(
            {topic, Level::ok, "no .claude.json, and no .mcp.json here, registers havrick-mcp", ""});
    }
    for (const RunningProgram& program : programs.havrick) {
        const bool isServer = program.name() == "havrick-mcp" && program.isOfThisHome();
        if (auto running = isServer ? runningFinding(program) : std::nullopt) {
            findings.push_back(std::move(*running));
        }
    }
    return findings;
}

}  // namespace brellin::cli::ServersHealth
