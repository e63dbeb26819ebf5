// Machine code for x86-64: conditions and where control goes.
#include "engine/fast/x86_emitter.h"

#include <algorithm>
#include <limits>

namespace kestrel::fast {

using namespace asmjit;  // NOLINT: its names are all that this file is about

X86Emitter::Test X86Emitter::test(const Instruction& each) {
    const auto& [a, b, c] = each.operands;
    switch (each.op) {
        case Op::Less:  // unordered sets what "above" wants clear
            compare(b, a);
            return {Cond::kA};
        case Op::LessEqual:
            compare(b, a);
            return {Cond::kAE};
        case Op::Equal:
            compare(a, b);
            return {Cond::kE, true};
        case Op::LessWhole:
            compareWhole(a, b);
            return {Cond::kL};
        case Op::LessEqualWhole:
            compareWhole(a, b);
            return {Cond::kLE};
        case Op::EqualWhole:
            if (isConstant(a)) {
                compareWhole(b, a);
            } else {
                compareWhole(a, b);
            }
            return {Cond::kE};
        case Op::IsSet: {
            const Gp bits = newWhole();
            cc_.vmovq(bits, real(a));
            cc_.add(bits, bits);
            return {Cond::kNZ};
        }
        default: {  // Fits32
            const Gp cut = newWhole();
            const Gp value = whole(a);
            cc_.movsxd(cut, value.r32());
            cc_.cmp(cut, value);
            return {Cond::kE};
        }
    }
}
void X86Emitter::compare(Reg a, Reg b) {
    const Xmm left = real(a);
    withOperand(b, [&](const auto& right) { cc_.vucomisd(left, right); });
}
void X86Emitter::compareWhole(Reg a, Reg b) {
    const Gp left = whole(a);
    if (const auto value = constant32(b))
        cc_.cmp(left, *value);
    else
        cc_.cmp(left, whole(b));
}

/// Jumps where the condition has this truth.
void X86Emitter::jump(Reg condition, bool truth, const Label& to) {
    const Decision decided = decisionOf(code_, fused_, condition, truth);
    if (decided.test == nullptr) {
        const Gp value = whole(decided.condition);
        cc_.test(value, value);
        cc_.j(decided.truth ? Cond::kNZ : Cond::kZ, to);
        return;
    }
    const Test tested = test(*decided.test);
    if (!tested.notParity) {
        cc_.j(decided.truth ? tested.holds : x86::negateCond(tested.holds), to);
    } else if (decided.truth) {
        const Label past = cc_.newLabel();
        cc_.jp(past);
        cc_.je(to);
        cc_.bind(past);
    } else {
        cc_.jp(to);
        cc_.jne(to);
    }
}

void X86Emitter::makeMask(const Instruction& each) {
    const int how = each.op == Op::Less ? 0x11 : 0x12;  // neither holds of a NaN
    const Xmm left = real(each.operands[0]);
    withOperand(each.operands[1], [&](const auto& right) {
        const Xmm to = target(each.to);
        cc_.vcmpsd(to, left, right, how);
        settle(each.to, to);
    });
}

void X86Emitter::makeCondition(const Instruction& each) {
    if (isMask(each.to)) return makeMask(each);
    const Test tested = test(each);
    endInstruction();  // what was compared is no longer wanted
    const Gp byte = newWhole().r8();
    cc_.set(tested.holds, byte);
    if (tested.notParity) {
        const Gp ordered = newWhole().r8();
        cc_.setnp(ordered);
        cc_.and_(byte, ordered);
    }
    endInstruction();
    static_cast<void>(newWhole());  // the byte
    makeWhole(each.to, [&](const Gp& to) { cc_.movzx(to.r32(), byte); });
}

void X86Emitter::emitControl(const Instruction& each) {
    const Reg a = each.operands[0];
    switch (each.op) {
        case Op::If:
            if (reading_.follows(1, Op::Exit) && reading_.follows(2, Op::EndIf)) {  // nothing but a jump
                jump(a, true, block(reading_.following(1)->imm.whole));
                reading_.advance(2);
                return;
            }
            if ((reading_.follows(1, Op::Leave) || reading_.follows(1, Op::Exit)) &&
                reading_.follows(2, Op::Else)) {
                const Instruction& way = *reading_.following(1);
                jump(a, true, way.op == Op::Leave ? leaveBy(way.imm.whole) : block(way.imm.whole));
                ifs_.push_back({cc_.newLabel(), cc_.newLabel(), false});
                reading_.advance(2);
                return;
            }
            ifs_.push_back({cc_.newLabel(), cc_.newLabel(), false});
            return jump(a, false, ifs_.back().otherwise);
        case Op::Else:
            ifs_.back().hasElse = true;
            if (!reading_.leftBefore()) cc_.jmp(ifs_.back().end);
            bind(ifs_.back().otherwise);
            return;
        case Op::EndIf:
            if (!ifs_.back().hasElse) bind(ifs_.back().otherwise);
            bind(ifs_.back().end);
            ifs_.pop_back();
            return;
        case Op::Block:
            return;
        case Op::EndBlock:
            bind(block(each.imm.whole));
            return;
        case Op::Exit:
            if (!reading_.endsHere(each.imm.whole)) cc_.jmp(block(each.imm.whole));
            return;
        case Op::Loop:
            loops_.push_back(cc_.newLabel());
            bind(loops_.back());
            return;
        case Op::EndLoop:
            cc_.jmp(loops_.back());
            loops_.pop_back();
            return;
        case Op::Moves:
            return moves(code_.moves[static_cast<std::size_t>(each.imm.whole)]);
        case Op::Guard:
            return jump(a, false, leaveBy(each.imm.whole));
        case Op::Leave:
            cc_.jmp(leaveBy(each.imm.whole));
            return;
        case Op::Poll:
            cc_.cmp(at(each.imm.address, 4), 0);
            if (reading_.follows(1, Op::EndLoop)) {
                cc_.je(loops_.back());
                cc_.jmp(leaveBy(-1));
                loops_.pop_back();
                return reading_.advance();
            }
            cc_.jne(leaveBy(-1));
            return;
        default:
            return;
    }
}

Label& X86Emitter::block(std::int64_t number) {
    std::optional<Label>& label = blocks_[static_cast<std::size_t>(number)];
    if (!label) label = cc_.newLabel();
    return *label;
}

namespace {

/// Homes as sequenced() takes registers.
Reg numbered(const Home& home) noexcept {
    return static_cast<Reg>(home.kind) + 4 * home.number;
}
Home homeOf(Reg number) noexcept {
    return {static_cast<Home::Kind>(number % 4), number / 4};
}
constexpr Reg kSpareHome = std::numeric_limits<Reg>::max();

}  // namespace

/// All at once: what is overwritten before it is read waits in a register of its own.
void X86Emitter::moves(const std::vector<Move>& list) {
    std::vector<Move> reals;
    std::vector<Move> wholes;
    for (const Move& move : list) {
        forget(move.to);
        if (isConstant(move.from)) continue;
        (registerOf(move.to).cls == Class::Real ? reals : wholes)
            .push_back({numbered(homes_.of(move.to)), numbered(homes_.of(move.from))});
    }
    moveBetween(reals, newReal(), newReal(), vectorOf);
    moveBetween(wholes, newWhole(), newWhole(), generalOf);
    for (const Move& move : list) {
        if (!isConstant(move.from)) continue;
        endInstruction();
        if (registerOf(move.to).cls == Class::Real) {
            const Xmm to = target(move.to);
            loadConstant(to, registerOf(move.from).number);
            settle(move.to, to);
        } else {
            makeWhole(move.to, [&](const Gp& to) { moveWhole(to, move.from); });
        }
    }
}

/// @param spare, passing  registers that nobody lives in
template <class Kind>
void X86Emitter::moveBetween(const std::vector<Move>& list, const Kind& spare, const Kind& passing,
                             Kind (*of)(const Home&)) {
    const auto inRegister = [&](Reg which) -> std::optional<Kind> {
        if (which == kSpareHome) return spare;
        const Home home = homeOf(which);
        if (home.kind == Home::Kind::Stack) return std::nullopt;
        return of(home);
    };
    for (const Move& move : sequenced(list, kSpareHome)) {
        const std::optional<Kind> from = inRegister(move.from);
        const std::optional<Kind> to = inRegister(move.to);
        const Kind value = from ? *from : to ? *to : passing;
        if (!from) copy(value, onStack(homeOf(move.from).number));
        if (!to)
            copy(onStack(homeOf(move.to).number), value);
        else if (*to != value)
            copy(*to, value);
    }
}

}  // namespace kestrel::fast
