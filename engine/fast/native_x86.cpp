// Machine code for x86-64, one instruction of the intermediate code after the other. Exactness: no
// contraction, no reassociation, the C library's functions by their addresses; what rounds is the one
// instruction that the interpreter's compiler takes, too.
#include "engine/fast/native.h"
#include "engine/values/value.h"

#include <asmjit/x86.h>

#include <atomic>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <optional>
#include <vector>

// What the library does when it finds a fault of its own, in place of its file for that: as Debian builds it,
// it cannot go into a shared library for the one mention of stderr there.
ASMJIT_BEGIN_NAMESPACE
namespace DebugUtils {

const char* errorAsString(Error) noexcept {
    return "asmjit failed";
}

void debugOutput(const char*) noexcept {}

void assertionFailed(const char*, int, const char*) noexcept {
    std::abort();
}

}  // namespace DebugUtils
ASMJIT_END_NAMESPACE

namespace kestrel::fast {

using namespace asmjit;  // NOLINT: its names are all that this file is about

struct CodeMemory::Impl {
    Impl() : runtime(parameters()) {}

    static const JitAllocator::CreateParams* parameters() noexcept {
        static const JitAllocator::CreateParams kParameters = [] {
            JitAllocator::CreateParams made;
            made.options = JitAllocatorOptions::kUseDualMapping;
            return made;
        }();
        return &kParameters;
    }

    JitRuntime runtime;
    std::atomic<std::size_t> used{0};
};

CodeMemory::CodeMemory() {
    // Not the library's own way to ask: in some programs it says no the first time.
    if (__builtin_cpu_supports("avx") != 0) impl_ = std::make_unique<Impl>();
}
CodeMemory::~CodeMemory() = default;

namespace {

class Emitter {
public:
    Emitter(const Code& code, x86::Compiler& compiler)
        : code_(code),
          cc_(compiler),
          fused_(fusedConditions(code)),
          registers_(code.registers.size()),
          blocks_(static_cast<std::size_t>(code.blocks)) {}

    void emit() {
        FuncNode* function = cc_.addFunc(FuncSignatureT<std::int32_t, void*>());
        function->frame().setAvxEnabled();
        record_ = cc_.newIntPtr();
        function->setArg(0, record_);
        leave_ = cc_.newLabel();
        for (at_ = 0; at_ < code_.instructions.size(); ++at_)
            if (!fused_[at_]) emit(code_.instructions[at_]);
        cc_.bind(leave_);
        finish(Outcome::Left);
        cc_.endFunc();
    }

private:
    using Xmm = x86::Xmm;
    using Gp = x86::Gp;
    using Cond = x86::CondCode;

    struct OpenIf {
        Label otherwise;
        Label end;
        bool hasElse = false;
    };

    // ---- operands

    [[nodiscard]] const Register& infoOf(Reg reg) const {
        return code_.registers[static_cast<std::size_t>(reg)];
    }
    [[nodiscard]] bool isConstant(Reg reg) const { return infoOf(reg).constant; }

