#include "frontend/syntax_advice.h"

#include "engine/program/program.h"
#include "frontend/compile_state.h"
#include "frontend/foreign_names.h"
#include "frontend/keywords.h"
#include "frontend/token_shape.h"
#include "grammar.tab.h"
#include "platform/ascii.h"
#include "platform/near_names.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

namespace kestrel {

void SyntaxAdvice::next(const Token& token, bool inFunction) {
    previous_ = token_;
    token_ = token;
    const bool behindMarker = first_.code == TK_PPLINE && token.number == first_.number + 2;
    if (statementBegins_ || behindMarker) first_ = token;
    statementBegins_ = false;
    if (previous_.number == first_.number) second_ = token.code;
    follow(token);
    const bool boundary = previous_.code == ';' || previous_.code == '}';
    if (failed_ && boundary && inFunction == braces_.empty()) astray_ = true;
    // "a = b" and on the next line "(c, d) = ...": read as a call, without an error.
    if (token.code == '(' && endsOperand(previous_) && token.pos.line > previous_.pos.line) {
        otherError();
        splitCalls_.emplace(previous_.pos.file, previous_.pos.line, previous_.pos.column);
    }
    if (token.code == '*' && previous_.code == '*' && !textOpen_)
        reporter_.hint(previous_.pos, HintId::ForeignOperator, "**", "pow(a, b)");
    if (isName(token)) names_.emplace_back(token.value.symbol->name);
}

/// Keeps track of what is open.
void SyntaxAdvice::follow(const Token& token) {
    switch (previous_.code) {  // the token before has been parsed, so its statement is over
        case ';':
            if (!brackets_.empty()) break;  // in the head of a for
            endStatement();
            first_ = token;
            break;
        case '{':
        case '}':
        case TK_XBEGIN:
        case TK_XEND:
        case TK_THEN:
        case TK_DO:
        case TK_ELSE:
            brackets_.clear();
            endStatement();
            first_ = token;
            break;
        case '(':
        case '[':
            brackets_.push_back(previous_);
            break;
        case ')':
        case ']':
            if (!brackets_.empty()) brackets_.pop_back();
            if (brackets_.empty() && controlHasBracket_ && conditionEnd_ < control_.number)
                conditionEnd_ = previous_.number;
            break;
        default:
            break;
    }
    if (previous_.code == '{') braces_.push_back(previous_.pos);
    if (previous_.code == '}' && !braces_.empty()) braces_.pop_back();
    if (previous_.number == control_.number) controlHasBracket_ = token.code == '(';
    if (token.code == TK_IF || token.code == TK_WHILE) control_ = token;
    if (token.code == TK_TO) lastTo_ = token.number;
}

void SyntaxAdvice::endStatement() {
    if (errorInStatement_)
        for (const std::string_view name : names_) lost_.emplace(name);
    errorInStatement_ = false;
    names_.clear();
    control_.code = 0;
}

void SyntaxAdvice::openText(const SourcePos& where, bool lineIsCut) {
    if (!textOpen_ && lineIsCut) reporter_.hint(where, HintId::LineTooLong, "text");
    if (!textOpen_ && !lineIsCut) reporter_.hint(where, HintId::UnclosedText);
    textOpen_ = failed_ = true;
}

void SyntaxAdvice::keepLostNames(std::string_view text) {
    const auto inName = [](char c) { return ascii::isLetter(c) || ascii::isDigit(c) || c == '_'; };
    std::string name;
    for (const char c : text) {
        if (inName(c)) {
            name += c;
        } else if (!name.empty()) {
            lost_.insert(std::exchange(name, {}));
        }
    }
    lost_.insert(name);
}

void SyntaxAdvice::syntaxError(bool inFunction, std::string_view rest) {
    rest_ = rest;
    failed_ = errorInStatement_ = true;
    errorLines_.emplace(token_.pos.file, token_.pos.line);
    // After an earlier error the parser can be elsewhere than the script: then less can be explained.
    const bool astray = inFunction == braces_.empty() && token_.code != 0;
    if (reporter_.hintsWanted() && !textOpen_ && !explainToken() && !astray) explainStatement();
    brackets_.clear();  // said once
    if (token_.code == 0) endStatement();
}

bool SyntaxAdvice::explainToken() {
    return defines_.explain(first_, previous_, token_) || cutLine() || character() || negativeNumber() ||
           numberForm() || singleQuotes() || foreignOperator() || listInBrackets() || constOutside() ||
           forHead() || foreignWord() || functionHead() || missingColon();
}

void SyntaxAdvice::explainStatement() {
    static_cast<void>(functionInFunction() || condition() || missingDo() || unclosed() || emptyStatement() ||
                      returnInBrackets() || strayBrace() || missingSemicolon());
}

bool SyntaxAdvice::negativeNumber() {
    if (!isNumber(token_) || token_.first != '-' || !endsOperand(previous_)) return false;
    const std::string digits = written(token_);
    reporter_.hint(token_.pos, HintId::NegativeNumber, written(previous_),
                   digits.starts_with('-') ? digits.substr(1) : digits);
    return true;
}

bool SyntaxAdvice::singleQuotes() {
    if (token_.code != '\'') return false;
    reporter_.hint(token_.pos, HintId::SingleQuotes);
    return true;
}

bool SyntaxAdvice::foreignOperator() {
    if (token_.code != '=' || !adjoins(previous_, token_)) return false;
    if (previous_.code != TK_EQ && previous_.code != TK_NOTEQ) return false;
    const bool equal = previous_.code == TK_EQ;
    reporter_.hint(previous_.pos, HintId::ForeignOperator, equal ? "===" : "!==", equal ? "==" : "!=");
    return true;
}

bool SyntaxAdvice::constOutside() {
    if (token_.code != TK_CONST || !braces_.empty()) return false;
    reporter_.hint(token_.pos, HintId::ConstOutside);
    return true;
}

bool SyntaxAdvice::foreignWord() {
    // "for (int i = 1; ..." has it inside a statement.
    if (isName(token_) && tellForeignWord(previous_)) return true;
    return first_.number != token_.number && secondFollowsWord() && tellForeignWord(first_);
}

/// What stands behind a word of another language, as a rule: no operator, which would make it a name.
bool SyntaxAdvice::secondFollowsWord() const noexcept {
    switch (second_) {
        case '(':
            return brackets_.empty();
        case '{':
            return !braces_.empty();
        case '<':
            return braces_.empty();
        case TK_NAME:
        case TK_STRLIT:
        case TK_INTEGER:
        case TK_NUMBER:
            return true;
        default:
            return false;
    }
}

bool SyntaxAdvice::tellForeignWord(const Token& word) {
    if (!isName(word)) return false;
    const char* name = word.value.symbol->name;
    if (!insteadOfForeign(ForeignKind::Type, name).empty()) {
        tellForeignType(word);
        return true;
    }
    const std::string_view instead = insteadOfForeign(ForeignKind::Word, name);
    if (!instead.empty()) {
        reporter_.hint(word.pos, HintId::ForeignWord, name, instead);
        return true;
    }
    const std::string_view keyword = keywordInSmall(name);
    const bool likeKeyword = token_.number == word.number + 1 || second_ == '(';
    if (keyword.empty() || !likeKeyword || !brackets_.empty()) return false;
    reporter_.hint(word.pos, HintId::ForeignWord, name,
                   "keywords are in small letters, write " + std::string(keyword));
    return true;
}

void SyntaxAdvice::tellForeignType(const Token& type) {
    const char* name = type.value.symbol->name;
    if (braces_.empty() && second_ == ':') {
        reporter_.hint(type.pos, HintId::TypedParameter);
        return;
    }
    const bool head = braces_.empty() && isName(token_) && isCalled(token_.value.symbol->name);
    reporter_.hint(type.pos, HintId::ForeignWord, name,
                   insteadOfForeign(head ? ForeignKind::Word : ForeignKind::Type, head ? "func" : name));
}

bool SyntaxAdvice::isCalled(std::string_view name) const {
    if (!rest_.starts_with(name)) return false;
    const std::size_t behind = rest_.find_first_not_of(" \t", name.size());
    return behind != std::string_view::npos && rest_[behind] == '(';
}

bool SyntaxAdvice::functionHead() {
    if (!isName(previous_) || token_.code != '(' || !braces_.empty()) return false;
    const char* name = previous_.value.symbol->name;
    reporter_.hint(token_.pos, HintId::ParametersInParentheses, name, name);
    return true;
}

bool SyntaxAdvice::functionInFunction() {
    const bool head = token_.code == ':' || token_.code == '{';
    if (!head || !isName(previous_) || first_.number != previous_.number || braces_.empty()) return false;
    const char* name = previous_.value.symbol->name;
    constexpr std::string_view kBeforeBlocks[] = {"else", "then", "do"};
    if (!nearestName(name, kBeforeBlocks).empty()) return false;
    reporter_.hint(previous_.pos, HintId::FunctionInFunction, name);
    return true;
}

bool SyntaxAdvice::condition() {
    if (control_.code == 0) return false;
    if (token_.code == '=' && !brackets_.empty()) {
        reporter_.hint(token_.pos, HintId::AssignmentInCondition);
        return true;
    }
    const bool ended = token_.code == '{' || (beginsStatement(token_) && !controlHasBracket_);
    const bool goesOn = (token_.code == TK_AND_OP || token_.code == TK_OR_OP) && previous_.code == ')';
    if (!endsOperand(previous_) || (!ended && !goesOn) || !brackets_.empty()) return false;
    if (control_.code == TK_IF) {
        reporter_.hint(control_.pos, HintId::ConditionWithoutBrackets, "if", "if ... then");
    } else {
        reporter_.hint(control_.pos, HintId::ConditionWithoutBrackets, "while", "while ... do");
    }
    return true;
}

bool SyntaxAdvice::unclosed() {
    if (token_.code == 0 && !braces_.empty()) {
        reporter_.hint(braces_.back(), HintId::UnclosedBrace);
        return true;
    }
    const bool ended = token_.code == ';' || token_.code == '{' || token_.code == '}';
    if (!ended || brackets_.empty()) return false;
    const char bracket[] = {static_cast<char>(brackets_.back().code), '\0'};
    reporter_.hint(brackets_.back().pos, HintId::UnclosedBracket, static_cast<const char*>(bracket));
    return true;
}

bool SyntaxAdvice::missingSemicolon() {
    if (previous_.number == conditionEnd_) return false;  // a statement is missing, then
    const bool laterLine =
        token_.code != 0 && token_.pos.file == previous_.pos.file && token_.pos.line > previous_.pos.line;
    if ((!laterLine && token_.code != '}') || !brackets_.empty() || !endsOperand(previous_) ||
        !beginsStatement(token_))
        return false;
    SourcePos behind = previous_.pos;
    behind.column = behind.endColumn;
    ++behind.endColumn;
    reporter_.hint(behind, HintId::MissingSemicolon);
    return true;
}

}  // namespace kestrel
