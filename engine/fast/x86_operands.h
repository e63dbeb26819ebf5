// Where the machine code for x86-64 keeps what it computes with: registers, constants, places in memory.
#pragma once

#include "engine/fast/code.h"
#include "engine/fast/live_ranges.h"
#include "engine/values/value.h"

#include <asmjit/x86.h>

#include <bit>
#include <optional>
#include <vector>

namespace kestrel::fast {

/// What the emitter builds on.
class X86Operands {
protected:
    using Xmm = asmjit::x86::Xmm;
    using Gp = asmjit::x86::Gp;
    using Mem = asmjit::x86::Mem;

    X86Operands(const Code& code, asmjit::x86::Compiler& compiler)
        : code_(code),
          cc_(compiler),
          fused_(fusedConditions(code)),
          folded_(foldedLoads(code)),
          masks_(maskConditions(code)),
          places_(sharedPlaces(code, madeLater(), masks_)),
          registers_(code.registers.size()) {}

    // ---- registers that last as long as an instruction

    [[nodiscard]] Xmm newReal() {
        return temporary(reals_, realsUsed_, [this] { return cc_.newXmmSd(); });
    }
    [[nodiscard]] Gp newWhole() {
        return temporary(wholes_, wholesUsed_, [this] { return cc_.newInt64(); });
    }
    void endInstruction() noexcept { realsUsed_ = wholesUsed_ = 0; }

    // ---- those of the code

    [[nodiscard]] const Register& registerOf(Reg reg) const {
        return code_.registers[static_cast<std::size_t>(reg)];
    }
    [[nodiscard]] bool isConstant(Reg reg) const { return registerOf(reg).constant; }

    /// The register holds a condition as 64 bits, all set or none.
    [[nodiscard]] bool isMask(Reg reg) const { return masks_[static_cast<std::size_t>(reg)]; }

    /// The machine's register of a value that is no constant.
    [[nodiscard]] asmjit::BaseReg& slot(Reg reg) {
        std::optional<asmjit::BaseReg>& place =
            registers_[static_cast<std::size_t>(places_[static_cast<std::size_t>(reg)])];
        if (!place) {
            if (registerOf(reg).cls == Class::Real || isMask(reg))
                place = cc_.newXmmSd();
            else
                place = cc_.newInt64();
        }
        return *place;
    }
    [[nodiscard]] Xmm written(Reg reg) { return slot(reg).as<Xmm>(); }
    [[nodiscard]] Gp writtenWhole(Reg reg) { return slot(reg).as<Gp>(); }

    [[nodiscard]] Xmm real(Reg reg) {
        if (!isConstant(reg)) return written(reg);
        const Xmm made = newReal();
        loadConstant(made, registerOf(reg).number);
        return made;
    }
    void loadConstant(const Xmm& to, double value) {
        if (std::bit_cast<std::uint64_t>(value) == 0)
            cc_.vxorpd(to, to, to);
        else
            cc_.vmovsd(to, cc_.newDoubleConst(asmjit::ConstPoolScope::kLocal, value));
    }
    /// @return the load that an instruction does by itself; null where the operand is at hand
    [[nodiscard]] const Instruction* loadOf(Reg reg) const {
        const std::int32_t made = registerOf(reg).definition;
        if (made < 0 || !folded_[static_cast<std::size_t>(made)]) return nullptr;
        return &code_.instructions[static_cast<std::size_t>(made)];
    }
    /// Where a number can be read that is no register's.
    [[nodiscard]] Mem loaded(const Instruction& load) {
        if (load.op == Op::LoadElement) return element(load, 8);
        return load.op == Op::LoadReal ? variable(load.imm.address, 8) : inRecord(load.imm.whole, 8);
    }
    /// Calls emit with a constant's place, a load's or a register.
    template <class Emit>
    void withOperand(Reg reg, const Emit& emit) {
        if (isConstant(reg))
            emit(cc_.newDoubleConst(asmjit::ConstPoolScope::kLocal, registerOf(reg).number));
        else if (const Instruction* load = loadOf(reg))
            emit(loaded(*load));
        else
            emit(written(reg));
    }
    [[nodiscard]] Gp whole(Reg reg) {
        if (!isConstant(reg)) return writtenWhole(reg);
        const Gp made = newWhole();
        cc_.mov(made, registerOf(reg).whole);
        return made;
    }
    [[nodiscard]] std::optional<std::int64_t> constant32(Reg reg) const {
        const Register& info = registerOf(reg);
        if (!info.constant || info.whole != static_cast<std::int32_t>(info.whole)) return std::nullopt;
        return info.whole;
    }

