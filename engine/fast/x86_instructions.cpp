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
    // Of two values the older one is likelier to have left its register by now.
    const bool older =
        isConstant(a) || loadOf(a) != nullptr || registerOf(a).definition < registerOf(b).definition;
    if (commutes(each.op) && loadOf(b) == nullptr && !isConstant(b) && older) std::swap(a, b);
    const Xmm left = real(a);
    withOperand(b, [&](const auto& right) { emit(written(each.to), left, right); });
}

template <class Emit>
void X86Emitter::wholeBinary(const Instruction& each, const Emit& emit) {
    auto [a, b, c] = each.operands;
    if (commutes(each.op) && isConstant(a)) std::swap(a, b);
    const Gp to = writtenWhole(each.to);
    const Gp right = constant32(b) ? Gp() : whole(b);
    moveWhole(to, a);
    if (const auto value = constant32(b))
        emit(to, imm(*value));
    else
        emit(to, right);
}
void X86Emitter::emit(const Instruction& each) {
    const auto& [a, b, c] = each.operands;
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
            cc_.vxorpd(written(each.to), real(a), pattern(std::uint64_t{1} << 63));
            return;
        case Op::Absolute:
            cc_.vandpd(written(each.to), real(a), pattern(~(std::uint64_t{1} << 63)));
            return;
        case Op::Floor:
            return round(each, 9);
        case Op::Ceil:
            return round(each, 10);
        case Op::Truncate:
            return round(each, 11);
        case Op::Sqrt: {
            const Xmm value = real(a);
            cc_.vsqrtsd(written(each.to), value, value);
            return;
        }
        case Op::Call1: {
            InvokeNode* call = nullptr;
            cc_.invoke(&call, reinterpret_cast<std::uintptr_t>(each.imm.one),
                       FuncSignatureT<double, double>());  // NOLINT
            forgetAddresses();                             // rather than to keep them somewhere
            call->setArg(0, real(a));
            call->setRet(0, written(each.to));
            return;
        }
        case Op::Call2: {
            const Xmm first = real(a);
            const Xmm second = real(b);
            InvokeNode* call = nullptr;
            cc_.invoke(&call, reinterpret_cast<std::uintptr_t>(each.imm.two),  // NOLINT
                       FuncSignatureT<double, double, double>());
            forgetAddresses();
            call->setArg(0, first);
            call->setArg(1, second);
            call->setRet(0, written(each.to));
            return;
        }
        case Op::Ask: {
            const Gp place = newWhole();
            cc_.mov(place, reinterpret_cast<std::uintptr_t>(each.imm.address));  // NOLINT
            InvokeNode* call = nullptr;
            cc_.invoke(&call, reinterpret_cast<std::uintptr_t>(&OutsideCall::run),  // NOLINT
                       FuncSignatureT<std::int64_t, void*, void*>());
            call->setArg(0, place);
            call->setArg(1, record_);
            call->setRet(0, writtenWhole(each.to));
            return;
        }
        case Op::FromWhole: {
            const Xmm to = written(each.to);
            const Gp value = whole(a);
            cc_.vxorpd(to, to, to);  // else it would wait for what was there before
            cc_.vcvtsi2sd(to, to, value);
            return;
        }
        case Op::Choose:
            return choose(each);
        case Op::ToWhole:
            cc_.vcvttsd2si(writtenWhole(each.to), real(a));
            return;
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
            cc_.movsxd(writtenWhole(each.to), whole(a).r32());
            return;
        case Op::Cut15: {
            const Gp to = writtenWhole(each.to);
            moveWhole(to, a);
            cc_.shr(to, 16);
            cc_.and_(to, 0x7FFF);
            return;
        }
        case Op::CutUnsigned:
            cc_.mov(writtenWhole(each.to).r32(), whole(a).r32());
            return;
        case Op::Not: {
            const Gp value = whole(a);
            const Gp to = writtenWhole(each.to);
            const Gp byte = newWhole().r8();
            cc_.test(value, value);
            cc_.setz(byte);
            cc_.movzx(to.r32(), byte);
            return;
        }
        case Op::LoadReal:
            cc_.vmovsd(written(each.to), variable(each.imm.address, 8));
            return;
        case Op::LoadWord:
            cc_.mov(writtenWhole(each.to).r32(), variable(each.imm.address, 4));
            return;
        case Op::LoadRecordReal:
            cc_.vmovsd(written(each.to), inRecord(each.imm.whole, 8));
            return;
        case Op::LoadRecordWhole:
            cc_.movsxd(writtenWhole(each.to), inRecord(each.imm.whole, 4));
            return;
        case Op::LoadElement:
            cc_.vmovsd(written(each.to), element(each, 8));
            return;
        case Op::LoadElementKind:
            cc_.movsxd(writtenWhole(each.to), element(each, 4));
            return;
        case Op::StoreElement: {
            const Xmm value = real(b);
            cc_.vmovsd(x86::ptr(keptElement(each), 0, 8), value);
            return;
        }
        case Op::StoreElementKind: {
            const Gp value = whole(b);
            cc_.mov(x86::ptr(keptElement(each), 0, 4), value.r32());
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

/// The address of an element that is about to be written: what is there has gone into the undo log.
x86::Gp X86Emitter::keptElement(const Instruction& each) {
    const Gp place = newWhole();
    cc_.lea(place, element(each, 8));
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
    return place;
}

void X86Emitter::round(const Instruction& each, int how) {
    const Xmm value = real(each.operands[0]);
    cc_.vroundsd(written(each.to), value, value, how);
}

void X86Emitter::blend(const Instruction& each) {
    const auto& [a, b, c] = each.operands;
    const auto isZero = [&](Reg reg) {
        return isConstant(reg) && std::bit_cast<std::uint64_t>(registerOf(reg).number) == 0;
    };
    const Xmm mask = written(a);
    const Xmm to = written(each.to);
    if (isZero(b)) {
        cc_.vandnpd(to, mask, real(c));
    } else if (isZero(c)) {
        cc_.vandpd(to, mask, real(b));
    } else if (isConstant(b)) {
        cc_.vblendvpd(to, real(c), pattern(std::bit_cast<std::uint64_t>(registerOf(b).number)), mask);
    } else {
        cc_.vblendvpd(to, real(c), written(b), mask);
    }
}

void X86Emitter::choose(const Instruction& each) {
    const auto& [a, b, c] = each.operands;
    if (isMask(a)) return blend(each);
    const Xmm to = newReal();  // operands may still be wanted
    const Label past = cc_.newLabel();
    moveReal(to, b);
    jump(a, true, past);
    moveReal(to, c);
    cc_.bind(past);
    cc_.vmovapd(written(each.to), to);
}

/// Without moving an operand first.
void X86Emitter::add(const Instruction& each) {
    auto [a, b, c] = each.operands;
    if (isConstant(a)) std::swap(a, b);
    const Gp left = whole(a);
    if (const auto value = constant32(b))
        cc_.lea(writtenWhole(each.to), x86::ptr(left, static_cast<std::int32_t>(*value)));
    else
        cc_.lea(writtenWhole(each.to), x86::ptr(left, whole(b)));
}

void X86Emitter::multiply(const Instruction& each) {
    auto [a, b, c] = each.operands;
    if (isConstant(a)) std::swap(a, b);
    const Gp left = whole(a);
    if (const auto value = constant32(b)) {
        cc_.imul(writtenWhole(each.to), left, *value);
        return;
    }
    const Gp right = whole(b);
    cc_.mov(writtenWhole(each.to), left);
    cc_.imul(writtenWhole(each.to), right);
}

void X86Emitter::remainder(const Instruction& each) {
    const auto& [a, b, c] = each.operands;
    const auto divisor = constant32(b);
    const Gp value = whole(a);
    const Gp to = writtenWhole(each.to);
    if (divisor && *divisor > 0 && std::has_single_bit(static_cast<std::uint64_t>(*divisor))) {
        const Gp bias = newWhole();  // of a negative number one less than the divisor
        cc_.mov(bias, value);
        cc_.sar(bias, 63);
        cc_.and_(bias, *divisor - 1);
        cc_.mov(to, value);
        cc_.add(to, bias);
        cc_.and_(to, *divisor - 1);
        cc_.sub(to, bias);
        return;
    }
    // In 64 bits, where the smallest number by -1 does not overflow.
    const Gp high = newWhole();
    const Gp low = newWhole();
    const Gp by = newWhole();
    moveWhole(by, b);
    cc_.mov(low, value);
    cc_.cqo(high, low);
    cc_.idiv(high, low, by);
    cc_.mov(to, high);
}

void X86Emitter::shift(const Instruction& each) {
    const auto& [a, b, c] = each.operands;
    const Gp to = writtenWhole(each.to);
    const Gp result = newWhole().r32();
    cc_.mov(result, whole(a).r32());
    if (const auto count = constant32(b)) {
        each.op == Op::ShiftLeft ? cc_.shl(result, *count & 31) : cc_.sar(result, *count & 31);
    } else {
        const Gp by = whole(b);
        each.op == Op::ShiftLeft ? cc_.shl(result, by.r8()) : cc_.sar(result, by.r8());
    }
    cc_.movsxd(to, result);
}

}  // namespace kestrel::fast
