#pragma once

#include "BrellinCore/server/MCPServer.h"
#include "BrellinMCP/MessageTransport.h"

#include <string>
#include <string_view>

namespace brellin {

/// Answers the methods of the Model Context Protocol, one request after the other, until the input ends.
/// It keeps no protocol state: nothing depends on what was asked before.
class StdioLoop {
  public:
    /// Both must outlive this object.
    StdioLoop(const MCPServer& server, MessageTransport& transport)
        : server_(server), transport_(transport) {}

    /// Writes the start-up line, answers every request, and returns after the input has ended.
    void run();

  private:
    void handle(const Request& request);
    // Results, as JSON text.
    std::string initialize(const Request& request) const;
    std::string listTools() const;
    std::string callTool(const Request& request) const;

    void resultResponse(const JsonReader::Source& id, std::string result);
    void errorResponse(const JsonReader::Source& id, int code, std::string_view message);

    const MCPServer& server_;
    MessageTransport& transport_;
};

}  // namespace brellin
