#pragma once

#include "BrellinCore/server/BrellinVersion.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>

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

    /// Checks a call's arguments and lets the tool's report answer. Never throws for a bad argument: that,
    /// like an unknown name, is an answer with isError true. The text is valid UTF-8, whatever bytes the
    /// file names on disk hold.
    ///
    /// @param name      compared exactly with the names of the catalogue
    /// @param arguments only the tool's own argument is read: a non-empty string, passed on unchanged
    ToolResult callTool(std::string_view name, const boost::json::object& arguments) const;

  private:
    ToolResult answer(std::string_view name, const boost::json::object& arguments) const;

    // The five reports, one file each in reports/.
    std::string renderNow() const;
    std::string renderAccounts() const;
    ToolResult renderWho(const std::string& sessionId) const;
    ToolResult renderSend(const std::string& sessionId) const;
    ToolResult renderResolve(const std::string& query) const;
};

}  // namespace brellin
