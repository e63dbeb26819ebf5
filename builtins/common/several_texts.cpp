#include "builtins/common/several_texts.h"

#include "builtins/common/tokens.h"

namespace kestrel::builtins {

ValueCell ownedText(EngineContext& ctx, std::string_view text) {
    const char* copy = ctx.pool.strdup(text);
    return copy != nullptr ? ValueCell::ofTemp(copy) : ValueCell::ofNil();
}

bool SeveralTexts::add(std::string_view text) {
    // Texts that just fill the stack leave no room for their count: that ends the run with one message.
    const auto room = static_cast<std::size_t>(kStackCells - call_.base());
    if (cells_.size() >= room || call_.ctx.run.abort) return false;
    cells_.push_back(ownedText(call_.ctx, text));
    return true;
}

void resultTokens(BuiltinCall& call, std::string_view delims, std::string_view text) {
    SeveralTexts tokens(call);
    forEachToken(delims, text, [&tokens](std::string_view token) { tokens.add(token); });
    tokens.leave();
}

}  // namespace kestrel::builtins
