// string(), append(), hex() and octal(): texts made of values, and arrays that grow by them.
#include "builtins/common/handlers.h"
#include "builtins/common/joined_text.h"
#include "engine/context/kind_table.h"
#include "engine/operations/arrays.h"
#include "engine/operations/storage.h"
#include "engine/operations/text.h"
#include "engine/operations/text_buffer.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace kestrel::builtins {

namespace {

bool canFollowText(const ValueCell& cell) noexcept {
    return isPlainKind(cell.type) && cell.type != Nil;
}

bool canFollowElements(const EngineContext& ctx, const ValueCell& cell) noexcept {
    return isPlainKind(cell.type) ||
           (isObjectKind(cell.type) && ctx.kinds().of(cell.type).traits().appendable);
}

const char* arrayName(const ValueCell& reference) noexcept {
    const Variable* variable = reference.named;
    return variable != nullptr ? variable->name : "";
}

/// The text is always a new one: what the first argument was read from stays as it is.
void appendToText(BuiltinCall& call) {
    if (!canFollowText(call.arg(1))) return call.failType(2);
    const std::string_view first = call.arg(0).text;
    const std::string second = pieceText(call.ctx, call.arg(1)).value_or("");
    char* joined = makeTextBuffer(call.ctx, first.size() + 1 + second.size());
    if (joined == nullptr) return call.result(ValueCell::ofNil());
    char* end = std::copy(first.begin(), first.end(), joined);
    *end++ = ' ';
    std::copy(second.begin(), second.end(), end);
    call.result(ValueCell::ofTemp(joined));
}

/// Adds the elements that `other` has now: an array may be appended to itself.
void appendElements(EngineContext& ctx, ArrayRecord& array, const ArrayRecord& other) {
    const auto begin = static_cast<std::size_t>(array.count());
    const auto count = static_cast<std::size_t>(other.count());
    if (!resizeArray(ctx, array, array.count() + other.count())) return;
    for (std::size_t i = 0; i < count && !ctx.run.abort; ++i)
        store(ctx, array.elements[begin + i], other.elements[i]);
}

void appendToArray(BuiltinCall& call) {
    EngineContext& ctx = call.ctx;
    const ValueCell& target = call.arg(0);
    const ValueCell& value = call.arg(1);
    ArrayRecord& array = *target.array;
    if (array.dimCount != 1) return call.fail(MessageId::AppendToGrid, arrayName(target));
    if (value.type == ArrayRef) {
        const ArrayRecord* other = value.array;
        if (other == nullptr)
            return call.fail(MessageId::AppendNoArray, arrayName(value), arrayName(target), array.count());
        appendElements(ctx, array, *other);
    } else if (canFollowElements(ctx, value)) {
        if (resizeArray(ctx, array, array.count() + 1)) store(ctx, array.elements.back(), value);
    } else {
        return call.failType(2);
    }
    call.none();
}

/// Digits of a number behind its prefix, and how they are padded.
struct PaddedDigits {
    std::string_view prefix;
    std::string_view digits;
    std::size_t width = 0;  ///< digits and padding together; fewer than there are digits: no padding
    bool blanksBehind = false;
};

/// A width without its sign; one that no text can have counts as too long.
std::size_t widthOf(std::int64_t width) noexcept {
    const auto bits = static_cast<std::uint64_t>(width);
    return static_cast<std::size_t>(std::min<std::uint64_t>(width < 0 ? 0 - bits : bits, kLongestText + 1));
}

void resultOfDigits(BuiltinCall& call, const PaddedDigits& number) {
    const std::size_t padding = std::max(number.width, number.digits.size()) - number.digits.size();
    char* text = makeTextBuffer(call.ctx, number.prefix.size() + number.digits.size() + padding);
    if (text == nullptr) return call.result(ValueCell::ofNil());
    char* end = std::copy(number.prefix.begin(), number.prefix.end(), text);
    if (!number.blanksBehind) end = std::fill_n(end, padding, '0');
    end = std::copy(number.digits.begin(), number.digits.end(), end);
    if (number.blanksBehind) std::fill_n(end, padding, ' ');
    call.result(ValueCell::ofTemp(text));
}

bool isZeroPadArgument(const ValueCell& cell) noexcept {
    return cell.isText() || cell.isNumeric();
}

bool meansTrue(const ValueCell& cell) noexcept {
    if (cell.isNumeric()) return truncate(cell.number) != 0;
    const std::string_view text = cell.text;
    return text == "true" || text == "TRUE" || text == "True";
}

/// hex() and octal().
void resultOfNumber(BuiltinCall& call, int base, std::string_view prefix) {
    if (call.argc < 1 || call.argc > 3) return call.failCount();
    if (call.argc > 2 && !isZeroPadArgument(call.arg(2))) return call.failType(3);
    if (call.argc > 1 && !call.arg(1).isNumeric()) return call.failType(2);
    if (!call.arg(0).isNumeric()) return call.failType(1);

    std::array<char, 16> buffer;
    const auto value = static_cast<std::uint32_t>(truncate32(call.arg(0).number));
    const char* end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, base).ptr;
    PaddedDigits number{.prefix = prefix,
                        .digits = {buffer.data(), static_cast<std::size_t>(end - buffer.data())}};
    // The width stands behind the "0" of a C format, so a negative one puts blanks behind the digits. Without
    // zeros the number would only get blanks behind, and those are cut off: meant, such a width has no
    // effect.
    const std::int64_t width = call.argc > 1 ? truncate(call.arg(1).number) : -1;
    if (width != -1 && call.argc > 2 && meansTrue(call.arg(2))) {
        number.width = widthOf(width);
        number.blanksBehind = width < 0;
    }
    resultOfDigits(call, number);
}

}  // namespace

void stringOf(BuiltinCall& call) {
    call.resultText(joinArguments(call, call.name));
}

void append(BuiltinCall& call) {
    const ValueCell& target = call.arg(0);
    if (target.isText()) return appendToText(call);
    if (target.type == ArrayRef && target.array != nullptr) return appendToArray(call);
    call.failType(1);
}

void hex(BuiltinCall& call) {
    resultOfNumber(call, 16, "0x");
}

void octal(BuiltinCall& call) {
    resultOfNumber(call, 8, "\\");
}

}  // namespace kestrel::builtins
