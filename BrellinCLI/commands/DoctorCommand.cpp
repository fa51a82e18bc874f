#include "BrellinCLI/commands/DoctorCommand.h"

#include "BrellinCLI/facts/Health.h"
#include "BrellinCLI/facts/JsonFields.h"
#include "BrellinCLI/views/HealthText.h"
#include "BrellinCore/platform/StandardOutput.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace brellin::cli::DoctorCommand {

ExitStatus examine(bool asJson) {
    const StopRequest stop;
    const Health health = Health::take(stop);
    if (asJson) {
        printDocument(toJson(health));
    } else {
        print(fmt::format("{}", fmt::join(HealthText::lines(health, StandardOutput::columns()), "\n")));
    }
    return health.level() == Finding::Level::error ? ExitStatus::failure : ExitStatus::success;
}

}  // namespace brellin::cli::DoctorCommand
