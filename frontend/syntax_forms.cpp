// The rules of syntax_advice about forms that other languages, and other editors, have.

#include "engine/program/program.h"
#include "frontend/foreign_names.h"
#include "frontend/syntax_advice.h"
#include "frontend/token_shape.h"
#include "grammar.tab.h"
#include "platform/ascii.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string>
#include <string_view>

namespace kestrel {

namespace {

/// The preprocessor reads longer lines in pieces.
constexpr std::int32_t kPieceOfLine = 510;

constexpr std::string_view kCountingLoop = "for (i = 1; i <= 9; i++), or for i = 1 to 9 do";

/// What to say about a character beyond ASCII, by the bytes with which it begins; empty for others.
std::string_view aboutCharacter(std::string_view text) noexcept {
    struct Row {
        std::string_view bytes;
        std::string_view advice;
    };
    static constexpr std::string_view kQuote = "a typographic quote stands here: texts stand between two \"";
    static constexpr std::string_view kDash = "a dash stands here that is no minus sign: write -";
    static constexpr auto kRows = std::to_array<Row>({
        {"\xE2\x80\x9C", kQuote},
        {"\xE2\x80\x9D", kQuote},
        {"\xE2\x80\x9E", kQuote},
        {"\xE2\x80\x98", kQuote},
        {"\xE2\x80\x99", kQuote},
        {"\xC2\xAB", kQuote},
        {"\xE2\x80\x93", kDash},
        {"\xE2\x80\x94", kDash},
        {"\xE2\x88\x92", kDash},
        {"\xC2\xA0", "a blank stands here that cannot be broken: write an ordinary one"},
        {"\xC3\x97", "write * to multiply"},
        {"\xC2\xB7", "write * to multiply"},
    });
    const auto begins = [text](const Row& row) { return text.starts_with(row.bytes); };
    const auto* row = std::ranges::find_if(kRows, begins);
    return row != kRows.end() ? row->advice : std::string_view();
}

/// UTF-16: it begins with its mark, or every other byte of a few is zero.
bool isWideText(std::string_view text) noexcept {
    const auto isText = [](char c) { return c >= ' ' && c <= '~'; };
    const bool zeros = text.size() > 4 && text[0] == '\0' && isText(text[1]) && text[2] == '\0' &&
                       isText(text[3]) && text[4] == '\0';
    return text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF") || zeros;
}

/// The value of digits to a base, in decimal; empty when they are others, or too many.
std::string inDecimal(std::string_view digits, int base) {
    std::int32_t value = 0;
    const char* end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, value, base);
    return error == std::errc() && stop == end ? std::to_string(value) : std::string();
}

/// "e-3", at the beginning of a text; empty when there is none, or something follows it.
std::string exponentIn(std::string_view text) {
    const std::size_t digits = text.size() > 1 && (text[1] == '-' || text[1] == '+') ? 2 : 1;
    const std::size_t end = std::min(text.find_first_not_of("0123456789", digits), text.size());
    const bool goesOn = end < text.size() && (ascii::isLetter(text[end]) || text[end] == '_');
    return end == digits || goesOn ? std::string() : std::string(text.substr(0, end));
}

bool allDigits(std::string_view text) noexcept {
    return std::ranges::all_of(text, [](char c) { return ascii::isDigit(c); });
}

}  // namespace

bool SyntaxAdvice::cutLine() {
    const bool atCut = token_.pos.column > 1 && (token_.pos.column - 1) % kPieceOfLine == 0;
    if (atCut && adjoins(previous_, token_) && (isName(previous_) || isNumber(previous_))) {
        reporter_.hint(previous_.pos, HintId::LineTooLong, "word");
        return true;
    }
    const bool behindCut = token_.pos.file == cutComment_.file && token_.pos.line == cutComment_.line &&
                           token_.pos.column > cutComment_.column;
    if (behindCut) reporter_.hint(cutComment_, HintId::LineTooLong, "comment");
    return behindCut;
}

bool SyntaxAdvice::character() {
    const auto tell = [this](std::string_view advice) {
        reporter_.hint(token_.pos, HintId::ForeignCharacter, advice);
        return true;
    };
    if (token_.code == '#')
        return tell("# stands in the first column only, before a directive; a comment begins with //");
    if (token_.code == '\r') {
        // The preprocessor has told of a whole file like this.
        const SourcePos file = {token_.pos.file, 1, 1, 1};
        return reporter_.firstHintAt(file) && tell("a line ends with CR alone here: write LF or CR LF");
    }
    const auto byte = static_cast<unsigned char>(token_.first);
    if (token_.code == 0 || token_.code == TK_STRLIT || (byte != 0 && byte < 128)) return false;
    if (rest_.starts_with("\xEF\xBB\xBF"))
        return tell(
            "a byte order mark stands here, which some editors put at the beginning: save without it");
    if (isWideText(rest_)) return tell("this file is UTF-16: save it as ASCII or UTF-8");
    if (byte == 0) return false;
    const std::string_view advice = aboutCharacter(rest_);
    return tell(advice.empty() ? "characters beyond ASCII stand in texts and comments only" : advice);
}

