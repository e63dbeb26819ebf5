// Machine code for x86-64: the function around the instructions. What is likely runs straight on from its
// beginning to its end; where code leaves lies behind that.
#include "engine/fast/x86_emitter.h"

#include <vector>

namespace kestrel::fast {

using namespace asmjit;  // NOLINT: its names are all that this file is about

namespace {

/// What the function brings back at its end, in the order in which it puts them on the stack.
constexpr std::int32_t kBroughtBack[] = {x86::Gp::kIdBx,  x86::Gp::kIdBp,  x86::Gp::kIdR12,
                                         x86::Gp::kIdR13, x86::Gp::kIdR14, x86::Gp::kIdR15};
/// Below the stack pointer so many bytes belong to a function that calls nobody.
constexpr std::int32_t kRedZone = 128;
/// Code that needs more of the stack is threaded.
constexpr std::int32_t kMostStack = 64 << 10;

}  // namespace

bool X86Emitter::assemble() {
    if (homes_.slots() > kMostStack / kSlot) return false;
    begin();
    for (; !reading_.ended(); reading_.advance()) {
        if (!fused_[reading_.at()] && !folded_[reading_.at()]) emit(reading_.here());
        endInstruction();
    }
    for (std::size_t i = 0; i < exits_.size(); ++i) {
        if (!exits_[i]) continue;
        cc_.bind(*exits_[i]);
        leave(Ending::left(static_cast<std::int64_t>(i) - 1));
    }
    endLeft();
    if (!constants_.empty()) cc_.embedConstPool(pool_, constants_);
    return true;
}

void X86Emitter::begin() {
    std::int32_t pushed = 0;
    for (const std::int32_t each : kBroughtBack) {
        if (!homes_.takes(each) && !(uses_.calls && each == x86::Gp::kIdBx)) continue;
        cc_.push(x86::gpq(static_cast<std::uint32_t>(each)));
        pushed += 8;
    }
    frame_ = homes_.slots() * kSlot;
    if (uses_.calls) {
        if ((8 + pushed + frame_) % 16 != 0) frame_ += 8;  // as whoever is called expects
        cc_.mov(record_, x86::rsi);
    } else if (frame_ <= kRedZone) {
        stack_ = -frame_;
        frame_ = 0;
    }
    if (frame_ > 0) cc_.sub(x86::rsp, frame_);
}

/// Gives back what begin() has taken.
void X86Emitter::end() {
    if (frame_ > 0) cc_.add(x86::rsp, frame_);
    for (std::size_t i = std::size(kBroughtBack); i > 0; --i) {
        const std::int32_t each = kBroughtBack[i - 1];
        if (homes_.takes(each) || (uses_.calls && each == x86::Gp::kIdBx))
            cc_.pop(x86::gpq(static_cast<std::uint32_t>(each)));
    }
}

/// The gate comes in this register, which may have had other uses since.
void X86Emitter::findGate() {
    if (uses_.calls || homes_.takes(x86::Gp::kIdDi))
        cc_.mov(x86::rdi, reinterpret_cast<std::uintptr_t>(gate_));  // NOLINT: goes into the code as a number
}

void X86Emitter::finish(Ending ending) {
    if (ending.outcome() != Outcome::Done) return leave(ending);
    end();
    if (gate_ != nullptr) {
        findGate();
        cc_.inc(x86::qword_ptr(x86::rdi, Gate::places().passed));
    }
    static_assert(static_cast<std::int32_t>(Outcome::Done) == 0);
    cc_.xor_(x86::eax, x86::eax);
    cc_.ret();
}

/// Something is left to do about the record.
void X86Emitter::leave(Ending ending) {
    cc_.mov(x86::eax, ending.bits);
    cc_.jmp(left_);
}

/// What is to be done is jumped to, so that the code is no longer at work then and may be taken away.
void X86Emitter::endLeft() {
    cc_.bind(left_);
    if (gate_ == nullptr) {
        end();
        cc_.ret();
        return;
    }
    findGate();
    cc_.mov(x86::ptr(x86::rdi, Gate::places().record, 8), record_);
    cc_.mov(x86::esi, x86::eax);
    end();
    cc_.jmp(x86::qword_ptr(x86::rdi, Gate::places().otherwise));
}

/// Where code goes that leaves by this exit; -1: by none of those that have a reason.
Label X86Emitter::leaveBy(std::int64_t exit) {
    std::optional<Label>& label = exits_[static_cast<std::size_t>(exit + 1)];
    if (!label) label = cc_.newLabel();
    return *label;
}

}  // namespace kestrel::fast
