#include "host/host_builtins.h"
#include "host/script_environment.h"
#include "host/shader_context.h"

namespace kestrel {

void runningUnderBuiltin(BuiltinCall& call) {
    constexpr std::uint32_t kProgramBits = 0xf0000000u;
    switch (shaderContext(call.ctx).environment.systemInfo & kProgramBits) {
        case HX_SYSTEM_LAYOUT:
            return call.resultInteger(1);
        case HX_SYSTEM_MODELER:
            return call.resultInteger(2);
        case HX_SYSTEM_RENDER_NODE:
            return call.resultInteger(3);
        default:
            return call.none();  // a program that scripts have no name for
    }
}

}  // namespace kestrel
