// What is wrong with a command line.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
class Error;
}  // namespace CLI

namespace kestrel::cli {

/// A plain sentence for a command line that cannot be understood, with the name that may have been meant.
/// @param app  as it stands after it has tried
[[nodiscard]] std::string usageProblem(const CLI::App& app, const CLI::Error& error);

/// The commands in the order in which help shows them.
[[nodiscard]] std::vector<std::string> commandNames(const CLI::App& app);

/// Whether the command line asks for JSON, told before it has been understood.
[[nodiscard]] bool asksForJson(int argc, char** argv);

}  // namespace kestrel::cli
