#include "engine/operations/operators.h"

#include "engine/context/kind_table.h"
#include "engine/operations/operand_advice.h"
#include "engine/operations/text.h"
#include "engine/operations/text_buffer.h"

#include <cmath>
#include <cstring>
#include <string>
#include <string_view>

namespace kestrel {

namespace {

/// What a rule for one pair of types says.
enum class Outcome {
    Done,
    NoRule,    ///< the pair of types has no result: the arithmetic error
    Reported,  ///< another error was reported already
};

VectorValue widen(double s) noexcept {
    return {s, s, s};
}

template <class F>
VectorValue eachComponent(const VectorValue& a, const VectorValue& b, F f) noexcept {
    return {f(a.x, b.x), f(a.y, b.y), f(a.z, b.z)};
}

double bitResult(int op, double a, double b) noexcept {
    const std::int32_t l = truncate32(a);
    const std::int32_t r = truncate32(b);
    switch (op) {
        case OP_XOR:
            return l ^ r;
        case OP_BITOR:
            return l | r;
        default:
            return l & r;
    }
}

double shiftResult(int op, double a, double b) noexcept {
    const std::int32_t value = truncate32(a);
    const int count = truncate32(b) & 31;
    if (op == OP_SHR) return value >> count;
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value) << count);
}

