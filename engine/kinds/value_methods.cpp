// The methods that every variable has, whatever it holds.
#include "engine/kinds/array_methods.h"
#include "engine/kinds/value_kind.h"
#include "engine/operations/assignment.h"
#include "engine/operations/storage.h"
#include "engine/operations/text_buffer.h"
#include "engine/values/format.h"
#include "platform/ascii.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string>
#include <string_view>

namespace kestrel {

namespace {

/// What the methods tell apart. An array is one only with a record; without it the variable was never
/// assigned.
enum class Kind { Number, Integer, Vector, Text, Array, Nil, Other };

Kind kindOf(const Variable& variable) noexcept {
    switch (variable.type) {
        case Number:
            return Kind::Number;
        case Integer:
            return Kind::Integer;
        case Vector:
            return Kind::Vector;
        case String:
        case TempString:
            return Kind::Text;
        case Array:
            return variable.heldArray() != nullptr ? Kind::Array : Kind::Nil;
        default:
            // Nil, and every mark of a name that was never assigned, are no objects.
            return isObjectKind(variable.type) ? Kind::Other : Kind::Nil;
    }
}

/// Every text that a variable or parameter holds is its own, so the methods that change texts act on all of
/// them.
std::string_view textOf(const Variable& variable) noexcept {
    return variable.text != nullptr ? variable.text : "";
}

ValueCell integerResult(std::int64_t v) noexcept {
    return ValueCell::ofInteger(static_cast<double>(v));
}
VectorValue repeated(double v) noexcept {
    return {v, v, v};
}
double whole(double v) noexcept {
    return static_cast<double>(truncate(v));
}

/// The variable's text as a value that borrows it.
ValueCell ownText(const Variable& variable) noexcept {
    return ValueCell::ofText(textOf(variable).data());
}

/// Unlike the built-in size(), a number is its own size and a vector is one value. Meant.
ValueCell sizeOf(const Variable& variable) noexcept {
    switch (kindOf(variable)) {
        case Kind::Number:
            return ValueCell::ofNumber(variable.number);
        case Kind::Integer:
            return ValueCell::ofInteger(variable.number);
        case Kind::Vector:
            return integerResult(1);
        case Kind::Text:
            return integerResult(static_cast<std::int64_t>(textOf(variable).size()));
        case Kind::Array:
            return integerResult(variable.heldArray()->count());
        default:
            return integerResult(0);
    }
}

ValueCell countOf(const Variable& variable) noexcept {
    switch (kindOf(variable)) {
        case Kind::Number:
        case Kind::Integer:
            return integerResult(1);
        case Kind::Array:
            return integerResult(countAssigned(*variable.heldArray()));
        default:
            return sizeOf(variable);
    }
}

ValueCell asInteger(const Variable& variable) {
    switch (kindOf(variable)) {
        case Kind::Number:
        case Kind::Integer:
            return ValueCell::ofInteger(whole(variable.number));
        case Kind::Text:
            return integerResult(parseInteger(textOf(variable)));
        default:
            return integerResult(0);
    }
}

ValueCell asNumber(const Variable& variable) {
    switch (kindOf(variable)) {
        case Kind::Number:
        case Kind::Integer:
            return ValueCell::ofNumber(variable.number);
        case Kind::Text:
            return ValueCell::ofNumber(parseDouble(textOf(variable)));
        default:
            return ValueCell::ofNumber(0.0);
    }
}

ValueCell asVector(const Variable& variable) {
    switch (kindOf(variable)) {
        case Kind::Number:
            return ValueCell::ofVector(repeated(variable.number));
        case Kind::Integer:
            return ValueCell::ofVector(repeated(whole(variable.number)));
        case Kind::Vector:
            return ValueCell::ofVector(variable.vec);
        case Kind::Text: {
            double parts[3] = {0.0, 0.0, 0.0};
            parseThree(textOf(variable), parts);
            return ValueCell::ofVector({parts[0], parts[1], parts[2]});
        }
        case Kind::Array:
            return ValueCell::ofVector(arrayAsVector(*variable.heldArray()));
        default:
            return ValueCell::ofVector(repeated(0.0));
    }
}

/// Removes leading white space.
ValueCell packText(EngineContext& ctx, Variable& variable) {
    const std::string_view text = textOf(variable);
    const auto start = std::find_if_not(text.begin(), text.end(), ascii::isSpace) - text.begin();
    if (start > 0) storeText(ctx, variable, text.substr(static_cast<std::size_t>(start)));
    return ownText(variable);
}

/// Removes trailing white space. The search stops at the first character without looking at it, and then
/// nothing is left: "a   " becomes "", a text of one character never changes. Meant.
ValueCell trimText(EngineContext& ctx, Variable& variable) {
    const std::string_view text = textOf(variable);
    if (text.size() < 2 || !ascii::isSpace(text.back())) return ownText(variable);
    std::size_t last = text.size() - 1;
    while (last > 0 && ascii::isSpace(text[last])) --last;
    storeText(ctx, variable, text.substr(0, last == 0 ? 0 : last + 1));
    return ownText(variable);
}

/// Sorts the characters as signed bytes.
ValueCell sortText(EngineContext& ctx, Variable& variable, bool ascending) {
    std::string text(textOf(variable));
    std::sort(text.begin(), text.end(), [ascending](char a, char b) {
        const auto l = static_cast<signed char>(a);
        const auto r = static_cast<signed char>(b);
        return ascending ? l < r : r < l;
    });
    if (text != textOf(variable)) storeText(ctx, variable, text);
    return ownText(variable);
}

ValueCell pack(EngineContext& ctx, Variable& variable) {
    switch (kindOf(variable)) {
        case Kind::Text:
            return packText(ctx, variable);
        case Kind::Array:
            return integerResult(packArray(*variable.heldArray()));
        default:
            return integerResult(0);
    }
}

ValueCell truncateInPlace(EngineContext& ctx, Variable& variable) {
    switch (kindOf(variable)) {
        case Kind::Number:
            variable.number = std::trunc(variable.number) + 0.0;  // the 0.0 makes 0 of a -0
            return ValueCell::ofNumber(variable.number);
        case Kind::Integer:
            return ValueCell::ofInteger(variable.number);
        case Kind::Vector: {
            VectorValue& v = variable.vec;
            v = {std::trunc(v.x) + 0.0, std::trunc(v.y) + 0.0, std::trunc(v.z) + 0.0};
            return ValueCell::ofVector(v);
        }
        case Kind::Text:
            return trimText(ctx, variable);
        case Kind::Array:
            return integerResult(trimArray(ctx, *variable.heldArray()));
        default:
            return integerResult(0);
    }
}

ValueCell sorted(EngineContext& ctx, Variable& variable, bool ascending) {
    switch (kindOf(variable)) {
        case Kind::Text:
            return sortText(ctx, variable, ascending);
        case Kind::Array:
            return integerResult(sortArray(*variable.heldArray(), ascending));
        default:
            return integerResult(0);
    }
}

/// A printf-like field: how wide, and what fills it.
struct Field {
    std::int64_t width = 0;
    bool left = false;   ///< the text stands on the left
    bool zeros = false;  ///< zeros between sign and digits instead of spaces before them
    int precision = -1;
};

constexpr int kMaxPrecision = 1100;  ///< no double has more significant digits than that
constexpr std::int64_t kMaxWidth = std::int64_t{1} << 40;

/// A new text with `body` in its field; null after reporting exhausted memory.
const char* padded(EngineContext& ctx, std::string_view body, const Field& field) {
    const auto width = static_cast<std::size_t>(std::min(field.width, kMaxWidth));
    const std::size_t length = std::max(body.size(), width);
    char* text = makeTextBuffer(ctx, length);
    if (text == nullptr) return nullptr;
    const std::size_t fill = length - body.size();
    const bool isFinite = !body.empty() && (body.back() >= '0' && body.back() <= '9');
    const std::size_t sign = field.zeros && isFinite && body.front() == '-' ? 1 : 0;
    const bool zeros = field.zeros && isFinite && !field.left;
    char* out = text;
    if (zeros) out = std::copy_n(body.data(), sign, out);
    if (!field.left) out = std::fill_n(out, fill, zeros ? '0' : ' ');
    const std::string_view rest = zeros ? body.substr(sign) : body;
    out = std::copy(rest.begin(), rest.end(), out);
    if (field.left) std::fill_n(out, fill, ' ');
    return text;
}

/// Reads the field that a width written as text describes, as in "%-08.3g": the sign asks for the left side.
/// @return false where that is no valid conversion (an exponent, inf)
bool parseField(std::string_view width, Field& field) {
    if (width.starts_with('-')) {
        field.left = true;
        width.remove_prefix(1);
    }
    while (width.starts_with('0')) {  // a width below 1 begins with a zero, which is the flag
        field.zeros = true;
        width.remove_prefix(1);
    }
    const std::size_t point = width.find('.');
    const auto isNumber = [](std::string_view digits) {
        return std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; });
    };
    const std::string_view digits = width.substr(0, point);
    if (!isNumber(digits)) return false;
    field.width = parseInteger(digits);
    if (point == std::string_view::npos) return true;
    const std::string_view precision = width.substr(point + 1);
    if (!isNumber(precision)) return false;
    field.precision = static_cast<int>(std::min<std::int64_t>(parseInteger(precision), kMaxPrecision));
    return true;
}

