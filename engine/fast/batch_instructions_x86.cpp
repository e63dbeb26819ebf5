// What batches compute, one instruction of the intermediate code after the other. Exactness is that of the
// code for one sample: no contraction, no reassociation, the C library's functions by their addresses.
#include "engine/fast/batch_emitter_x86.h"

#include <algorithm>
#include <bit>

namespace kestrel::fast {

using namespace asmjit;  // NOLINT: its names are all that this file is about

namespace {

constexpr int kUnknownWidth = 64;
constexpr std::uint64_t kSign = std::uint64_t{1} << 63;
constexpr double kSmallWhole = 2251799813685248.0;  // 2^51: up to it conversions take two instructions

bool isTest(Op op) noexcept {
    switch (op) {
        case Op::Less:
        case Op::LessEqual:
        case Op::Equal:
        case Op::LessWhole:
        case Op::LessEqualWhole:
        case Op::EqualWhole:
        case Op::IsSet:
        case Op::Fits32:
        case Op::Not:
        case Op::Both:
        case Op::Either:
            return true;
        default:
            return false;
    }
}

/// Calls a function for each lane whose bit is set. The upper halves of the machine's vectors hold nothing by
/// now; functions that know nothing of them are slower as long as the machine does not know it.
[[gnu::target("avx")]] void callOne(double (*function)(double), double* values,
                                    std::uint64_t lanes) noexcept {
    __builtin_ia32_vzeroupper();
    for (; lanes != 0; lanes &= lanes - 1) {
        double& value = values[std::countr_zero(lanes)];
        value = function(value);
    }
}

[[gnu::target("avx")]] void callTwo(double (*function)(double, double), double* values, const double* others,
                                    std::uint64_t lanes) noexcept {
    __builtin_ia32_vzeroupper();
    for (; lanes != 0; lanes &= lanes - 1) {
        const int lane = std::countr_zero(lanes);
        values[lane] = function(values[lane], others[lane]);
    }
}

}  // namespace

BatchEmitter::BatchEmitter(const Code& code, x86::Compiler& compiler, bool wide)
    : code_(code),
      cc_(compiler),
      lanes_(compiler, wide),
      flow_(code),
      registers_(code.registers.size()),
      widths_(code.registers.size(), kUnknownWidth),
      elements_(code.registers.size(), 0) {
    for (const Instruction& each : code.instructions)
        if (each.op == Op::LoadElement) ++elements_[static_cast<std::size_t>(each.operands[0])];
    for (std::size_t i = 0; i < code.registers.size(); ++i)
        if (const Register& reg = code.registers[i]; reg.constant && reg.cls == Class::Whole)
            widths_[i] = static_cast<int>(
                std::bit_width(static_cast<std::uint64_t>(reg.whole < 0 ? ~reg.whole : reg.whole)));
}

// ---- operands

std::uint64_t BatchEmitter::bitsOf(Reg constant) const {
    const Register& info = registerOf(constant);
    return info.cls == Class::Real ? std::bit_cast<std::uint64_t>(info.number)
                                   : static_cast<std::uint64_t>(info.whole);
}

bool BatchEmitter::isMask(Reg reg) const {
    const std::int32_t at = registerOf(reg).definition;
    return at >= 0 && !registerOf(reg).constant &&
           isTest(code_.instructions[static_cast<std::size_t>(at)].op) && flow_.isWrittenOnce(reg) &&
           !flow_.isBlended(reg);
}

BatchEmitter::Vec BatchEmitter::slot(Reg reg) {
    auto& place = registers_[static_cast<std::size_t>(reg)];
    if (!place) place = lanes_.newVec();
    return place->as<Vec>();
}

BatchEmitter::Mask BatchEmitter::maskSlot(Reg reg) {
    auto& place = registers_[static_cast<std::size_t>(reg)];
    if (!place) place = lanes_.newMask();
    return *place;
}

BatchEmitter::Vec BatchEmitter::value(Reg reg) {
    if (isMask(reg)) return lanes_.numberOf(maskSlot(reg));
    if (!isConstant(reg)) return slot(reg);
    const Vec made = lanes_.newVec();
    lanes_.load(made, bitsOf(reg));
    return made;
}

BatchEmitter::Operand BatchEmitter::operand(Reg reg) {
    if (isConstant(reg)) return lanes_.constant(bitsOf(reg));
    return value(reg);
}

BatchEmitter::Mask BatchEmitter::condition(Reg reg) {
    if (isMask(reg)) return maskSlot(reg);
    return lanes_.anyBit(value(reg), ~std::uint64_t{0});
}

/// So that conversions and products of small numbers can be short.
int BatchEmitter::resultWidth(const Instruction& each) const {
    const auto [a, b, c] = each.operands;
    const auto either = [&] { return std::max(widthOf(each.operands[0]), widthOf(each.operands[1])); };
    switch (each.op) {
        case Op::AddWhole:
        case Op::SubWhole:
            return std::min(either() + 1, kUnknownWidth);
        case Op::MulWhole:
            return std::min(widthOf(a) + widthOf(b) + 1, kUnknownWidth);
        case Op::And:
            if (isConstant(a) && registerOf(a).whole >= 0) return widthOf(a);
            if (isConstant(b) && registerOf(b).whole >= 0) return widthOf(b);
            return either();
        case Op::Or:
        case Op::Xor:
            return either();
        case Op::Remainder:
            return widthOf(b);
        case Op::ShiftLeft:
        case Op::ShiftRight:
        case Op::Cut:
        case Op::LoadRecordWhole:
        case Op::LoadElementKind:
            return kWidth32;
        case Op::Cut15:
            return 15;
        case Op::CutUnsigned:
        case Op::LoadWord:
            return 32;
        default:
            return isTest(each.op) ? 1 : kUnknownWidth;
    }
}

// ---- instructions

void BatchEmitter::emit(const Instruction& each) {
    const OpInfo& info = infoOf(each.op);
    if (info.sort == Sort::Control) return emitControl(each);
    if (unreached_) return;
    if (info.sort == Sort::Write) return store(each);
    if (isMask(each.to)) return lanes_.copyMask(maskSlot(each.to), test(each));
    const bool masked = !active_.all() && flow_.isMasked(at_, each.to);
    const Vec to = masked ? lanes_.newVec() : slot(each.to);
    if (isTest(each.op))
        lanes_.op(Inst::kIdVmovapd, to, lanes_.numberOf(test(each)));
    else if (info.sort == Sort::Load)
        load(each, to);
    else if (info.result == Class::Real)
        compute(each, to);
    else
        computeWhole(each, to);
    if (masked) lanes_.select(slot(each.to), *active_.mask, to, slot(each.to));
    if (info.result == Class::Whole && flow_.isWrittenOnce(each.to) && each.op != Op::ToWhole)
        widths_[static_cast<std::size_t>(each.to)] = resultWidth(each);
}

void BatchEmitter::compute(const Instruction& each, const Vec& to) {
    auto [a, b, c] = each.operands;
    const auto binary = [&](InstId id, Reg left, Reg right) {
        lanes_.op(id, to, value(left), operand(right));
    };
    const auto round = [&](int how) {
        lanes_.op(lanes_.wide() ? Inst::kIdVrndscalepd : Inst::kIdVroundpd, to, value(each.operands[0]),
                  Imm(how));
    };
    switch (each.op) {
        case Op::Add:
        case Op::Mul:
            if (isConstant(a)) std::swap(a, b);
            return binary(each.op == Op::Add ? Inst::kIdVaddpd : Inst::kIdVmulpd, a, b);
        case Op::Sub:
            return binary(Inst::kIdVsubpd, a, b);
        case Op::Div:
            return binary(Inst::kIdVdivpd, a, b);
        case Op::Smaller:  // the second operand comes out unless the first is smaller, NaN or not
            return binary(Inst::kIdVminpd, b, a);
        case Op::Larger:
            return binary(Inst::kIdVmaxpd, b, a);
        case Op::Negate:
            return lanes_.op(Inst::kIdVxorpd, to, value(a), lanes_.constant(kSign));
        case Op::Absolute:
            return lanes_.op(Inst::kIdVandpd, to, value(a), lanes_.constant(~kSign));
        case Op::Floor:
            return round(9);
        case Op::Ceil:
            return round(10);
        case Op::Truncate:
            return round(11);
        case Op::Sqrt:
            return lanes_.op(Inst::kIdVsqrtpd, to, value(a));
        case Op::Call1:
        case Op::Call2:
            return call(each, to);
        case Op::FromWhole:
            if (widthOf(a) > 50 || lanes_.wide()) return lanes_.toReal(to, value(a));
            {
                constexpr std::uint64_t kMagic = 0x4338000000000000;  // 2^52 + 2^51
                lanes_.op(Inst::kIdVpaddq, to, value(a), lanes_.constant(kMagic));
                return lanes_.op(Inst::kIdVsubpd, to, to, lanes_.constant(kMagic));
            }
        case Op::Choose: {
            const Mask chosen = condition(a);
            return lanes_.select(to, chosen, operand(b), value(c));
        }
        default:
            failed_ = true;
    }
}

void BatchEmitter::computeWhole(const Instruction& each, const Vec& to) {
    auto [a, b, c] = each.operands;
    if (b >= 0 && each.op != Op::SubWhole && each.op != Op::Remainder && each.op != Op::ShiftLeft &&
        each.op != Op::ShiftRight && isConstant(a))
        std::swap(a, b);
    switch (each.op) {
        case Op::ToWhole:
            return toWhole(each, to);
        case Op::AddWhole:
            return lanes_.op(Inst::kIdVpaddq, to, value(a), operand(b));
        case Op::SubWhole:
            return lanes_.op(Inst::kIdVpsubq, to, value(a), operand(b));
        case Op::MulWhole:
            return multiply(each, to);
        case Op::And:
            return lanes_.op(Inst::kIdVandpd, to, value(a), operand(b));
        case Op::Or:
            return lanes_.op(Inst::kIdVorpd, to, value(a), operand(b));
        case Op::Xor:
            return lanes_.op(Inst::kIdVxorpd, to, value(a), operand(b));
        case Op::Remainder:
            return remainder(each, to);
        case Op::ShiftLeft:
        case Op::ShiftRight:
            return shift(each, to);
        case Op::Cut:
            return lanes_.signExtend32(to, value(a));
        case Op::Cut15:
            lanes_.op(Inst::kIdVpsrlq, to, value(a), Imm(16));
            return lanes_.op(Inst::kIdVandpd, to, to, lanes_.constant(std::uint64_t{0x7FFF}));
        case Op::CutUnsigned:
            return lanes_.op(Inst::kIdVandpd, to, value(a), lanes_.constant(kLow32));
        default:
            failed_ = true;
    }
}

BatchEmitter::Mask BatchEmitter::test(const Instruction& each) {
    const auto& [a, b, c] = each.operands;
    switch (each.op) {
        case Op::Less:
            return lanes_.compare(Lanes::Compare::Less, value(a), operand(b));
        case Op::LessEqual:
            return lanes_.compare(Lanes::Compare::LessEqual, value(a), operand(b));
        case Op::Equal:
            return lanes_.compare(Lanes::Compare::Equal, value(a), operand(b));
        case Op::LessWhole:
            return lanes_.lessWhole(value(a), value(b));
        case Op::LessEqualWhole:
            return lanes_.opposite(lanes_.lessWhole(value(b), value(a)));
        case Op::EqualWhole:
            return lanes_.equalWhole(value(a), value(b));
        case Op::IsSet:
            return lanes_.anyBit(value(a), ~kSign);
        case Op::Fits32: {
            const Vec whole = value(a);
            const Vec cut = lanes_.newVec();
            lanes_.signExtend32(cut, whole);
            return lanes_.equalWhole(cut, whole);
        }
        case Op::Not:
            return lanes_.opposite(condition(a));
        case Op::Both: {
            const Mask left = condition(a);
            return lanes_.both(left, condition(b));
        }
        case Op::Either: {
            const Mask left = condition(a);
            return lanes_.either(left, condition(b));
        }
        default:
            failed_ = true;
            return lanes_.noLanes();
    }
}

void BatchEmitter::call(const Instruction& each, const Vec& to) {
    const auto memory = [&](std::size_t which) {
        if (!spare_[which]) spare_[which] = cc_.newStack(64, 64);
        x86::Mem mem = *spare_[which];
        mem.setSize(0);
        return mem;
    };
    const auto put = [&](std::size_t which, Reg reg) {
        lanes_.op(Inst::kIdVmovupd, memory(which), value(reg));
        const Gp address = cc_.newIntPtr();
        cc_.lea(address, memory(which));
        return address;
    };
    const Gp lanes = cc_.newUInt64();
    if (active_.all())
        cc_.mov(lanes, (1 << lanes_.count()) - 1);
    else
        cc_.mov(lanes.r32(), lanes_.lanesOf(*active_.mask));
    const Gp function = cc_.newIntPtr();
    const Gp values = put(0, each.operands[0]);
    InvokeNode* call = nullptr;
    if (each.op == Op::Call1) {
        cc_.mov(function, reinterpret_cast<std::uintptr_t>(each.imm.one));  // NOLINT: into the code
        cc_.invoke(&call, reinterpret_cast<std::uintptr_t>(&callOne),       // NOLINT
                   FuncSignatureT<void, const void*, const void*, std::uint64_t>());
        call->setArg(2, lanes);
    } else {
        const Gp others = put(1, each.operands[1]);
        cc_.mov(function, reinterpret_cast<std::uintptr_t>(each.imm.two));  // NOLINT
        cc_.invoke(&call, reinterpret_cast<std::uintptr_t>(&callTwo),       // NOLINT
                   FuncSignatureT<void, const void*, const void*, const void*, std::uint64_t>());
        call->setArg(2, others);
        call->setArg(3, lanes);
    }
    call->setArg(0, function);
    call->setArg(1, values);
    lanes_.op(Inst::kIdVmovupd, to, memory(0));
}

/// Where four lanes cannot be converted exactly the group leaves; where a guard for 32 bits follows it would
/// have anyway.
void BatchEmitter::toWhole(const Instruction& each, const Vec& to) {
    const auto& all = code_.instructions;
    const bool guarded = at_ + 2 < all.size() && all[at_ + 1].op == Op::Fits32 &&
                         all[at_ + 2].op == Op::Guard && all[at_ + 1].operands[0] == each.to &&
                         all[at_ + 2].operands[0] == all[at_ + 1].to && flow_.isWrittenOnce(each.to);
    const Vec real = value(each.operands[0]);
    if (lanes_.wide() && !guarded) return lanes_.op(Inst::kIdVcvttpd2qq, to, real);
    const Vec whole = lanes_.newVec();
    const Vec size = lanes_.newVec();
    lanes_.op(lanes_.wide() ? Inst::kIdVrndscalepd : Inst::kIdVroundpd, whole, real, Imm(11));
    lanes_.op(Inst::kIdVandpd, size, whole, lanes_.constant(~kSign));
    const double limit = guarded ? 2147483647.0 : kSmallWhole;
    const Mask fits = lanes_.compare(Lanes::Compare::LessEqual, size, lanes_.constant(limit));
    if (active_.all())
        lanes_.jumpUnlessAll(fits, leave_);
    else
        lanes_.jumpIfMissing(fits, *active_.mask, leave_);
    lanes_.smallToWhole(to, whole);
    if (flow_.isWrittenOnce(each.to)) widths_[static_cast<std::size_t>(each.to)] = guarded ? kWidth32 : 52;
    if (guarded) skip_ = 2;
}

void BatchEmitter::multiply(const Instruction& each, const Vec& to) {
    const auto& [a, b, c] = each.operands;
    if (widthOf(a) <= kWidth32 && widthOf(b) <= kWidth32)
        lanes_.op(Inst::kIdVpmuldq, to, value(a), value(b));
    else
        lanes_.multiplyWhole(to, value(a), value(b));
}

void BatchEmitter::remainder(const Instruction& each, const Vec& to) {
    const auto& [a, b, c] = each.operands;
    const Vec left = value(a);
    if (isConstant(b) && registerOf(b).whole > 0 &&
        std::has_single_bit(static_cast<std::uint64_t>(registerOf(b).whole))) {
        const auto rest = static_cast<std::uint64_t>(registerOf(b).whole) - 1;
        const Vec bias = lanes_.signs(left);  // of a negative number one less than the divisor
        lanes_.op(Inst::kIdVandpd, bias, bias, lanes_.constant(rest));
        const Vec sum = lanes_.newVec();
        lanes_.op(Inst::kIdVpaddq, sum, left, bias);
        lanes_.op(Inst::kIdVandpd, sum, sum, lanes_.constant(rest));
        return lanes_.op(Inst::kIdVpsubq, to, sum, bias);
    }
    // Of numbers this small the quotient, rounded, has the true one's whole part, and all else is exact.
    if (widthOf(a) > 50 || widthOf(b) > 50) {
        failed_ = true;
        return;
    }
    const Vec x = lanes_.newVec();
    const Vec y = lanes_.newVec();
    const Vec quotient = lanes_.newVec();
    lanes_.toReal(x, left);
    lanes_.toReal(y, value(b));
    lanes_.op(Inst::kIdVdivpd, quotient, x, y);
    lanes_.op(lanes_.wide() ? Inst::kIdVrndscalepd : Inst::kIdVroundpd, quotient, quotient, Imm(11));
    lanes_.op(Inst::kIdVmulpd, quotient, quotient, y);
    lanes_.op(Inst::kIdVsubpd, x, x, quotient);
    lanes_.smallToWhole(to, x);
}

void BatchEmitter::shift(const Instruction& each, const Vec& to) {
    const auto& [a, b, c] = each.operands;
    const Vec number = value(a);
    const Vec shifted = lanes_.newVec();
    const bool left = each.op == Op::ShiftLeft;
    if (isConstant(b)) {
        const Imm count(registerOf(b).whole & 31);
        // Of the low halves: what the high ones become is cut off.
        lanes_.op(left ? Inst::kIdVpslld : Inst::kIdVpsrad, shifted, number, count);
    } else {
        const Vec count = lanes_.newVec();
        lanes_.op(Inst::kIdVandpd, count, value(b), lanes_.constant(std::uint64_t{31}));
        lanes_.op(left ? Inst::kIdVpsllvd : Inst::kIdVpsravd, shifted, number, count);
    }
    lanes_.signExtend32(to, shifted);
}

}  // namespace kestrel::fast
