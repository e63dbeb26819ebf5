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
            // Not vmovq: for a value that lies in memory the library makes an instruction of it that is
            // none.
            const Gp bits = newWhole();
            cc_.vpextrq(bits, real(a), 0);
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
    if (isConstant(b))
        cc_.vucomisd(left, cc_.newDoubleConst(ConstPoolScope::kLocal, registerOf(b).number));
    else
        cc_.vucomisd(left, written(b));
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
    const auto& [a, b, c] = each.operands;
    const Xmm left = real(a);
    const int how = each.op == Op::Less ? 0x11 : 0x12;  // neither holds of a NaN
    if (isConstant(b))
        cc_.vcmpsd(written(each.to), left, cc_.newDoubleConst(ConstPoolScope::kLocal, registerOf(b).number),
                   how);
    else
        cc_.vcmpsd(written(each.to), left, written(b), how);
}

void X86Emitter::makeCondition(const Instruction& each) {
    if (isMask(each.to)) return makeMask(each);
    const Gp to = writtenWhole(each.to);
    const Test tested = test(each);
    const Gp byte = newWhole().r8();
    cc_.set(tested.holds, byte);
    if (tested.notParity) {
        const Gp ordered = newWhole().r8();
        cc_.setnp(ordered);
        cc_.and_(byte, ordered);
    }
    cc_.movzx(to.r32(), byte);
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

/// All at once: what is overwritten before it is read waits in a register of its own.
void X86Emitter::moves(const std::vector<Move>& list) {
    std::vector<Move> reals;
    std::vector<Move> wholes;
    for (const Move& move : list) (registerOf(move.to).cls == Class::Real ? reals : wholes).push_back(move);
    constexpr Reg kSpare = std::numeric_limits<Reg>::max();
    const Xmm spareReal = newReal();
    for (const Move& move : sequenced(reals, kSpare)) {
        const Xmm to = move.to == kSpare ? spareReal : written(move.to);
        if (move.from == kSpare)
            cc_.vmovapd(to, spareReal);
        else
            moveReal(to, move.from);
    }
    const Gp spareWhole = newWhole();
    for (const Move& move : sequenced(wholes, kSpare)) {
        const Gp to = move.to == kSpare ? spareWhole : writtenWhole(move.to);
        if (move.from == kSpare)
            cc_.mov(to, spareWhole);
        else
            moveWhole(to, move.from);
    }
}

}  // namespace kestrel::fast
