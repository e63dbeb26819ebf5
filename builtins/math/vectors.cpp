#include "builtins/common/arguments.h"
#include "builtins/common/handlers.h"
#include "builtins/math/numeric.h"
#include "engine/operations/arrays.h"

#include <array>
#include <optional>

namespace kestrel::builtins {

void magnitude(BuiltinCall& call) {
    VectorValue v;
    if (call.argc > 0 && call.arg(call.argc - 1).type == Vector) {
        v = call.arg(call.argc - 1).vec;
    } else {
        double* const parts[] = {&v.x, &v.y, &v.z};
        for (int i = 0; i < 3 && i < call.argc; ++i) *parts[i] = call.arg(i).firstDouble();
    }
    call.resultNumber(std::sqrt(v.x * v.x + v.y * v.y + v.z * v.z));
}

void cross3d(BuiltinCall& call) {
    const VectorValue a = vectorOf(call.arg(0));
    const VectorValue b = vectorOf(call.arg(1));
    call.resultVector({a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x});
}

void dot3d(BuiltinCall& call) {
    const VectorValue a = vectorOf(call.arg(0));
    const VectorValue b = vectorOf(call.arg(1));
    call.resultNumber(a.x * b.x + a.y * b.y + a.z * b.z);
}

void cross2d(BuiltinCall& call) {
    call.resultNumber(call.arg(0).firstDouble() * call.arg(3).firstDouble() -
                      call.arg(1).firstDouble() * call.arg(2).firstDouble());
}

void dot2d(BuiltinCall& call) {
    // A difference where a sum is expected: meant, old scripts count on it.
    call.resultNumber(call.arg(0).firstDouble() * call.arg(2).firstDouble() -
                      call.arg(1).firstDouble() * call.arg(3).firstDouble());
}

namespace {

struct Box {
    VectorValue a;
    VectorValue b;
};

/// A corner of a box: a Vector, or a number that stands for all three coordinates.
std::optional<VectorValue> cornerOf(const ValueCell& cell) {
    if (cell.type == Vector) return cell.vec;
    if (!cell.isNumeric()) return std::nullopt;
    const double n = cell.number;
    return VectorValue{n, n, n};
}

std::optional<Box> boxOf(BuiltinCall& call, const ValueCell& first, const ValueCell& second) {
    const std::optional<VectorValue> a = cornerOf(first);
    const std::optional<VectorValue> b = cornerOf(second);
    if (a && b) return Box{*a, *b};
    call.failType(1);
    return std::nullopt;
}

std::optional<Box> boxOfArray(BuiltinCall& call) {
    const ArrayRecord* array = call.arg(0).array;
    int found = 0;
    if (array != nullptr) {
        for (const ValueCell& element : array->elements) {
            if (element.type == Uninitialized || element.type == Nil) break;
            ++found;
        }
    }
    if (found >= 2) return boxOf(call, array->elements[0], array->elements[1]);
    call.fail(MessageId::CornersInArray, call.name, found);
    return std::nullopt;
}

std::optional<Box> boxOfReturned(BuiltinCall& call) {
    const std::int64_t count = truncate(call.arg(call.argc - 1).number);
    const Values values = widen(call);
    EvalStack& stack = call.ctx.stack;
    if (count == 2 && values.count == 2)
        return boxOf(call, stack.at(values.first), stack.at(values.first + 1));
    call.fail(MessageId::CornersReturned, count, call.name);
    return std::nullopt;
}

std::optional<Box> boxOfNumbers(BuiltinCall& call) {
    if (call.argc == 2) return boxOf(call, call.arg(0), call.arg(1));
    std::array<double, 6> n{};
    bool numeric = call.argc == 6;
    for (int i = 0; numeric && i < 6; ++i) {
        numeric = call.arg(i).isNumeric();
        n[static_cast<std::size_t>(i)] = call.arg(i).number;
    }
    if (numeric) return Box{{n[0], n[1], n[2]}, {n[3], n[4], n[5]}};
    call.failType(1);
    return std::nullopt;
}

/// The two corners that center() and extent() are given in one of their forms; nothing after a reported
/// error.
std::optional<Box> boxOfArguments(BuiltinCall& call) {
    if (call.argc < 1 || call.argc > 6) {
        call.failCount();
        return std::nullopt;
    }
    switch (call.arg(call.argc - 1).type) {
        case ArrayRef:
            if (call.argc == 1) return boxOfArray(call);
            break;
        case Vector:
            if (call.argc == 2) return boxOf(call, call.arg(0), call.arg(1));
            break;
        case ReturnCount:
            return boxOfReturned(call);
        case Number:
        case Integer:
            return boxOfNumbers(call);
        default:
            break;
    }
    call.failType(1);
    return std::nullopt;
}

}  // namespace

void center(BuiltinCall& call) {
    if (const auto box = boxOfArguments(call))
        call.resultVector(map(box->a, box->b, [](double a, double b) { return (a + b) * 0.5; }));
}

void extent(BuiltinCall& call) {
    if (const auto box = boxOfArguments(call))
        call.resultVector(map(box->a, box->b, [](double a, double b) { return b - a; }));
}

}  // namespace kestrel::builtins
