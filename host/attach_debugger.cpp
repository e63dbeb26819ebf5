#include "host/attach_debugger.h"

#include "host/shader_context.h"
#include "ipc/debug_link.h"

namespace kestrel {

bool attachDebugger(EngineContext& engine, std::string_view link) {
    return openDebugLink(engine, !link.empty() ? link : engine.options.debugName,
                         [&engine]() -> std::optional<debug::Pixel> {
                             const ShadingSample* const sample = shadingSample(engine);
                             if (sample == nullptr) return std::nullopt;
                             return debug::Pixel{sample->sx, sample->sy};
                         });
}

}  // namespace kestrel
