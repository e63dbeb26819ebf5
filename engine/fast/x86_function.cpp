// Machine code for x86-64: the function around the instructions. What is likely runs straight on from its
// beginning to its end; where code leaves lies behind that.
#include "engine/fast/code_memory_x86.h"
#include "engine/fast/x86_emitter.h"

#include <algorithm>
#include <vector>

namespace kestrel::fast {

using namespace asmjit;  // NOLINT: its names are all that this file is about

bool X86Emitter::assemble(CodeHolder& holder) {
    FirstError failed;
    holder.setErrorHandler(&failed);
    const bool done = assembleAll(holder);
    holder.setErrorHandler(nullptr);
    return done && failed.none();
}

bool X86Emitter::assembleAll(CodeHolder& holder) {
    const FuncNode* const function = emitAll();
    if (cc_.runPasses() != kErrorOk) return false;  // from here on the code is in machine registers
    if (gate_ != nullptr) endAtGate();
    putExitsLast(*function);
    x86::Assembler assembler(&holder);
    return cc_.serializeTo(&assembler) == kErrorOk;
}

FuncNode* X86Emitter::emitAll() {
    FuncNode* function = cc_.addFunc(FuncSignatureT<std::int32_t, void*, void*>());
    function->frame().setAvxEnabled();
    record_ = cc_.newIntPtr();
    function->setArg(1, record_);
    ending_ = cc_.newInt32();
    for (; !reading_.ended(); reading_.advance()) {
        if (!fused_[reading_.at()] && !folded_[reading_.at()]) emit(reading_.here());
        endInstruction();
    }
    emitExits();
    cc_.endFunc();
    return function;
}

void X86Emitter::finish(Ending ending) {
    if (ending.outcome() == Outcome::Done) {
        cc_.mov(ending_, ending.bits);
        cc_.ret(ending_);
    } else {
        leave(ending);
    }
}

/// Something is left to do about the record.
void X86Emitter::leave(Ending ending) {
    cc_.mov(ending_, ending.bits);
    if (gate_ != nullptr) {
        const Gp gate = cc_.newIntPtr();
        cc_.mov(gate, reinterpret_cast<std::uintptr_t>(gate_));  // NOLINT: goes into the code as a number
        cc_.mov(x86::ptr(gate, Gate::places().record, 8), record_);
    }
    cc_.ret(ending_);
}

/// Where code goes that leaves by this exit; -1: by none of those that have a reason.
Label X86Emitter::leaveBy(std::int64_t exit) {
    std::optional<Label>& label = exits_[static_cast<std::size_t>(exit + 1)];
    if (!label) label = cc_.newLabel();
    return *label;
}

void X86Emitter::emitExits() {
    for (std::size_t i = 0; i < exits_.size(); ++i) {
        if (!exits_[i]) continue;
        cc_.bind(*exits_[i]);
        leave(Ending::left(static_cast<std::int64_t>(i) - 1));
    }
}

/// The end of the function, behind all that its beginning has put on the stack: either the sample is counted,
/// or what is to be done otherwise is jumped to, so that the code is no longer at work then and may be taken
/// away.
void X86Emitter::endAtGate() {
    BaseNode* last = cc_.lastNode();
    while (!last->isInst() || last->as<InstNode>()->id() != x86::Inst::kIdRet) last = last->prev();
    const auto gate = reinterpret_cast<std::uintptr_t>(gate_);  // NOLINT: goes into the code as a number
    const Label otherwise = cc_.newLabel();
    cc_.setCursor(last->prev());
    cc_.test(x86::eax, x86::eax);
    cc_.jnz(otherwise);
    cc_.mov(x86::rcx, gate);
    cc_.inc(x86::qword_ptr(x86::rcx, Gate::places().passed));
    cc_.setCursor(last);
    cc_.bind(otherwise);
    cc_.mov(x86::rdi, gate);
    cc_.mov(x86::esi, x86::eax);
    cc_.jmp(x86::qword_ptr(x86::rdi, Gate::places().otherwise));
}

/// They were emitted before the function's end, in front of which they would have to be jumped over.
void X86Emitter::putExitsLast(const FuncNode& function) {
    const auto first = std::ranges::find_if(exits_, [](const auto& label) { return label.has_value(); });
    LabelNode* begin = nullptr;
    if (first == exits_.end() || cc_.labelNodeOf(&begin, **first) != kErrorOk) return;
    std::vector<BaseNode*> nodes;
    for (BaseNode* node = begin; node != function.exitNode(); node = node->next()) nodes.push_back(node);
    BaseNode* const over = begin->prev();
    if (over->isInst() && over->as<InstNode>()->id() == x86::Inst::kIdJmp &&
        over->as<InstNode>()->op(0) == function.exitLabel())
        cc_.removeNode(over);
    BaseNode* last = function.endNode()->prev();
    for (BaseNode* node : nodes) {
        cc_.removeNode(node);
        last = cc_.addAfter(node, last);
    }
    cc_.setCursor(last);
    cc_.jmp(function.exitLabel());  // for the last one, which ran on into it
}

}  // namespace kestrel::fast
