#include "builtins/common/several_texts.h"

#include <algorithm>
#include <array>

namespace kestrel::builtins {

namespace {

/// Calls visit(token) for each piece of `text` between runs of characters of `delims`, in order. Pieces are
/// never empty: delimiters at the beginning or the end make none. Without delimiters the whole text is one.
/// @param visit  takes a std::string_view into `text`
template <class Visit>
void forEachToken(std::string_view delims, std::string_view text, Visit visit) {
    std::array<bool, 256> isDelimiter{};  // one look per character, however many delimiters there are
    for (const char c : delims) isDelimiter[static_cast<unsigned char>(c)] = true;
    const auto delimits = [&isDelimiter](char c) { return isDelimiter[static_cast<unsigned char>(c)]; };
    auto begin = std::find_if_not(text.begin(), text.end(), delimits);
    while (begin != text.end()) {
        const auto end = std::find_if(begin, text.end(), delimits);
        visit(std::string_view(begin, end));
        begin = std::find_if_not(end, text.end(), delimits);
    }
}

}  // namespace

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
