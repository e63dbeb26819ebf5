// Translates intermediate code to machine code for x86-64.
#pragma once

#include "engine/fast/x86_operands.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace kestrel::fast {

class X86Emitter : X86Operands {
public:
    /// @param gate  see NativeCode::make()
    X86Emitter(const Code& code, asmjit::x86::Assembler& assembler, const Gate* gate)
        : X86Operands(code, assembler),
          gate_(gate),
          blocks_(static_cast<std::size_t>(code.blocks)),
          exits_(code.exits.size() + 1) {}

    /// One function: Gate::Enter.
    /// @return false when something went wrong
    [[nodiscard]] bool assemble();

private:
    using Cond = asmjit::x86::CondCode;
    using Label = asmjit::Label;

    struct OpenIf {
        Label otherwise;
        Label end;
        bool hasElse = false;
    };
    /// When a comparison holds; of an Equal of doubles also parity must not be set.
    struct Test {
        Cond holds;
        bool notParity = false;
    };

    // ---- x86_function.cpp
    void begin();
    void end();
    void findGate();
    void finish(Ending ending);
    void leave(Ending ending);
    void endLeft();
    [[nodiscard]] Label leaveBy(std::int64_t exit);

    // ---- x86_instructions.cpp
    void emit(const Instruction& each);
    template <class Emit>
    void binary(const Instruction& each, const Emit& emit);
    template <class Emit>
    void wholeBinary(const Instruction& each, const Emit& emit);
    void add(const Instruction& each);
    template <class Emit>
    void unary(const Instruction& each, const Emit& emit);
    void keepElement(const Instruction& each, const Gp& place);
    void call(const Instruction& each);
    void ask(const Instruction& each);
    void saveAcross();
    void callAt(std::uintptr_t function);
    void bringBack();
    void round(const Instruction& each, int how);
    void choose(const Instruction& each);
    void blend(const Instruction& each);
    void multiply(const Instruction& each);
    void remainder(const Instruction& each);
    void shift(const Instruction& each);

    // ---- x86_flow.cpp
    [[nodiscard]] Test test(const Instruction& each);
    void compare(Reg a, Reg b);
    void compareWhole(Reg a, Reg b);
    void bind(const Label& label) {
        cc_.bind(label);
        forgetAll();
    }
    void jump(Reg condition, bool truth, const Label& to);
    void makeCondition(const Instruction& each);
    void makeMask(const Instruction& each);
    void emitControl(const Instruction& each);
    [[nodiscard]] Label& block(std::int64_t number);
    void moves(const std::vector<Move>& list);
    template <class Kind>
    void moveBetween(const std::vector<Move>& list, const Kind& spare, const Kind& passing,
                     Kind (*of)(const Home&));

    const Gate* gate_;
    Label left_ = cc_.newLabel();
    std::int32_t frame_ = 0;  ///< bytes of the stack that the function takes
    std::vector<std::optional<Label>> blocks_;
    std::vector<OpenIf> ifs_;
    std::vector<Label> loops_;
    std::vector<std::optional<Label>> exits_;  ///< by the number of the exit + 1
    Reading reading_{code_};
};

}  // namespace kestrel::fast
