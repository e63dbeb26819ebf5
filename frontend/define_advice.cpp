#include "frontend/define_advice.h"

#include "frontend/keywords.h"
#include "grammar.tab.h"

namespace kestrel {

std::string_view DefineAdvice::written(const SourcePos& where, std::string_view name) const {
    const DefineUses::Use* use = uses_.at(where);
    return use != nullptr ? use->word : name;
}

std::string DefineAdvice::placeOf(const DefineUses::Define& define, const SourcePos& seenFrom) const {
    std::string place = "line " + std::to_string(define.where.line);
    const auto file = static_cast<std::size_t>(define.where.file);
    if (define.where.file != seenFrom.file && reporter_.files != nullptr && file < reporter_.files->size()) {
        const std::string& path = (*reporter_.files)[file].path;
        place += " of " + path.substr(path.find_last_of("/\\") + 1);
    }
    return place;
}

bool DefineAdvice::tellIfCut(const SourcePos& where) {
    const DefineUses::Use* use = uses_.at(where);
    if (use == nullptr || !use->inside()) return false;
    if (!told_.insert(use->define).second || !reporter_.hintsWanted()) return true;
    if (reporter_.firstHintAt(where))
        reporter_.hint(where, HintId::DefineInWord, use->word, use->define->name,
                       placeOf(*use->define, where));
    return true;
}

bool DefineAdvice::tellIfReplaced(const SourcePos& where) {
    const DefineUses::Use* use = uses_.at(where);
    if (use == nullptr || use->inside()) return tellIfCut(where);
    if (told_.insert(use->define).second && reporter_.hintsWanted() && reporter_.firstHintAt(where))
        reporter_.hint(where, HintId::DefineOfName, use->word, placeOf(*use->define, where),
                       use->define->text);
    return true;
}

bool DefineAdvice::explain(const Token& first, const Token& previous, const Token& token) {
    if (textEnds(previous, token) || textBegins(token) || textHides(previous, token)) return true;
    return brokenWord(token) || brokenWord(previous) || brokenWord(first);
}

/// What was a keyword, or one word, is none any more.
bool DefineAdvice::brokenWord(const Token& token) {
    const DefineUses::Use* use = uses_.at(token.pos);
    if (use == nullptr || !use->inside()) return false;
    const bool whole =
        token.code == TK_NAME && token.pos.column == use->column && token.pos.endColumn == use->endColumn;
    return (!whole || keywordToken(use->word) != 0) && tellIfCut(token.pos);
}

bool DefineAdvice::textEnds(const Token& previous, const Token& token) {
    for (const Token* semicolon : {&previous, &token}) {
        const DefineUses::Use* use = semicolon->code == ';' ? uses_.at(semicolon->pos) : nullptr;
        if (use == nullptr || !use->define->text.ends_with(';')) continue;
        if (told_.insert(use->define).second)
            reporter_.hint(semicolon->pos, HintId::DefineText, use->define->name,
                           placeOf(*use->define, semicolon->pos), "ends with a ;");
        return true;
    }
    return false;
}

bool DefineAdvice::textBegins(const Token& token) {
    const DefineUses::Use* use = token.code == '=' ? uses_.at(token.pos) : nullptr;
    if (use == nullptr || !use->define->text.starts_with('=')) return false;
    if (told_.insert(use->define).second)
        reporter_.hint(token.pos, HintId::DefineText, use->define->name, placeOf(*use->define, token.pos),
                       "begins with a =");
    return true;
}

bool DefineAdvice::textHides(const Token& previous, const Token& token) {
    if (token.pos.file == previous.pos.file && token.pos.line == previous.pos.line) return false;
    const DefineUses::Use* use = uses_.commentIn(previous.pos);
    if (use == nullptr || previous.pos.column > use->column) return false;
    if (told_.insert(use->define).second)
        reporter_.hint(previous.pos, HintId::DefineText, use->define->name,
                       placeOf(*use->define, previous.pos),
                       "has a // comment, which hides the rest of the line");
    return true;
}

}  // namespace kestrel
