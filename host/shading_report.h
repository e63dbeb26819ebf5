// How the samples of a script are shaded: for people who want it faster.
#pragma once

#include "host/loaded_script.h"
#include "host/module_extension.h"

#include <string>
#include <vector>

namespace kestrel {

/// Runs init, newtime and a sample, as a host would, and tells what can be shaded without the interpreter and
/// where not, and the code that is made; by lines.
/// @param script  whose code outside functions has run
[[nodiscard]] std::string shadingReport(LoadedScript& script);

/// What was told last about how samples are shaded: it owns what a KestrelShading points to.
class ToldShading {
public:
    [[nodiscard]] KestrelShading tell(const fast::FastProcess& process);

private:
    std::vector<fast::ExitCount> exits_;
    std::vector<KestrelExit> rows_;
};

}  // namespace kestrel
