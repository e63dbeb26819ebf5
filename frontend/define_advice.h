// Hints about what defines have made of the script.
#pragma once

#include "engine/report/reporter.h"
#include "frontend/define_uses.h"
#include "frontend/token.h"

#include <set>
#include <string>
#include <string_view>
#include <utility>

namespace kestrel {

class DefineAdvice {
public:
    explicit DefineAdvice(Reporter& reporter) : reporter_(reporter) {}

    void take(DefineUses uses) { uses_ = std::move(uses); }

    /// What is written where a name was read: other than the name when a define has changed it.
    [[nodiscard]] std::string_view written(const SourcePos& where, std::string_view name) const;
    /// @return true when a define has changed a part of the word at a place: told once for each define
    bool tellIfCut(const SourcePos& where);
    /// The same about a word that is a define.
    bool tellIfReplaced(const SourcePos& where);
    /// About a syntax error. @return true when a define is the cause
    bool explain(const Token& first, const Token& previous, const Token& token);

private:
    bool brokenWord(const Token& token);
    bool textEnds(const Token& previous, const Token& token);
    bool textBegins(const Token& token);
    bool textHides(const Token& previous, const Token& token);
    /// "line 3", or "line 3 of FILE" in another file than the place.
    [[nodiscard]] std::string placeOf(const DefineUses::Define& define, const SourcePos& seenFrom) const;

    Reporter& reporter_;
    DefineUses uses_;
    std::set<const DefineUses::Define*> told_;
};

}  // namespace kestrel