    /// The machine's register of a value that is no constant.
    [[nodiscard]] BaseReg& slot(Reg reg) {
        std::optional<BaseReg>& place = registers_[static_cast<std::size_t>(reg)];
        if (!place) {
            if (infoOf(reg).cls == Class::Real)
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
        const Xmm made = cc_.newXmmSd();
        loadConstant(made, infoOf(reg).number);
        return made;
    }
    void loadConstant(const Xmm& to, double value) {
        if (std::bit_cast<std::uint64_t>(value) == 0)
            cc_.vxorpd(to, to, to);
        else
            cc_.vmovsd(to, cc_.newDoubleConst(ConstPoolScope::kLocal, value));
    }
    [[nodiscard]] Gp whole(Reg reg) {
        if (!isConstant(reg)) return writtenWhole(reg);
        const Gp made = cc_.newInt64();
        cc_.mov(made, infoOf(reg).whole);
        return made;
    }
    [[nodiscard]] std::optional<std::int64_t> constant32(Reg reg) const {
        const Register& info = infoOf(reg);
        if (!info.constant || info.whole != static_cast<std::int32_t>(info.whole)) return std::nullopt;
        return info.whole;
    }

    /// 16 bytes with the same double twice, for operations on bits.
    [[nodiscard]] x86::Mem pattern(std::uint64_t bits) {
        const std::uint64_t both[2] = {bits, bits};
        return cc_.newConst(ConstPoolScope::kLocal, both, sizeof both);
    }
    [[nodiscard]] x86::Mem at(const void* address) {
        const Gp base = cc_.newIntPtr();
        cc_.mov(base, reinterpret_cast<std::uintptr_t>(address));  // NOLINT: goes into the code as a number
        return x86::ptr(base);
    }
    [[nodiscard]] x86::Mem inRecord(std::int64_t offset, std::uint32_t size) {
        return x86::ptr(record_, static_cast<std::int32_t>(offset), size);
    }
    /// The a-th cell of an array, from the address of something in its first one.
    [[nodiscard]] x86::Mem element(const Instruction& each, std::uint32_t size) {
        const Gp base = cc_.newIntPtr();
        cc_.mov(base, reinterpret_cast<std::uintptr_t>(each.imm.address));  // NOLINT: as above
        if (const auto index = constant32(each.operands[0])) {
            if (*index < (1 << 24))
                return x86::ptr(
                    base, static_cast<std::int32_t>(*index * static_cast<std::int64_t>(sizeof(ValueCell))),
                    size);
        }
        const Gp offset = cc_.newInt64();
        cc_.imul(offset, whole(each.operands[0]), static_cast<std::int64_t>(sizeof(ValueCell)));
        return x86::ptr(base, offset, 0, 0, size);
    }

    template <class Emit, class EmitMem>
    void binary(const Instruction& each, bool commutes, const Emit& emit, const EmitMem& emitMem) {
        auto [a, b, c] = each.operands;
        if (commutes && isConstant(a)) std::swap(a, b);
        const Xmm left = real(a);
        if (isConstant(b))
            emitMem(written(each.to), left, cc_.newDoubleConst(ConstPoolScope::kLocal, infoOf(b).number));
        else
            emit(written(each.to), left, written(b));
    }

    template <class Emit>
    void wholeBinary(const Instruction& each, const Emit& emit) {
        auto [a, b, c] = each.operands;
        const Gp to = writtenWhole(each.to);
        const Gp right = constant32(b) ? Gp() : whole(b);
        moveWhole(to, a);
        if (const auto value = constant32(b))
            emit(to, imm(*value));
        else
            emit(to, right);
    }
    void moveWhole(const Gp& to, Reg from) {
        if (isConstant(from))
            cc_.mov(to, infoOf(from).whole);
        else
            cc_.mov(to, writtenWhole(from));
    }

    // ---- conditions

    /// Compares, and says when the condition holds; of an Equal of doubles also that parity must not be set.
    struct Test {
        Cond holds;
        bool notParity = false;
    };
    Test test(const Instruction& each) {
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
                const Gp bits = cc_.newInt64();
                cc_.vpextrq(bits, real(a), 0);
                cc_.add(bits, bits);
                return {Cond::kNZ};
            }
            default: {  // Fits32
                const Gp cut = cc_.newInt64();
                const Gp value = whole(a);
                cc_.movsxd(cut, value.r32());
                cc_.cmp(cut, value);
                return {Cond::kE};
            }
        }
    }
    void compare(Reg a, Reg b) {
        const Xmm left = real(a);
        if (isConstant(b))
            cc_.vucomisd(left, cc_.newDoubleConst(ConstPoolScope::kLocal, infoOf(b).number));
        else
            cc_.vucomisd(left, written(b));
    }
    void compareWhole(Reg a, Reg b) {
        const Gp left = whole(a);
        if (const auto value = constant32(b))
            cc_.cmp(left, *value);
        else
            cc_.cmp(left, whole(b));
    }

