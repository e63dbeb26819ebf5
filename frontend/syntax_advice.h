// Hints beside syntax errors: what the last tokens say about what was meant.
#pragma once

#include "engine/report/reporter.h"
#include "frontend/define_advice.h"
#include "frontend/token.h"

#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_set>
#include <utility>
#include <vector>

namespace kestrel {

/// Watches the tokens of a compile whose hints somebody wants.
class SyntaxAdvice {
public:
    explicit SyntaxAdvice(Reporter& reporter) : reporter_(reporter), defines_(reporter) {}

    /// What the preprocessor has replaced; hints about it are given after the compile, too.
    [[nodiscard]] DefineAdvice& defines() noexcept { return defines_; }
    /// Before each token is parsed.
    /// @param inFunction  where the parser is, after the token before
    void next(const Token& token, bool inFunction);
    /// The parser has reported that the token last given does not fit.
    /// @param rest  the source from there to the end of the line, while the error is explained
    void syntaxError(bool inFunction, std::string_view rest);
    /// Another error was reported: what the statement at hand would do is not known.
    void otherError() noexcept { failed_ = errorInStatement_ = true; }
    /// A text goes on over the end of its line. The first one is probably not closed, and what follows it is
    /// read the wrong way round: no syntax error can be explained from there on.
    void openText(const SourcePos& where, bool lineIsCut);
    /// A // comment ends where its line was cut: what follows is read as script.
    void cutComment(const SourcePos& where) noexcept { cutComment_ = where; }
    /// What such a text holds was probably meant as script.
    void keepLostNames(std::string_view text);
    [[nodiscard]] bool failed() const noexcept { return failed_; }
    /// False when the parser has given up before the end, or has taken the end of a block for that of a
    /// statement: what follows is not known then.
    [[nodiscard]] bool sawAll() const noexcept { return token_.code == 0 && !astray_; }
    [[nodiscard]] bool failedInLine(const SourcePos& where) const {
        return errorLines_.contains({where.file, where.line});
    }
    /// True for the callee of "name", the end of a line, "(": two statements without a ; between them,
    /// perhaps.
    [[nodiscard]] bool callsOverLineEnd(const SourcePos& callee) const {
        return splitCalls_.contains({callee.file, callee.line, callee.column});
    }
    /// True for a name in a statement of which the error left nothing: it may have been assigned there.
    [[nodiscard]] bool isLost(const std::string& name) const { return lost_.contains(name); }

private:
    void endStatement();
    void follow(const Token& token);
    bool explainToken();
    void explainStatement();

    // The rules. Each returns true when it is the one that fits.
    bool cutLine();
    bool character();
    bool negativeNumber();
    bool numberForm();
    bool listInBrackets();
    bool forHead();
    bool missingDo();
    bool missingColon();
    bool emptyStatement();
    bool returnInBrackets();
    bool strayBrace();
    bool singleQuotes();
    bool foreignOperator();
    bool constOutside();
    bool foreignWord();
    [[nodiscard]] bool secondFollowsWord() const noexcept;
    bool tellForeignWord(const Token& word);
    void tellForeignType(const Token& type);
    /// A "(" follows the name in the line at hand, which may go on behind the token.
    [[nodiscard]] bool isCalled(std::string_view name) const;
    bool functionHead();
    bool functionInFunction();
    bool condition();
    bool unclosed();
    bool missingSemicolon();

    Reporter& reporter_;
    DefineAdvice defines_;
    Token previous_;
    Token token_;
    Token first_;                  // of the statement
    int second_ = 0;               // code of the token after the first
    Token control_;                // its last if or while; code 0: none
    bool statementBegins_ = true;  // the next token is the first of a statement
    bool errorInStatement_ = false;
    bool controlHasBracket_ = false;
    std::int64_t conditionEnd_ = -1;  // number of the ")" behind a condition
    bool failed_ = false;
    std::set<std::pair<std::int32_t, std::int32_t>> errorLines_;                 // file and line
    std::set<std::tuple<std::int32_t, std::int32_t, std::int32_t>> splitCalls_;  // file, line, column
    std::int64_t lastTo_ = -1;                                                   // number of the last "to"
    SourcePos cutComment_;   // the last // comment that the end of a piece of line has cut
    std::string_view rest_;  // of the line with the syntax error at hand
    bool textOpen_ = false;
    bool astray_ = false;                  // the parser has been elsewhere than the script
    std::vector<Token> brackets_;          // open ( and [
    std::vector<SourcePos> braces_;        // open {
    std::vector<std::string_view> names_;  // in the statement
    std::unordered_set<std::string> lost_;
};

}  // namespace kestrel
