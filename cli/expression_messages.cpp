#include "cli/expression_messages.h"

#include "cli/text_script.h"
#include "engine/report/messages.h"

#include <string>
#include <string_view>

namespace kestrel::cli {

namespace {

/// The lines before the expression find out what it gives: they take 0 from it, unless it is nothing.
std::string_view kindOfValue(const ShownMessage& message) {
    const bool nothing = message.id == messageRow(MessageId::UserError).name ||
                         message.id == messageRow(MessageId::NoValueToAssign).name;
    return nothing ? "nothing" : "a text or an object";
}

ShownMessage aboutValue(const ShownMessage& message) {
    ShownMessage told;
    told.kind = ShownMessage::Kind::Error;
    told.line1 =
        "the expression gives " + std::string(kindOfValue(message)) + "; it must be a number or a Vector";
    return told;
}

}  // namespace

std::optional<ShownMessage> aboutExpression(ShownMessage message, const TextScript& script, bool errorShown) {
    const bool ownMessage =
        message.id.empty() && message.rule.empty();  // of the command, as of its time limit
    if (ownMessage) return message;
    if (message.id == messageRow(MessageId::CompileSummary).name)
        return std::nullopt;  // it counts all errors
    const UsersLines& lines = script.usersLines();
    const int last = lines.before + lines.count;
    if (!message.place.known() || (message.place.line > lines.before && message.place.line <= last))
        return message;
    if (errorShown || message.kind != ShownMessage::Kind::Error) return std::nullopt;
    if (message.place.line <= lines.before) return aboutValue(message);
    message.line1 = "the expression ends too early";
    message.line2.reset();
    message.place.line = last;
    message.place.column = lines.lastLength + 1;
    message.place.endColumn = 0;
    return message;
}

}  // namespace kestrel::cli