    /// 16 bytes with the same double twice, for operations on bits.
    [[nodiscard]] Mem pattern(std::uint64_t bits) {
        const std::uint64_t both[2] = {bits, bits};
        return cc_.newConst(asmjit::ConstPoolScope::kLocal, both, sizeof both);
    }
    [[nodiscard]] Mem at(const void* address, std::uint32_t size) {
        const Gp base = newWhole();
        cc_.mov(base, reinterpret_cast<std::uintptr_t>(address));  // NOLINT: goes into the code as a number
        return asmjit::x86::ptr(base, 0, size);
    }
    [[nodiscard]] Mem variable(const void* address, std::uint32_t size) {
        const std::int32_t distance = distanceFrom(variables_, address);
        return asmjit::x86::ptr(variables_.reg, distance, size);
    }
    [[nodiscard]] Mem inRecord(std::int64_t offset, std::uint32_t size) {
        return asmjit::x86::ptr(record_, static_cast<std::int32_t>(offset), size);
    }
    /// The a-th cell of an array, from the address of something in its first one.
    [[nodiscard]] Mem element(const Instruction& load, std::uint32_t size) {
        const std::int32_t distance = distanceFrom(arrays_, load.imm.address);
        if (const auto index = constant32(load.operands[0])) {
            constexpr std::int64_t kSize{sizeof(ValueCell)};
            if (*index < kFar / kSize)
                return asmjit::x86::ptr(arrays_.reg, distance + static_cast<std::int32_t>(*index * kSize),
                                        size);
        }
        makeOffset(load.operands[0]);
        return asmjit::x86::ptr(arrays_.reg, offset_, 0, distance, size);
    }
    /// Control comes here from elsewhere as well: what was made for addresses before need not be.
    void forgetAddresses() noexcept {
        arrays_.address = variables_.address = 0;
        offsetIndex_ = kNoReg;
    }

    void moveReal(const Xmm& to, Reg from) {
        if (isConstant(from))
            loadConstant(to, registerOf(from).number);
        else
            cc_.vmovapd(to, written(from));
    }

    void moveWhole(const Gp& to, Reg from) {
        if (isConstant(from))
            cc_.mov(to, registerOf(from).whole);
        else
            cc_.mov(to, writtenWhole(from));
    }

    const Code& code_;
    asmjit::x86::Compiler& cc_;
    std::vector<bool> fused_;   ///< conditions that are made where they are wanted
    std::vector<bool> folded_;  ///< loads that are operands of who wants them
    Gp record_;                 ///< the address of the sample

private:
    /// Instructions that are done where somebody wants their results.
    [[nodiscard]] std::vector<bool> madeLater() const {
        std::vector<bool> later = fused_;
        for (std::size_t i = 0; i < later.size(); ++i) later[i] = later[i] || folded_[i];
        return later;
    }
    /// Registers that an instruction needs for itself. The next one takes them again.
    template <class Kind, class Make>
    [[nodiscard]] static Kind temporary(std::vector<Kind>& all, std::size_t& used, const Make& make) {
        if (used == all.size()) all.push_back(make());
        return all[used++];
    }

    static constexpr std::int64_t kFar = std::int64_t{1} << 30;

    /// Arrays mostly lie near one another, and so do variables: the base of one serves for the next.
    struct Base {
        Gp reg;
        std::intptr_t address = 0;  ///< that it holds; 0: none
    };
    [[nodiscard]] std::int32_t distanceFrom(Base& base, const void* place) {
        const auto address = reinterpret_cast<std::intptr_t>(place);  // NOLINT: as above
        const std::intptr_t distance = address - base.address;
        if (base.address != 0 && distance < kFar && distance > -kFar)
            return static_cast<std::int32_t>(distance);
        if (!base.reg.isValid()) base.reg = cc_.newInt64();
        base.address = address;
        cc_.mov(base.reg, address);
        return 0;
    }
    /// An index often is that of several arrays.
    void makeOffset(Reg index) {
        if (index == offsetIndex_) return;
        if (!offset_.isValid()) offset_ = cc_.newInt64();
        cc_.imul(offset_, whole(index), static_cast<std::int64_t>(sizeof(ValueCell)));
        offsetIndex_ = registerOf(index).definition >= 0 ? index : kNoReg;  // others may be written again
    }

    Base arrays_;
    Base variables_;
    Gp offset_;
    Reg offsetIndex_ = kNoReg;  ///< of which element
    std::vector<bool> masks_;
    std::vector<std::int32_t> places_;
    std::vector<std::optional<asmjit::BaseReg>> registers_;  ///< by place
    std::vector<Xmm> reals_;
    std::vector<Gp> wholes_;
    std::size_t realsUsed_ = 0;
    std::size_t wholesUsed_ = 0;
};

}  // namespace kestrel::fast
