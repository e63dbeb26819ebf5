// The machine's vectors as the batches use them: four lanes with AVX2, masks in vectors; or eight with
// AVX-512, masks in registers of their own. Everybody else says what is to be done in all lanes.
#pragma once

#include <asmjit/x86.h>

#include <bit>
#include <cstdint>

namespace kestrel::fast {

namespace Inst = asmjit::x86::Inst;

class Lanes {
public:
    using Vec = asmjit::x86::Vec;
    using Mask = asmjit::BaseReg;
    using Operand = asmjit::Operand;
    using Label = asmjit::Label;
    using Gp = asmjit::x86::Gp;

    /// Predicates of comparisons of doubles; none holds of a NaN.
    enum class Compare : int { Equal = 0, Less = 17, LessEqual = 18 };

    Lanes(asmjit::x86::Compiler& compiler, bool wide) noexcept : cc_(compiler), wide_(wide) {}

    [[nodiscard]] bool wide() const noexcept { return wide_; }
    [[nodiscard]] std::uint32_t count() const noexcept { return wide_ ? 8 : 4; }

    template <class... Args>
    void op(asmjit::InstId id, const Args&... arguments) {
        cc_.emit(id, arguments...);
    }

    [[nodiscard]] Vec newVec() {
        if (wide_) return cc_.newZmmPd();
        return cc_.newYmmPd();
    }
    [[nodiscard]] Mask newMask() {
        if (wide_) return cc_.newKb();
        return cc_.newYmmPd();
    }

    // ---- constants

    /// The same 64 bits in every lane, as an operand.
    [[nodiscard]] Operand constant(std::uint64_t bits) {
        if (wide_) return cc_.newUInt64Const(asmjit::ConstPoolScope::kLocal, bits)._1to8();
        const std::uint64_t all[4] = {bits, bits, bits, bits};
        return cc_.newConst(asmjit::ConstPoolScope::kLocal, all, sizeof all);
    }
    [[nodiscard]] Operand constant(double value) { return constant(std::bit_cast<std::uint64_t>(value)); }
    void load(const Vec& to, std::uint64_t bits) {
        if (bits == 0)
            op(Inst::kIdVxorpd, to, to, to);
        else
            op(Inst::kIdVbroadcastsd, to, cc_.newUInt64Const(asmjit::ConstPoolScope::kLocal, bits));
    }

    // ---- masks

    [[nodiscard]] Mask allLanes() {
        const Mask made = newMask();
        if (wide_)
            setMask(made, 0xFF);
        else
            load(made.as<Vec>(), ~std::uint64_t{0});
        return made;
    }
    [[nodiscard]] Mask noLanes() {
        const Mask made = newMask();
        if (wide_)
            setMask(made, 0);
        else
            load(made.as<Vec>(), 0);
        return made;
    }
    void copyMask(const Mask& to, const Mask& from) {
        op(wide_ ? Inst::kIdKmovb : Inst::kIdVmovapd, to, from);
    }
    [[nodiscard]] Mask both(const Mask& a, const Mask& b) {
        return made(wide_ ? Inst::kIdKandb : Inst::kIdVandpd, a, b);
    }
    /// In b and not in a.
    [[nodiscard]] Mask without(const Mask& a, const Mask& b) {
        return made(wide_ ? Inst::kIdKandnb : Inst::kIdVandnpd, a, b);
    }
    [[nodiscard]] Mask either(const Mask& a, const Mask& b) {
        return made(wide_ ? Inst::kIdKorb : Inst::kIdVorpd, a, b);
    }
    void addTo(const Mask& to, const Mask& more) { op(wide_ ? Inst::kIdKorb : Inst::kIdVorpd, to, to, more); }
    [[nodiscard]] Mask opposite(const Mask& a) {
        const Mask result = newMask();
        if (wide_)
            op(Inst::kIdKnotb, result, a);
        else
            op(Inst::kIdVxorpd, result, a, constant(~std::uint64_t{0}));
        return result;
    }
    void jumpIfAny(const Mask& mask, const Label& to) {
        testMask(mask);
        cc_.jnz(to);
    }
    void jumpIfNone(const Mask& mask, const Label& to) {
        testMask(mask);
        cc_.jz(to);
    }
    void jumpUnlessAll(const Mask& mask, const Label& to) {
        if (wide_) {
            op(Inst::kIdKortestb, mask, mask);
            cc_.jnc(to);
            return;
        }
        const Gp lanes = lanesOf(mask);
        cc_.cmp(lanes, 0xF);
        cc_.jne(to);
    }
    /// Where a lane that is active fails.
    void jumpIfMissing(const Mask& holds, const Mask& active, const Label& to) {
        if (wide_) return jumpIfAny(without(holds, active), to);
        op(Inst::kIdVtestpd, holds, active);  // carry: nothing of `active` is outside of `holds`
        cc_.jnc(to);
    }
    /// A bit for each lane.
    [[nodiscard]] Gp lanesOf(const Mask& mask) {
        const Gp lanes = cc_.newUInt32();
        if (wide_) {
            // Of a mask that lies in memory the library would make an instruction that is none.
            const Mask here = newMask();
            op(Inst::kIdKmovb, here, mask);
            op(Inst::kIdKmovb, lanes, here);
        } else {
            op(Inst::kIdVmovmskpd, lanes, mask);
        }
        return lanes;
    }

    // ---- values and masks

