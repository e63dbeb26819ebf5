#include "frontend/keywords.h"

#include "frontend/token.h"
#include "grammar.tab.h"
#include "platform/ascii.h"

#include <algorithm>
#include <array>

namespace kestrel {

namespace {

struct Keyword {
    std::string_view word;
    int token;
};

/// By word.
constexpr auto kKeywords = [] {
    auto rows = std::to_array<Keyword>({
#define KESTREL_KEYWORD(word, token, status, form, description) {word, TK_##token},
#include "frontend/keywords.def"
#undef KESTREL_KEYWORD
    });
    std::ranges::sort(rows, {}, &Keyword::word);
    return rows;
}();

}  // namespace

int keywordToken(std::string_view word) noexcept {
    const auto* found = std::ranges::lower_bound(kKeywords, word, {}, &Keyword::word);
    return found != kKeywords.end() && found->word == word ? found->token : 0;
}

std::string_view keywordInSmall(std::string_view name) noexcept {
    const auto same = [name](const Keyword& row) { return ascii::equalIgnoringCase(name, row.word); };
    // Capitals come first: of two spellings the small one is the last.
    const auto found = std::ranges::find_if(kKeywords.rbegin(), kKeywords.rend(), same);
    return found != kKeywords.rend() ? found->word : std::string_view();
}

}  // namespace kestrel
