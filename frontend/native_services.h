// What declarations of native things (agent classes, compiled libraries) need from the layers above.
#pragma once

#include "engine/context/context.h"

#include <string_view>

namespace kestrel {

/// Handed to compileScript. Without one no class or compiled library can be loaded.
class NativeServices {
public:
    virtual ~NativeServices() = default;

    /// True when any Object Agent class is registered.
    [[nodiscard]] virtual bool hasClasses(EngineContext& ctx) = 0;
    /// True when a class of this name is registered.
    [[nodiscard]] virtual bool isClass(EngineContext& ctx, std::string_view name) = 0;
    /// Loads an agent library and registers it as a class; reports its own failures.
    /// @return true when a class was added
    virtual bool loadClass(EngineContext& ctx, std::string_view library, std::string_view name) = 0;
    /// Makes `base` the base of the class that was added last.
    /// @return false when there is no such class
    virtual bool setBase(EngineContext& ctx, std::string_view base) = 0;
    /// Binds those calls that still carry kNodeUnresolved to functions that a compiled library exports:
    /// clears the node's flags. Reports its own failures.
    virtual void bindLibrary(EngineContext& ctx, std::string_view library, LinkedList<CodeNode>& code) = 0;
};

}  // namespace kestrel
