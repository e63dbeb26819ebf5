// A silent compile ahead of a command that hands the script to the module.
#pragma once

#include "cli/commands.h"
#include "cli/message_printer.h"
#include "engine/context/context.h"

#include <string>
#include <vector>

namespace kestrel::cli {

/// What a silent compile found out about a script. The module compiles exactly as the language says, and some
/// scripts would keep it busy for ever; so a command that loads the module compiles the script here first.
class ScriptCheck {
public:
    /// False: the script must not reach the module, because loading it would never end. Tell the user with
    /// complain(), then stop with kExitScriptFailed.
    [[nodiscard]] bool safe() const noexcept { return safe_; }
    /// The name of the script's debugger link; empty: it has none.
    [[nodiscard]] const std::string& debugLink() const noexcept { return debugLink_; }
    [[nodiscard]] bool hasMain() const noexcept { return hasMain_; }
    /// The compile's hints, which the module has nobody to give to.
    [[nodiscard]] const std::vector<ShownMessage>& hints() const noexcept { return hints_; }
    /// The global variables of a script that compiles.
    [[nodiscard]] const std::vector<std::string>& globals() const noexcept { return globals_; }
    [[nodiscard]] bool compiles() const noexcept { return compiles_; }
    /// Shows why the script is not safe.
    void complain(MessagePrinter& printer) const;

private:
    friend ScriptCheck precheck(const std::string& nativePath, const std::vector<std::string>& components,
                                RunWatch* watch);
    bool safe_ = true;
    bool hasMain_ = false;
    bool compiles_ = false;
    std::vector<std::string> globals_;
    std::string debugLink_;
    std::vector<ShownMessage> diagnostics_;
    std::vector<ShownMessage> hints_;
};

/// Compiles a script without showing anything and without running anything of it.
/// @param nativePath  a readable file (see requireReadable())
/// @param watch       lets the caller end the compile, which then has failed; may be null
/// @param components  files that answer the file requester, in order, as the command's `--choose` options do
[[nodiscard]] ScriptCheck precheck(const std::string& nativePath,
                                   const std::vector<std::string>& components = {},
                                   RunWatch* watch = nullptr);

}  // namespace kestrel::cli
