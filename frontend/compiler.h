// The compile driver: one script file, its inserts and its libraries become one Program.
#pragma once

#include "engine/context/context.h"

#include <optional>
#include <string_view>

namespace kestrel {

class NativeServices;

/// What a compile found out beside the program.
struct CompileInfo {
    /// The script would keep the compile busy for ever (set under CompileOptions::reportEndless only).
    bool endless = false;
};

struct CompileOptions {
    /// A block comment that never ends makes the scanner wait for ever, and a library that brings itself in
    /// is read for ever, by design. With this option the compile ends instead with a plain error at the place
    /// where that begins: what the command line uses.
    bool reportEndless = false;
    /// Declared queues are not made, so that nobody else notices: for a script that will not run.
    bool declareOnly = false;
    /// The script's text; then its path only names it, and no file is opened that the script does not name.
    std::optional<std::string_view> text = {};
    /// Inserts and libraries are what the locator finds, and are not looked for anywhere else; nor is any
    /// other file touched.
    bool locatedOnly = false;
    NativeServices* native = nullptr;  ///< agent classes, compiled libraries; may be null
    CompileInfo* info = nullptr;       ///< may be null
};

/// Compiles a script into ctx.program, with ctx.options set by its pragmas. The counters of ctx.reporter, and
/// the context's limits, are as the caller left them; the caller resets the context first. While it runs, and
/// afterwards also when it failed, ctx.program->files names the files that the places of messages refer to.
/// @param systemPath  absolute, "\"-separated, letter case kept; with CompileOptions::text any name
/// @return 0 on success, otherwise the number of errors (messages have gone to the reporter)
int compileScript(EngineContext& ctx, std::string_view systemPath, const CompileOptions& options = {});

}  // namespace kestrel
