#include "BrellinCore/server/MCPServer.h"

namespace brellin {

ToolResult MCPServer::renderWho(const std::string& /*argument*/) const {
    return {"This report does not exist yet; it comes with the history store.", true};
}

}  // namespace brellin