/// The arguments of asStr(). A width counts only for variables of the kind it fits: Integer widths for
/// Integers and texts, Number widths for Numbers. Meant.
struct StringFormat {
    std::int64_t integerWidth = 0;
    float numberWidth = 0.0F;
    bool zeroPad = false;
};

const char* numberText(EngineContext& ctx, double value, const StringFormat& format) {
    Field field;
    field.zeros = format.zeroPad;
    if (format.numberWidth == 0.0F || !parseField(formatG(static_cast<double>(format.numberWidth)), field))
        return ctx.pool.strdup(formatG(value));
    std::array<char, 2 * kMaxPrecision> digits;
    const auto [end, error] =
        std::to_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::general,
                      field.precision < 0 ? 6 : field.precision);
    return padded(ctx, {digits.data(), static_cast<std::size_t>(end - digits.data())}, field);
}

Field integerField(const StringFormat& format) noexcept {
    Field field;
    field.left = format.integerWidth < 0;
    field.width = std::abs(format.integerWidth);
    return field;
}

const char* asText(EngineContext& ctx, const Variable& variable, const StringFormat& format) {
    Field field = integerField(format);
    switch (kindOf(variable)) {
        case Kind::Number:
            return numberText(ctx, variable.number, format);
        case Kind::Integer:
            field.zeros = format.zeroPad;
            return padded(ctx, formatInt(variable.number), field);
        case Kind::Vector: {
            const VectorValue& v = variable.vec;
            return ctx.pool.strdup("<" + formatVector(v.x, v.y, v.z, ',') + ">");
        }
        case Kind::Text:
            // The flag moves a text to the right side; a negative width moves it back.
            field.left = field.left || !format.zeroPad;
            return padded(ctx, textOf(variable), field);
        default:
            return ctx.pool.strdup("");
    }
}

