// Lowering: calls of script functions, which are laid out where they are called, and of built-ins.
#include "engine/context/builtin.h"
#include "engine/context/random_sequence.h"
#include "engine/fast/lowering.h"
#include "engine/program/node_modes.h"

#include <algorithm>

namespace kestrel::fast {

void Lowering::call(const Node& node) {
    if (node.mode == kMethodCall) refuse("a method");
    if (node.reach == Reach::Function) return callFunction(node);
    if (node.reach == Reach::Builtin) return callBuiltin(node);
    refuse("a call of a record or a library");
}

void Lowering::bind(Variable& parameter, const Cell& value) {
    Cell& held = slot(slotOf(parameter));
    const bool counts = knowledge_.slots.infos[slotOf(parameter)].visible;
    if (counts && held.type >= 0 && !isInlineKind(held.type) && held.type != Array && held.type != ShaderObj)
        refuse("a parameter that lets go of something");
    Cell bound = held;
    bound.number = value.isNumeric() ? numberOf(value) : builder_.real(0.0);
    if (value.type == Vector) bound.vec = value.vec;
    bound.type = value.type == ArrayRef ? std::int32_t{Array} : value.type;
    bound.kind = value.kind;
    bound.numeric = value.numeric;
    bound.object = value.object;
    if (!value.isNumeric() && value.type != Vector && value.type != Nil && value.type != ShaderObj &&
        value.type != ArrayRef)
        refuse("an argument that is neither a number, a vector, an array nor the sample");
    held = bound;
}

void Lowering::enter(const FunctionRecord& function, std::size_t arguments) {
    for (const Activation& active : activations_)
        if (active.function == &function) refuse("a function that calls itself");
    if (!carryover_.bindsAll(function))
        refuse("a function that is not always given a value for each parameter");
    if (function.end == nullptr) refuse("a function without an end");
    assumptions_.noObjects(function);
    std::vector<Cell> values;
    for (std::size_t i = 0; i < arguments; ++i) values.push_back(pop());
    std::size_t next = values.size();
    for (Variable* p = function.params.head; p != nullptr && next > 0; p = p->next) bind(*p, values[--next]);
    activations_.push_back({&function, state_.stack.size(), openBlock(), {}});
}

/// Runs the function that has been entered up to its end, with its results on the stack.
void Lowering::finishActivation() {
    const FunctionRecord& function = *activations_.back().function;
    walk(function.entry->next, function.end);
    if (state_.reached) state_.stack.resize(activations_.back().base);  // it ends without a return
    const std::size_t block = activations_.back().block;
    activations_.pop_back();
    closeBlock(block);
    if (!state_.reached) return;
    // Nobody reads what they hold before they are assigned again.
    const auto forget = [this](const LinkedList<Variable>& variables) {
        for (const Variable* v = variables.head; v != nullptr; v = v->next) {
            const auto found = knowledge_.slots.ofVariable.find(v);
            if (found != knowledge_.slots.ofVariable.end() && !knowledge_.slots.infos[found->second].visible)
                slot(found->second) = Cell{};
        }
    };
    forget(function.params);
    forget(function.locals);
}

void Lowering::callFunction(const Node& node) {
    const FunctionRecord& function = *node.to.function;
    if (node.argc != function.paramCount) refuse("a call with another number of arguments than parameters");
    if (activations_.back().controls.size() >= kControlLimit)
        refuse("calls and loops that are nested too deep");
    if (activations_.size() >= kDeepestCalls) refuse("calls that are nested too deep");
    const std::uint64_t path = path_;
    path_ =
        (path_ ^ reinterpret_cast<std::uintptr_t>(&node)) * 0x9E3779B97F4A7C15u;  // NOLINT: only told apart
    enter(function, static_cast<std::size_t>(node.argc));
    finishActivation();
    path_ = path;
}

// ---- built-ins

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
        case Rule::RandomUnit:
            if (!args.empty()) refuse("randu() with an argument");
            return push(randomUnit());
        case Rule::None:
            break;
    }
    refuse("a built-in");
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

Cell Lowering::randomUnit() {
    const Reg grown = builder_.make(Op::MulWhole, randomState(), builder_.whole(kRandomFactor));
    const Reg next =
        builder_.make(Op::CutUnsigned, builder_.make(Op::AddWhole, grown, builder_.whole(kRandomStep)));
    setRandomState(next);
    const Reg drawn = builder_.make(Op::FromWhole, builder_.make(Op::Cut15, next));
    return Cell::ofNumber(builder_.make(Op::Mul, drawn, builder_.real(kPerDraw)));
}

}  // namespace kestrel::fast
