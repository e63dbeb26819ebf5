// Lowering: built-ins that compute of numbers and vectors, by their rules.
#include "engine/context/builtin.h"
#include "engine/context/random_sequence.h"
#include "engine/fast/lowering.h"

#include <algorithm>
#include <cmath>

namespace kestrel::fast {

void Lowering::callBuiltin(const Node& node) {
    const BuiltinEntry& entry = *node.to.builtin;
    const NumericForm& form = entry.handler.form;
    using Rule = NumericForm::Rule;
    if (form.rule == Rule::None) refuse("the built-in " + std::string(entry.name));
    if (entry.argCount != -1 && entry.argCount != node.argc) refuse("a wrong number of arguments");
    std::vector<Cell> args;
    for (int i = 0; i < node.argc; ++i) args.push_back(popValue());
    std::ranges::reverse(args);
    const auto product = [this](Reg a, Reg b) { return builder_.make(Op::Mul, a, b); };
    const auto difference = [this](Reg a, Reg b) { return builder_.make(Op::Sub, a, b); };
    const auto total = [this](Reg a, Reg b) { return builder_.make(Op::Add, a, b); };
    switch (form.rule) {
        case Rule::EachComponent:
            return push(eachComponent(args[0], [&](Reg x) { return applied(form, x, kNoReg); }));
        case Rule::Pairwise:
        case Rule::Extremum:
            return push(pairwise(form, args[0], args[1]));
        case Rule::Absolute: {
            Cell result = eachComponent(args[0], [&](Reg x) { return builder_.make(Op::Absolute, x); });
            if (args[0].type == Integer || args[0].type == kMixedKind) {
                const Reg value = result.number;
                result = args[0];
                result.number = value;
            }
            return push(result);
        }
        case Rule::Ceiling:
        case Rule::Floor: {
            if (args[0].type == Vector)  // both round up
                return push(eachComponent(args[0], [&](Reg x) {
                    return builder_.make(Op::FromWhole, builder_.toWhole32(builder_.make(Op::Ceil, x)));
                }));
            const Op op = form.rule == Rule::Floor ? Op::Floor : Op::Ceil;
            return push(Cell::ofInteger(builder_.make(op, firstNumber(args[0]))));
        }
        case Rule::Range:
            return push(Cell::ofNumber(firstNumber(args[0])));
        case Rule::Step: {
            const Reg below = builder_.make(Op::Less, firstNumber(args[1]), firstNumber(args[0]));
            const auto chosen = [&](Reg value) {
                return builder_.make(Op::Choose, below, builder_.real(0.0), value);
            };
            if (args[2].type == Nil) refuse("step() of nil");
            Cell result = args[2];
            if (result.type == Vector) return push(eachComponent(result, chosen));
            result.number = chosen(numberOf(result));
            return push(result);
        }
        case Rule::Length: {
            std::array<Reg, 3> v{builder_.real(0.0), builder_.real(0.0), builder_.real(0.0)};
            if (!args.empty() && args.back().type == Vector)
                v = args.back().vec;
            else
                for (std::size_t i = 0; i < std::min<std::size_t>(3, args.size()); ++i)
                    v[i] = firstNumber(args[i]);
            const Reg xy = total(product(v[0], v[0]), product(v[1], v[1]));
            return push(Cell::ofNumber(builder_.make(Op::Sqrt, total(xy, product(v[2], v[2])))));
        }
        case Rule::Cross3d:
        case Rule::Dot3d: {
            if (args[0].type != Vector || args[1].type != Vector)
                refuse("a product of other kinds than vectors");
            return push(combine(form.rule == Rule::Dot3d ? OP_BITAND : OP_XOR, args[0], args[1]));
        }
        case Rule::Cross2d:
        case Rule::Dot2d: {
            std::array<Reg, 4> n{};
            for (std::size_t i = 0; i < 4; ++i) n[i] = firstNumber(args[i]);
            return push(Cell::ofNumber(form.rule == Rule::Cross2d
                                           ? difference(product(n[0], n[3]), product(n[1], n[2]))
                                           : difference(product(n[0], n[2]), product(n[1], n[3]))));
        }
        case Rule::Factorial: {
            const auto factorial = [&](Reg x) { return builder_.call(form.one, x); };
            if (args[0].type == Nil) refuse("fac() of nil");
            Cell result = args[0];
            if (result.type == Vector) return push(eachComponent(result, factorial));
            result.number = factorial(numberOf(result));
            return push(result);
        }
        case Rule::Round: {
            const Reg decimals = firstNumber(args[1]);
            return push(eachComponent(args[0], [&](Reg x) { return builder_.call(form.two, x, decimals); }));
        }
        case Rule::Cut:
            return push(Cell::ofInteger(cut(numberOf(args[0]))));
        case Rule::Size:
            if (args[0].type == Nil) refuse("size() of nil");
            return push(Cell::ofInteger(builder_.real(args[0].type == Vector ? 3.0 : 1.0)));
        case Rule::Untouched:
            return push(args[0]);
        case Rule::Center:
        case Rule::Extent:
            return push(boxed(form.rule, args));
        case Rule::Translate3d:
        case Rule::Scale3d:
        case Rule::Rotate3d:
            return push(transformed(form.rule, args));
        case Rule::RandomUnit:
            return push(randomUnit(args));
        case Rule::RandomWhole:
            return push(randomWhole(firstNumber(args[0]), firstNumber(args[1])));
        case Rule::Outside:
            return ask(form, args);
        case Rule::None:
            break;
    }
    refuse("a built-in");
}

/// The host may look at its record, and change it: so nothing of it is written before, and whoever answers
/// for the host leaves where something of it is another one behind the question.
void Lowering::ask(const NumericForm& form, const std::vector<Cell>& args) {
    if (args.size() != 2 || args[0].type != Vector || args[1].type != Vector)
        refuse("a question to the host about something else than two vectors");
    if (changesRecord()) refuse("a question to the host behind a change of the sample");
    const auto at = [](void* address) { return Immediate{.address = address}; };
    OutsideCall& call = *asks_.emplace_back(std::make_unique<OutsideCall>());
    call.ctx = &ctx_;
    call.ask = form.ask;
    for (std::size_t i = 0; i < call.given.size(); ++i)
        builder_.store(Op::StoreReal, args[i / 3].vec[i % 3], at(&call.given[i]));
    builder_.guard(builder_.ask(at(&call)), "the host has nothing to say, or changes the sample");
    poll();
    for (int i = 0; i < form.answers; ++i)
        push(Cell::ofNumber(builder_.make(Op::LoadReal, kNoReg, kNoReg, kNoReg,
                                          at(&call.answer[static_cast<std::size_t>(i)]))));
    Cell several = Cell::ofKind(ReturnCount);
    several.number = builder_.real(form.answers);
    push(several);
}

/// Toward zero; what lies between -1 and 0 is 0.
Reg Lowering::cut(Reg number) {
    return builder_.make(Op::Add, builder_.make(Op::Truncate, number), builder_.real(0.0));
}

/// The middle or the size of a box that two corners give, or six numbers.
Cell Lowering::boxed(NumericForm::Rule rule, const std::vector<Cell>& args) {
    std::array<std::array<Reg, 3>, 2> corners{};
    if (args.size() == 2) {
        corners = {vectorOf(args[0]), vectorOf(args[1])};
    } else if (args.size() == 6) {
        for (std::size_t i = 0; i < 6; ++i) corners[i / 3][i % 3] = numberOf(args[i]);
    } else {
        refuse("a box of a wrong number of arguments");
    }
    std::array<Reg, 3> result{};
    for (std::size_t i = 0; i < 3; ++i) {
        const Reg a = corners[0][i];
        const Reg b = corners[1][i];
        result[i] = rule == NumericForm::Rule::Extent
                        ? builder_.make(Op::Sub, b, a)
                        : builder_.make(Op::Mul, builder_.make(Op::Add, a, b), builder_.real(0.5));
    }
    return Cell::ofVector(result);
}

/// A point times a matrix of four rows, divided by what comes out fourth. What a matrix does not change is
/// multiplied and added all the same: a number that is not finite makes others so.
Cell Lowering::transformed(NumericForm::Rule rule, const std::vector<Cell>& args) {
    using Rule = NumericForm::Rule;
    const bool rotates = rule == Rule::Rotate3d;
    const std::size_t target = rotates ? 2 : 1;
    if (args.size() < target + 1 || args.size() > (rotates ? 4u : 2u) || args[target].type != Vector)
        refuse("a transform of something else than a vector");
    const Reg zero = builder_.real(0.0);
    const Reg one = builder_.real(1.0);
    std::array<std::array<Reg, 4>, 4> m{};
    for (std::size_t i = 0; i < 4; ++i)
        for (std::size_t j = 0; j < 4; ++j) m[i][j] = i == j ? one : zero;
    std::array<Reg, 3> pivot{zero, zero, zero};
    if (rotates) {
        rotate(m, numberOf(args[0]), numberOf(args[1]));
        if (args.size() == 4 && args[3].type != Vector) refuse("a pivot that is no vector");
        if (args.size() == 4) pivot = args[3].vec;
    } else {
        if (args[0].type != Vector) refuse("a transform by something else than a vector");
        for (std::size_t i = 0; i < 3; ++i) (rule == Rule::Scale3d ? m[i][i] : m[3][i]) = args[0].vec[i];
    }
    std::array<Reg, 3> point{};
    for (std::size_t i = 0; i < 3; ++i) point[i] = builder_.make(Op::Sub, args[target].vec[i], pivot[i]);
    std::array<Reg, 4> out{};
    for (std::size_t j = 0; j < 4; ++j) {
        Reg sum = builder_.make(Op::Mul, point[0], m[0][j]);
        for (std::size_t i = 1; i < 3; ++i)
            sum = builder_.make(Op::Add, sum, builder_.make(Op::Mul, point[i], m[i][j]));
        out[j] = builder_.make(Op::Add, sum, m[3][j]);
    }
    std::array<Reg, 3> result{};
    for (std::size_t i = 0; i < 3; ++i)
        result[i] = builder_.make(Op::Add, builder_.make(Op::Div, out[i], out[3]), pivot[i]);
    return Cell::ofVector(result);
}

void Lowering::rotate(std::array<std::array<Reg, 4>, 4>& m, Reg axis, Reg angle) {
    const auto known = builder_.constant(axis);
    if (!known || truncate(*known) < 1 || truncate(*known) > 3) refuse("an axis that depends on the sample");
    const Reg c = builder_.call(static_cast<double (*)(double)>(std::cos), angle);
    const Reg s = builder_.call(static_cast<double (*)(double)>(std::sin), angle);
    const Reg minus = builder_.make(Op::Negate, s);
    const auto fixed = static_cast<std::size_t>(truncate(*known)) - 1;
    const std::size_t first = fixed == 0 ? 1 : 0;
    const std::size_t second = fixed == 2 ? 1 : 2;
    m[first][first] = m[second][second] = c;
    m[first][second] = fixed == 1 ? minus : s;  // around y both sines are negative
    m[second][first] = minus;
}

Cell Lowering::eachComponent(const Cell& x, const std::function<Reg(Reg)>& apply) {
    if (x.type != Vector) return Cell::ofNumber(apply(firstNumber(x)));
    return Cell::ofVector({apply(x.vec[0]), apply(x.vec[1]), apply(x.vec[2])});
}

Cell Lowering::pairwise(const NumericForm& form, Cell a, Cell b) {
    if (a.type == Vector) {  // of anything else the number is x
        const Reg zero = builder_.real(0.0);
        const std::array<Reg, 3> other =
            b.type == Vector ? b.vec : std::array<Reg, 3>{firstNumber(b), zero, zero};
        std::array<Reg, 3> result{};
        for (std::size_t i = 0; i < 3; ++i) result[i] = applied(form, a.vec[i], other[i]);
        return Cell::ofVector(result);
    }
    if (form.rule == NumericForm::Rule::Extremum) {
        settleKind(a);
        settleKind(b);
        if (a.type == Integer && b.type == Integer)
            return Cell::ofInteger(applied(form, builder_.make(Op::Truncate, numberOf(a)),
                                           builder_.make(Op::Truncate, numberOf(b))));
    }
    return Cell::ofNumber(applied(form, firstNumber(a), firstNumber(b)));
}

Reg Lowering::applied(const NumericForm& form, Reg a, Reg b) {
    using Known = NumericForm::Known;
    switch (form.known) {
        case Known::Root:
            return builder_.make(Op::Sqrt, a);
        case Known::Fraction:
            return builder_.make(Op::Sub, a, builder_.make(Op::Truncate, a));
        case Known::Factor:
            return builder_.make(Op::Mul, a, builder_.real(form.one(1.0)));
        case Known::Smaller:
            return builder_.make(Op::Smaller, a, b);
        case Known::Larger:
            return builder_.make(Op::Larger, a, b);
        case Known::Called:
            break;
    }
    return b == kNoReg ? builder_.call(form.one, a) : builder_.call(form.two, a, b);
}

Reg Lowering::drawAfter(Reg state) {
    const Reg grown = builder_.make(Op::MulWhole, state, builder_.whole(kRandomFactor));
    return builder_.make(Op::CutUnsigned, builder_.make(Op::AddWhole, grown, builder_.whole(kRandomStep)));
}

Cell Lowering::randomUnit(const std::vector<Cell>& args) {
    if (args.size() > 1) refuse("a wrong number of arguments");
    if (!args.empty()) setRandomState(builder_.make(Op::CutUnsigned, builder_.toWhole32(numberOf(args[0]))));
    const Reg next = drawAfter(randomState());
    setRandomState(next);
    const Reg drawn = builder_.make(Op::FromWhole, builder_.make(Op::Cut15, next));
    return Cell::ofNumber(builder_.make(Op::Mul, drawn, builder_.real(kPerDraw)));
}

/// Draws until a number is not too large. That comes to an end, and nobody polls while it goes on.
Cell Lowering::randomWhole(Reg from, Reg to) {
    Reg low = builder_.toWhole(from);
    Reg high = builder_.toWhole(to);
    const auto ordered = builder_.knownTruth(builder_.make(Op::LessWhole, low, high));
    if (ordered == false) {
        if (builder_.knownTruth(builder_.make(Op::EqualWhole, low, high)) == true)
            return Cell::ofInteger(from);
        std::swap(low, high);
    }
    // Without a choice there is no draw.
    builder_.guard(builder_.make(Op::LessWhole, low, high), "random() between bounds in the other order");
    const Reg span = builder_.make(Op::SubWhole, high, low);
    const Facts facts = Facts::between(0.0, 4294967295.0, true);
    const Reg before = builder_.merged(Class::Whole, facts);
    const Reg after = builder_.merged(Class::Whole, facts);
    Immediate block;
    block.whole = builder_.newBlock();
    const Reg first = randomState();
    builder_.control(Op::Block, kNoReg, block);
    builder_.move(builder_.movesHere(), before, first);
    builder_.control(Op::Loop);
    {
        const Builder::Scope scope(builder_);
        const Reg next = drawAfter(before);
        builder_.control(Op::If, builder_.make(Op::LessEqualWhole, builder_.make(Op::Cut15, next), span));
        builder_.move(builder_.movesHere(), after, next);
        builder_.control(Op::Exit, kNoReg, block);
        builder_.control(Op::EndIf);
        builder_.move(builder_.movesHere(), before, next);
    }
    builder_.control(Op::EndLoop);
    builder_.control(Op::EndBlock, kNoReg, block);
    setRandomState(after);
    const Reg drawn = builder_.make(Op::FromWhole, builder_.make(Op::Cut15, after));
    return Cell::ofInteger(builder_.make(Op::Add, builder_.make(Op::FromWhole, low), drawn));
}

}  // namespace kestrel::fast
