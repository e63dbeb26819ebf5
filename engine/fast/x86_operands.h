// Where the machine code for x86-64 keeps what it computes with: registers, constants, places in memory.
#pragma once

#include "engine/fast/code.h"
#include "engine/fast/homes.h"
#include "engine/values/value.h"

#include <asmjit/x86.h>

#include <algorithm>
#include <array>
#include <bit>
#include <optional>
#include <vector>

namespace kestrel::fast {

/// What the emitter builds on. Registers of the code have homes; an instruction that finds its operand, or
/// leaves its result, on the stack works with one of the registers that nobody lives in:
///     rsi, or rbx where something is called   the record
///     r8                                      the address of a variable, where there are any
///     r10, r9                                 that of an element, and its distance, where there are any
///     rax, rcx                                what an instruction needs for itself
///     rdx, r11                                the same, where elements change or remainders are taken
///     xmm13 to xmm15                          the same, and what was brought from the stack last
/// Whatever is left are homes.
class X86Operands {
protected:
    using Xmm = asmjit::x86::Xmm;
    using Gp = asmjit::x86::Gp;
    using Mem = asmjit::x86::Mem;

    X86Operands(const Code& code, asmjit::x86::Assembler& assembler)
        : code_(code),
          cc_(assembler),
          fused_(fusedConditions(code)),
          folded_(foldedLoads(code)),
          masks_(maskConditions(code)),
          uses_(usesOf(code)),
          record_(uses_.calls ? asmjit::x86::rbx : asmjit::x86::rsi),
          homes_(code, madeLater(), masks_, registersFor(code, uses_)),
          constants_(&zone_),
          pool_(assembler.newLabel()) {}

    // ---- registers that last as long as an instruction

    [[nodiscard]] Xmm newReal() {
        std::size_t which = 0;
        for (std::size_t tried = 0; tried < kReals.size() && inUse_[which = nextReal_++ % kReals.size()];)
            if (++tried == kReals.size()) cc_.reportError(asmjit::kErrorNoMorePhysRegs);
        holds_[which] = kNoReg;
        inUse_[which] = true;
        return asmjit::x86::xmm(kReals[which]);
    }
    [[nodiscard]] Gp newWhole() {
        if (nextWhole_ >= (uses_.changes ? kWholes.size() : 2)) cc_.reportError(asmjit::kErrorNoMorePhysRegs);
        return asmjit::x86::gpq(kWholes[nextWhole_++ % kWholes.size()]);
    }
    /// Nothing that is left in them matters to what comes, but what is remembered.
    void endInstruction() noexcept {
        nextWhole_ = 0;
        inUse_.fill(false);
    }

    // ---- those of the code

    [[nodiscard]] const Register& registerOf(Reg reg) const {
        return code_.registers[static_cast<std::size_t>(reg)];
    }
    [[nodiscard]] bool isConstant(Reg reg) const { return registerOf(reg).constant; }
    /// The register holds a condition as 64 bits, all set or none.
    [[nodiscard]] bool isMask(Reg reg) const { return masks_[static_cast<std::size_t>(reg)]; }
    [[nodiscard]] bool isOnStack(Reg reg) const { return homes_.of(reg).kind == Home::Kind::Stack; }

    /// Where a result is made; settle() brings it to where it belongs.
    [[nodiscard]] Xmm target(Reg reg) {
        const Home& home = homes_.of(reg);
        return home.kind == Home::Kind::Vector ? vectorOf(home) : newReal();
    }
    [[nodiscard]] Gp targetWhole(Reg reg) {
        const Home& home = homes_.of(reg);
        return home.kind == Home::Kind::General ? generalOf(home) : newWhole();
    }
    void settle(Reg reg, const Xmm& made) {
        const Home& home = homes_.of(reg);
        if (home.kind == Home::Kind::Vector) copy(vectorOf(home), made);
        if (home.kind != Home::Kind::Stack) return;
        copy(onStack(home.number), made);
        forget(reg);
        remember(reg, made);
    }
    void settle(Reg reg, const Gp& made) {
        const Home& home = homes_.of(reg);
        if (home.kind == Home::Kind::General) copy(generalOf(home), made);
        if (home.kind == Home::Kind::Stack) copy(onStack(home.number), made);
    }

    /// @param emit  of where the result goes
    template <class Emit>
    void makeWhole(Reg reg, const Emit& emit) {
        const Gp to = targetWhole(reg);
        emit(to);
        settle(reg, to);
    }

