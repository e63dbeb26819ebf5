#include "builtins/common/joined_text.h"

#include "engine/operations/text.h"
#include "engine/operations/text_buffer.h"
#include "engine/values/format.h"

#include <utility>

namespace kestrel::builtins {

std::optional<std::string> pieceText(const EngineContext& ctx, const ValueCell& cell, TextUse use) {
    if (std::optional<std::string> text = objectText(ctx, use, cell)) return text;
    // Meant: these functions show the low 32 bits of an Integer; "+" and messages show all of it.
    if (cell.type == Integer) return formatInt(truncate32(cell.number));
    return valueText(ctx, cell);
}

std::string joinArguments(BuiltinCall& call, std::string_view function, TextUse use) {
    std::string text;
    std::string last;  // meant: an argument without a text of its own repeats this one
    for (int i = 0; i < call.argc; ++i) {
        const ValueCell& cell = call.arg(i);
        if (cell.type != Nil) {
            if (std::optional<std::string> own = pieceText(call.ctx, cell, use))
                last = std::move(*own);
            else
                call.ctx.report(MessageId::ArgumentSkipped, i + 1, function);
        }
        if (!fitsText(call.ctx, text.size() + last.size())) break;
        text += last;
    }
    return text;
}

}  // namespace kestrel::builtins
