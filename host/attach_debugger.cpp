#include "host/attach_debugger.h"

#include "host/shader_context.h"
#include "ipc/debug_link.h"

namespace kestrel {

bool attachDebugger(EngineContext& engine, std::string_view link) {
    const ShaderContext& host = shaderContext(engine);
    return openDebugLink(engine, !link.empty() ? link : engine.options.debugName,
                         [&host]() -> std::optional<debug::Pixel> {
                             if (host.sample == nullptr) return std::nullopt;
                             return debug::Pixel{host.shadingSample()->sx, host.shadingSample()->sy};
                         });
}

}  // namespace kestrel
