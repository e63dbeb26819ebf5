// The commands of `kestrel`: what each cmd_NAME.cpp offers to main.cpp, and what they share.
//
// A command file defines addNameCommand(): it adds a CLI11 subcommand with its options and a callback that
// does the work and leaves the exit status in Invocation::exitCode. Both references outlive the callback.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace CLI {
class App;
}

namespace kestrel::cli {

/// Exit status of every command.
enum ExitCode : int {
    kExitSuccess = 0,
    kExitScriptFailed = 1,  ///< compile error, or a run ended with the abort flag set
    kExitUnusable = 2,      ///< wrong usage, or a file that cannot be read or written
};

/// One run of the command: the options that commands share, and its outcome.
struct Invocation {
    bool json = false;        ///< --messages=json
    double timeout = 0.0;     ///< --timeout, seconds; 0 = none
    std::string debugLink{};  ///< --debug-link: the link of the script, whatever its pragma says; empty: none
    int exitCode = kExitSuccess;
};

/// Adds `--messages=people|json` (every command).
void addMessagesOption(CLI::App& command, Invocation& invocation);
/// Adds `--timeout SECONDS` (every command that runs script text).
void addTimeoutOption(CLI::App& command, Invocation& invocation);

/// Adds `--debug-link NAME`, which only `kestrel debug` gives.
void addDebugLinkOption(CLI::App& command, Invocation& invocation);

/// Checks that `nativePath` names a file that can be read; otherwise tells so, naming the file, and sets the
/// exit status to kExitUnusable. Every command does this for each file it is given before it does anything
/// with it.
[[nodiscard]] bool requireReadable(const std::string& nativePath, Invocation& invocation);

/// The bytes of a regular file that requireReadable() has accepted.
/// @return nothing when it cannot be read, or is larger than `most`
[[nodiscard]] std::optional<std::string> readBytes(const std::string& nativePath, std::int64_t most);

/// What every command that runs script text does first: programs that the script starts find a command
/// processor, and what they write stays out of a standard output that holds data.
/// @param outputIsData  true when the command itself writes data there; JSON messages count as such anyway
void prepareForPrograms(const Invocation& invocation, bool outputIsData);

/// What the hint about a script that waits for a debugger says.
/// @param open  false: another script has the link
[[nodiscard]] std::string debugLinkHint(const std::string& link, bool open);

void addCheckCommand(CLI::App& app, Invocation& invocation);
void addListCommand(CLI::App& app, Invocation& invocation);
void addRunCommand(CLI::App& app, Invocation& invocation);
void addShadeCommand(CLI::App& app, Invocation& invocation);
void addRenderCommand(CLI::App& app, Invocation& invocation);
void addBenchCommand(CLI::App& app, Invocation& invocation);
void addOptionsCommand(CLI::App& app, Invocation& invocation);
void addHelpCommand(CLI::App& app, Invocation& invocation);
void addDebugCommand(CLI::App& app, Invocation& invocation);

}  // namespace kestrel::cli
