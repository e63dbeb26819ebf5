// The end of a call from outside.
#pragma once

#include "engine/context/context.h"

namespace kestrel {

/// Ends a call of a script's code whichever way the scope is left: empties the stack, and lets go of what has
/// come together. An exception leaves the engine ready for the next call, with the abort flag set.
class CallScope {
public:
    explicit CallScope(EngineContext& ctx) noexcept;
    ~CallScope();
    CallScope(const CallScope&) = delete;
    CallScope& operator=(const CallScope&) = delete;

private:
    EngineContext& ctx_;
    int exceptions_;
};

}  // namespace kestrel
