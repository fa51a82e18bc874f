#include "BrellinCLI/facts/Health.h"

#include "BrellinCLI/facts/health/AccountsHealth.h"
#include "BrellinCLI/facts/health/DirectoryHealth.h"
#include "BrellinCLI/facts/health/HistoryHealth.h"
#include "BrellinCLI/facts/health/ProgramsHealth.h"
#include "BrellinCLI/facts/health/RecorderHealth.h"
#include "BrellinCLI/facts/health/RunningPrograms.h"
#include "BrellinCLI/facts/health/ServersHealth.h"
#include "BrellinCore/accounts/AccountScanner.h"
#include "BrellinCore/platform/Environment.h"
#include "BrellinCore/server/BrellinVersion.h"

#include <boost/json/array.hpp>

#include <algorithm>
#include <iterator>
#include <utility>

namespace brellin::cli {

Health Health::take(const StopRequest& stop) {
    Health health;
    const auto add = [&](std::vector<Finding> found) {
        std::ranges::move(found, std::back_inserter(health.findings));
    };
    const RunningPrograms programs = RunningPrograms::take(stop);
    const AccountScan scan = AccountScanner::scan(AccountScanner::homeDirectory(), processEnvironment(),
                                                  AccountScanner::Identities::leave);
    HistoryHealth::Result history = HistoryHealth::find();
    add(ProgramsHealth::find(programs, stop));
    add(AccountsHealth::find(scan, stop));
    add(DirectoryHealth::find());
    add(std::move(history.findings));
    add(RecorderHealth::find(programs, history.extent));
    add(ServersHealth::find(programs, scan.accounts));
    return health;
}

Finding::Level Health::level() const {
    Finding::Level worst = Finding::Level::ok;
    for (const Finding& finding : findings) {
        worst = std::max(worst, finding.level);
    }
    return worst;
}

std::string_view rawValue(Finding::Level level) {
    switch (level) {
        case Finding::Level::ok:
            return "ok";
        case Finding::Level::warning:
            return "warning";
        case Finding::Level::error:
            return "error";
    }
    return "";
}

boost::json::object toJson(const Health& health) {
    boost::json::array findings;
    for (const Finding& finding : health.findings) {
        boost::json::object fact = {
            {"topic", finding.topic}, {"level", rawValue(finding.level)}, {"text", finding.text}};
        if (!finding.advice.empty()) {
            fact["advice"] = finding.advice;
        }
        findings.push_back(std::move(fact));
    }
    return {{"version", BrellinVersion::current},
            {"status", rawValue(health.level())},
            {"findings", std::move(findings)}};
}

}  // namespace brellin::cli
