// Machine code for x86-64, one instruction of the intermediate code after the other. Exactness: no
// contraction, no reassociation, the C library's functions by their addresses; what rounds is the one
// instruction that the interpreter's compiler takes, too.
#include "engine/fast/outside_call.h"
#include "engine/fast/x86_emitter.h"

#include <bit>
#include <cstddef>
#include <utility>

namespace kestrel::fast {

using namespace asmjit;  // NOLINT: its names are all that this file is about

namespace {

Instruction turned(Instruction each) {
    std::swap(each.operands[0], each.operands[1]);
    return each;
}

}  // namespace

/// @param emit  of the result, the left operand and the right one, which is a register or in memory
template <class Emit>
void X86Emitter::binary(const Instruction& each, const Emit& emit) {
    auto [a, b, c] = each.operands;
    // One that lies in memory is best the right one.
    const bool inMemory = isConstant(a) || loadOf(a) != nullptr || (isOnStack(a) && !isOnStack(b));
    if (commutes(each.op) && loadOf(b) == nullptr && !isConstant(b) && inMemory) std::swap(a, b);
    const Xmm left = real(a);
    withOperand(b, [&](const auto& right) {
        const Xmm to = target(each.to);
        emit(to, left, right);
        settle(each.to, to);
    });
}

/// @param emit  of the result and the operand
template <class Emit>
void X86Emitter::unary(const Instruction& each, const Emit& emit) {
    const Xmm value = real(each.operands[0]);
    const Xmm to = target(each.to);
    emit(to, value);
    settle(each.to, to);
}

template <class Emit>
void X86Emitter::wholeBinary(const Instruction& each, const Emit& emit) {
    auto [a, b, c] = each.operands;
    if (commutes(each.op) && isConstant(a)) std::swap(a, b);
    const Gp to = targetWhole(each.to);
    const Gp right = constant32(b) ? Gp() : whole(b);
    moveWhole(to, a);
    if (const auto value = constant32(b))
        emit(to, imm(*value));
    else
        emit(to, right);
    settle(each.to, to);
}

void X86Emitter::emit(const Instruction& each) {
    const Reg a = each.operands[0];
    const Reg b = each.operands[1];
    switch (each.op) {
        case Op::Add:
            return binary(each, [&](auto&&... x) { cc_.vaddsd(x...); });
        case Op::Sub:
            return binary(each, [&](auto&&... x) { cc_.vsubsd(x...); });
        case Op::Mul:
            return binary(each, [&](auto&&... x) { cc_.vmulsd(x...); });
        case Op::Div:
            return binary(each, [&](auto&&... x) { cc_.vdivsd(x...); });
        case Op::Smaller:  // the second operand comes out unless the first is smaller, NaN or not
            return binary(turned(each), [&](auto&&... x) { cc_.vminsd(x...); });
        case Op::Larger:
            return binary(turned(each), [&](auto&&... x) { cc_.vmaxsd(x...); });
        case Op::Negate:
            return unary(each, [&](const Xmm& to, const Xmm& value) {
                cc_.vxorpd(to, value, pattern(std::uint64_t{1} << 63));
            });
        case Op::Absolute:
            return unary(each, [&](const Xmm& to, const Xmm& value) {
                cc_.vandpd(to, value, pattern(~(std::uint64_t{1} << 63)));
            });
        case Op::Floor:
            return round(each, 9);
        case Op::Ceil:
            return round(each, 10);
        case Op::Truncate:
            return round(each, 11);
        case Op::Sqrt:
            return unary(each, [&](const Xmm& to, const Xmm& value) { cc_.vsqrtsd(to, value, value); });
        case Op::Call1:
        case Op::Call2:
            return call(each);
        case Op::Ask:
            return ask(each);
        case Op::FromWhole: {
            const Xmm to = target(each.to);
            const Gp value = whole(a);
            cc_.vxorpd(to, to, to);  // else it would wait for what was there before
            cc_.vcvtsi2sd(to, to, value);
            return settle(each.to, to);
        }
        case Op::Choose:
            return choose(each);
        case Op::ToWhole:
            return makeWhole(each.to, [&](const Gp& to) { cc_.vcvttsd2si(to, real(a)); });
        case Op::AddWhole:
            return add(each);
        case Op::SubWhole:
            return wholeBinary(each, [&](auto&&... x) { cc_.sub(x...); });
        case Op::MulWhole:
            return multiply(each);
        case Op::And:
        case Op::Both:
            return wholeBinary(each, [&](auto&&... x) { cc_.and_(x...); });
        case Op::Or:
        case Op::Either:
            return wholeBinary(each, [&](auto&&... x) { cc_.or_(x...); });
        case Op::Xor:
            return wholeBinary(each, [&](auto&&... x) { cc_.xor_(x...); });
        case Op::Remainder:
            return remainder(each);
        case Op::ShiftLeft:
        case Op::ShiftRight:
            return shift(each);
        case Op::Cut:
            return makeWhole(each.to, [&](const Gp& to) { cc_.movsxd(to, whole(a).r32()); });
        case Op::Cut15:
            return makeWhole(each.to, [&](const Gp& to) {
                moveWhole(to, a);
                cc_.shr(to, 16);
                cc_.and_(to, 0x7FFF);
            });
        case Op::CutUnsigned:
            return makeWhole(each.to, [&](const Gp& to) { cc_.mov(to.r32(), whole(a).r32()); });
        case Op::Not:
            return makeWhole(each.to, [&](const Gp& to) {
                const Gp value = leftOf(a, to);
                const Gp byte = newWhole().r8();
                cc_.test(value, value);
                cc_.setz(byte);
                cc_.movzx(to.r32(), byte);
            });
        case Op::LoadReal:
        case Op::LoadRecordReal:
        case Op::LoadElement: {
            const Mem from = loaded(each);
            const Xmm to = target(each.to);
            cc_.vmovsd(to, from);
            return settle(each.to, to);
        }
        case Op::LoadWord:
            return makeWhole(each.to,
                             [&](const Gp& to) { cc_.mov(to.r32(), variable(each.imm.address, 4)); });
        case Op::LoadRecordWhole:
            return makeWhole(each.to, [&](const Gp& to) { cc_.movsxd(to, inRecord(each.imm.whole, 4)); });
        case Op::LoadElementKind:
            return makeWhole(each.to, [&](const Gp& to) { cc_.movsxd(to, element(each, 4)); });
        case Op::StoreElement: {
            const Gp place = newWhole();
            keepElement(each, place);
            cc_.vmovsd(x86::ptr(place, 0, 8), real(b));
            return;
        }
        case Op::StoreElementKind: {
            const Gp place = newWhole();
            keepElement(each, place);
            cc_.mov(x86::ptr(place, 0, 4), whole(b).r32());
            return;
        }
        case Op::StoreReal: {
            const Xmm value = real(a);
            cc_.vmovsd(variable(each.imm.address, 8), value);
            return;
        }
        case Op::StoreWord: {
            const Gp value = whole(a);
            cc_.mov(variable(each.imm.address, 4), value.r32());
            return;
        }
        case Op::StoreRecordReal:
            cc_.vmovsd(inRecord(each.imm.whole, 8), real(a));
            return;
        case Op::Done:
            return finish(Ending::of(static_cast<Outcome>(each.imm.whole)));
        default:
            return fast::infoOf(each.op).sort == Sort::Test ? makeCondition(each) : emitControl(each);
    }
}

/// What is in vectors and wanted behind the call. Its arguments are not where they go yet.
void X86Emitter::saveAcross() {
    homes_.forEachAcross(static_cast<std::int32_t>(reading_.at()),
                         [&](Reg reg, std::int32_t slot) { copy(onStack(slot), vectorOf(homes_.of(reg))); });
}

void X86Emitter::callAt(std::uintptr_t function) {
    cc_.mov(x86::rax, function);
    cc_.call(x86::rax);
    forgetAll();  // rather than to keep it somewhere
}

/// What was saved. The result is where it goes.
void X86Emitter::bringBack() {
    homes_.forEachAcross(static_cast<std::int32_t>(reading_.at()),
                         [&](Reg reg, std::int32_t slot) { copy(vectorOf(homes_.of(reg)), onStack(slot)); });
}

/// A function of the C library.
void X86Emitter::call(const Instruction& each) {
    const auto& [a, b, c] = each.operands;
    saveAcross();
    if (each.op == Op::Call2) {
        const Xmm second = newReal();  // the first may lie where it goes
        moveReal(second, b);
        moveReal(x86::xmm0, a);
        cc_.vmovapd(x86::xmm1, second);
    } else {
        moveReal(x86::xmm0, a);
    }
    callAt(each.op == Op::Call2 ? reinterpret_cast<std::uintptr_t>(each.imm.two)    // NOLINT
                                : reinterpret_cast<std::uintptr_t>(each.imm.one));  // NOLINT
    settle(each.to, x86::xmm0);
    bringBack();
}

void X86Emitter::ask(const Instruction& each) {
    saveAcross();
    cc_.mov(x86::rdi, reinterpret_cast<std::uintptr_t>(each.imm.address));  // NOLINT
    cc_.mov(x86::rsi, record_);
    callAt(reinterpret_cast<std::uintptr_t>(&OutsideCall::run));  // NOLINT
    settle(each.to, x86::rax);
    bringBack();
}

/// What an element holds goes into the undo log, since it is about to be written.
/// @param place  where its address goes
void X86Emitter::keepElement(const Instruction& each, const Gp& place) {
    cc_.lea(place, element(each, 8));
    endInstruction();
    static_cast<void>(newWhole());  // the place
    const Gp log = newWhole();
    cc_.mov(log, reinterpret_cast<std::uintptr_t>(code_.undo));  // NOLINT: goes into the code as a number
    const Gp used = newWhole();
    const Mem count = x86::ptr(log, offsetof(UndoLog, used), 4);
    cc_.mov(used.r32(), count);
    cc_.cmp(used.r32(), static_cast<std::int32_t>(sizeof(UndoLog::entries)));
    cc_.jae(leaveBy(-1));
    const Gp before = newWhole();
    cc_.mov(before, x86::ptr(place, 0, 8));
    const auto entry = [&](std::size_t member) {
        return x86::ptr(log, used, 0, static_cast<std::int32_t>(offsetof(UndoLog, entries) + member), 8);
    };
    cc_.mov(entry(offsetof(UndoLog::Entry, place)), place);
    cc_.mov(entry(offsetof(UndoLog::Entry, before)), before);
    cc_.add(used.r32(), static_cast<std::int32_t>(sizeof(UndoLog::Entry)));
    cc_.mov(count, used.r32());
    endInstruction();
    static_cast<void>(newWhole());
}

void X86Emitter::round(const Instruction& each, int how) {
    unary(each, [&](const Xmm& to, const Xmm& value) { cc_.vroundsd(to, value, value, how); });
}

void X86Emitter::blend(const Instruction& each) {
    const auto& [a, b, c] = each.operands;
    const auto isZero = [&](Reg reg) {
        return isConstant(reg) && std::bit_cast<std::uint64_t>(registerOf(reg).number) == 0;
    };
    const Xmm mask = real(a);
    const Xmm other = isZero(c) ? real(b) : real(c);
    const Xmm to = target(each.to);
    if (isZero(b)) {
        cc_.vandnpd(to, mask, other);
    } else if (isZero(c)) {
        cc_.vandpd(to, mask, other);
    } else if (isConstant(b)) {
        cc_.vblendvpd(to, other, pattern(std::bit_cast<std::uint64_t>(registerOf(b).number)), mask);
    } else if (isOnStack(b)) {  // what lies behind it does not matter
        cc_.vblendvpd(to, other, x86::ptr(x86::rsp, stack_ + homes_.of(b).number * kSlot, 16), mask);
    } else {
        cc_.vblendvpd(to, other, real(b), mask);
    }
    settle(each.to, to);
}

void X86Emitter::choose(const Instruction& each) {
    const auto& [a, b, c] = each.operands;
    if (isMask(a)) return blend(each);
    const Xmm to = newReal();           // operands may still be wanted
    const Label past = cc_.newLabel();  // behind it all is remembered still: nothing is brought in between
    moveReal(to, b);
    jump(a, true, past);
    moveReal(to, c);
    cc_.bind(past);
    settle(each.to, to);
}

/// Without moving an operand first.
void X86Emitter::add(const Instruction& each) {
    Reg a = each.operands[0];
    Reg b = each.operands[1];
    if (isConstant(a)) std::swap(a, b);
    makeWhole(each.to, [&](const Gp& to) {
        const Gp left = leftOf(a, to);
        if (const auto value = constant32(b))
            cc_.lea(to, x86::ptr(left, static_cast<std::int32_t>(*value)));
        else
            cc_.lea(to, x86::ptr(left, whole(b)));
    });
}

void X86Emitter::multiply(const Instruction& each) {
    Reg a = each.operands[0];
    Reg b = each.operands[1];
    if (isConstant(a)) std::swap(a, b);
    makeWhole(each.to, [&](const Gp& to) {
        if (const auto value = constant32(b)) {
            cc_.imul(to, leftOf(a, to), *value);
        } else {
            const Gp right = whole(b);
            moveWhole(to, a);
            cc_.imul(to, right);
        }
    });
}

void X86Emitter::remainder(const Instruction& each) {
    const auto& [a, b, c] = each.operands;
    const auto divisor = constant32(b);
    if (divisor && *divisor > 0 && std::has_single_bit(static_cast<std::uint64_t>(*divisor))) {
        const Gp value = newWhole();
        const Gp bias = newWhole();  // of a negative number one less than the divisor
        moveWhole(value, a);
        cc_.mov(bias, value);
        cc_.sar(bias, 63);
        cc_.and_(bias, *divisor - 1);
        cc_.add(value, bias);
        cc_.and_(value, *divisor - 1);
        cc_.sub(value, bias);
        return settle(each.to, value);
    }
    // In 64 bits, where the smallest number by -1 does not overflow.
    moveWhole(x86::rcx, b);
    moveWhole(x86::rax, a);
    cc_.cqo();
    cc_.idiv(x86::rcx);
    settle(each.to, x86::rdx);
}

void X86Emitter::shift(const Instruction& each) {
    const auto& [a, b, c] = each.operands;
    const auto count = constant32(b);
    if (!count) moveWhole(x86::rcx, b);
    moveWhole(x86::rax, a);
    if (count)
        each.op == Op::ShiftLeft ? cc_.shl(x86::eax, *count & 31) : cc_.sar(x86::eax, *count & 31);
    else
        each.op == Op::ShiftLeft ? cc_.shl(x86::eax, x86::cl) : cc_.sar(x86::eax, x86::cl);
    cc_.movsxd(x86::rax, x86::eax);
    settle(each.to, x86::rax);
}

}  // namespace kestrel::fast
