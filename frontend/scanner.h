// The scanner, made from scanner.l: the preprocessed script, and after it each library, as one stream of
// tokens.
#pragma once

#include "frontend/line_map.h"
#include "frontend/token.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace kestrel {

class Compiler;

/// Besides the language's line counter, which belongs to the Compiler and which inserts, libraries and
/// "@line" markers move, the scanner counts the true lines and columns of its input, so that every token has
/// its true place.
class Scanner {
public:
    explicit Scanner(Compiler& compiler);
    ~Scanner();

    /// Goes on with this text. A literal or comment that is open stays open.
    void open(std::string text, LineMap map);
    /// Skips the rest of all input.
    void skipInput() noexcept { skipping_ = true; }

    /// Scans the next token, going through the library chain at the end of each file. Its code is 0 at the
    /// end of all input.
    const Token& next();
    /// The last token scanned.
    [[nodiscard]] const Token& token() const noexcept { return token_; }

    /// The source from the last token to the end of its line, as far as somebody would look.
    [[nodiscard]] std::string restOfLine() const;

    // --- What the rules in scanner.l call ---

    /// A rule has matched this text.
    void match(const char* text, std::size_t length) noexcept;
    /// The match ended a line.
    void endLine() noexcept;
    /// Rule of the newline: `rest` is the line that begins after it.
    void startLine(std::string_view rest);
    void markLine(std::string_view digits);

    int token(int code) noexcept;
    int endOfInput() noexcept;
    int character() noexcept;
    int number();
    int integer();
    int characterConstant() noexcept;
    /// @return 0 when the identifier had to be dropped
    int identifier();

    void openLiteral();
    /// @return true when the literal has reached its limit and ends here
    bool literalCharacter(char c);
    void literalNewline();
    void literalUnterminated();
    int closeLiteral();

    void openComment() noexcept { openingPos_ = pos(); }
    void commentNewline() noexcept;
    /// The end of all input inside a comment.
    void commentUnterminated();

    /// @return true when another file has been opened
    bool nextFile();

private:
    [[nodiscard]] SourcePos pos() const noexcept;
    /// Whether the physical line goes on where the preprocessor has ended it.
    [[nodiscard]] bool lineIsCut() const noexcept;
    /// From the opening of the literal or comment to the end of the last match.
    [[nodiscard]] SourcePos openPos() const noexcept { return joinPlaces(openingPos_, pos()); }

    Compiler& compiler_;
    void* flex_ = nullptr;  // the generated scanner's state
    std::string text_;      // input, in which the generated scanner works
    bool skipping_ = false;
    LineMap map_;
    std::int32_t line_ = 1;  // true line and column after the last match
    std::int32_t column_ = 1;
    std::int32_t lastLineEnd_ = 1;  // column of the newline before the current line
    std::string_view matched_;
    std::int32_t matchLine_ = 1;
    std::int32_t matchColumn_ = 1;
    Token token_;
    std::string literal_;
    bool openText_ = false;  // the literal goes on over the end of its line
    SourcePos openingPos_;   // of the literal or comment
    bool ended_ = false;     // the library chain has said that nothing is left
};

}  // namespace kestrel