    void select(const Vec& to, const Mask& mask, const Operand& yes, const Vec& no) {
        if (wide_) {
            cc_.k(mask.as<asmjit::x86::KReg>());
            op(Inst::kIdVblendmpd, to, no, yes);
        } else {
            op(Inst::kIdVblendvpd, to, no, yes, mask);
        }
    }
    [[nodiscard]] Mask compare(Compare how, const Vec& a, const Operand& b) {
        const Mask result = newMask();
        op(Inst::kIdVcmppd, result, a, b, asmjit::Imm(static_cast<int>(how)));
        return result;
    }
    [[nodiscard]] Mask equalWhole(const Vec& a, const Operand& b) {
        if (wide_) return made(Inst::kIdVpcmpq, a, b, asmjit::Imm(0));
        return made(Inst::kIdVpcmpeqq, a, b);
    }
    [[nodiscard]] Mask lessWhole(const Vec& a, const Vec& b) {
        if (wide_) return made(Inst::kIdVpcmpq, a, b, asmjit::Imm(1));
        return made(Inst::kIdVpcmpgtq, b, a);
    }
    /// 1 in lanes of the mask, 0 in others.
    [[nodiscard]] Vec numberOf(const Mask& mask) {
        const Vec number = newVec();
        if (wide_) {
            cc_.k(mask.as<asmjit::x86::KReg>()).z();
            op(Inst::kIdVpbroadcastq, number, cc_.newUInt64Const(asmjit::ConstPoolScope::kLocal, 1));
        } else {
            op(Inst::kIdVpsrlq, number, mask, asmjit::Imm(63));
        }
        return number;
    }
    /// Lanes whose bits are not 0 after these.
    [[nodiscard]] Mask anyBit(const Vec& value, std::uint64_t bits) {
        if (wide_) return made(Inst::kIdVptestmq, value, constant(bits));
        const Vec masked = newVec();
        op(Inst::kIdVandpd, masked, value, constant(bits));
        const Vec zero = newVec();
        load(zero, 0);
        return opposite(equalWhole(masked, zero));
    }

    // ---- whole numbers

    void signExtend32(const Vec& to, const Vec& value) {
        const Vec high = newVec();
        if (wide_) {
            op(Inst::kIdVpsllq, high, value, asmjit::Imm(32));
            op(Inst::kIdVpsraq, to, high, asmjit::Imm(32));
            return;
        }
        op(Inst::kIdVpshufd, high, value, asmjit::Imm(0xA0));
        op(Inst::kIdVpsrad, high, high, asmjit::Imm(31));
        op(Inst::kIdVpblendd, to, value, high, asmjit::Imm(0xAA));
    }
    /// -1 in lanes below 0.
    [[nodiscard]] Vec signs(const Vec& value) {
        const Vec made = newVec();
        if (wide_) {
            op(Inst::kIdVpsraq, made, value, asmjit::Imm(63));
        } else {
            load(made, 0);
            op(Inst::kIdVpcmpgtq, made, made, value);
        }
        return made;
    }
    void multiplyWhole(const Vec& to, const Vec& a, const Vec& b) {
        if (wide_) return op(Inst::kIdVpmullq, to, a, b);
        // Products of halves of 32 bits; that of the high ones leaves 64 bits.
        const Vec cross = newVec();
        const Vec other = newVec();
        const Vec low = newVec();
        op(Inst::kIdVpsrlq, cross, a, asmjit::Imm(32));
        op(Inst::kIdVpmuludq, cross, cross, b);
        op(Inst::kIdVpsrlq, other, b, asmjit::Imm(32));
        op(Inst::kIdVpmuludq, other, other, a);
        op(Inst::kIdVpaddq, cross, cross, other);
        op(Inst::kIdVpsllq, cross, cross, asmjit::Imm(32));
        op(Inst::kIdVpmuludq, low, a, b);
        op(Inst::kIdVpaddq, to, low, cross);
    }
    /// Rounded as one conversion rounds, for all of 64 bits.
    void toReal(const Vec& to, const Vec& value) {
        if (wide_) return op(Inst::kIdVcvtqq2pd, to, value);
        // 2^52 + the low half, and 2^84 + 2^63 + the high half, are doubles of which their bits can be put
        // together. Taking the powers away is exact, so that only the sum rounds.
        const Vec low = newVec();
        const Vec high = newVec();
        op(Inst::kIdVpsrlq, high, value, asmjit::Imm(32));
        op(Inst::kIdVxorpd, high, high, constant(std::uint64_t{0x4530000080000000}));
        load(low, 0x4330000000000000);
        op(Inst::kIdVpblendd, low, value, low, asmjit::Imm(0xAA));
        op(Inst::kIdVsubpd, high, high, constant(std::uint64_t{0x4530000080100000}));
        op(Inst::kIdVaddpd, to, high, low);
    }
    /// Of whole doubles up to 2^51.
    void smallToWhole(const Vec& to, const Vec& value) {
        if (wide_) return op(Inst::kIdVcvttpd2qq, to, value);
        constexpr std::uint64_t kMagic = 0x4338000000000000;  // 2^52 + 2^51
        op(Inst::kIdVaddpd, to, value, constant(kMagic));
        op(Inst::kIdVpsubq, to, to, constant(kMagic));
    }

private:
    void testMask(const Mask& mask) { op(wide_ ? Inst::kIdKortestb : Inst::kIdVtestpd, mask, mask); }
    void setMask(const Mask& mask, int lanes) {
        const Gp bits = cc_.newUInt32();
        cc_.mov(bits, lanes);
        op(Inst::kIdKmovb, mask, bits);
    }
    template <class... Args>
    [[nodiscard]] Mask made(asmjit::InstId id, const Args&... arguments) {
        const Mask result = newMask();
        op(id, result, arguments...);
        return result;
    }

    asmjit::x86::Compiler& cc_;
    bool wide_;
};

}  // namespace kestrel::fast