    /// Jumps where the condition has this truth.
    void jump(Reg condition, bool truth, const Label& to) {
        const Instruction* made = nullptr;
        for (;;) {
            const std::int32_t definition = infoOf(condition).definition;
            if (definition < 0 || !fused_[static_cast<std::size_t>(definition)]) break;
            made = &code_.instructions[static_cast<std::size_t>(definition)];
            if (made->op != Op::Not) break;
            truth = !truth;
            condition = made->operands[0];
            made = nullptr;
        }
        if (made == nullptr) {
            const Gp value = whole(condition);
            cc_.test(value, value);
            cc_.j(truth ? Cond::kNZ : Cond::kZ, to);
            return;
        }
        const Test tested = test(*made);
        if (!tested.notParity) {
            cc_.j(truth ? tested.holds : x86::negateCond(tested.holds), to);
        } else if (truth) {
            const Label past = cc_.newLabel();
            cc_.jp(past);
            cc_.je(to);
            cc_.bind(past);
        } else {
            cc_.jp(to);
            cc_.jne(to);
        }
    }

    void makeCondition(const Instruction& each) {
        const Gp to = writtenWhole(each.to);
        const Test tested = test(each);
        const Gp byte = cc_.newUInt8();
        cc_.set(tested.holds, byte);
        if (tested.notParity) {
            const Gp ordered = cc_.newUInt8();
            cc_.setnp(ordered);
            cc_.and_(byte, ordered);
        }
        cc_.movzx(to.r32(), byte);
    }

    // ---- instructions

    void emit(const Instruction& each) {
        const auto& [a, b, c] = each.operands;
        switch (each.op) {
            case Op::Add:
                return binary(
                    each, true, [&](auto&&... x) { cc_.vaddsd(x...); },
                    [&](auto&&... x) { cc_.vaddsd(x...); });
            case Op::Sub:
                return binary(
                    each, false, [&](auto&&... x) { cc_.vsubsd(x...); },
                    [&](auto&&... x) { cc_.vsubsd(x...); });
            case Op::Mul:
                return binary(
                    each, true, [&](auto&&... x) { cc_.vmulsd(x...); },
                    [&](auto&&... x) { cc_.vmulsd(x...); });
            case Op::Div:
                return binary(
                    each, false, [&](auto&&... x) { cc_.vdivsd(x...); },
                    [&](auto&&... x) { cc_.vdivsd(x...); });
            case Op::Smaller:  // the second operand comes out unless the first is smaller, NaN or not
                cc_.vminsd(written(each.to), real(b), real(a));
                return;
            case Op::Larger:
                cc_.vmaxsd(written(each.to), real(b), real(a));
                return;
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
                call->setArg(0, first);
                call->setArg(1, second);
                call->setRet(0, written(each.to));
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
                return wholeBinary(each, [&](auto&&... x) { cc_.add(x...); });
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
                const Gp byte = cc_.newUInt8();
                cc_.test(value, value);
                cc_.setz(byte);
                cc_.movzx(to.r32(), byte);
                return;
            }
            case Op::Less:
            case Op::LessEqual:
            case Op::Equal:
            case Op::LessWhole:
            case Op::LessEqualWhole:
            case Op::EqualWhole:
            case Op::IsSet:
            case Op::Fits32:
                return makeCondition(each);
            case Op::LoadReal:
                cc_.vmovsd(written(each.to), sized(at(each.imm.address), 8));
                return;
            case Op::LoadWord:
                cc_.mov(writtenWhole(each.to).r32(), sized(at(each.imm.address), 4));
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
            case Op::StoreReal: {
                const Xmm value = real(a);
                cc_.vmovsd(sized(at(each.imm.address), 8), value);
                return;
            }
            case Op::StoreWord: {
                const Gp value = whole(a);
                cc_.mov(sized(at(each.imm.address), 4), value.r32());
                return;
            }
            case Op::StoreRecordReal:
                cc_.vmovsd(inRecord(each.imm.whole, 8), real(a));
                return;
            case Op::Done:
                return finish(static_cast<Outcome>(each.imm.whole));
            default:
                return emitControl(each);
        }
    }

