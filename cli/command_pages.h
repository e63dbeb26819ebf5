// What is made from the command's own options, so that it cannot say anything else: the manual page, and
// completion for shells.
#pragma once

#include <string>
#include <string_view>

namespace CLI {
class App;
}

namespace kestrel::cli {

/// The manual page kestrel(1), in roff.
[[nodiscard]] std::string manualPage(const CLI::App& app);

/// A script with which a shell completes command lines of `kestrel`.
/// @param shell  "bash", "zsh" or "fish"
[[nodiscard]] std::string shellCompletion(const CLI::App& app, std::string_view shell);

}  // namespace kestrel::cli
