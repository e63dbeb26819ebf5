// How a script is started in order to debug it.
#pragma once

#include "platform/processes.h"

#include <string>
#include <vector>

namespace kestrel::cli {

struct Launch {
    std::string file;               ///< native path of the script
    std::string as;                 ///< "run", "shade" or "render"; empty: run when it has a main, else shade
    std::vector<std::string> more;  ///< further options of that command
    bool json = false;              ///< the command shows its messages as JSON
};

/// A name for a link that nobody else has or can guess.
[[nodiscard]] std::string unguessableLink();
/// The command that runs the script under that link. It starts in the current directory, as what is looked up
/// here does.
[[nodiscard]] std::vector<std::string> launchCommand(const Launch& launch, const std::string& link);
/// Without standard input, and out of reach of Ctrl-C.
[[nodiscard]] platform::ProcessOptions launchOptions();

}  // namespace kestrel::cli