    static x86::Mem sized(x86::Mem mem, std::uint32_t size) {
        mem.setSize(size);
        return mem;
    }

    void finish(Outcome outcome) {
        const Gp result = cc_.newInt32();
        cc_.mov(result, static_cast<std::int32_t>(outcome));
        cc_.ret(result);
    }

    void round(const Instruction& each, int how) {
        const Xmm value = real(each.operands[0]);
        cc_.vroundsd(written(each.to), value, value, how);
    }

    void choose(const Instruction& each) {
        const auto& [a, b, c] = each.operands;
        const Xmm to = cc_.newXmmSd();  // operands may still be wanted
        const Label past = cc_.newLabel();
        moveReal(to, b);
        jump(a, true, past);
        moveReal(to, c);
        cc_.bind(past);
        cc_.vmovapd(written(each.to), to);
    }

    void moveReal(const Xmm& to, Reg from) {
        if (isConstant(from))
            loadConstant(to, infoOf(from).number);
        else
            cc_.vmovapd(to, written(from));
    }

    void multiply(const Instruction& each) {
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

    void remainder(const Instruction& each) {
        const auto& [a, b, c] = each.operands;
        const auto divisor = constant32(b);
        const Gp value = whole(a);
        const Gp to = writtenWhole(each.to);
        if (divisor && *divisor > 0 && std::has_single_bit(static_cast<std::uint64_t>(*divisor))) {
            const Gp bias = cc_.newInt64();  // of a negative number one less than the divisor
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
        const Gp high = cc_.newInt64();
        const Gp low = cc_.newInt64();
        const Gp by = cc_.newInt64();
        moveWhole(by, b);
        cc_.mov(low, value);
        cc_.cqo(high, low);
        cc_.idiv(high, low, by);
        cc_.mov(to, high);
    }

    void shift(const Instruction& each) {
        const auto& [a, b, c] = each.operands;
        const Gp to = writtenWhole(each.to);
        const Gp result = cc_.newInt32();
        cc_.mov(result, whole(a).r32());
        if (const auto count = constant32(b)) {
            each.op == Op::ShiftLeft ? cc_.shl(result, *count & 31) : cc_.sar(result, *count & 31);
        } else {
            const Gp by = whole(b);
            each.op == Op::ShiftLeft ? cc_.shl(result, by.r8()) : cc_.sar(result, by.r8());
        }
        cc_.movsxd(to, result);
    }

    // ---- structure

    [[nodiscard]] const Instruction* following(std::size_t count) const {
        return at_ + count < code_.instructions.size() ? &code_.instructions[at_ + count] : nullptr;
    }
    [[nodiscard]] bool follows(std::size_t count, Op op) const {
        const Instruction* next = following(count);
        return next != nullptr && next->op == op;
    }

    void emitControl(const Instruction& each) {
        const Reg a = each.operands[0];
        switch (each.op) {
            case Op::If:
                if (follows(1, Op::Exit) && follows(2, Op::EndIf)) {  // nothing but a jump
                    jump(a, true, block(following(1)->imm.whole));
                    at_ += 2;
                    return;
                }
                if (follows(1, Op::Leave) && follows(2, Op::Else)) {
                    jump(a, true, leave_);
                    ifs_.push_back({cc_.newLabel(), cc_.newLabel(), false});
                    at_ += 2;
                    return;
                }
                ifs_.push_back({cc_.newLabel(), cc_.newLabel(), false});
                return jump(a, false, ifs_.back().otherwise);
            case Op::Else:
                ifs_.back().hasElse = true;
                if (!leavesBefore()) cc_.jmp(ifs_.back().end);
                cc_.bind(ifs_.back().otherwise);
                return;
            case Op::EndIf:
                if (!ifs_.back().hasElse) cc_.bind(ifs_.back().otherwise);
                cc_.bind(ifs_.back().end);
                ifs_.pop_back();
                return;
            case Op::Block:
                return;
            case Op::EndBlock:
                cc_.bind(block(each.imm.whole));
                return;
            case Op::Exit:
                if (!endsHere(each.imm.whole)) cc_.jmp(block(each.imm.whole));
                return;
            case Op::Loop:
                loops_.push_back(cc_.newLabel());
                cc_.bind(loops_.back());
                return;
            case Op::EndLoop:
                cc_.jmp(loops_.back());
                loops_.pop_back();
                return;
            case Op::Moves:
                return moves(code_.moves[static_cast<std::size_t>(each.imm.whole)]);
            case Op::Guard:
                return jump(a, false, leave_);
            case Op::Leave:
                cc_.jmp(leave_);
                return;
            case Op::Poll:
                cc_.cmp(sized(at(each.imm.address), 4), 0);
                cc_.jne(leave_);
                return;
            default:
                return;
        }
    }

    [[nodiscard]] bool leavesBefore() const {
        if (at_ == 0) return false;
        const Op op = code_.instructions[at_ - 1].op;
        return op == Op::Exit || op == Op::Leave;
    }

    [[nodiscard]] Label& block(std::int64_t number) {
        std::optional<Label>& label = blocks_[static_cast<std::size_t>(number)];
        if (!label) label = cc_.newLabel();
        return *label;
    }

    [[nodiscard]] bool endsHere(std::int64_t number) const {
        for (std::size_t i = 1; follows(i, Op::EndBlock); ++i)
            if (following(i)->imm.whole == number) return true;
        return false;
    }

    /// All at once: what is overwritten before it is read waits in a register of its own.
    void moves(const std::vector<Move>& list) {
        std::vector<Move> reals;
        std::vector<Move> wholes;
        for (const Move& move : list) (infoOf(move.to).cls == Class::Real ? reals : wholes).push_back(move);
        constexpr Reg kSpare = std::numeric_limits<Reg>::max();
        const Xmm spareReal = cc_.newXmmSd();
        for (const Move& move : sequenced(reals, kSpare)) {
            const Xmm to = move.to == kSpare ? spareReal : written(move.to);
            if (move.from == kSpare)
                cc_.vmovapd(to, spareReal);
            else
                moveReal(to, move.from);
        }
        const Gp spareWhole = cc_.newInt64();
        for (const Move& move : sequenced(wholes, kSpare)) {
            const Gp to = move.to == kSpare ? spareWhole : writtenWhole(move.to);
            if (move.from == kSpare)
                cc_.mov(to, spareWhole);
            else
                moveWhole(to, move.from);
        }
    }

    const Code& code_;
    x86::Compiler& cc_;
    std::vector<bool> fused_;
    std::vector<std::optional<BaseReg>> registers_;
    std::vector<std::optional<Label>> blocks_;
    std::vector<OpenIf> ifs_;
    std::vector<Label> loops_;
    Gp record_;
    Label leave_;
    std::size_t at_ = 0;
};

}  // namespace

std::unique_ptr<NativeCode> NativeCode::make(const Code& code, CodeMemory& memory) {
    CodeMemory::Impl* impl = memory.impl();
    if (impl == nullptr || impl->used.load() >= CodeMemory::kLimit) return nullptr;
    CodeHolder holder;
    if (holder.init(impl->runtime.environment()) != kErrorOk) return nullptr;
    x86::Compiler compiler(&holder);
    Emitter(code, compiler).emit();
    Entry entry = nullptr;
    if (compiler.finalize() != kErrorOk || impl->runtime.add(&entry, &holder) != kErrorOk) return nullptr;
    const std::size_t bytes = holder.codeSize();
    impl->used += bytes;
    return std::unique_ptr<NativeCode>(new NativeCode(memory, entry, bytes));
}

NativeCode::~NativeCode() {
    memory_.impl()->used -= bytes_;
    memory_.impl()->runtime.release(entry_);
}

}  // namespace kestrel::fast
