#include "engine/fast/threaded.h"

#include "engine/fast/outside_call.h"
#include "platform/clock.h"

#include <array>
#include <cstring>
#include <iterator>

// Labels as values are how each step gets an indirect jump of its own, which processors predict far better
// than one that all share.
#pragma GCC diagnostic ignored "-Wpedantic"

namespace kestrel::fast {

namespace {

// Two operations in one step: what the first one yields is an operand of the second one, and C the other.
//   name, first, second, whether C stands on the left
#define KESTREL_PAIRS(X)                      \
    X(AddAdd, Add, Add, false)                \
    X(AddSub, Add, Sub, false)                \
    X(AddSubFrom, Add, Sub, true)             \
    X(AddMul, Add, Mul, false)                \
    X(SubAdd, Sub, Add, false)                \
    X(SubSub, Sub, Sub, false)                \
    X(SubSubFrom, Sub, Sub, true)             \
    X(SubMul, Sub, Mul, false)                \
    X(MulAdd, Mul, Add, false)                \
    X(MulSub, Mul, Sub, false)                \
    X(MulSubFrom, Mul, Sub, true)             \
    X(MulMul, Mul, Mul, false)                \
    X(WholeAddAdd, AddWhole, AddWhole, false) \
    X(WholeMulAdd, MulWhole, AddWhole, false) \
    X(WholeAddAnd, AddWhole, And, false)

/// What a step does, beyond computing.
enum class Kind : std::uint8_t {
#define KESTREL_FAST_COMPUTED(name, result, a, b, sort) name,
#include "engine/fast/ops.def"
#define KESTREL_FAST_TEST(name, a, b) JumpIf##name, JumpUnless##name, LeaveIf##name, LeaveUnless##name,
#include "engine/fast/ops.def"
#define X(name, first, second, left) name,
    KESTREL_PAIRS(X)
#undef X
        JumpIfTrue,
    JumpUnlessTrue,
    LeaveIfTrue,
    LeaveUnlessTrue,
    Call1,
    Call2,
    Ask,
    Choose,
    LoadReal,
    LoadWord,
    LoadRecordReal,
    LoadRecordWhole,
    LoadElement,
    LoadElementKind,
    Copy,
    CopyTwo,
    Jump,
    Leave,
    Poll,
    PollJump,
    StoreElement,
    StoreElementKind,
    StoreReal,
    StoreWord,
    StoreRecordReal,
    Done,
    Count,
};
using Handlers = std::array<const void*, static_cast<std::size_t>(Kind::Count)>;

/// Something in the index-th cell of an array, whose address a step has as a number: it may lie before the
/// array.
template <class T>
T* elementAt(const Step& step, std::int64_t index) noexcept {
    const std::int64_t address = step.imm.whole + index * static_cast<std::int64_t>(sizeof(ValueCell));
    return reinterpret_cast<T*>(address);  // NOLINT: see above
}

/// A constant register holds where the log is.
UndoLog& undoOf(Word place) noexcept {
    return *reinterpret_cast<UndoLog*>(place.whole);  // NOLINT: see above
}

/// Runs steps; or, without any, tells where the handlers are.
/// @param registers  beside constants nothing in them outlives a run
[[gnu::noinline]] Ending execute(const Step* step, Word* registers, unsigned char* record,
                                 Handlers* handlers) noexcept {
    static const void* const kLabels[] = {
#define KESTREL_FAST_COMPUTED(name, result, a, b, sort) &&L_##name,
#include "engine/fast/ops.def"
#define KESTREL_FAST_TEST(name, a, b) \
    &&L_JumpIf##name, &&L_JumpUnless##name, &&L_LeaveIf##name, &&L_LeaveUnless##name,
#include "engine/fast/ops.def"
#define X(name, first, second, left) &&L_##name,
        KESTREL_PAIRS(X)
#undef X
            && L_JumpIfTrue,
        &&L_JumpUnlessTrue,
        &&L_LeaveIfTrue,
        &&L_LeaveUnlessTrue,
        &&L_Call1,
        &&L_Call2,
        &&L_Ask,
        &&L_Choose,
        &&L_LoadReal,
        &&L_LoadWord,
        &&L_LoadRecordReal,
        &&L_LoadRecordWhole,
        &&L_LoadElement,
        &&L_LoadElementKind,
        &&L_Copy,
        &&L_CopyTwo,
        &&L_Jump,
        &&L_Leave,
        &&L_Poll,
        &&L_PollJump,
        &&L_StoreElement,
        &&L_StoreElementKind,
        &&L_StoreReal,
        &&L_StoreWord,
        &&L_StoreRecordReal,
        &&L_Done};
    static_assert(std::size(kLabels) == static_cast<std::size_t>(Kind::Count));
    if (step == nullptr) {
        std::copy(std::begin(kLabels), std::end(kLabels), handlers->begin());
        return {};
    }

#define A registers[step->a]
#define B registers[step->b]
#define TO registers[step->to]
#define LEFT Ending::left(step->to)
#define GO goto * step->handler
#define NEXT \
    ++step;  \
    GO
    GO;

#define KESTREL_FAST_COMPUTED(name, result, a, b, sort) \
    L_##name : TO = compute(Op::name, A, B);            \
    NEXT;
#include "engine/fast/ops.def"
#define TEST(name) compute(Op::name, A, B).whole != 0
#define KESTREL_FAST_TEST(name, a, b)                                  \
    L_JumpIf##name : step = TEST(name) ? step->target : step + 1;      \
    GO;                                                                \
    L_JumpUnless##name : step = TEST(name) ? step + 1 : step->target;  \
    GO;                                                                \
    L_LeaveIf##name : if (TEST(name)) [[unlikely]] return LEFT;        \
    NEXT;                                                              \
    L_LeaveUnless##name : if (!(TEST(name))) [[unlikely]] return LEFT; \
    NEXT;
#include "engine/fast/ops.def"
#define X(name, first, second, left)                                                     \
    L_##name : {                                                                         \
        const Word made = compute(Op::first, A, B);                                      \
        const Word other = registers[step->c];                                           \
        TO = left ? compute(Op::second, other, made) : compute(Op::second, made, other); \
        NEXT;                                                                            \
    }
    KESTREL_PAIRS(X)
#undef X
L_JumpIfTrue:
    step = A.whole != 0 ? step->target : step + 1;
    GO;
L_JumpUnlessTrue:
    step = A.whole != 0 ? step + 1 : step->target;
    GO;
L_LeaveIfTrue:
    if (A.whole != 0) [[unlikely]]
        return LEFT;
    NEXT;
L_LeaveUnlessTrue:
    if (A.whole == 0) [[unlikely]]
        return LEFT;
    NEXT;
L_Call1:
    TO.real = step->imm.one(A.real);
    NEXT;
L_Call2:
    TO.real = step->imm.two(A.real, B.real);
    NEXT;
L_Ask:
    TO.whole = OutsideCall::run(static_cast<OutsideCall*>(step->imm.address), record);
    NEXT;
L_Choose:
    TO = A.whole != 0 ? B : registers[step->c];
    NEXT;
L_LoadReal:
    TO.real = *static_cast<const double*>(step->imm.address);
    NEXT;
L_LoadWord:
    TO.whole = *static_cast<const std::uint32_t*>(step->imm.address);
    NEXT;
L_LoadRecordReal:
    std::memcpy(&TO.real, record + step->imm.whole, sizeof(double));
    NEXT;
L_LoadRecordWhole : {
    std::int32_t value;
    std::memcpy(&value, record + step->imm.whole, sizeof value);
    TO.whole = value;
    NEXT;
}
L_LoadElement:
    TO.real = *elementAt<double>(*step, A.whole);
    NEXT;
L_LoadElementKind:
    TO.whole = *elementAt<std::int32_t>(*step, A.whole);
    NEXT;
L_Copy:
    TO = A;
    NEXT;
L_CopyTwo : {
    const Word second = registers[step->c];  // A's register may be the second one's
    TO = A;
    registers[step->b] = second;
    NEXT;
}
L_Jump:
    step = step->target;
    GO;
L_Leave:
    return LEFT;
L_Poll:
    if (*static_cast<const platform::SharedFlag*>(step->imm.address) != 0) [[unlikely]]
        return Ending::left(-1);
    NEXT;
L_PollJump:
    if (*static_cast<const platform::SharedFlag*>(step->imm.address) != 0) [[unlikely]]
        return Ending::left(-1);
    step += step->to;
    GO;
L_StoreElement : {
    double* const place = elementAt<double>(*step, A.whole);
    if (!undoOf(registers[step->c]).keep(place)) [[unlikely]]
        return Ending::left(-1);
    *place = B.real;
    NEXT;
}
L_StoreElementKind : {
    std::int32_t* const place = elementAt<std::int32_t>(*step, A.whole);
    if (!undoOf(registers[step->c]).keep(place)) [[unlikely]]
        return Ending::left(-1);
    *place = static_cast<std::int32_t>(B.whole);
    NEXT;
}
L_StoreReal:
    *static_cast<double*>(step->imm.address) = A.real;
    NEXT;
L_StoreWord : {
    const auto value = static_cast<std::uint32_t>(A.whole);
    std::memcpy(step->imm.address, &value, sizeof value);
    NEXT;
}
L_StoreRecordReal:
    std::memcpy(record + step->imm.whole, &A.real, sizeof(double));
    NEXT;
L_Done:
    return Ending::of(static_cast<Outcome>(step->imm.whole));
#undef A
#undef B
#undef TO
#undef GO
#undef LEFT
#undef NEXT
#undef TEST
}

const Handlers& handlers() {
    static const Handlers table = [] {
        Handlers found{};
        execute(nullptr, nullptr, nullptr, &found);
        return found;
    }();
    return table;
}

/// Lays out structured code in a row.
class Layout {
public:
    Layout(const Code& code, std::vector<Step>& steps, std::vector<Word>& registers)
        : code_(code),
          steps_(steps),
          fused_(fusedConditions(code)),
          operands_(fusedOperands(code)),
          blocks_(static_cast<std::size_t>(code.blocks)) {
        for (const Register& reg : code.registers) registers.push_back(reg.constant ? wordOf(reg) : Word{});
        spare_ = static_cast<Reg>(registers.size());
        registers.emplace_back();
        undo_ = static_cast<Reg>(registers.size());
        registers.push_back(Word::of(reinterpret_cast<std::int64_t>(code.undo)));  // NOLINT: as undoOf()
    }

