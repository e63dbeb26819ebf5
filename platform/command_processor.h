// Commands and batch files, run by the program that the environment variable COMSPEC names.
#pragma once

#include "platform/clock.h"

#include <string>
#include <string_view>

namespace kestrel::platform {

/// Part of a command whose separators the system has converted: each "\" before the first blank becomes a "/"
/// again.
[[nodiscard]] std::string nativeCommand(std::string_view piece);

/// Runs a command. It may read from standard input; it ends, with all that it started, when the flag says so
/// (where standard input is a terminal, what it started in the background runs on).
/// @return its exit code (128 + number when a signal ended it); -1 when the command processor cannot be
///         started
[[nodiscard]] int runCommand(const std::string& line, CancelFlag requested);

/// What a batch file says in the terms of the native command processor.
struct BatchText {
    std::string commands;
    /// Native directory to change to at the end, "" = none.
    std::string directory;
};

/// Translates the few things that batch files say in their own way: "@echo off", lines that begin with "rem"
/// and drive lines ("C:") mean nothing and become empty; "cd \DIR" goes to the native directory. All other
/// lines are the native command processor's and stay as they are. After the last `kRestoreRemark` only a "cd"
/// line counts, so that a command without a proper end never takes the lines below for its own.
[[nodiscard]] BatchText translateBatch(std::string_view batch);
inline constexpr std::string_view kRestoreRemark = "rem Restore drive/path settings";

/// Runs a batch file.
/// @param batchFile   system path
/// @param outputFile  system path of an existing file that takes its standard output; "" = this process's own
/// @return the exit code of the last command before the remark; -1 when the file cannot be read or the
///         command processor not be started
[[nodiscard]] int runBatch(std::string_view batchFile, std::string_view outputFile, CancelFlag requested);

}  // namespace kestrel::platform
