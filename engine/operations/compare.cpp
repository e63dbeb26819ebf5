#include "engine/context/kind_table.h"
#include "engine/operations/operators.h"
#include "engine/values/format.h"
#include "platform/ascii.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace kestrel {

namespace {

unsigned char folded(char c) noexcept {
    return static_cast<unsigned char>(ascii::lower(c));
}

/// Compares texts without regard to the case of letters. Below, equal and above are negative, zero and
/// positive.
int compareFolded(std::string_view a, std::string_view b) noexcept {
    const std::size_t shared = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < shared; ++i) {
        const int difference = folded(a[i]) - folded(b[i]);
        if (difference != 0) return difference;
    }
    return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

/// Against a value that is no number, a Number is compared with itself plus one: unequal, and smaller. Meant.
bool compareNumber(int op, double left, const ValueCell& right) noexcept {
    const double value = right.isText() ? parseDouble(right.text) : left + 1.0;
    return relation(op, left + kCompareBias, value + kCompareBias);
}

bool compareInteger(int op, double left, const ValueCell& right) noexcept {
    return right.isText() && relation(op, truncate(left), parseInteger(right.text));
}

/// The vector that the right side of a comparison with `left` stands for; one that has no number in it is
/// larger by one in every component. Meant.
VectorValue comparedVector(const VectorValue& left, const ValueCell& right) noexcept {
    if (right.type == Vector) return right.vec;
    if (!right.isNumeric() && !right.isText()) return {left.x + 1.0, left.y + 1.0, left.z + 1.0};
    const double s = right.isText() ? parseDouble(right.text) : right.number;
    return {s, s, s};
}

/// One smaller component makes a vector smaller, one greater makes it greater, but <= and >= ask for all
/// three. Meant.
bool compareVector(int op, const VectorValue& left, const ValueCell& right) noexcept {
    const VectorValue other = comparedVector(left, right);
    const auto all = [&](int each) {
        return relation(each, left.x, other.x) && relation(each, left.y, other.y) &&
               relation(each, left.z, other.z);
    };
    const auto any = [&](int each) {
        return relation(each, left.x, other.x) || relation(each, left.y, other.y) ||
               relation(each, left.z, other.z);
    };
    switch (op) {
        case OP_LT:
        case OP_GT:
        case OP_NE:
            return any(op);
        case OP_LE:
            return all(OP_LT) || all(OP_EQ);
        case OP_GE:
            return all(OP_GT) || all(OP_EQ);
        default:
            return all(op);
    }
}

bool compareText(int op, std::string_view left, const ValueCell& right) noexcept {
    std::array<char, kNumberChars> buffer;
    char* const begin = buffer.data();
    const auto written = [begin](const char* end) {
        return std::string_view(begin, static_cast<std::size_t>(end - begin));
    };
    switch (right.type) {
        case Number:
            return textRelation(op, left, written(writeG(right.number, begin)));
        case Integer:
            return textRelation(op, left, written(writeInt(right.number, begin)));
        case String:
        case TempString:
            return textRelation(op, left, right.text);
        default:
            return textRelation(op, left, "");
    }
}

bool compareOperands(const EngineContext& ctx, int op, const ValueCell& left,
                     const ValueCell& right) noexcept {
    if (left.isNumeric() && right.isNumeric()) return compareNumeric(op, left, right);
    switch (left.type) {
        case Number:
            return compareNumber(op, left.number, right);
        case Integer:
            return compareInteger(op, left.number, right);
        case Vector:
            return compareVector(op, left.vec, right);
        case String:
        case TempString:
            return compareText(op, left.text, right);
        case Nil:
            return equality(op, right.type == Nil);
        default:
            return isObjectKind(left.type) && ctx.kinds().of(left.type).compare(op, left, right);
    }
}

}  // namespace

bool textRelation(int op, std::string_view a, std::string_view b) noexcept {
    return relation(op, compareFolded(a, b), 0);
}

bool compareValues(const EngineContext& ctx, int op, const ValueCell& left, const ValueCell& right) {
    if (left.type != VarRef && right.type != VarRef) [[likely]]
        return compareOperands(ctx, op, left, right);
    return compareOperands(ctx, op, plainValue(left), plainValue(right));
}

}  // namespace kestrel
