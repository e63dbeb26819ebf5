// What a step of threaded code can do: one operation, or several of which one wants the others' results.
#pragma once

#include "engine/fast/code.h"
#include "engine/fast/operations.h"
#include "engine/fast/threaded.h"
#include "engine/values/value.h"

#include <array>
#include <cstdint>

namespace kestrel::fast {

/// Something in the index-th cell of an array, whose address a step has as a number: it may lie before the
/// array.
template <class T>
T* elementAt(const Step& step, std::int64_t index) noexcept {
    const std::int64_t address = step.imm.whole + index * static_cast<std::int64_t>(sizeof(ValueCell));
    return reinterpret_cast<T*>(address);  // NOLINT: see above
}

// ---- expressions: each tells what it yields, and is found in code by a Matcher

/// An operand of the step: the first three in its registers a, b and c, the fourth one in its immediate.
template <int which>
struct In {
    [[gnu::always_inline]] static Word of(const Step& step, const Word* registers) noexcept {
        static_assert(which >= 0 && which < 4);
        if constexpr (which == 0) return registers[step.a];
        if constexpr (which == 1) return registers[step.b];
        if constexpr (which == 2) return registers[step.c];
        return registers[step.imm.whole];
    }
    template <class Matcher>
    static bool find(Matcher& matcher, Reg reg) {
        return matcher.bind(which, reg);
    }
};

/// The element of an array, whose address is the step's immediate.
template <class Index>
struct Element {
    [[gnu::always_inline]] static Word of(const Step& step, const Word* registers) noexcept {
        return Word::of(*elementAt<double>(step, Index::of(step, registers).whole));
    }
    template <class Matcher>
    static bool find(Matcher& matcher, Reg reg) {
        const Instruction* load = matcher.takeElement(reg);
        return load != nullptr && Index::find(matcher, load->operands[0]);
    }
};

struct Nothing {
    [[gnu::always_inline]] static Word of(const Step&, const Word*) noexcept { return {}; }
    template <class Matcher>
    static bool find(Matcher&, Reg reg) {
        return reg < 0;
    }
};

template <Op op, class Left, class Right = Nothing>
struct Do {
    static constexpr Op kOp = op;
    [[gnu::always_inline]] static Word of(const Step& step, const Word* registers) noexcept {
        return compute(op, Left::of(step, registers), Right::of(step, registers));
    }
    template <class Matcher>
    static bool find(Matcher& matcher, Reg reg) {
        const Instruction* each = matcher.take(reg);
        return each != nullptr && is(matcher, *each);
    }
    template <class Matcher>
    static bool is(Matcher& matcher, const Instruction& each) {
        if (each.op != op) return false;
        const auto [left, right, none] = each.operands;
        const Matcher before = matcher;
        if (Left::find(matcher, left) && Right::find(matcher, right)) return true;
        matcher = before;
        return commutes(op) && Left::find(matcher, right) && Right::find(matcher, left);
    }
};

namespace expressions {
using A = In<0>;
using B = In<1>;
using C = In<2>;
using D = In<3>;
template <class Left, class Right>
using Sum = Do<Op::Add, Left, Right>;
template <class Left, class Right>
using Difference = Do<Op::Sub, Left, Right>;
template <class Left, class Right>
using Product = Do<Op::Mul, Left, Right>;
}  // namespace expressions

// Expressions that are one step: name, expression. Of those that fit the first one is taken, so the longer
// ones stand in front.
#define KESTREL_SUPERINSTRUCTIONS(X)                                               \
    X(SmoothStep, Product<Product<A, A>, Difference<B, Product<C, A>>>)            \
    X(MixElement, Sum<A, Product<B, Difference<Element<C>, A>>>)                   \
    X(Mix, Sum<A, Product<B, Difference<C, A>>>)                                   \
    X(SumOfProducts, Sum<Product<A, B>, Product<C, D>>)                            \
    X(AbsoluteMulSub, Do<Op::Absolute, Difference<Product<A, B>, C>>)              \
    X(ElementAddSub, Difference<Sum<A, Element<B>>, C>)                            \
    X(AddAdd, Sum<Sum<A, B>, C>)                                                   \
    X(AddSub, Difference<Sum<A, B>, C>)                                            \
    X(AddSubFrom, Difference<C, Sum<A, B>>)                                        \
    X(AddMul, Product<Sum<A, B>, C>)                                               \
    X(SubAdd, Sum<Difference<A, B>, C>)                                            \
    X(SubSub, Difference<Difference<A, B>, C>)                                     \
    X(SubSubFrom, Difference<C, Difference<A, B>>)                                 \
    X(SubMul, Product<Difference<A, B>, C>)                                        \
    X(MulAdd, Sum<Product<A, B>, C>)                                               \
    X(MulSub, Difference<Product<A, B>, C>)                                        \
    X(MulSubFrom, Difference<C, Product<A, B>>)                                    \
    X(MulMul, Product<Product<A, B>, C>)                                           \
    X(ElementAdd, Sum<Element<A>, B>)                                              \
    X(ElementSub, Difference<Element<A>, B>)                                       \
    X(ElementSubFrom, Difference<B, Element<A>>)                                   \
    X(ElementMul, Product<Element<A>, B>)                                          \
    X(MulFloor, Do<Op::Floor, Product<A, B>>)                                      \
    X(WholeMulAddAnd, Do<Op::And, Do<Op::AddWhole, Do<Op::MulWhole, A, B>, C>, D>) \
    X(WholeAddAnd, Do<Op::And, Do<Op::AddWhole, A, B>, C>)                         \
    X(WholeAddAdd, Do<Op::AddWhole, Do<Op::AddWhole, A, B>, C>)                    \
    X(WholeAddMul, Do<Op::MulWhole, Do<Op::AddWhole, A, B>, C>)                    \
    X(WholeMulAdd, Do<Op::AddWhole, Do<Op::MulWhole, A, B>, C>)

/// What a step does.
enum class Kind : std::uint8_t {
#define KESTREL_FAST_COMPUTED(name, result, a, b, sort) name,
#include "engine/fast/ops.def"
#define KESTREL_FAST_TEST(name, a, b) JumpIf##name, JumpUnless##name, LeaveIf##name, LeaveUnless##name,
#include "engine/fast/ops.def"
#define X(name, ...) name,
    KESTREL_SUPERINSTRUCTIONS(X)
#undef X
#define KESTREL_OTHER_STEPS(X)                                      \
    X(JumpIfTrue)                                                   \
    X(JumpUnlessTrue)                                               \
    X(LeaveIfTrue)                                                  \
    X(LeaveUnlessTrue)                                              \
    X(LeaveUnlessNearer) /* to zero than b */                       \
    X(ToWhole32)         /* leaves where it does not fit 32 bits */ \
    X(Call1)                                                        \
    X(Call2)                                                        \
    X(Ask)                                                          \
    X(Choose)                                                       \
    X(LoadReal)                                                     \
    X(LoadWord)                                                     \
    X(LoadRecordReal)                                               \
    X(LoadRecordTwo) /* the second one at c, into b */              \
    X(LoadRecordWhole)                                              \
    X(LoadElement)                                                  \
    X(LoadElementKind)                                              \
    X(Copy)                                                         \
    X(CopyTwo)                                                      \
    X(Jump)                                                         \
    X(Leave)                                                        \
    X(Poll)                                                         \
    X(PollJump)                                                     \
    X(StoreElement)                                                 \
    X(StoreElementKind)                                             \
    X(StoreReal)                                                    \
    X(StoreWord)                                                    \
    X(StoreRecordReal)                                              \
    X(StoreRecordThree) /* side by side */                          \
    X(Done)
#define X(name) name,
        KESTREL_OTHER_STEPS(X)
#undef X
            Count,
};

/// Where the steps' code lies, by Kind.
using Handlers = std::array<const void*, static_cast<std::size_t>(Kind::Count)>;
[[nodiscard]] const Handlers& handlers();

}  // namespace kestrel::fast
