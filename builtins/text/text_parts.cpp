// Parts of texts: tokens, pieces of a path, the left and right of a text, letter case.
#include "builtins/common/handlers.h"
#include "builtins/common/several_texts.h"
#include "platform/ascii.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace kestrel::builtins {

namespace {

ValueCell textOrNil(EngineContext& ctx, std::string_view text) {
    return text.empty() ? ValueCell::ofNil() : ownedText(ctx, text);
}

/// A count of characters. A negative one is larger than any text.
std::size_t characterCount(const ValueCell& cell) noexcept {
    constexpr std::uint64_t kMost = std::numeric_limits<std::size_t>::max();
    return static_cast<std::size_t>(std::min(static_cast<std::uint64_t>(truncate(cell.number)), kMost));
}

/// Checks the two arguments of strleft() and strright(), the last one first.
bool checkTextAndCount(BuiltinCall& call) {
    if (!call.arg(1).isNumeric())
        call.failType(2);
    else if (!call.arg(0).isText())
        call.failType(1);
    else
        return true;
    return false;
}

/// The text with its letters between `first` and `last` in the other case.
void resultInOtherCase(BuiltinCall& call, char first, char last) {
    // Meant: strlower() reports under this name as well.
    if (!call.arg(0).isText()) return call.fail(MessageId::ArgumentType, 1, "strupper");
    constexpr char kCaseBit = 'a' ^ 'A';
    std::string text = call.arg(0).text;
    for (char& c : text)
        if (c >= first && c <= last) c = static_cast<char>(c ^ kCaseBit);
    call.resultText(text);
}

}  // namespace

void parse(BuiltinCall& call) {
    if (!call.arg(1).isText()) return call.failType(2);
    if (!call.arg(0).isText()) return call.failType(1);
    resultTokens(call, call.arg(0).text, call.arg(1).text);
}

void split(BuiltinCall& call) {
    EngineContext& ctx = call.ctx;
    if (!call.arg(0).isText()) return call.failType(1);
    const std::string_view path = call.arg(0).text;
    const std::size_t driveEnd = path.size() > 1 && ascii::isLetter(path[0]) && path[1] == ':' ? 2 : 0;
    const std::size_t separator = path.find_last_of("\\/");
    const std::size_t fileBegin = separator != std::string_view::npos ? separator + 1 : driveEnd;
    const std::string_view file = path.substr(fileBegin);
    const std::size_t nameEnd = std::min(file.rfind('.'), file.size());

    std::string directory(path.substr(driveEnd, fileBegin - driveEnd));
    std::replace(directory.begin(), directory.end(), '/', '\\');
    const ValueCell parts[] = {
        textOrNil(ctx, path.substr(0, driveEnd)),
        textOrNil(ctx, directory),
        textOrNil(ctx, file.substr(0, nameEnd)),
        textOrNil(ctx, file.substr(nameEnd)),
    };
    call.results(parts);
}

void strleft(BuiltinCall& call) {
    if (!checkTextAndCount(call)) return;
    const std::string_view text = call.arg(0).text;
    const std::size_t count = characterCount(call.arg(1));
    if (text.size() < count) return call.result(ValueCell::ofNil());
    call.resultText(text.substr(0, count));
}

void strright(BuiltinCall& call) {
    if (!checkTextAndCount(call)) return;
    const std::string_view text = call.arg(0).text;
    // Meant: unlike strleft(), too large a count gives the whole text.
    const std::size_t count = std::min(characterCount(call.arg(1)), text.size());
    call.resultText(text.substr(text.size() - count));
}

void strsub(BuiltinCall& call) {
    if (!call.arg(2).isNumeric()) return call.failType(3);
    if (!call.arg(1).isNumeric()) return call.failType(2);
    if (!call.arg(0).isText()) return call.failType(1);
    const std::string_view text = call.arg(0).text;
    const std::size_t start = std::max<std::size_t>(characterCount(call.arg(1)), 1);
    // Meant: a start beyond the end gives the whole text.
    if (start > text.size()) return call.resultText(text);
    call.resultText(text.substr(start - 1, characterCount(call.arg(2))));
}

void strupper(BuiltinCall& call) {
    resultInOtherCase(call, 'a', 'z');
}

void strlower(BuiltinCall& call) {
    resultInOtherCase(call, 'A', 'Z');
}

}  // namespace kestrel::builtins
