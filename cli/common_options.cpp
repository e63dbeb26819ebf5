#include "cli/commands.h"
#include "platform/environment.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "platform/processes.h"
#include "platform/terminal.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <filesystem>

namespace kestrel::cli {

namespace {

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
                    "Ends a script that runs longer than this, in seconds (default: no limit)")
        ->check(CLI::Validator(
            [](const std::string& text) {
                double seconds = 0.0;
                const bool good =
                    CLI::detail::lexical_cast(text, seconds) && seconds >= 0.0 && seconds <= kLongestTimeout;
                return good ? std::string() : "\"" + text + "\" is not a number of seconds";
            },
            ""))
        ->type_name("SECONDS");
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
    std::fprintf(stderr, "kestrel: error: %s: %s\n", nativePath.c_str(), reason);
    invocation.exitCode = std::max<int>(invocation.exitCode, kExitUnusable);
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
