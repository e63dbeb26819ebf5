// All that a script brings in with `use` and compiled libraries.
#pragma once

#include "engine/context/native_callee.h"
#include "frontend/native_services.h"

#include <memory>
#include <string_view>

namespace kestrel::agents {

/// Classes and functions of one script. They are there until its context forgets the script: then the objects
/// end first, and the libraries are let go of.
class NativeCode final : public NativeServices, public NativeCallees {
public:
    NativeCode();
    ~NativeCode() override;

    // ---- while the script is compiled
    bool hasClasses(EngineContext& ctx) override;
    bool isClass(EngineContext& ctx, std::string_view name) override;
    bool loadClass(EngineContext& ctx, std::string_view library, std::string_view name) override;
    bool setBase(EngineContext& ctx, std::string_view base) override;
    void bindLibrary(EngineContext& ctx, std::string_view library, LinkedList<CodeNode>& code) override;

    // ---- while it is linked and runs
    [[nodiscard]] NativeCallee* find(std::string_view name) override;
    /// Ends the objects that nobody refers to.
    void sweep() override;

private:
    struct Loaded;
    class Owned;

    Loaded& loaded(EngineContext& ctx);

    std::unique_ptr<Loaded> loaded_;  ///< null until the script brings something in
};

}  // namespace kestrel::agents
