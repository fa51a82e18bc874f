#pragma once

#include <CLI/App.hpp>
#include <CLI/Error.hpp>

#include <string>
#include <vector>

namespace brellin::cli {

/// What the command line says about itself.
namespace Help {

/// All commands by their groups, a line each, with examples and the environment variables.
std::string overview(const CLI::App& app);

/// What is wrong with a command line, in words, and what to type instead.
///
/// @return lines for standard error
std::vector<std::string> explain(const CLI::App& app, const CLI::ParseError& error);

}  // namespace Help

}  // namespace brellin::cli
