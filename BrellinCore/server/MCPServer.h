#pragma once

#include "BrellinCore/server/BrellinVersion.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>

#include <set>
#include <span>
#include <string>
#include <string_view>

namespace brellin {

/// What a tool answers: plain text for a language model, and whether the call failed.
struct ToolResult {
    std::string text;
    bool isError = false;

    friend bool operator==(const ToolResult&, const ToolResult&) = default;
};

/// The server's face towards an agent: who it is, what it is for, which tools it has, and the tools'
/// answers. It knows nothing of lines, bytes or JSON-RPC. A plain value without state: every call sees the
/// disk as it is at that moment.
class MCPServer {
  public:
    const std::string serverName = "havrick";
    const std::string serverVersion{BrellinVersion::current};

    /// What the agent is told about the server in the handshake.
    std::string_view instructions() const;

    /// The catalogue: for each of the five tools an object with "name", "description" and "inputSchema".
    boost::json::array tools() const;

    /// The names of the arguments that the tools read, each once. All of them are strings.
    static std::set<std::string_view> argumentNames();

    /// Checks a call's arguments and lets the tool's report answer. Never throws for a bad argument: that,
    /// like an unknown name, is an answer with isError true. The text is valid UTF-8, whatever bytes the
    /// file names on disk hold.
    ///
    /// @param name      compared exactly with the names of the catalogue
    /// @param arguments only the tool's own argument is read: a non-empty string, passed on unchanged
    ToolResult callTool(std::string_view name, const boost::json::object& arguments) const;

  private:
    struct Tool;

    /// Every tool, in catalogue order: a row is all that a tool needs here.
    static std::span<const Tool> catalogue();
    static ToolResult answer(std::string_view name, const boost::json::object& arguments);

    // The five reports, one file each in reports/.
    static std::string renderNow();
    static std::string renderAccounts();
    static ToolResult renderWho(const std::string& sessionId);
    static ToolResult renderSend(const std::string& sessionId);
    static ToolResult renderResolve(const std::string& query);
};

}  // namespace brellin
