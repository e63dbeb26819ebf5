#include "cli/commands.h"
#include "cli/message_printer.h"
#include "engine/context/executor.h"
#include "engine/values/format.h"
#include "host/script_session.h"
#include "platform/environment.h"
#include "platform/files.h"
#include "platform/near_names.h"
#include "platform/paths.h"
#include "platform/processes.h"
#include "platform/terminal.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>

namespace kestrel::cli {

namespace {

constexpr const char* kExecutorVariable = "KESTREL_EXECUTOR";
constexpr double kLongestTimeout = 1e7;  // seconds; what every clock can still count

/// @return why a file cannot be used, or null
const char* unusable(const std::string& nativePath) {
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::file_status status = fs::status(nativePath, error);
    if (status.type() == fs::file_type::not_found) return "no such file";
    if (error) return "cannot be reached";
    if (fs::is_directory(status)) return "is a directory, not a script";
    if (!fs::is_regular_file(status)) return "is not a regular file";
    if (!platform::openFile(platform::systemPath(nativePath), "rb")) return "cannot be read";
    return nullptr;
}

}  // namespace

void complain(Invocation& invocation, std::string_view text, ExitCode exitCode) {
    MessagePrinter(invocation.json, {}).plainError(text);
    invocation.exitCode = std::max<int>(invocation.exitCode, exitCode);
}

CLI::Validator numberIn(double least, double most, const std::string& unit) {
    // CLI::Range takes NaN for a number of every range.
    return CLI::Validator(
        [least, most, unit](const std::string& text) {
            double number = 0.0;
            const bool read = CLI::detail::lexical_cast(text, number) && std::isfinite(number);
            if (!read) return "\"" + text + "\" is not a number of " + unit;
            if (number >= least && number <= most) return std::string();
            return "\"" + text + "\" is not from " + formatG(least) + " to " + formatG(most) + " " + unit;
        },
        "");
}

void addMessagesOption(CLI::App& command, Invocation& invocation) {
    command
        .add_option_function<std::string>(
            "--messages", [&invocation](const std::string& style) { invocation.json = style == "json"; },
            "How messages are shown: for people, or as one JSON object per line on standard output")
        ->check(CLI::IsMember({"people", "json"}).description(""))
        ->type_name("people|json")
        ->default_str("people");
}

void addTimeoutOption(CLI::App& command, Invocation& invocation) {
    command
        .add_option("--timeout", invocation.timeout,
                    "Ends a script that takes longer than this, in seconds (default: no limit)")
        ->check(numberIn(0.0, kLongestTimeout, "seconds"))
        ->type_name("SECONDS");
}

void addSearchOption(CLI::App& command) {
    command
        .add_option_function<std::vector<std::string>>(
            "-I,--include", [](const std::vector<std::string>& directories) { searchFirst(directories); },
            "Looks for inserted files and libraries in this directory, before those of KESTREL_PATH; can be "
            "given several times")
        ->check(CLI::Validator(
            [](const std::string& directory) {
                std::error_code error;
                if (!std::filesystem::is_directory(directory, error)) return directory + " is no directory";
                const bool listed =
                    std::filesystem::absolute(directory, error).string().find(platform::kListSeparator) ==
                    std::string::npos;
                return listed ? std::string() : directory + ": its path must not have a colon in it";
            },
            ""))
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->allow_extra_args(false)
        ->type_name("DIR");
}

void addParamOption(CLI::App& command, Invocation& invocation) {
    command
        .add_option(
            "--param", invocation.presets,
            "Gives a global variable of the script a value, in place of what its code outside functions "
            "assigns: a number, a Vector <x,y,z>, or else a text (\"\" is the empty one); can be given "
            "several times")
        ->check(CLI::Validator(
            [](const std::string& assignment) {
                std::string problem;
                return parsePreset(assignment, problem) ? std::string() : assignment + ": " + problem;
            },
            ""))
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->allow_extra_args(false)
        ->type_name("NAME=VALUE");
}

void addExecutorOption(CLI::App& command) {
    std::vector<std::string> names;
    for (const ExecutorName& row : kExecutorNames) names.emplace_back(row.name);
    std::string type;
    for (const std::string& name : names) type.append(type.empty() ? "" : "|").append(name);
    // The module takes it from there, and so does whatever else loads scripts.
    command
        .add_option_function<std::string>(
            "--executor", [](const std::string& name) { platform::setEnvironment(kExecutorVariable, name); },
            "What shades samples: the interpreter (definition), intermediate code (threaded) or machine code "
            "(native), as far as script and machine allow; the result is the same (default: what "
            "KESTREL_EXECUTOR names, or the fastest)")
        ->check(CLI::IsMember(names).description(""))
        ->type_name(type);
}

std::string_view executorAsked() {
    const std::optional<std::string> name = platform::environment(kExecutorVariable);
    const Executor asked = name ? executorNamed(*name).value_or(Executor::Automatic) : Executor::Automatic;
    return std::ranges::find(kExecutorNames, asked, &ExecutorName::executor)->name;
}

bool checkParams(const std::vector<std::string>& globals, Invocation& invocation) {
    const std::vector<std::string_view> names(globals.begin(), globals.end());
    bool known = true;
    for (const std::string& assignment : invocation.presets) {
        std::string ignored;
        const std::string name = parsePreset(assignment, ignored).value_or(Preset{}).name;
        if (std::ranges::find(names, name) != names.end()) continue;
        known = false;
        std::string problem = "--param " + assignment + ": the script has no global variable '" + name + "'";
        problem += didYouMean(nearestName(name, names), Question::AsSentence);
        complain(invocation, problem);
    }
    return known;
}

void addDebugLinkOption(CLI::App& command, Invocation& invocation) {
    command
        .add_option_function<std::string>("--debug-link",
                                          [&invocation](const std::string& link) {
                                              invocation.debugLink = link;
                                              platform::endWithParent();  // nobody else knows the name
                                          })
        ->group("");
}

std::string debugLinkHint(const std::string& link, bool open) {
    if (!open) return "another script has the debugger link \"" + link + "\"; this one runs without";
    return "the script pauses until a debugger lets it go on: kestrel debug " + link;
}

bool requireReadable(const std::string& nativePath, Invocation& invocation) {
    const char* reason = unusable(nativePath);
    if (reason == nullptr) return true;
    complain(invocation, nativePath + ": " + reason);
    return false;
}

std::optional<std::string> readBytes(const std::string& nativePath, std::int64_t most) {
    const platform::FileHandle file = platform::openRegularFile(platform::systemPath(nativePath));
    if (!file) return std::nullopt;
    const std::optional<std::int64_t> size = platform::fileSize(file.get());
    if (!size || *size > most) return std::nullopt;
    std::string bytes(static_cast<std::size_t>(*size), '\0');
    if (std::fread(bytes.data(), 1, bytes.size(), file.get()) != bytes.size()) return std::nullopt;
    return bytes;
}

void prepareForPrograms(const Invocation& invocation, bool outputIsData) {
    // Built-ins that start other programs ask for the command processor by this name.
    if (!platform::environment("COMSPEC")) platform::setEnvironment("COMSPEC", "/bin/sh");
    if (invocation.json || outputIsData) platform::reserveOutput();
}

}  // namespace kestrel::cli
