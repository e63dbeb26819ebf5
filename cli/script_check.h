// A silent compile ahead of a command that hands the script to the module.
#pragma once

#include "cli/commands.h"
#include "cli/message_printer.h"

#include <string>
#include <string_view>
#include <vector>

namespace kestrel::cli {

/// What a silent compile found out about a script.
///
/// The module compiles exactly as the language says: it would wait for ever at a block comment that is not
/// closed, and its messages carry no true places. So a command that loads the module compiles the script here
/// first.
class ScriptCheck {
public:
    /// False: the script must not reach the module, because loading it would never end. Tell the user with
    /// complain(), then stop with kExitScriptFailed.
    [[nodiscard]] bool safe() const noexcept { return safe_; }
    /// Shows why the script is not safe.
    void complain(MessagePrinter& printer) const;

    /// A message from the host's message service, with the true place where the silent compile reported the
    /// very same two lines. Diagnostics are matched in order, so equal texts get their own places.
    /// @param line2  null when absent
    [[nodiscard]] ShownMessage withPlace(ShownMessage::Kind kind, const char* line1, const char* line2);

private:
    friend ScriptCheck precheck(const std::string& nativePath, const std::vector<std::string>& components);
    struct Diagnostic {
        ShownMessage message;
        bool used = false;
    };
    bool safe_ = true;
    std::vector<Diagnostic> diagnostics_;
};

/// Compiles a script without showing anything and without running anything of it.
/// @param nativePath  a readable file (see requireReadable())
/// @param components  files that answer the file requester, in order, as the command's `--choose` options do
[[nodiscard]] ScriptCheck precheck(const std::string& nativePath,
                                   const std::vector<std::string>& components = {});

}  // namespace kestrel::cli
