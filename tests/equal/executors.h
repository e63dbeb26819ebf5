// The executors of the language: all of them must do exactly the same.
#pragma once

#include "host/script_environment.h"

#include <memory>
#include <span>
#include <string_view>

namespace kestrel::equal {

/// What an executor needs as long as a script lives.
class Attachment {
public:
    virtual ~Attachment() = default;
    /// True when it has seen the executor at work; one that never is proves nothing.
    [[nodiscard]] virtual bool used() const { return true; }
};

struct Executor {
    std::string_view name;
    /// Makes the scripts that are loaded from now on run on it.
    std::unique_ptr<Attachment> (*use)(ScriptEnvironment& environment);
    /// Locals that nobody reads before they are assigned hold the same, too.
    bool keepsLocals = true;
    /// Samples come in batches, and it shades them in groups.
    bool inGroups = false;
};

/// The table. A new executor is a row.
[[nodiscard]] std::span<const Executor> executors();
/// @return null when there is none of that name
[[nodiscard]] const Executor* findExecutor(std::string_view name);

}  // namespace kestrel::equal
