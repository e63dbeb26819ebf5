#include "builtins/joined_text.h"

#include "engine/text.h"
#include "engine/text_buffer.h"

#include <optional>
#include <utility>

namespace kestrel::builtins {

namespace {

std::optional<std::string> textOf(const ValueCell& cell, FileText fileText) {
    if (cell.type == FileObj && fileText == FileText::Name) return fileName(cell);
    return valueText(cell);
}

}  // namespace

std::string joinArguments(BuiltinCall& call, std::string_view warning, FileText fileText) {
    std::string text;
    std::string last;  // meant: an argument without a text of its own repeats this one
    for (int i = 0; i < call.argc; ++i) {
        const ValueCell& cell = call.arg(i);
        if (cell.type != Nil) {
            if (std::optional<std::string> own = textOf(cell, fileText))
                last = std::move(*own);
            else
                call.ctx.reporter.report(warning, call.ctx.run.currentLine, i + 1);
        }
        if (!fitsText(call.ctx, text.size() + last.size())) break;
        text += last;
    }
    return text;
}

}  // namespace kestrel::builtins
