// Running scripts without the module: what the command's check, list and run use.
#pragma once

#include "engine/context/context.h"
#include "frontend/compiler.h"
#include "host/file_request.h"
#include "host/host_interface.h"
#include "host/presets.h"

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

/// Looks for components of scripts in these directories before all others, in this process and in programs
/// that it starts: puts them ahead in the environment variable KESTREL_PATH.
/// @param nativeDirectories  without platform::kListSeparator in their absolute paths
void searchFirst(std::span<const std::string> nativeDirectories);
/// Those directories, and what the environment names behind them.
[[nodiscard]] std::vector<std::string> searchedFirst();

/// One script in a context of its own, with all built-ins, the library path of the user's store and the
/// shading object (which has no sample here, so its members read as Nil). Nothing is shared with the module
/// or with other sessions.
class ScriptSession {
public:
    /// @param messages   where messages go; must outlive the session
    /// @param watch      lets the caller end a run; may be null
    /// @param requester  answers requests for files (components that are not on the library path); may be
    /// empty
    /// @param services   the host's scene and panels, as a module would look them up; null: there are none
    explicit ScriptSession(MessageSink& messages, RunWatch* watch = nullptr, FileRequester requester = {},
                           HostGlobal services = nullptr);
    ~ScriptSession();
    ScriptSession(const ScriptSession&) = delete;
    ScriptSession& operator=(const ScriptSession&) = delete;

    [[nodiscard]] EngineContext& context() noexcept;

    /// Forgets the script of the session and compiles another. Nothing of it runs; the messages of the
    /// compile have been shown.
    /// @param nativePath  as the user wrote it, relative or absolute
    /// @return true when it compiled; otherwise context().program holds what there is of it
    [[nodiscard]] bool compile(const std::string& nativePath, const CompileOptions& options = {});

    /// After a successful compile: whether the script may run, with messages when not.
    [[nodiscard]] bool check();

    /// After a successful compile: resolves the program, which prepare() does otherwise.
    /// @return the names that presets can be for
    [[nodiscard]] std::vector<std::string> globals();
    /// Before prepare(): values for globals, in place of those that its code outside functions assigns.
    void setPresets(std::vector<Preset> presets);

    /// Before prepare(): lets debuggers find the script, which waits for one at its first line from then on.
    /// @param debugLink  name of the link; empty: as the script's debug pragma says
    /// @return false when there is no link: nobody names one, or another script has it
    [[nodiscard]] bool openDebugLink(std::string_view debugLink = {});

    /// After a successful compile: makes the program ready and runs its code outside functions.
    /// @return the abort flag (false = success)
    bool prepare();

    /// After prepare(): how samples are shaded, by lines. Runs init, newtime and a sample.
    [[nodiscard]] std::string shadingReport();

    /// After prepare(): runs the function "main" with its handlers. Without a "main" nothing happens.
    /// @return the abort flag (false = success)
    bool runMain();

    /// Unloads the script, with its report of unused variables when the script asked for one.
    void unload();

private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

}  // namespace kestrel