    void lay() {
        for (; !reading_.ended(); reading_.advance()) {
            const std::size_t at = reading_.at();
            if (!fused_[at] && !operands_[at] && !layPair(reading_.here())) lay(reading_.here());
        }
        for (const auto& [from, to] : jumps_) steps_[from].target = steps_.data() + to;
    }

private:
    struct OpenIf {
        std::size_t test;
        std::size_t end = 0;
        bool hasEnd = false;
    };

    std::size_t add(Kind kind, Reg to = kNoReg, Reg a = kNoReg, Reg b = kNoReg, Reg c = kNoReg) {
        Step step;
        step.handler = handlers()[static_cast<std::size_t>(kind)];
        step.to = to;
        step.a = a;
        step.b = b;
        step.c = c;
        steps_.push_back(step);
        return steps_.size() - 1;
    }

    void jumpTo(std::size_t from, std::size_t to) { jumps_.emplace_back(from, to); }

    enum Sense { JumpIf, JumpUnless, LeaveIf, LeaveUnless };

    /// @param sense  for the condition to hold, or not to
    /// @param exit  of those that leave
    std::size_t addTest(Reg condition, Sense sense, Reg exit = kNoReg) {
        const bool asked = sense == JumpIf || sense == LeaveIf;
        const Decision decided = decisionOf(code_, fused_, condition, asked);
        const int step = decided.truth == asked ? sense : sense ^ 1;
        const auto kindOf = [step](Kind first) { return static_cast<Kind>(static_cast<int>(first) + step); };
        if (decided.test == nullptr) return add(kindOf(Kind::JumpIfTrue), exit, decided.condition);
        const auto& [a, b, c] = decided.test->operands;
        switch (decided.test->op) {
#define KESTREL_FAST_TEST(name, a_, b_) \
    case Op::name:                      \
        return add(kindOf(Kind::JumpIf##name), exit, a, b >= 0 ? b : a);
#include "engine/fast/ops.def"
            default:
                return 0;
        }
    }

    /// @return false where no operand of the operation is made in the same step
    bool layPair(const Instruction& each) {
        if (each.op != Op::Add && each.op != Op::Sub && each.op != Op::Mul) return false;
        for (const std::size_t which : {1u, 0u}) {
            const std::int32_t at =
                code_.registers[static_cast<std::size_t>(each.operands[which])].definition;
            if (at < 0 || !operands_[static_cast<std::size_t>(at)]) continue;
            const Instruction& first = code_.instructions[static_cast<std::size_t>(at)];
            add(pairOf(first.op, each.op, which == 1), each.to, first.operands[0], first.operands[1],
                each.operands[1 - which]);
            return true;
        }
        return false;
    }

    static Kind pairOf(Op first, Op second, bool onTheRight) {
#define X(name, one, two, left) \
    if (first == Op::one && second == Op::two && (left == onTheRight || second != Op::Sub)) return Kind::name;
        KESTREL_PAIRS(X)
#undef X
        return Kind::Count;
    }

    void copy(const std::vector<Move>& moves) {
        for (std::size_t i = 0; i < moves.size(); i += 2) {
            const Move& first = moves[i];
            if (i + 1 == moves.size()) {
                add(Kind::Copy, first.to, first.from);
            } else if (const Move& second = moves[i + 1]; second.from == first.to) {
                add(Kind::CopyTwo, first.to, first.from, second.to, first.from);
            } else {
                add(Kind::CopyTwo, first.to, first.from, second.to, second.from);
            }
        }
    }

    void lay(const Instruction& each) {
        const auto& [a, b, c] = each.operands;
        switch (each.op) {
#define KESTREL_FAST_COMPUTED(name, result, a_, b_, sort) \
    case Op::name:                                        \
        add(Kind::name, each.to, a, b >= 0 ? b : a);      \
        return;
#include "engine/fast/ops.def"
#define X(name)                                                   \
    case Op::name:                                                \
        steps_[add(Kind::name, each.to, a, b, c)].imm = each.imm; \
        return;
            X(Call1)
            X(Call2)
            X(Ask)
            X(Choose)
            X(LoadReal)
            X(LoadWord)
            X(LoadRecordReal)
            X(LoadRecordWhole)
            X(LoadElement)
            X(LoadElementKind)
            X(StoreReal)
            X(StoreWord)
            X(StoreRecordReal)
            X(Done)
#undef X
#define X(name)                                                      \
    case Op::name:                                                   \
        steps_[add(Kind::name, kNoReg, a, b, undo_)].imm = each.imm; \
        return;
            X(StoreElement)
            X(StoreElementKind)
#undef X
            case Op::Leave:
                add(Kind::Leave, static_cast<Reg>(each.imm.whole));
                return;
            case Op::Guard:
                addTest(a, LeaveUnless, static_cast<Reg>(each.imm.whole));
                return;
            case Op::Moves:
                copy(sequenced(code_.moves[static_cast<std::size_t>(each.imm.whole)], spare_));
                return;
            case Op::If:
                return layIf(a);
            case Op::Else: {
                OpenIf& open = ifs_.back();
                if (!reading_.follows(1, Op::EndIf)) {
                    open.end = add(Kind::Jump);
                    open.hasEnd = true;
                }
                jumpTo(open.test, steps_.size());
                open.test = kNone;
                return;
            }
            case Op::EndIf: {
                const OpenIf& open = ifs_.back();
                if (open.test != kNone) jumpTo(open.test, steps_.size());
                if (open.hasEnd) jumpTo(open.end, steps_.size());
                ifs_.pop_back();
                return;
            }
            case Op::Block:
                return;
            case Op::EndBlock:
                for (const std::size_t from : blocks_[static_cast<std::size_t>(each.imm.whole)])
                    jumpTo(from, steps_.size());
                return;
            case Op::Exit:
                if (!reading_.endsHere(each.imm.whole)) exitFrom(add(Kind::Jump), each.imm.whole);
                return;
            case Op::Loop:
                loops_.push_back(steps_.size());
                return;
            case Op::Poll:
                if (reading_.follows(1, Op::EndLoop) ||
                    (reading_.follows(1, Op::Moves) && reading_.follows(2, Op::EndLoop)))
                    poll_ = each.imm;  // in the jump that ends the loop
                else
                    steps_[add(Kind::Poll)].imm = each.imm;
                return;
            case Op::EndLoop:
                layLoopEnd();
                return;
        }
    }

    void layLoopEnd() {
        const std::size_t top = loops_.back();
        loops_.pop_back();
        if (poll_.address == nullptr) return jumpTo(add(Kind::Jump), top);
        const std::size_t jump = add(Kind::PollJump);
        steps_[jump].to =
            static_cast<Reg>(static_cast<std::ptrdiff_t>(top) - static_cast<std::ptrdiff_t>(jump));
        steps_[jump].imm = poll_;
        poll_ = {};
    }

    /// A branch that does nothing but leave a block, or the code, is a jump.
    void layIf(Reg condition) {
        if (reading_.follows(1, Op::Exit) && reading_.follows(2, Op::EndIf)) {
            exitFrom(addTest(condition, JumpIf), reading_.following(1)->imm.whole);
            reading_.advance(2);
            return;
        }
        ifs_.push_back({addTest(condition, JumpUnless)});
    }

    void exitFrom(std::size_t step, std::int64_t block) {
        blocks_[static_cast<std::size_t>(block)].push_back(step);
    }

    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    const Code& code_;
    std::vector<Step>& steps_;
    std::vector<bool> fused_;
    std::vector<bool> operands_;  // those that the next operation makes itself
    Immediate poll_{};
    std::vector<std::vector<std::size_t>> blocks_;  // jumps to the end of each
    std::vector<OpenIf> ifs_;
    std::vector<std::size_t> loops_;
    std::vector<std::pair<std::size_t, std::size_t>> jumps_;
    Reading reading_{code_};
    Reg spare_ = kNoReg;
    Reg undo_ = kNoReg;
};

}  // namespace

ThreadedCode::ThreadedCode(const Code& code) {
    Layout(code, steps_, registers_).lay();
}

Ending ThreadedCode::run(void* record) noexcept {
    return execute(steps_.data(), registers_.data(), static_cast<unsigned char*>(record), nullptr);
}

}  // namespace kestrel::fast