    [[nodiscard]] Xmm real(Reg reg) {
        if (isConstant(reg)) {
            const Xmm made = newReal();
            loadConstant(made, registerOf(reg).number);
            return made;
        }
        const Home& home = homes_.of(reg);
        if (home.kind == Home::Kind::Vector) return vectorOf(home);
        for (std::size_t i = 0; i < kReals.size(); ++i) {
            if (holds_[i] != reg) continue;
            inUse_[i] = true;
            return asmjit::x86::xmm(kReals[i]);
        }
        const Xmm made = newReal();
        cc_.vmovsd(made, onStack(home.number));
        remember(reg, made);
        return made;
    }
    void loadConstant(const Xmm& to, double value) {
        if (std::bit_cast<std::uint64_t>(value) == 0)
            cc_.vxorpd(to, to, to);
        else
            cc_.vmovsd(to, constant(value));
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
    /// Calls emit with the place of a constant, a load's, one on the stack, or with a register.
    template <class Emit>
    void withOperand(Reg reg, const Emit& emit) {
        if (isConstant(reg))
            emit(constant(registerOf(reg).number));
        else if (const Instruction* load = loadOf(reg))
            emit(loaded(*load));
        else if (isOnStack(reg) && std::ranges::find(holds_, reg) == holds_.end())
            emit(onStack(homes_.of(reg).number));
        else
            emit(real(reg));
    }
    [[nodiscard]] Gp whole(Reg reg) {
        if (const Home& home = homes_.of(reg); home.kind == Home::Kind::General) return generalOf(home);
        const Gp made = newWhole();
        moveWhole(made, reg);
        return made;
    }
    /// The same for a result that may lie where its operand did.
    [[nodiscard]] Gp leftOf(Reg reg, const Gp& to) {
        const Home& home = homes_.of(reg);
        if (home.kind == Home::Kind::General) return generalOf(home);
        moveWhole(to, reg);
        return to;
    }
    [[nodiscard]] std::optional<std::int64_t> constant32(Reg reg) const {
        const Register& info = registerOf(reg);
        if (!info.constant || info.whole != static_cast<std::int32_t>(info.whole)) return std::nullopt;
        return info.whole;
    }
    /// Remembers nothing: it may stand where control does not always come. Whoever needs another register for
    /// itself has taken it before.
    void moveReal(const Xmm& to, Reg from) {
        if (isConstant(from)) return loadConstant(to, registerOf(from).number);
        const Home& home = homes_.of(from);
        const auto held = std::ranges::find(holds_, from);
        if (home.kind == Home::Kind::Vector)
            copy(to, vectorOf(home));
        else if (held != holds_.end())
            copy(to, asmjit::x86::xmm(kReals[static_cast<std::size_t>(held - holds_.begin())]));
        else
            copy(to, onStack(home.number));
    }
    void moveWhole(const Gp& to, Reg from) {
        if (isConstant(from)) return void(cc_.mov(to, registerOf(from).whole));
        const Home& home = homes_.of(from);
        if (home.kind == Home::Kind::Stack)
            copy(to, onStack(home.number));
        else if (home.kind == Home::Kind::General)
            copy(to, generalOf(home));
        else
            cc_.reportError(asmjit::kErrorInvalidState);
    }
    void copy(const Xmm& to, const Xmm& from) {
        if (to != from) cc_.vmovapd(to, from);
    }
    void copy(const Xmm& to, const Mem& from) { cc_.vmovsd(to, from); }
    void copy(const Mem& to, const Xmm& from) { cc_.vmovsd(to, from); }
    void copy(const Gp& to, const Gp& from) {
        if (to != from) cc_.mov(to, from);
    }
    void copy(const Gp& to, const Mem& from) { cc_.mov(to, from); }
    void copy(const Mem& to, const Gp& from) { cc_.mov(to, from); }

    // ---- memory

    [[nodiscard]] Mem constant(double value) {
        return inPool(std::bit_cast<std::uint64_t>(value), sizeof value);
    }
    /// 16 bytes with the same double twice, for operations on bits.
    [[nodiscard]] Mem pattern(std::uint64_t bits) { return inPool(bits, 2 * sizeof bits); }
    [[nodiscard]] Mem onStack(std::int32_t slot) const {
        return asmjit::x86::ptr(asmjit::x86::rsp, stack_ + slot * kSlot, kSlot);
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
    /// Control comes here from elsewhere as well, or something was called: what was made before need not be
    /// there.
    void forgetAll() noexcept {
        arrays_.address = variables_.address = 0;
        offsetIndex_ = kNoReg;
        holds_.fill(kNoReg);
    }
    void forget(Reg reg) noexcept { std::ranges::replace(holds_, reg, kNoReg); }

    [[nodiscard]] static Xmm vectorOf(const Home& home) {
        return asmjit::x86::xmm(static_cast<std::uint32_t>(home.number));
    }
    [[nodiscard]] static Gp generalOf(const Home& home) {
        return asmjit::x86::gpq(static_cast<std::uint32_t>(home.number));
    }

    static constexpr std::int32_t kSlot = 8;

    /// What a function needs beside its values.
    struct Uses {
        bool calls = false;
        bool variables = false;
        bool elements = false;
        bool changes = false;  ///< of elements
        bool divides = false;
    };

    const Code& code_;
    asmjit::x86::Assembler& cc_;
    std::vector<bool> fused_;   ///< conditions that are made where they are wanted
    std::vector<bool> folded_;  ///< loads that are operands of who wants them
    std::vector<bool> masks_;
    Uses uses_;
    Gp record_;  ///< the address of the sample
    Homes homes_;
    std::int32_t stack_ = 0;  ///< where the places on the stack begin, from the stack pointer
    asmjit::Zone zone_{4096};
    asmjit::ConstPool constants_;
    asmjit::Label pool_;  ///< where they lie

private:
    [[nodiscard]] static Uses usesOf(const Code& code) {
        Uses uses;
        for (const Instruction& each : code.instructions) {
            uses.calls = uses.calls || callsOut(each.op);
            switch (each.op) {
                case Op::LoadReal:
                case Op::LoadWord:
                case Op::StoreReal:
                case Op::StoreWord:
                    uses.variables = true;
                    break;
                case Op::StoreElement:
                case Op::StoreElementKind:
                    uses.changes = true;
                    [[fallthrough]];
                case Op::LoadElement:
                case Op::LoadElementKind:
                    uses.elements = true;
                    break;
                case Op::Remainder:
                    uses.divides = true;
                    break;
                default:
                    break;
            }
        }
        return uses;
    }

    /// Those that values may lie in; the rest have their uses.
    [[nodiscard]] static MachineRegisters registersFor(const Code& code, const Uses& uses) {
        namespace x86 = asmjit::x86;
        if (code.fewRegisters) return {.vectors = {3}, .generals = {}, .kept = {x86::Gp::kIdR12}};
        MachineRegisters found;
        for (std::int32_t i = 0; i < 13; ++i) found.vectors.push_back(i);
        if (!uses.changes) found.generals.push_back(x86::Gp::kIdR11);
        if (!uses.changes && !uses.divides) found.generals.push_back(x86::Gp::kIdDx);
        if (!uses.variables) found.generals.push_back(x86::Gp::kIdR8);
        if (!uses.elements) found.generals.insert(found.generals.end(), {x86::Gp::kIdR9, x86::Gp::kIdR10});
        found.generals.push_back(x86::Gp::kIdDi);  // the last one: the gate is there
        found.kept = {x86::Gp::kIdBp, x86::Gp::kIdR12, x86::Gp::kIdR13, x86::Gp::kIdR14, x86::Gp::kIdR15};
        if (!uses.calls) found.kept.push_back(x86::Gp::kIdBx);
        return found;
    }

    /// Instructions that are done where somebody wants their results.
    [[nodiscard]] std::vector<bool> madeLater() const {
        std::vector<bool> later = fused_;
        for (std::size_t i = 0; i < later.size(); ++i) later[i] = later[i] || folded_[i];
        return later;
    }

    void remember(Reg reg, const Xmm& in) {
        for (std::size_t i = 0; i < kReals.size(); ++i)
            if (in.id() == kReals[i]) holds_[i] = reg;
    }

    [[nodiscard]] Mem inPool(std::uint64_t bits, std::size_t size) {
        const std::uint64_t both[2] = {bits, bits};
        std::size_t offset = 0;
        if (constants_.add(both, size, offset) != asmjit::kErrorOk)
            cc_.reportError(asmjit::kErrorOutOfMemory);
        return asmjit::x86::ptr(pool_, static_cast<std::int32_t>(offset), static_cast<std::uint32_t>(size));
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
        base.address = address;
        cc_.mov(base.reg, address);
        return 0;
    }
    /// An index often is that of several arrays.
    void makeOffset(Reg index) {
        if (index == offsetIndex_) return;
        cc_.imul(offset_, whole(index), static_cast<std::int64_t>(sizeof(ValueCell)));
        offsetIndex_ = registerOf(index).definition >= 0 ? index : kNoReg;  // others may be written again
    }

    /// Of wholes no instruction needs more than two but those that change elements, and the remainder, which
    /// has the third for itself. Reals in turn, so that what was last brought from the stack is there for a
    /// while.
    static constexpr std::array<std::uint32_t, 3> kReals{13, 14, 15};
    static constexpr std::array<std::uint32_t, 4> kWholes{asmjit::x86::Gp::kIdAx, asmjit::x86::Gp::kIdCx,
                                                          asmjit::x86::Gp::kIdDx, asmjit::x86::Gp::kIdR11};

    std::array<Reg, kReals.size()> holds_{kNoReg, kNoReg, kNoReg};  ///< what they have of the stack
    std::array<bool, kReals.size()> inUse_{};                       ///< by the instruction at hand
    std::size_t nextReal_ = 0;
    std::size_t nextWhole_ = 0;
    Base arrays_{asmjit::x86::r10};
    Base variables_{asmjit::x86::r8};
    Gp offset_ = asmjit::x86::r9;
    Reg offsetIndex_ = kNoReg;  ///< of which element
};

}  // namespace kestrel::fast
