#include "frontend/scanner.h"

#include "engine/values/format.h"
#include "frontend/compile_state.h"
#include "frontend/parser.h"
#include "frontend/scanner_states.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <new>
#include <thread>
#include <utility>

namespace kestrel {

namespace {

/// A literal ends, with a warning, when it holds this many characters.
constexpr std::size_t kLiteralLimit = 511;

/// The code of a character that no rule of the grammar accepts; 257 is no token.
constexpr int kUndefinedToken = 257;

/// Integers beyond 32 bits stay at the limit.
std::int32_t toInt32(std::string_view digits) noexcept {
    const std::int64_t value = parseInteger(digits);
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, std::numeric_limits<std::int32_t>::min(),
                                                              std::numeric_limits<std::int32_t>::max()));
}

}  // namespace

Scanner::Scanner(Compiler& compiler) : compiler_(compiler), flex_(newScannerState(this)) {}

Scanner::~Scanner() {
    deleteScannerState(flex_);
}

void Scanner::open(std::string text, LineMap map) {
    // The generated scanner works in the text itself, so that however long a token is, nothing is moved. It
    // wants two zeros behind the text.
    text_ = std::move(text);
    text_.append(2, '\0');
    scanIn(flex_, text_.data(), text_.size());
    map_ = std::move(map);
    line_ = column_ = matchLine_ = matchColumn_ = 1;
}

const Token& Scanner::next() {
    const std::int64_t number = token_.number + 1;
    token_.code = skipping_ ? endOfInput() : scanToken(flex_);
    token_.number = number;
    return token_;
}

std::string Scanner::restOfLine() const {
    if (token_.code == 0) return {};
    // The character behind the match is held by the generated scanner, which has put a zero in its place.
    constexpr std::size_t kEnough = 200;
    const char* behind = matched_.data() + matched_.size();
    const auto left = static_cast<std::size_t>(text_.data() + text_.size() - behind);
    std::string rest(behind, std::min(left, kEnough));
    if (!rest.empty()) rest.front() = heldCharacter(flex_);
    rest.insert(0, matched_.substr(0, kEnough));
    return rest.substr(0, rest.find('\n'));
}

void Scanner::match(const char* text, std::size_t length) noexcept {
    matched_ = std::string_view(text, length);
    matchLine_ = line_;
    matchColumn_ = column_;
    column_ += static_cast<std::int32_t>(length);
}

void Scanner::endLine() noexcept {
    lastLineEnd_ = column_ - 1;
    ++line_;
    column_ = 1;
}

void Scanner::startLine(std::string_view rest) {
    column_ -= static_cast<std::int32_t>(rest.size());
    endLine();
    compiler_.countLine();
    compiler_.setLineText(rest);
}

void Scanner::commentNewline() noexcept {
    if (matched_.starts_with("//") && lineIsCut()) compiler_.adviseOnCutComment(pos());
    // What is quoted in messages stays: after a "//" comment that is the commented line, by design.
    endLine();
    compiler_.countLine();
}

void Scanner::markLine(std::string_view digits) {
    if (digits.empty())
        compiler_.countLine();
    else
        compiler_.currentLine() = toInt32(digits);
}

SourcePos Scanner::pos() const noexcept {
    const std::int32_t end = line_ == matchLine_ ? column_ : matchColumn_ + 1;
    return map_.at(matchLine_, matchColumn_, end);
}

int Scanner::token(int code) noexcept {
    token_.first = matched_.front();
    token_.pos = pos();
    return code;
}

int Scanner::endOfInput() noexcept {
    // Shown behind the last line rather than on the empty one after it.
    const bool afterNewline = column_ == 1 && line_ > 1;
    const std::int32_t line = afterNewline ? line_ - 1 : line_;
    const std::int32_t column = afterNewline ? lastLineEnd_ : column_;
    token_.first = '\0';
    token_.pos = map_.at(line, column, column);
    return 0;
}

int Scanner::character() noexcept {
    const auto c = static_cast<unsigned char>(matched_.front());
    return token(c == 0 || c >= 128 ? kUndefinedToken : c);
}

int Scanner::number() {
    token_.value.number = parseDouble(matched_);
    return token(static_cast<int>(NamedToken::Number));
}

int Scanner::integer() {
    token_.value.integer = toInt32(matched_);
    return token(static_cast<int>(NamedToken::Integer));
}

int Scanner::characterConstant() noexcept {
    token_.value.integer = static_cast<unsigned char>(matched_[1]);
    return token(static_cast<int>(NamedToken::Integer));
}

int Scanner::identifier() {
    const int code = token(static_cast<int>(NamedToken::Name));
    Variable* symbol = compiler_.symlook(matched_);
    if (symbol == nullptr) {
        compiler_.report(token_.pos, MessageId::NameNotKept, matched_);
        return 0;
    }
    token_.value.symbol = symbol;
    return code;
}

void Scanner::openLiteral() {
    openingPos_ = pos();
    openText_ = false;
    literal_.clear();
    token_.first = '"';
    token_.pos = openingPos_;
}

bool Scanner::literalCharacter(char c) {
    literal_ += c;
    if (literal_.size() < kLiteralLimit) return false;
    compiler_.report(openPos(), MessageId::LongText);
    return true;
}

bool Scanner::lineIsCut() const noexcept {
    const SourcePos here = map_.at(line_, 1, 1);
    const SourcePos next = map_.at(line_ + 1, 1, 1);
    return next.line == here.line && next.column > here.column;
}

void Scanner::literalNewline() {
    compiler_.report(openingPos_, MessageId::NewlineInText);
    if (!openText_) compiler_.adviseOnOpenText(openingPos_, lineIsCut());
    openText_ = true;
    endLine();
    compiler_.countLine();
}

void Scanner::literalUnterminated() {
    // The text of the current token is still the opening quote.
    compiler_.report(openingPos_, MessageId::UnterminatedText);
}

int Scanner::closeLiteral() {
    token_.first = '"';
    token_.pos = openPos();
    if (openText_) compiler_.keepLostNames(literal_);
    token_.value.text = compiler_.makeText(literal_);
    return static_cast<int>(NamedToken::StringLiteral);
}

void Scanner::commentUnterminated() {
    if (compiler_.options().reportEndless) {
        compiler_.reportEndless(openingPos_, MessageId::EndlessComment);
        return;
    }
    // Meant: an open comment waits for its end, which can't come any more. Only whoever watches the run
    // ends it.
    while (!compiler_.watchRequested()) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    compiler_.abandon();
}

bool Scanner::nextFile() {
    if (!ended_) ended_ = !compiler_.nextInputFile();
    return !ended_;
}

}  // namespace kestrel
