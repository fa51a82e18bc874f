#pragma once

#include "BrellinCLI/views/Output.h"

namespace brellin::cli {

/// `havrick doctor`: what is wrong here, and what to do about it.
namespace DoctorCommand {

/// Prints every finding; failure when one of them is an error.
///
/// @throws Interrupted it was asked to stop
ExitStatus examine(bool asJson);

}  // namespace DoctorCommand

}  // namespace brellin::cli
