#include <BrellinCore/accounts/AccountScanner.h>
#include <BrellinCore/server/MCPServer.h>

#include <iostream>

int main() {
    for (const auto& account :
         brellin::AccountScanner::scan(std::nullopt, brellin::processEnvironment()).accounts) {
        std::cout << account.label << ' ';
    }
    const brellin::MCPServer server;
    const std::string answer = server.callTool("havrick_accounts", {}).text;
    std::cout << server.tools().size() << " tools, said: " << answer.substr(0, answer.find('\n')) << '\n';
}
