// Scripts for the module, put together of statements that reach the host.
#pragma once

#include "fuzz/taken.h"

#include <string>
#include <vector>

namespace kestrel::fuzz {

/// A script that may have any of the functions that a host calls.
[[nodiscard]] std::string makeScript(Taken& data);

/// One for each statement that such scripts consist of. All compile.
[[nodiscard]] std::vector<std::string> scriptsOfOneStatement();

}  // namespace kestrel::fuzz
