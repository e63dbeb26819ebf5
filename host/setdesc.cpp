#include "engine/text.h"
#include "host/host_builtins.h"
#include "host/shader_context.h"

#include <optional>
#include <string>

namespace kestrel {

void setdescBuiltin(BuiltinCall& call) {
    std::string text;
    // Meant: an argument without a text of its own repeats the text of the argument before it.
    std::string last;
    for (int i = 0; i < call.argc; ++i) {
        const ValueCell& cell = call.arg(i);
        if (cell.type != Nil) {
            if (std::optional<std::string> own = valueText(cell)) {
                last = std::move(*own);
            } else {
                call.ctx.reporter.report("#WLine %d, invalid argument %d type to setdesc()",
                                         call.ctx.run.currentLine, i + 1);
            }
        }
        text += last;
    }
    ShaderContext& context = shaderContext(call.ctx);
    context.description = text.substr(0, kDescriptionLimit);
    context.customDescription = true;
    call.result(ValueCell::ofNil());
}

}  // namespace kestrel