/// Reads asStr's arguments, the last one first.
/// @return false when one has the wrong type
bool readFormat(EngineContext& ctx, int argc, StringFormat& format) {
    const auto isNumber = [](const ValueCell& cell) { return cell.isNumeric() || cell.type == VarRef; };
    if (argc == 2) {
        if (!isNumber(ctx.stack.top())) return false;
        format.zeroPad = truncate(ctx.stack.top().firstDouble()) != 0;
    }
    if (argc == 0) return true;
    const ValueCell& width = ctx.stack.top(argc - 1);
    if (!isNumber(width)) return false;
    if (width.type == Integer)
        format.integerWidth = std::clamp(truncate(width.number), -kMaxWidth, kMaxWidth);
    else
        format.numberWidth = static_cast<float>(width.firstDouble());
    return true;
}

void asStr(MethodCall& call) {
    StringFormat format;
    if (!readFormat(call.ctx, call.argc, format)) return call.failNamed(MessageId::ValueMethodType);
    const char* text = asText(call.ctx, call.object, format);
    call.none();
    if (text != nullptr) call.ctx.stack.push(ValueCell::ofTemp(text));
}

/// A method without arguments that only looks at the variable.
template <ValueCell (*kMethod)(const Variable&)>
void query(MethodCall& call) {
    call.result(kMethod(call.object));
}

