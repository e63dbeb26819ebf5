// Finding the libraries that scripts name.
#pragma once

#include "engine/context/context.h"
#include "platform/dynamic_library.h"

#include <memory>
#include <string_view>

namespace kestrel::agents {

/// Loads a library by the name that the script gave, then beside the script, then as a component.
///
/// A name without a directory means what the system's own directories for libraries hold. The current
/// directory is searched only when the name says so ("./x.so"): what lies there is not the script's author's
/// choice.
/// @return null after reporting that it was not found
[[nodiscard]] std::unique_ptr<platform::DynamicLibrary> openLibrary(EngineContext& ctx,
                                                                    std::string_view name);

}  // namespace kestrel::agents
