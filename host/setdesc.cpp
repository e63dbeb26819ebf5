#include "builtins/common/joined_text.h"
#include "host/host_builtins.h"
#include "host/shader_context.h"

#include <string>

namespace kestrel {

void setdescBuiltin(BuiltinCall& call) {
    const std::string text =
        builtins::joinArguments(call, "#WLine %d, invalid argument %d type to setdesc()");
    ShaderContext& context = shaderContext(call.ctx);
    context.description = text.substr(0, kDescriptionLimit);
    context.customDescription = true;
    call.result(ValueCell::ofNil());
}

}  // namespace kestrel
