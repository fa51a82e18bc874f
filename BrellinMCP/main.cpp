#include "BrellinCore/platform/Descriptor.h"
#include "BrellinCore/platform/ProcessSetup.h"
#include "BrellinCore/server/MCPServer.h"
#include "BrellinMCP/MessageTransport.h"
#include "BrellinMCP/StdioLoop.h"

namespace {

const brellin::MCPServer server;

}  // namespace

int main() {
    brellin::ProcessSetup::prepare();
    const brellin::Descriptor input(0);
    const brellin::Descriptor output(1);
    const brellin::Descriptor errors(2);
    brellin::MessageTransport transport(input, output, errors);
    brellin::StdioLoop(server, transport).run();
    return 0;
}
