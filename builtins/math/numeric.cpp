#include "builtins/math/numeric.h"

#include "builtins/common/handlers.h"
#include "engine/values/format.h"

#include <algorithm>

namespace kestrel::builtins {

namespace {

/// The nearest whole number not below, as the 32-bit component that Vectors of whole numbers have.
double ceilingComponent(double x) noexcept {
    return truncate32(std::ceil(x));
}

}  // namespace

double factorialOf(double x) noexcept {
    const std::int32_t n = truncate32(x);
    // Wraps around on overflow, as 32-bit machines multiply. Once it is zero it stays zero, which keeps
    // fac(2e9) short.
    std::uint32_t product = 1;
    for (std::int32_t k = 2; k <= n && product != 0; ++k) product *= static_cast<std::uint32_t>(k);
    return static_cast<std::int32_t>(product);
}

/// No rounding when there is nothing to keep: round(2.7, 0) is 2, and scripts rely on it.
double roundedTo(double x, double decimals) noexcept {
    const auto kept = static_cast<int>(std::clamp<std::int64_t>(truncate(decimals), -1, 1 << 16));
    return kept == 0 ? wholePart(x) : roundFixed(x, kept);
}

void absolute(BuiltinCall& call) {
    const ValueCell& x = call.arg(0);
    if (x.type == Integer) {
        call.resultInteger(std::fabs(x.number));
    } else {
        componentwise<magnitudeOf>(call);
    }
}

void ceiling(BuiltinCall& call) {
    const ValueCell& x = call.arg(0);
    if (x.type == Vector) {
        call.resultVector(map(x.vec, ceilingComponent));
    } else {
        call.resultInteger(std::ceil(x.firstDouble()));
    }
}

void floorOf(BuiltinCall& call) {
    const ValueCell& x = call.arg(0);
    if (x.type == Vector) {
        // Rounds up although its name says down: meant, old scripts count on it.
        call.resultVector(map(x.vec, ceilingComponent));
    } else {
        call.resultInteger(std::floor(x.firstDouble()));
    }
}

void factorial(BuiltinCall& call) {
    const ValueCell& x = call.arg(0);
    if (x.type == Vector) {
        call.resultVector(map(x.vec, factorialOf));
        return;
    }
    const double value = factorialOf(x.firstDouble());
    call.resultScalar(x.type == Integer ? Integer : x.type == Nil ? Nil : Number, value);
}

void round(BuiltinCall& call) {
    const ValueCell& x = call.arg(0);
    const double decimals = call.arg(1).firstDouble();
    if (x.type == Vector) {
        call.resultVector(map(x.vec, [decimals](double c) { return roundedTo(c, decimals); }));
    } else {
        call.resultNumber(roundedTo(x.firstDouble(), decimals));
    }
}

void range(BuiltinCall& call) {
    // The bounds have never had an effect; range(5, 0, 1) is 5.
    call.resultNumber(call.arg(0).firstDouble());
}

void select(BuiltinCall& call) {
    const bool first = call.arg(1).firstDouble() > call.arg(0).firstDouble();
    const ValueCell& chosen = call.arg(first ? 2 : 3);
    call.resultScalar(chosen.type == Integer ? Integer : Number, chosen.firstDouble());
}

void step(BuiltinCall& call) {
    const ValueCell& value = call.arg(2);
    const bool below = call.arg(1).firstDouble() < call.arg(0).firstDouble();
    switch (value.type) {
        case Number:
        case Integer:
        case Nil:
            return call.resultScalar(static_cast<Tag>(value.type), below ? 0.0 : value.number);
        case Vector:
            return call.resultVector(below ? VectorValue{} : value.vec);
        case ReturnCount:
        case ListMark:
            return call.resultNumber(below ? 0.0 : value.firstDouble());
        default:
            if (!below) return call.resultArgument(2);
            // The nothing of a text is the empty text.
            return call.result(value.isText() ? ValueCell::ofText("") : ValueCell::ofNil());
    }
}

void untouched(BuiltinCall&) {}

void consume(BuiltinCall& call) {
    call.none();
}

}  // namespace kestrel::builtins