VectorValue crossProduct(const VectorValue& a, const VectorValue& b) noexcept {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

double dotProduct(const VectorValue& a, const VectorValue& b) noexcept {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

/// The five arithmetic operators, component by component.
Outcome vectorArithmetic(int op, const VectorValue& a, const VectorValue& b, ValueCell& result) noexcept {
    VectorValue v;
    switch (op) {
        case OP_ADD:
            v = eachComponent(a, b, [](double l, double r) { return l + r; });
            break;
        case OP_SUB:
            v = eachComponent(a, b, [](double l, double r) { return l - r; });
            break;
        case OP_MUL:
            v = eachComponent(a, b, [](double l, double r) { return l * r; });
            break;
        case OP_DIV:
            // A zero divisor gives a zero component, without a message. Meant.
            v = eachComponent(a, b, [](double l, double r) { return r == 0.0 ? 0.0 : l / r; });
            break;
        case OP_MOD:
            v = eachComponent(a, b, [](double l, double r) { return std::fmod(l, r); });
            break;
        default:
            return Outcome::NoRule;
    }
    result = ValueCell::ofVector(v);
    return Outcome::Done;
}

/// A vector on the left gives the bit operators a meaning of their own: | works on components, ^ is the cross
/// product and & the dot product.
Outcome vectorOperator(int op, const VectorValue& a, const ValueCell& right, ValueCell& result) noexcept {
    const bool isVector = right.type == Vector;
    if (!isVector && !right.isNumeric()) return Outcome::NoRule;
    const VectorValue b = isVector ? right.vec : widen(right.number);
    switch (op) {
        case OP_BITOR:
            result = ValueCell::ofVector(
                eachComponent(a, b, [](double l, double r) { return bitResult(OP_BITOR, l, r); }));
            return Outcome::Done;
        case OP_XOR:
            if (!isVector) return Outcome::NoRule;
            result = ValueCell::ofVector(crossProduct(a, b));
            return Outcome::Done;
        case OP_BITAND:
            if (!isVector) return Outcome::NoRule;
            result = ValueCell::ofNumber(dotProduct(a, b));
            return Outcome::Done;
        case OP_SHL:
        case OP_SHR:
            result = ValueCell::ofVector(
                eachComponent(a, b, [op](double l, double r) { return shiftResult(op, l, r); }));
            return Outcome::Done;
        default:
            return vectorArithmetic(op, a, b, result);
    }
}

/// An Integer divisor truncates both sides, anything else takes the floating remainder; a Number with an
/// Integer divisor has no rule. Meant.
Outcome modulo(EngineContext& ctx, const ValueCell& left, const ValueCell& right, ValueCell& result) {
    if (right.type == Number) {
        result = ValueCell::ofNumber(std::fmod(left.number, right.number));
        return Outcome::Done;
    }
    if (left.type == Number) return Outcome::NoRule;
    const std::int64_t divisor = truncate32(right.number);
    if (divisor == 0) {
        reportDivisionByZero(ctx);
        return Outcome::Reported;
    }
    result = ValueCell::ofInteger(static_cast<double>(truncate32(left.number) % divisor));
    return Outcome::Done;
}

Outcome numericOperator(EngineContext& ctx, int op, const ValueCell& left, const ValueCell& right,
                        ValueCell& result) {
    const double a = left.number;
    const double b = right.number;
    switch (op) {
        case OP_MOD:
            return modulo(ctx, left, right, result);
        case OP_SHL:
        case OP_SHR:
            result = ValueCell::ofInteger(shiftResult(op, a, b));
            return Outcome::Done;
        default:
            break;
    }
    result = left;
    if (applyToNumbers(op, result, right.type, b)) return Outcome::Done;
    double value = 0.0;
    if (!combineNumbers(ctx, op, a, b, value)) return Outcome::Reported;
    result = ValueCell::ofInteger(value);
    return Outcome::Done;
}

Outcome adoptText(const char* text, ValueCell& result) noexcept {
    if (text == nullptr) return Outcome::Reported;
    result = ValueCell::ofTemp(text);
    return Outcome::Done;
}

bool hasTextForm(const EngineContext& ctx, const ValueCell& cell) noexcept {
    ObjectText ignored;
    return isPlainKind(cell.type) ||
           (isObjectKind(cell.type) && ctx.kinds().of(cell.type).text(TextUse::Value, cell.object, ignored));
}

Outcome joinText(EngineContext& ctx, std::string_view left, const ValueCell& right, ValueCell& result) {
    if (!hasTextForm(ctx, right)) return Outcome::NoRule;
    return adoptText(valueText(ctx, left, right), result);
}

Outcome repeatText(EngineContext& ctx, std::string_view unit, double times, ValueCell& result) {
    const std::int64_t wanted = truncate(times);
    const std::size_t count = wanted < 1 || unit.empty() ? 0 : static_cast<std::size_t>(wanted);
    const bool tooLong = count > kLongestText || (count > 0 && unit.size() > kLongestText / count);
    char* text = makeTextBuffer(ctx, tooLong ? kLongestText + 1 : unit.size() * count);
    if (text == nullptr) return Outcome::Reported;
    for (std::size_t i = 0; i < count; ++i) std::memcpy(text + i * unit.size(), unit.data(), unit.size());
    return adoptText(text, result);
}

/// The text without the first occurrence of `part`; a copy when there is none.
Outcome removeFirst(EngineContext& ctx, std::string_view text, std::string_view part, ValueCell& result) {
    const std::size_t at = part.empty() ? std::string_view::npos : text.find(part);
    if (at == std::string_view::npos) return adoptText(ctx.pool.strdup(text), result);
    char* out = makeTextBuffer(ctx, text.size() - part.size());
    if (out == nullptr) return Outcome::Reported;
    std::memcpy(out, text.data(), at);
    std::memcpy(out + at, text.data() + at + part.size(), text.size() - at - part.size());
    return adoptText(out, result);
}

/// The text without any occurrence of `part`, those included that come about by a removal. Taking each
/// occurrence off the end of the result as soon as it is complete finds them in the same order as a search
/// from the start would.
Outcome removeAll(EngineContext& ctx, std::string_view text, std::string_view part, ValueCell& result) {
    if (part.empty()) return adoptText(ctx.pool.strdup(text), result);
    std::string rest;
    rest.reserve(text.size());
    for (char c : text) {
        rest.push_back(c);
        if (c == part.back() && rest.ends_with(part)) rest.resize(rest.size() - part.size());
    }
    return adoptText(ctx.pool.strdup(rest), result);
}

Outcome textOperator(EngineContext& ctx, int op, const char* left, const ValueCell& right,
                     ValueCell& result) {
    switch (op) {
        case OP_ADD:
            return joinText(ctx, left, right, result);
        case OP_SUB:
            return right.isText() ? removeFirst(ctx, left, right.text, result) : Outcome::NoRule;
        case OP_DIV:
            return right.isText() ? removeAll(ctx, left, right.text, result) : Outcome::NoRule;
        case OP_MUL:
            return right.isNumeric() ? repeatText(ctx, left, right.number, result) : Outcome::NoRule;
        default:
            return Outcome::NoRule;
    }
}

Outcome applyOperator(EngineContext& ctx, int op, const ValueCell& left, const ValueCell& right,
                      ValueCell& result) {
    switch (left.type) {
        case Number:
        case Integer:
            if (right.isNumeric()) return numericOperator(ctx, op, left, right, result);
            if (right.type != Vector) return Outcome::NoRule;
            return vectorArithmetic(op, widen(left.number), right.vec, result);
        case Vector:
            return vectorOperator(op, left.vec, right, result);
        case String:
        case TempString:
            return textOperator(ctx, op, left.text, right, result);
        case Array:
            result = left;
            return Outcome::Done;
        default:
            return Outcome::NoRule;
    }
}

}  // namespace

void reportDivisionByZero(EngineContext& ctx) {
    ctx.report(MessageId::DivisionByZero);
}

bool combineNumbers(EngineContext& ctx, int op, double left, double right, double& result) {
    ValueCell number = ValueCell::ofNumber(left);
    if (applyToNumbers(op, number, Number, right)) {
        result = number.number;
        return true;
    }
    switch (op) {
        case OP_DIV:
            reportDivisionByZero(ctx);
            return false;
        case OP_XOR:
        case OP_BITOR:
        case OP_BITAND:
            result = bitResult(op, left, right);
            return true;
        default:
            return false;
    }
}

bool combine(EngineContext& ctx, int op, const ValueCell& left, const ValueCell& right, ValueCell& result) {
    const bool plain = left.type != VarRef && right.type != VarRef;
    const Outcome outcome = plain ? applyOperator(ctx, op, left, right, result)
                                  : applyOperator(ctx, op, plainValue(left), plainValue(right), result);
    if (outcome == Outcome::NoRule) ctx.report(MessageId::OperandTypes);
    const bool byZero = outcome == Outcome::Reported && left.isNumeric() && right.isNumeric();
    if (outcome == Outcome::NoRule || byZero) adviseOnOperands(ctx, op, left, right);
    return outcome == Outcome::Done;
}

}  // namespace kestrel
