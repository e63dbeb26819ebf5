// The commands of `kestrel`: what each cmd_NAME.cpp offers to main.cpp, and what they share.
//
// A command file defines addNameCommand(): it adds a CLI11 subcommand with its options and a callback that
// does the work and leaves the exit status in Invocation::exitCode. Both references outlive the callback.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
class Validator;
}  // namespace CLI

namespace kestrel::cli {

/// Exit status of every command.
enum ExitCode : int {
    kExitSuccess = 0,
    kExitScriptFailed = 1,  ///< compile error, or a run ended with the abort flag set
    kExitUnusable = 2,      ///< wrong usage, or a file that cannot be read or written
};

class TextScript;

/// One run of the command: the options that commands share, and its outcome.
struct Invocation {
    bool json = false;                               ///< --messages=json
    double timeout = 0.0;                            ///< --timeout, seconds; 0 = none
    std::vector<std::string> presets{};              ///< --param, in order: "NAME=VALUE"
    std::shared_ptr<const TextScript> textScript{};  ///< the script, when it is in no file of the user
    std::string debugLink{};  ///< --debug-link: the link of the script, whatever its pragma says; empty: none
    int exitCode = kExitSuccess;
    std::chrono::steady_clock::time_point started = std::chrono::steady_clock::now();
};

/// Tells an error of the command itself, in the voice of all of them: "kestrel: error: TEXT" for people, an
/// object of the kind "error" as JSON. The exit status becomes `exitCode`, unless it is higher already.
void complain(Invocation& invocation, std::string_view text, ExitCode exitCode = kExitUnusable);

/// Accepts a finite number from `least` to `most`; says what `unit` it counts otherwise.
[[nodiscard]] CLI::Validator numberIn(double least, double most, const std::string& unit);

/// Adds `--messages=people|json` (every command).
void addMessagesOption(CLI::App& command, Invocation& invocation);
/// Adds `--timeout SECONDS` (every command that compiles or runs script text).
void addTimeoutOption(CLI::App& command, Invocation& invocation);

/// Adds `-I DIR` (every command that compiles scripts).
void addSearchOption(CLI::App& command);
/// Adds `--param NAME=VALUE` (commands that run scripts).
void addParamOption(CLI::App& command, Invocation& invocation);
/// Adds `--executor NAME` (commands that shade samples or run scripts): for all scripts that are loaded
/// later.
void addExecutorOption(CLI::App& command);
/// The executor that scripts are asked to run on: by the option, the environment, or nobody ("auto").
[[nodiscard]] std::string_view executorAsked();
/// Whether a script has the globals that `--param` names: else an error, with the name that may have been
/// meant.
/// @param globals  of all scripts that are loaded
[[nodiscard]] bool checkParams(const std::vector<std::string>& globals, Invocation& invocation);

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
