// A scene for scripts that run without the module.
#pragma once

#include "cli/commands.h"
#include "host/host_interface.h"

#include <memory>
#include <string>

namespace kestrel::cli {

/// A scene whose services answer as a host's would. One at a time.
class SceneAccess {
public:
    virtual ~SceneAccess() = default;
    [[nodiscard]] virtual HostGlobal services() const = 0;
};

/// @return null after telling what is wrong with the file
[[nodiscard]] std::unique_ptr<SceneAccess> openScene(const std::string& nativePath, Invocation& invocation);

}  // namespace kestrel::cli