/// A method without arguments that may change the variable.
template <ValueCell (*kMethod)(EngineContext&, Variable&)>
void change(MethodCall& call) {
    const ValueCell result = kMethod(call.ctx, call.object);
    call.result(result);
}

template <Kind kWanted>
ValueCell isKind(const Variable& variable) {
    return ValueCell::ofBool(kindOf(variable) == kWanted);
}

ValueCell sortedUp(EngineContext& ctx, Variable& variable) {
    return sorted(ctx, variable, true);
}

ValueCell sortedDown(EngineContext& ctx, Variable& variable) {
    return sorted(ctx, variable, false);
}

constexpr MethodRow kMethods[] = {
    {"size", query<sizeOf>, 0, 0, "x.size()",
     "Characters of a text, elements of an array, 1 for a Vector; a number is its own size."},
    {"count", query<countOf>, 0, 0, "x.count()",
     "Characters of a text, elements of an array that hold something, 1 for numbers and Vectors."},
    {"asInt", query<asInteger>, 0, 0, "x.asInt()",
     "A number cut toward zero, or the whole number that a text begins with."},
    {"asNum", query<asNumber>, 0, 0, "x.asNum()", "A number, or the number that a text begins with."},
    {"asVec", query<asVector>, 0, 0, "x.asVec()",
     "A Vector: of one number three times, of three numbers in a text, of the first three numbers in an "
     "array that are not 0."},
    {"asStr",
     asStr,
     {0, 2},
     0,
     "x.asStr([width [, zeroPad]])",
     "The text of a value, as wide as asked: whole widths for Integers and texts, widths like 8.3 for "
     "Numbers."},
    {"pack", change<pack>, 0, 0, "x.pack()",
     "Takes the blanks off a text's beginning, or closes the holes of an array: 0 when elements moved, 1 "
     "without holes, 2 with holes only at the end."},
    {"trunc", change<truncateInPlace>, 0, 0, "x.trunc()",
     "Cuts a number or a Vector toward zero, the blanks off a text's end, the holes off an array's end (its "
     "new size, or 0)."},
    {"sortA", change<sortedUp>, 0, 0, "x.sortA()",
     "Sorts the characters of a text or the elements of an array upward. 0 after sorting an array, 1 when "
     "there was nothing to sort."},
    {"sortD", change<sortedDown>, 0, 0, "x.sortD()",
     "The same downward. An array of texts is not sorted in general."},
    {"isNil", query<isKind<Kind::Nil>>, 0, 0, "x.isNil()", "1 when the variable holds nothing."},
    {"isInt", query<isKind<Kind::Integer>>, 0, 0, "x.isInt()", "1 for an Integer."},
    {"isStr", query<isKind<Kind::Text>>, 0, 0, "x.isStr()", "1 for a text."},
    {"isNum", query<isKind<Kind::Number>>, 0, 0, "x.isNum()", "1 for a Number."},
    {"isVec", query<isKind<Kind::Vector>>, 0, 0, "x.isVec()", "1 for a Vector."},
    {"isArray", query<isKind<Kind::Array>>, 0, 0, "x.isArray()", "1 for an array."},
};

}  // namespace

std::span<const MethodRow> valueMethods() noexcept {
    return kMethods;
}

void reportUnknownValueMethod(EngineContext& ctx, const Variable& object, const CodeNode& call) {
    ctx.report(MessageId::UnknownValueMethod, object.name, call.operand.variable->name);
}

}  // namespace kestrel