bool SyntaxAdvice::numberForm() {
    if (!isNumber(previous_) || !adjoins(previous_, token_)) return false;
    const std::string number = written(previous_);
    const auto tell = [&](const std::string& instead) {
        reporter_.hint(previous_.pos, HintId::NumberForm, instead);
        return true;
    };
    const bool whole = previous_.code == TK_INTEGER;
    if (token_.code == '.' && whole) return tell(number + ".0");
    if (!isName(token_)) return false;
    const std::string_view name = token_.value.symbol->name;
    const char first = ascii::lower(name.front());
    const std::string_view rest = name.substr(1);
    if (whole && number == "0" && (first == 'x' || first == 'b')) {
        const std::string value = inDecimal(rest, first == 'x' ? 16 : 2);
        return !value.empty() && tell(value);
    }
    if (whole && first == 'e') {
        const std::string exponent = exponentIn(rest_);
        return !exponent.empty() && tell(number + ".0" + exponent);
    }
    if (first == '_' && !rest.empty() && allDigits(rest)) return tell(number + std::string(rest));
    constexpr std::array<std::string_view, 7> kEndings = {"f", "d", "h", "l", "u", "lf", "ul"};
    const auto same = [name](std::string_view ending) { return ascii::equalIgnoringCase(name, ending); };
    return std::ranges::any_of(kEndings, same) && tell(number);
}

bool SyntaxAdvice::listInBrackets() {
    const bool value = previous_.code == '=' || previous_.code == '(' || previous_.code == ',';
    if (token_.code != '[' || !(value || previous_.code == TK_RETURN || previous_.code == '[')) return false;
    reporter_.hint(token_.pos, HintId::ListInBrackets);
    return true;
}

bool SyntaxAdvice::forHead() {
    if (first_.code != TK_FOR) return false;
    const bool in = isName(token_) && token_.value.symbol->name == std::string_view("in");
    const bool var = token_.code == TK_VAR && previous_.code == '(';
    if (!in && !var) return false;
    reporter_.hint(
        token_.pos, HintId::ForHead,
        in ? std::string(kCountingLoop) : std::string(kCountingLoop) + "; var stands before the loop");
    return true;
}

bool SyntaxAdvice::missingDo() {
    const bool counts = first_.code == TK_FOR && second_ == TK_NAME && lastTo_ > first_.number;
    if (!counts || !endsOperand(previous_) || !(token_.code == '{' || beginsStatement(token_))) return false;
    reporter_.hint(token_.pos, HintId::ForHead, "for i = 1 to 9 do, and do is missing here");
    return true;
}

bool SyntaxAdvice::missingColon() {
    const bool names = isName(token_) && isName(previous_) && first_.number == previous_.number;
    if (!names || !braces_.empty() || token_.pos.line != previous_.pos.line) return false;
    // Names up to the block.
    std::size_t at = 0;
    while (at < rest_.size() && (ascii::isLetter(rest_[at]) || ascii::isDigit(rest_[at]) ||
                                 std::string_view("_, \t").find(rest_[at]) != std::string_view::npos))
        ++at;
    const std::string_view parameters = ascii::trimmed(rest_.substr(0, at));
    const bool list = parameters.find_first_of(" \t") == std::string_view::npos ||
                      parameters.find(',') != std::string_view::npos;
    if (!list || (at < rest_.size() && rest_[at] != '{')) return false;
    reporter_.hint(token_.pos, HintId::MissingColon, previous_.value.symbol->name, parameters);
    return true;
}

bool SyntaxAdvice::emptyStatement() {
    if (token_.code != ';' || !brackets_.empty()) return false;
    const bool leftOver = previous_.code == ';' || previous_.code == '}' || previous_.code == '{';
    const bool body = previous_.number == conditionEnd_ || previous_.code == TK_DO ||
                      previous_.code == TK_THEN || previous_.code == TK_ELSE ||
                      (first_.code == TK_FOR && previous_.code == ')');
    if (!leftOver && !body) return false;
    reporter_.hint(token_.pos, HintId::EmptyStatement,
                   leftOver ? "leave it out" : "a body that does nothing is { }");
    return true;
}

bool SyntaxAdvice::returnInBrackets() {
    const bool closed =
        first_.code == TK_RETURN && second_ == '(' && previous_.code == ')' && brackets_.empty();
    constexpr std::string_view kOperators = "+-*/%<>&|^?.[";
    const bool goesOn = token_.code == TK_EQ || token_.code == TK_NOTEQ || token_.code == TK_LTEQ ||
                        token_.code == TK_GTEQ || token_.code == TK_AND_OP || token_.code == TK_OR_OP ||
                        (token_.code > 0 && token_.code < 128 &&
                         kOperators.find(static_cast<char>(token_.code)) != std::string_view::npos);
    if (!closed || !goesOn) return false;
    reporter_.hint(first_.pos, HintId::ReturnInBrackets);
    return true;
}

bool SyntaxAdvice::strayBrace() {
    if (token_.code != '}' || !braces_.empty()) return false;
    reporter_.hint(token_.pos, HintId::StrayBrace);
    return true;
}

}  // namespace kestrel
