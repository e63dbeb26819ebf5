// The scalar functions behind the arithmetic built-ins, and the adapters that make built-ins of them. Nothing
// here checks types or allocates: these run for every shading sample.
#pragma once

#include "engine/context/builtin.h"

#include <cmath>

namespace kestrel::builtins {

inline double squareRoot(double x) noexcept {
    return std::sqrt(x);
}
inline double exponential(double x) noexcept {
    return std::exp(x);
}
inline double logarithm(double x) noexcept {
    return std::log(x);
}
inline double sine(double x) noexcept {
    return std::sin(x);
}
inline double cosine(double x) noexcept {
    return std::cos(x);
}
inline double tangent(double x) noexcept {
    return std::tan(x);
}
inline double arcSine(double x) noexcept {
    return std::asin(x);
}
inline double arcCosine(double x) noexcept {
    return std::acos(x);
}
inline double arcTangent(double x) noexcept {
    return std::atan(x);
}
inline double hyperbolicSine(double x) noexcept {
    return std::sinh(x);
}
inline double hyperbolicCosine(double x) noexcept {
    return std::cosh(x);
}
inline double hyperbolicTangent(double x) noexcept {
    return std::tanh(x);
}
inline double cotangent(double x) noexcept {
    return 1.0 / std::tan(x);
}
inline double secant(double x) noexcept {
    return 1.0 / std::cos(x);
}
inline double cosecant(double x) noexcept {
    return 1.0 / std::sin(x);
}
// Fifteen digits and no more: scripts compare results that were computed with these factors.
inline constexpr double kRadiansPerDegree = 0.0174532925199433;
inline constexpr double kDegreesPerRadian = 57.2957795130823;
inline double radians(double x) noexcept {
    return x * kRadiansPerDegree;
}
inline double degrees(double x) noexcept {
    return x * kDegreesPerRadian;
}
inline double fraction(double x) noexcept {
    return x - std::trunc(x);
}
/// Cut toward zero; what lies between -1 and 0 is 0, not the -0 that would print as such.
inline double wholePart(double x) noexcept {
    return std::trunc(x) + 0.0;
}
inline double magnitudeOf(double x) noexcept {
    return std::fabs(x);
}
inline double remainder(double a, double b) noexcept {
    return std::fmod(a, b);
}
inline double power(double a, double b) noexcept {
    return std::pow(a, b);
}
inline double smaller(double a, double b) noexcept {
    return b < a ? b : a;
}
inline double larger(double a, double b) noexcept {
    return a < b ? b : a;
}

/// Of the whole part, in 32 bits that wrap around.
double factorialOf(double x) noexcept;
/// @param decimals  0 cuts
double roundedTo(double x, double decimals) noexcept;

/// The cell as a Vector; of anything else the number is x.
inline VectorValue vectorOf(const ValueCell& cell) noexcept {
    return cell.type == Vector ? cell.vec : VectorValue{cell.firstDouble(), 0.0, 0.0};
}

template <class F>
VectorValue map(const VectorValue& v, F f) {
    return {f(v.x), f(v.y), f(v.z)};
}

template <class F>
VectorValue map(const VectorValue& a, const VectorValue& b, F f) {
    return {f(a.x, b.x), f(a.y, b.y), f(a.z, b.z)};
}

/// f(x): by component of a Vector, else a Number.
template <double (*F)(double)>
void applyToComponents(BuiltinCall& call) {
    const ValueCell& x = call.arg(0);
    if (x.type == Vector) {
        call.resultVector(map(x.vec, F));
    } else {
        call.resultNumber(F(x.firstDouble()));
    }
}

/// f(a, b): a Vector a pairs up with b, else a Number.
template <double (*F)(double, double)>
void applyToPairs(BuiltinCall& call) {
    const ValueCell& a = call.arg(0);
    if (a.type == Vector) {
        call.resultVector(map(a.vec, vectorOf(call.arg(1)), F));
    } else {
        call.resultNumber(F(a.firstDouble(), call.arg(1).firstDouble()));
    }
}

/// As applyToPairs(), but two Integers give the Integer of their truncated values.
template <double (*F)(double, double)>
void applyToExtremes(BuiltinCall& call) {
    const ValueCell& a = call.arg(0);
    const ValueCell& b = call.arg(1);
    if (a.type == Integer && b.type == Integer) {
        call.resultInteger(F(std::trunc(a.number), std::trunc(b.number)));
    } else {
        applyToPairs<F>(call);
    }
}

/// What machines have for a function.
template <auto F>
inline constexpr NumericForm::Known kKnown = NumericForm::Known::Called;
template <>
inline constexpr NumericForm::Known kKnown<squareRoot> = NumericForm::Known::Root;
template <>
inline constexpr NumericForm::Known kKnown<fraction> = NumericForm::Known::Fraction;
template <>
inline constexpr NumericForm::Known kKnown<radians> = NumericForm::Known::Factor;
template <>
inline constexpr NumericForm::Known kKnown<degrees> = NumericForm::Known::Factor;
template <>
inline constexpr NumericForm::Known kKnown<smaller> = NumericForm::Known::Smaller;
template <>
inline constexpr NumericForm::Known kKnown<larger> = NumericForm::Known::Larger;

// The handlers of rows, with the form that other executors go by.
template <double (*F)(double)>
inline constexpr BuiltinHandler componentwise{applyToComponents<F>,
                                              {NumericForm::Rule::EachComponent, kKnown<F>, F, nullptr}};
template <double (*F)(double, double)>
inline constexpr BuiltinHandler pairwise{applyToPairs<F>,
                                         {NumericForm::Rule::Pairwise, kKnown<F>, nullptr, F}};
template <double (*F)(double, double)>
inline constexpr BuiltinHandler extremum{applyToExtremes<F>,
                                         {NumericForm::Rule::Extremum, kKnown<F>, nullptr, F}};

}  // namespace kestrel::builtins
